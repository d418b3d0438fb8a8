// A daemon that misbehaves on purpose: replies that come twice, replies that
// come after the request timed out, and signals arriving all the while.
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <functional>
#include <mutex>
#include <thread>

#include "include/te_mor.h"
#include "support/fake_daemon.h"
#include "support/records.h"

using namespace temor::test;

namespace {

// Answers request n with whatever script(n) returns: no datagram, one, or
// several; and can send a datagram to the last client at any time.
class HostileDaemon {
public:
    using Script = std::function<std::vector<Bytes>(int n)>;
    HostileDaemon(const std::string &dir, Script script) : script_(std::move(script)) {
        fd_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_un a{};
        a.sun_family = AF_UNIX;
        std::snprintf(a.sun_path, sizeof a.sun_path, "%s/lipc-0a7280", dir.c_str());
        EXPECT_EQ(bind(fd_, reinterpret_cast<sockaddr *>(&a), sizeof a), 0);
        thread_ = std::thread([this] { serve(); });
    }
    ~HostileDaemon() {
        shutdown(fd_, SHUT_RDWR);
        close(fd_);
        thread_.join();
    }
    void send_late(const Bytes &datagram) {
        std::lock_guard<std::mutex> lock(mu_);
        sendto(fd_, datagram.data(), datagram.size(), 0, reinterpret_cast<sockaddr *>(&peer_), peerLen_);
    }

private:
    void serve() {
        for (int n = 0;;) {
            uint8_t buf[4096];
            sockaddr_un from{};
            socklen_t len = sizeof from;
            const long got = recvfrom(fd_, buf, sizeof buf, 0, reinterpret_cast<sockaddr *>(&from), &len);
            if (got < 0 && errno == EINTR) continue;  // the signals reach this thread too
            if (got <= 0) return;
            std::lock_guard<std::mutex> lock(mu_);
            peer_ = from, peerLen_ = len;
            for (const Bytes &d : script_(n++))
                sendto(fd_, d.data(), d.size(), 0, reinterpret_cast<sockaddr *>(&from), len);
        }
    }
    int fd_;
    Script script_;
    std::mutex mu_;
    sockaddr_un peer_{};
    socklen_t peerLen_ = 0;
    std::thread thread_;
};

Bytes bw_row(uint32_t key) { return reply(0, {{3, cat({be32(key), Bytes(288, 0)})}}); }

bool readable(int fd, int ms) {
    pollfd p{fd, POLLIN, 0};
    return poll(&p, 1, ms) == 1;
}

void on_alarm(int) {}

}  // namespace

// Request 0 is answered twice. The copy waits on the socket when the next
// query starts; it must not be taken for that query's answer.
TEST(Hostile, DuplicatedReplyIsNotTheNextAnswer) {
    PlatformDirs dirs;
    HostileDaemon d(dirs.lipc(), [](int n) {
        return n == 0 ? std::vector<Bytes>{bw_row(4), bw_row(4)} : std::vector<Bytes>{bw_row(8)};
    });
    const int sock = TE_MOR_LIPCOpen();
    ASSERT_GE(sock, 0);
    TeBwAllocationInfo row{};
    ASSERT_EQ(TE_MOR_GetFirstBwAllocationInfo(sock, &row), 0u);
    EXPECT_EQ(row.word0, 4u);
    ASSERT_TRUE(readable(sock, 2000));  // the copy has arrived
    ASSERT_EQ(TE_MOR_GetNextBwAllocationInfo(sock, 4, &row), 0u);
    EXPECT_EQ(row.word0, 8u);
    TE_MOR_LIPCClose(sock);
}

// A silent daemon while a signal arrives every 100 microseconds: the query
// still gives up after its 10 seconds, and leaves the socket's time-outs at
// 10 s. The reply that then comes late is not the next query's answer.
TEST(Hostile, DeadlineHoldsUnderSignalsAndALateReplyIsDropped) {
    PlatformDirs dirs;
    HostileDaemon d(dirs.lipc(), [](int n) { return n == 0 ? std::vector<Bytes>{} : std::vector<Bytes>{bw_row(8)}; });
    const int sock = TE_MOR_LIPCOpen();
    ASSERT_GE(sock, 0);

    struct sigaction sa{}, old{};
    sa.sa_handler = on_alarm;  // no SA_RESTART: every signal interrupts the wait
    sigaction(SIGALRM, &sa, &old);
    const itimerval storm{{0, 100}, {0, 100}}, off{};
    setitimer(ITIMER_REAL, &storm, nullptr);
    TeDsteInfo dste{};
    const auto start = std::chrono::steady_clock::now();
    const uint32_t rc = TE_MOR_GetDsteInfo(sock, &dste);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    setitimer(ITIMER_REAL, &off, nullptr);
    sigaction(SIGALRM, &old, nullptr);

    EXPECT_EQ(rc, TE_MOR_ERR_FAIL);
    EXPECT_GE(seconds, 9.5);
    EXPECT_LE(seconds, 13.0);  // generous slack for a loaded machine and sanitizers
    timeval tv{};
    socklen_t len = sizeof tv;
    ASSERT_EQ(getsockopt(sock, SOL_SOCKET, SO_RCVTIMEO, &tv, &len), 0);
    EXPECT_EQ(tv.tv_sec, 10);
    EXPECT_EQ(tv.tv_usec, 0);

    d.send_late(reply(0, {{2, Bytes(60, 0x11)}}));
    ASSERT_TRUE(readable(sock, 2000));
    TeBwAllocationInfo row{};
    ASSERT_EQ(TE_MOR_GetFirstBwAllocationInfo(sock, &row), 0u);
    EXPECT_EQ(row.word0, 8u);
    TE_MOR_LIPCClose(sock);
}

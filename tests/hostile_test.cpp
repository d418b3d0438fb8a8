// A daemon that misbehaves on purpose: replies that come twice, replies that
// come after the request timed out, and signals arriving all the while.
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <chrono>

#include "include/te_mor.h"
#include "support/fake_daemon.h"

using namespace temor::test;

namespace {

Bytes bw_row(uint32_t key) { return reply(0, {{3, cat({be32(key), Bytes(288, 0)})}}); }

bool readable(int fd, int ms) {
    pollfd p{fd, POLLIN, 0};
    return poll(&p, 1, ms) == 1;
}

void on_alarm(int) {}

}  // namespace

class Hostile : public DaemonTest {};

// Request 0 is answered twice. The copy waits on the socket when the next
// query starts; it must not be taken for that query's answer.
TEST_F(Hostile, DuplicatedReplyIsNotTheNextAnswer) {
    daemon->answer(bw_row(4));
    daemon->answer(bw_row(8));
    const int sock = TE_MOR_LIPCOpen();
    ASSERT_GE(sock, 0);
    TeBwAllocationInfo row{};
    ASSERT_EQ(TE_MOR_GetFirstBwAllocationInfo(sock, &row), 0u);
    EXPECT_EQ(row.word0, 4u);
    daemon->send_late(bw_row(4));
    ASSERT_TRUE(readable(sock, 2000));  // the copy has arrived
    ASSERT_EQ(TE_MOR_GetNextBwAllocationInfo(sock, 4, &row), 0u);
    EXPECT_EQ(row.word0, 8u);
    TE_MOR_LIPCClose(sock);
}

// A silent daemon while a signal arrives every 100 microseconds: the query
// still gives up after its 10 seconds, and leaves the socket's time-outs at
// 10 s. The reply that then comes late is not the next query's answer.
TEST_F(Hostile, DeadlineHoldsUnderSignalsAndALateReplyIsDropped) {
    daemon->stay_silent();
    daemon->answer(bw_row(8));
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

    daemon->send_late(reply(0, {{2, Bytes(60, 0x11)}}));
    ASSERT_TRUE(readable(sock, 2000));
    TeBwAllocationInfo row{};
    ASSERT_EQ(TE_MOR_GetFirstBwAllocationInfo(sock, &row), 0u);
    EXPECT_EQ(row.word0, 8u);
    TE_MOR_LIPCClose(sock);
}

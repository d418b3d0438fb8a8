#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>

#include "include/te_mor.h"
#include "messaging/frame.h"
#include "messaging/transport.h"
#include "support/fake_daemon.h"

using namespace temor::test;

class TransportTest : public DaemonTest {
protected:
    uint32_t send_on_own_socket(const Bytes &req, uint8_t *replyBuf) {
        const int fd = TE_MOR_LIPCOpen();
        EXPECT_GE(fd, 0);
        const uint32_t r = TE_MOR_SendMsg(fd, req.data(), uint32_t(req.size()), replyBuf);
        TE_MOR_LIPCClose(fd);
        return r;
    }
};

TEST_F(TransportTest, DoRequestReturnsDaemonResult) {
    daemon->answer_result(0x250C00BF);
    const Bytes req = message(0, 0, 0, {{12, {}}});
    EXPECT_EQ(TE_MOR_DoRequest(req.data(), uint32_t(req.size())), 0x250C00BFu);
    EXPECT_EQ(daemon->requests().at(0), req);
}

// The request builder: header fields, payload length = sum of item sizes.
TEST(FrameTest, RequestBytes) {
    struct Case {
        const char *name;
        std::vector<Tlv> items;
        Bytes expected;
    } cases[] = {
        {"one item", {{0x0102, {0xAA, 0xBB}}},
         {3, 9, 0, 6, 0, 0, 0, 0, 0x01, 0x02, 0, 2, 0xAA, 0xBB}},
        {"two items", {{7, {1}}, {8, {1, 2, 3}}},
         {3, 9, 0, 12, 0, 0, 0, 0, 0, 7, 0, 1, 1, 0, 8, 0, 3, 1, 2, 3}},
        {"empty item", {{0x0C, {}}}, {3, 9, 0, 4, 0, 0, 0, 0, 0, 0x0C, 0, 0}},
    };
    for (const auto &c : cases) {
        temor::Request r;
        for (const auto &it : c.items)
            r.item(it.tag, uint16_t(it.value.size()), it.value.empty() ? nullptr : it.value.data());
        const uint32_t n = r.finish(3, 9);
        EXPECT_EQ(Bytes(r.data(), r.data() + n), c.expected) << c.name;
    }
}

// What the transport makes of the reply datagram the daemon sends back.
TEST_F(TransportTest, ReplyLengthChecks) {
    struct Case {
        const char *name;
        Bytes datagram;
        uint32_t expected;
    } cases[] = {
        {"seven bytes", {4, 0, 0, 0, 0, 0, 0}, TE_MOR_ERR_FAIL},
        {"bare header", {4, 0, 0, 0, 0x12, 0x34, 0x56, 0x78}, 0x12345678u},
        {"payload 10, 17 bytes", cat({{4, 0, 0, 10}, be32(5), pattern(9)}), TE_MOR_ERR_FAIL},
        {"payload 10, 18 bytes", cat({{4, 0, 0, 10}, be32(5), pattern(10)}), 5u},
        {"payload shorter than received", cat({{4, 0, 0, 2}, be32(6), pattern(10)}), 6u},
        {"empty datagram", {}, TE_MOR_ERR_FAIL},
    };
    const Bytes req = message(1, 2, 0, {});
    for (const auto &c : cases) {
        daemon->answer(c.datagram);
        EXPECT_EQ(TE_MOR_DoRequest(req.data(), uint32_t(req.size())), c.expected) << c.name;
    }
}

TEST_F(TransportTest, OversizedReplyNeverWritesPastBuffer) {
    struct {
        uint8_t reply[TE_MOR_MSG_MAX];
        uint8_t canary[64];
    } buf;
    std::memset(buf.canary, 0xC5, sizeof buf.canary);
    daemon->answer(cat({{4, 0, 0, 0}, be32(9), Bytes(4000, 0xEE)}));
    const Bytes req = message(1, 2, 0, {});
    // Whatever the verdict on a truncated datagram, nothing lands past 2048.
    (void)send_on_own_socket(req, buf.reply);
    for (uint8_t b : buf.canary) ASSERT_EQ(b, 0xC5);
    EXPECT_EQ(buf.reply[TE_MOR_MSG_MAX - 1], 0xEE);
}

TEST_F(TransportTest, UnusableArgumentsSendNothing) {
    uint8_t replyBuf[TE_MOR_MSG_MAX];
    const Bytes ok = message(1, 2, 0, {});
    const Bytes big(TE_MOR_MSG_MAX + 1, 0);
    const int fd = TE_MOR_LIPCOpen();
    ASSERT_GE(fd, 0);
    struct Case {
        const char *name;
        const void *req;
        uint32_t len;
        void *reply;
    } cases[] = {
        {"null request", nullptr, 8, replyBuf},
        {"null reply", ok.data(), 8, nullptr},
        {"length 7", ok.data(), 7, replyBuf},
        {"length 0", ok.data(), 0, replyBuf},
        {"length 2049", big.data(), TE_MOR_MSG_MAX + 1, replyBuf},
    };
    for (const auto &c : cases)
        EXPECT_EQ(TE_MOR_SendMsg(fd, c.req, c.len, c.reply), TE_MOR_ERR_FAIL) << c.name;
    TE_MOR_LIPCClose(fd);
    EXPECT_EQ(TE_MOR_DoRequest(nullptr, 8), TE_MOR_ERR_FAIL);
    EXPECT_EQ(TE_MOR_DoRequest(ok.data(), 7), TE_MOR_ERR_FAIL);
    EXPECT_EQ(daemon->request_count(), 0u);
}

TEST_F(TransportTest, LargestRequestAccepted) {
    const Bytes req = cat({{1, 2, 0x07, 0xF8}, be32(0), pattern(TE_MOR_MSG_MAX - 8)});
    EXPECT_EQ(TE_MOR_DoRequest(req.data(), uint32_t(req.size())), 0u);
    EXPECT_EQ(daemon->requests().at(0), req);
}

TEST_F(TransportTest, NoDaemon) {
    daemon.reset();
    fdsBefore = open_fd_count();  // the daemon's own descriptors are gone
    EXPECT_EQ(TE_MOR_LIPCOpen(), -1);
    const Bytes req = message(1, 2, 0, {});
    EXPECT_EQ(TE_MOR_DoRequest(req.data(), uint32_t(req.size())), TE_MOR_ERR_IPC_OPEN);
}

TEST_F(TransportTest, HeldSocketServesSeveralExchanges) {
    const int fd = TE_MOR_LIPCOpen();
    ASSERT_GE(fd, 0);
    uint8_t replyBuf[TE_MOR_MSG_MAX];
    const Bytes req = message(1, 2, 0, {{3, be32(4)}});
    for (uint32_t i = 0; i < 3; ++i) {
        daemon->answer_result(i + 100);
        EXPECT_EQ(TE_MOR_SendMsg(fd, req.data(), uint32_t(req.size()), replyBuf), i + 100);
    }
    EXPECT_EQ(TE_MOR_LIPCClose(fd), 0u);
    EXPECT_EQ(daemon->request_count(), 3u);
}

TEST_F(TransportTest, SilentDaemonTimesOut) {
    daemon->stay_silent();
    const Bytes req = message(1, 2, 0, {});
    const auto t0 = std::chrono::steady_clock::now();
    EXPECT_EQ(TE_MOR_DoRequest(req.data(), uint32_t(req.size())), TE_MOR_ERR_FAIL);
    const auto waited = std::chrono::steady_clock::now() - t0;
    // Loose sanity bound only: the call gives up by itself.
    EXPECT_GT(waited, std::chrono::seconds(5));
    EXPECT_LT(waited, std::chrono::seconds(60));
}

namespace {
void on_signal(int) {}
}  // namespace

// Signals arriving while the call waits for the daemon do not end the call.
TEST_F(TransportTest, InterruptedCallsResume) {
    daemon.reset();
    fdsBefore = open_fd_count();  // the daemon's own descriptors are gone
    // A responder that answers only after a while.
    const std::string path = dirs.lipc() + "/lipc-0a7280";
    const int srv = socket(AF_UNIX, SOCK_DGRAM, 0);
    ASSERT_GE(srv, 0);
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::strncpy(addr.sun_path, path.c_str(), sizeof addr.sun_path - 1);
    unlink(path.c_str());
    ASSERT_EQ(bind(srv, reinterpret_cast<sockaddr *>(&addr), sizeof addr), 0);
    std::thread responder([srv] {
        uint8_t b[4096];
        sockaddr_un from{};
        socklen_t fl = sizeof from;
        const ssize_t n = recvfrom(srv, b, sizeof b, 0, reinterpret_cast<sockaddr *>(&from), &fl);
        if (n <= 0) return;
        std::this_thread::sleep_for(std::chrono::milliseconds(400));
        const Bytes r = reply(0x77);
        (void)sendto(srv, r.data(), r.size(), 0, reinterpret_cast<sockaddr *>(&from), fl);
    });

    struct sigaction sa{}, old{};
    sa.sa_handler = on_signal;  // no SA_RESTART
    sigemptyset(&sa.sa_mask);
    ASSERT_EQ(sigaction(SIGUSR1, &sa, &old), 0);
    std::atomic<bool> done{false};
    std::atomic<int> sent{0};
    const pthread_t target = pthread_self();
    std::thread pinger([&] {
        while (!done) {
            pthread_kill(target, SIGUSR1);
            ++sent;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    });
    const Bytes req = message(1, 2, 0, {});
    const uint32_t r = TE_MOR_DoRequest(req.data(), uint32_t(req.size()));
    done = true;
    pinger.join();
    responder.join();
    sigaction(SIGUSR1, &old, nullptr);
    close(srv);
    unlink(path.c_str());
    EXPECT_EQ(r, 0x77u);
    EXPECT_GT(sent.load(), 5);
}

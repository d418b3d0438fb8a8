#include <cstring>
#include <utility>

#include "include/te_mor.h"
#include "messaging/transport.h"
#include "platform/host/lipc_host.h"
#include "platform/platform.h"
#include "support/fake_daemon.h"

using namespace temor::test;

namespace {

class TransportTest : public DaemonTest {
protected:
    const Bytes req = message(1, 2, 0, {});
};

// What the transport makes of the reply datagram the daemon sends back; the
// request (the largest allowed) reaches the daemon unchanged every time.
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
    const Bytes largest = cat({{1, 2, 0x07, 0xF8}, be32(0), pattern(TE_MOR_MSG_MAX - 8)});
    for (const auto &c : cases) {
        daemon->answer(c.datagram);
        EXPECT_EQ(TE_MOR_DoRequest(largest.data(), uint32_t(largest.size())), c.expected) << c.name;
        EXPECT_EQ(daemon->requests().back(), largest) << c.name;
    }
}

TEST_F(TransportTest, OversizedReplyNeverWritesPastBuffer) {
    struct {
        uint8_t reply[TE_MOR_MSG_MAX];
        uint8_t canary[64];
    } buf;
    std::memset(buf.canary, 0xC5, sizeof buf.canary);
    daemon->answer(cat({{4, 0, 0, 0}, be32(9), Bytes(4000, 0xEE)}));
    // Whatever the verdict on a truncated datagram, nothing lands past 2048.
    const int fd = TE_MOR_LIPCOpen();
    (void)TE_MOR_SendMsg(fd, req.data(), uint32_t(req.size()), buf.reply);
    TE_MOR_LIPCClose(fd);
    for (uint8_t b : buf.canary) ASSERT_EQ(b, 0xC5);
    EXPECT_EQ(buf.reply[TE_MOR_MSG_MAX - 1], 0xEE);
}

// Refused arguments send nothing. (The held socket's exchanges are the
// held-table query rows'.)
TEST_F(TransportTest, UnusableArgumentsSendNothing) {
    uint8_t replyBuf[TE_MOR_MSG_MAX];
    const Bytes big(TE_MOR_MSG_MAX + 1, 0);
    const int fd = TE_MOR_LIPCOpen();
    ASSERT_GE(fd, 0);
    struct Case {
        const void *req;
        uint32_t len;
        void *reply;
    } cases[] = {
        {nullptr, 8, replyBuf},         {req.data(), 8, nullptr},
        {req.data(), 7, replyBuf},      {req.data(), 0, replyBuf},
        {big.data(), uint32_t(big.size()), replyBuf},
    };
    for (const auto &c : cases)
        EXPECT_EQ(TE_MOR_SendMsg(fd, c.req, c.len, c.reply), TE_MOR_ERR_FAIL) << c.len;
    EXPECT_EQ(TE_MOR_DoRequest(nullptr, 8), TE_MOR_ERR_FAIL);
    EXPECT_EQ(TE_MOR_DoRequest(req.data(), 7), TE_MOR_ERR_FAIL);
    EXPECT_EQ(TE_MOR_LIPCClose(fd), 0u);
    EXPECT_EQ(daemon->request_count(), 0u);
}

// An option the platform refuses: either time-out fails the open, whose
// socket is closed again; the buffer size's refusal is ignored.
TEST_F(TransportTest, RefusedOption) {
    struct Refusing {
        explicit Refusing(int option) { LIPC_HostFailOption(option); }
        ~Refusing() { LIPC_HostFailOption(0); }
    };
    const std::pair<int, bool> cases[] = {  // option, opens
        {LIPC_SO_SNDTIMEO, false}, {LIPC_SO_RCVTIMEO, false}, {LIPC_SO_BUFFER, true}};
    for (const auto &[option, opens] : cases) {
        const Refusing refusing(option);
        const int fds = open_fd_count();
        const int fd = TE_MOR_LIPCOpen();
        EXPECT_EQ(fd >= 0, opens) << option;
        if (fd >= 0) TE_MOR_LIPCClose(fd);
        EXPECT_EQ(TE_MOR_DoRequest(req.data(), uint32_t(req.size())),
                  opens ? TE_MOR_OK : TE_MOR_ERR_IPC_OPEN) << option;
        EXPECT_EQ(open_fd_count(), fds) << option << ": a descriptor leaked";
    }
    EXPECT_EQ(daemon->request_count(), 1u);
}

TEST_F(TransportTest, NoDaemon) {
    stop_daemon();
    EXPECT_EQ(TE_MOR_LIPCOpen(), -1);
    EXPECT_EQ(TE_MOR_DoRequest(req.data(), uint32_t(req.size())), TE_MOR_ERR_IPC_OPEN);
}

}  // namespace

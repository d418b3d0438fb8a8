// Trap setters and the tunnel notification read.
#include <functional>

#include "include/te_mor.h"
#include "support/fake_daemon.h"
#include "support/records.h"

using namespace temor::test;

namespace {

constexpr uint64_t kMask = 0x0807060504030201ull;

const std::pair<std::function<uint32_t(uint32_t op)>, Tlv> kTraps[] = {
    // The mask travels as it lies in memory, unconverted.
    {[](uint32_t op) { return TE_MOR_SetPrivateTrap(op, kMask); }, {13, bytes_of(kMask)}},
    {TE_MOR_SetTrap, {10, {}}},
};

class Traps : public DaemonTest {};

TEST_F(Traps, SettersSendClassZeroWithTheCallersOp) {
    for (const auto &[call, item] : kTraps) {
        for (uint32_t op : {0u, 1u}) {
            daemon->answer_result(0x12345678);
            EXPECT_EQ(call(op), 0x12345678u);
            EXPECT_EQ(last_sent(*daemon), message(0, op, 0, {item}));
        }
    }
    for (const auto &[enable, op] : {std::pair{1u, 0}, {0u, 1}, {7u, 0}}) {
        EXPECT_EQ(TE_EnableTrap(enable), 0u);
        EXPECT_EQ(last_sent(*daemon), message(0, op, 0, {{10, {}}}));
    }
}

TEST_F(Traps, RefusalsSendNothing) {
    const std::tuple<bool, uint32_t, uint32_t> cases[] = {
        {true, 2, TE_MOR_ERR_FAIL},  // op checked after the TE check passed
        {true, 0xFFFFFFFF, TE_MOR_ERR_FAIL},
        {false, 0, TE_MOR_ERR_TE_DISABLED},
        {false, 2, TE_MOR_ERR_TE_DISABLED},  // the TE check comes first
        {false, 1, TE_MOR_OK},
    };
    for (const auto &[call, item] : kTraps) {
        for (const auto &[teOn, op, rc] : cases) {
            dirs.set_te_enabled(teOn);
            EXPECT_EQ(call(op), rc) << item.tag << " op " << op;
        }
    }
    EXPECT_EQ(daemon->request_count(), 0u);
}

TEST_F(Traps, NoSocketIsReportedAsDisabledBySettersAndAsIpcOpenByTheRead) {
    daemon.reset();
    fdsBefore = open_fd_count();
    EXPECT_EQ(TE_MOR_SetTrap(0), TE_MOR_ERR_TE_DISABLED);
    EXPECT_EQ(TE_MOR_SetPrivateTrap(1, kMask), TE_MOR_ERR_TE_DISABLED);
    uint32_t state = 9;
    EXPECT_EQ(TE_MOR_GetTunnelNotifyEnable(&state), TE_MOR_ERR_IPC_OPEN);
    EXPECT_EQ(state, 9u);
}

// The read makes no TE check and decodes the first item's first word. A short
// item at the very end of the datagram: the bytes behind it were never
// received and count as zero.
TEST_F(Traps, NotifyRead) {
    dirs.set_te_enabled(false);
    const std::tuple<Bytes, uint32_t, uint32_t> cases[] = {
        {reply(0, {{77, {0x01, 0x02, 0x03, 0x04, 0xFF}}, {1, be32(5)}}), 0, 0x01020304},
        {reply(0), TE_MOR_ERR_FAIL, 9},
        {reply(0x250C0001, {{0, be32(1)}}), 0x250C0001, 9},
        {reply(0, {{0, {0xAB, 0xCD}}}), 0, 0xABCD0000},
        {reply(0, {{0, {}}}), 0, 0},
    };
    for (const auto &[r, rc, expected] : cases) {
        daemon->answer(r);
        uint32_t state = 9;
        EXPECT_EQ(TE_MOR_GetTunnelNotifyEnable(&state), rc);
        EXPECT_EQ(state, expected);
        EXPECT_EQ(last_sent(*daemon), message(4, 3, 0, {{104, {}}}));
    }
    expect_refused(*daemon, {[] { return TE_MOR_GetTunnelNotifyEnable(nullptr); }});
}

TEST_F(Traps, CapabilityFollowsTheState) {
    const std::tuple<uint32_t, uint32_t, uint16_t> cases[] = {
        {0, 1, 1}, {0, 2, 0}, {0, 0, 0}, {0, 0x01000000, 0}, {0x250C0001, 1, 7}};
    for (const auto &[code, state, capability] : cases) {
        SCOPED_TRACE(state);
        daemon->answer_result(code, {{0, be32(state)}});
        uint16_t got = 7;
        EXPECT_EQ(TE_GetTrapCapability(&got), code);
        EXPECT_EQ(got, capability);
        // A null pointer is refused only once the state has been read.
        daemon->answer_result(code, {{0, be32(state)}});
        EXPECT_EQ(TE_GetTrapCapability(nullptr), code == 0 ? TE_MOR_ERR_FAIL : code);
    }
}

}  // namespace

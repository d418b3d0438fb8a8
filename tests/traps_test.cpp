// Trap setters and the tunnel notification read.
#include <cstring>
#include <functional>

#include "include/te_mor.h"
#include "support/fake_daemon.h"

using namespace temor::test;

namespace {

constexpr uint64_t kMask = 0x0807060504030201ull;

// The mask as it lies in memory: it travels unconverted.
Bytes host_bytes(uint64_t v) {
    Bytes b(8);
    std::memcpy(b.data(), &v, 8);
    return b;
}

struct TrapRow {
    const char *name;
    std::function<uint32_t(uint32_t op)> call;
    Tlv item;
};

std::vector<TrapRow> trap_rows() {
    return {
        {"PrivateTrap", [](uint32_t op) { return TE_MOR_SetPrivateTrap(op, kMask); },
         {13, host_bytes(kMask)}},
        {"Trap", TE_MOR_SetTrap, {10, {}}},
    };
}

class Traps : public DaemonTest {};

TEST_F(Traps, SettersSendClassZeroWithTheCallersOp) {
    for (const TrapRow &row : trap_rows()) {
        for (uint32_t op : {0u, 1u}) {
            SCOPED_TRACE(std::string(row.name) + " op " + std::to_string(op));
            daemon->answer_result(0x12345678);
            EXPECT_EQ(row.call(op), 0x12345678u);
            const Message m = daemon->last();
            EXPECT_EQ(m.msgClass, 0);
            EXPECT_EQ(m.op, op);
            EXPECT_EQ(m.items, std::vector<Tlv>{row.item});
        }
    }
}

TEST_F(Traps, RefusalsSendNothing) {
    struct Case {
        bool teOn;
        uint32_t op;
        uint32_t rc;
    };
    const Case cases[] = {
        {true, 2, TE_MOR_ERR_FAIL},          // op checked after the TE check passed
        {true, 0xFFFFFFFF, TE_MOR_ERR_FAIL},
        {false, 0, TE_MOR_ERR_TE_DISABLED},
        {false, 2, TE_MOR_ERR_TE_DISABLED},  // the TE check comes first
        {false, 1, TE_MOR_OK},
    };
    for (const TrapRow &row : trap_rows()) {
        for (const Case &c : cases) {
            SCOPED_TRACE(std::string(row.name) + " op " + std::to_string(c.op));
            dirs.set_te_enabled(c.teOn);
            EXPECT_EQ(row.call(c.op), c.rc);
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

TEST_F(Traps, EnableTrapMapsEnableToOp) {
    for (const auto &[enable, op] : {std::pair{1u, 0}, {0u, 1}, {7u, 0}}) {
        SCOPED_TRACE(enable);
        EXPECT_EQ(TE_EnableTrap(enable), 0u);
        EXPECT_EQ(daemon->last().op, op);
    }
}

TEST_F(Traps, NotifyReadSendsTheQueryAndDecodesTheFirstWord) {
    dirs.set_te_enabled(false);  // the read makes no check
    daemon->answer_result(0, {{77, {0x01, 0x02, 0x03, 0x04, 0xFF}}, {1, be32(5)}});
    uint32_t state = 0;
    EXPECT_EQ(TE_MOR_GetTunnelNotifyEnable(&state), 0u);
    EXPECT_EQ(state, 0x01020304u);
    const Message m = daemon->last();
    EXPECT_EQ(m.msgClass, 4);
    EXPECT_EQ(m.op, 3);
    EXPECT_EQ(m.items, (std::vector<Tlv>{{104, {}}}));
}

TEST_F(Traps, NotifyReadFailures) {
    uint32_t state = 9;
    EXPECT_EQ(TE_MOR_GetTunnelNotifyEnable(nullptr), TE_MOR_ERR_FAIL);
    EXPECT_EQ(daemon->request_count(), 0u);

    daemon->answer_result(0);  // no item
    EXPECT_EQ(TE_MOR_GetTunnelNotifyEnable(&state), TE_MOR_ERR_FAIL);
    EXPECT_EQ(state, 9u);

    daemon->answer_result(0x250C0001, {{0, be32(1)}});
    EXPECT_EQ(TE_MOR_GetTunnelNotifyEnable(&state), 0x250C0001u);
    EXPECT_EQ(state, 9u);
}

// A short item at the very end of the datagram: the bytes behind it were
// never received and count as zero; an empty item has no value pointer.
TEST_F(Traps, ShortNotifyItemIsNotReadPastTheReply) {
    daemon->answer(reply(0, {{0, {0xAB, 0xCD}}}));
    uint32_t state = 0;
    EXPECT_EQ(TE_MOR_GetTunnelNotifyEnable(&state), 0u);
    EXPECT_EQ(state, 0xABCD0000u);

    daemon->answer(reply(0, {{0, {}}}));
    EXPECT_EQ(TE_MOR_GetTunnelNotifyEnable(&state), 0u);
    EXPECT_EQ(state, 0u);
}

TEST_F(Traps, CapabilityFollowsTheState) {
    const std::pair<uint32_t, uint16_t> cases[] = {{1, 1}, {2, 0}, {0, 0}, {0x01000000, 0}};
    for (const auto &[state, capability] : cases) {
        SCOPED_TRACE(state);
        daemon->answer_result(0, {{0, be32(state)}});
        uint16_t got = 7;
        EXPECT_EQ(TE_GetTrapCapability(&got), 0u);
        EXPECT_EQ(got, capability);
    }
    daemon->answer_result(0x250C0001);
    uint16_t untouched = 7;
    EXPECT_EQ(TE_GetTrapCapability(&untouched), 0x250C0001u);
    EXPECT_EQ(untouched, 7);
}

}  // namespace

// Debug switches: the change request on the wire and the read-back decoder.
#include <gtest/gtest.h>

#include <cstring>

#include "include/te_mor.h"
#include "support/fake_daemon.h"

using namespace temor::test;

namespace {

// A record whose every byte is 0xAB, to tell untouched from written.
TeDebugInfo sentinel() {
    TeDebugInfo info;
    std::memset(&info, 0xAB, sizeof info);
    return info;
}

bool untouched(const TeDebugInfo &info) {
    const TeDebugInfo s = sentinel();
    return std::memcmp(&info, &s, sizeof info) == 0;
}

// The 206-byte reply value: flags, item, then entry i = 0x1000 + i.
Bytes debug_value() {
    Bytes v = cat({be32(0x01020304), be16(0x0506)});
    for (uint16_t i = 0; i < 100; ++i) v = cat({v, be16(uint16_t(0x1000 + i))});
    return v;
}

}  // namespace

class Debug : public DaemonTest {};

TEST_F(Debug, SetDebugSendsFlagsAndItem) {
    TeDebugInfo info = sentinel();
    info.debugFlags = 5;
    info.debugItem = 7;
    for (uint32_t op : {0u, 1u}) {
        EXPECT_EQ(TE_MOR_SetDebug(op, &info), 0u);
        const Message m = daemon->last();
        EXPECT_EQ(m.msgClass, 0);
        EXPECT_EQ(m.op, op);
        EXPECT_EQ(m.items, (std::vector<Tlv>{{9, {0, 0, 0, 5, 0, 7, 0, 0}}}));
    }
}

TEST_F(Debug, SetDebugWhileOff) {
    dirs.set_te_enabled(false);
    TeDebugInfo info{};
    EXPECT_EQ(TE_MOR_SetDebug(1, &info), 0u);
    EXPECT_EQ(TE_MOR_SetDebug(0, &info), TE_MOR_ERR_TE_DISABLED);
    EXPECT_EQ(daemon->request_count(), 0u);
}

TEST_F(Debug, GetTeDebugFillsTheWholeRecord) {
    daemon->answer_result(0, {{6, debug_value()}});
    TeDebugInfo info = sentinel();
    EXPECT_EQ(TE_MOR_GetTeDebug(&info), 0u);
    const Message m = daemon->last();
    EXPECT_EQ(m.msgClass, TE_MOR_CLASS_QUERY);
    EXPECT_EQ(m.op, TE_MOR_OP_GET);
    EXPECT_EQ(m.items, (std::vector<Tlv>{{4, {}}}));
    EXPECT_EQ(info.debugFlags, 0x01020304u);
    EXPECT_EQ(info.debugItem, 0x0506);
    // Entry i is value bytes 6 + 2i and 7 + 2i: the 100th is bytes 204-205.
    for (uint16_t i = 0; i < 100; ++i) EXPECT_EQ(info.debugItemList[i], 0x1000 + i) << i;
}

TEST_F(Debug, GetTeDebugReadsShortItemsOnFromTheReply) {
    // Value bytes past a short item are what follows it in the reply (here
    // a second item: tag 00 01, length 00 02, AB CD), then zero.
    daemon->answer_result(0, {{6, be32(7)}, {1, be16(0xABCD)}});
    TeDebugInfo info = sentinel();
    EXPECT_EQ(TE_MOR_GetTeDebug(&info), 0u);
    EXPECT_EQ(info.debugFlags, 7u);
    EXPECT_EQ(info.debugItem, 1);
    EXPECT_EQ(info.debugItemList[0], 2);
    EXPECT_EQ(info.debugItemList[1], 0xABCD);
    for (int i = 2; i < 100; ++i) EXPECT_EQ(info.debugItemList[i], 0) << i;
}

TEST_F(Debug, GetTeDebugRefusals) {
    struct Case {
        const char *name;
        uint32_t daemonResult;
        std::vector<Tlv> items;
        uint32_t result;
    } cases[] = {
        {"wrong tag", 0, {{5, debug_value()}}, TE_MOR_ERR_FAIL},
        {"empty item", 0, {{6, {}}}, TE_MOR_ERR_FAIL},
        {"no item", 0, {}, TE_MOR_ERR_FAIL},
        {"daemon code", 0x250C0042, {{6, debug_value()}}, 0x250C0042},
    };
    for (const Case &c : cases) {
        daemon->answer_result(c.daemonResult, c.items);
        TeDebugInfo info = sentinel();
        EXPECT_EQ(TE_MOR_GetTeDebug(&info), c.result) << c.name;
        EXPECT_TRUE(untouched(info)) << c.name;
    }
}

TEST_F(Debug, GetTeDebugWhileOff) {
    dirs.set_te_enabled(false);
    TeDebugInfo info = sentinel();
    EXPECT_EQ(TE_MOR_GetTeDebug(&info), TE_MOR_ERR_TE_DISABLED);
    EXPECT_TRUE(untouched(info));
    EXPECT_EQ(daemon->request_count(), 0u);
}

TEST(DebugNoDaemon, GetTeDebugWithoutSocketSucceedsUntouched) {
    // The socket is opened before MPLS-TE is asked about, so even while off
    // a missing daemon gives 0.
    for (bool enabled : {true, false}) {
        PlatformDirs dirs;
        dirs.set_te_enabled(enabled);
        const int fds = open_fd_count();
        TeDebugInfo info = sentinel();
        EXPECT_EQ(TE_MOR_GetTeDebug(&info), 0u) << enabled;
        EXPECT_TRUE(untouched(info));
        EXPECT_EQ(open_fd_count(), fds);
    }
}

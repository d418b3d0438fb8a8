// Debug switches: the change request on the wire and the read-back decoder.
#include <gtest/gtest.h>

#include <cstring>

#include "include/te_mor.h"
#include "support/fake_daemon.h"
#include "support/records.h"

using namespace temor::test;

namespace {

// A record whose every byte is 0xAB, to tell untouched from written.
TeDebugInfo sentinel() {
    TeDebugInfo info;
    std::memset(&info, 0xAB, sizeof info);
    return info;
}

bool untouched(const TeDebugInfo &info) { return bytes_of(info) == bytes_of(sentinel()); }

// The 206-byte reply value: flags, item, then entry i = 0x1000 + i.
Bytes debug_value() {
    Bytes v = cat({be32(0x01020304), be16(0x0506)});
    for (uint16_t i = 0; i < 100; ++i) v = cat({v, be16(uint16_t(0x1000 + i))});
    return v;
}

}  // namespace

class Debug : public DaemonTest {};

TEST_F(Debug, SetDebugSendsFlagsAndItemAndChecksUndoWhileOff) {
    TeDebugInfo info = sentinel();
    info.debugFlags = 5;
    info.debugItem = 7;
    for (uint32_t op : {0u, 1u}) {
        EXPECT_EQ(TE_MOR_SetDebug(op, &info), 0u);
        EXPECT_EQ(last_sent(*daemon), message(0, op, 0, {{9, {0, 0, 0, 5, 0, 7, 0, 0}}}));
    }
    dirs.set_te_enabled(false);
    expect_refused(*daemon, {[&] { return TE_MOR_SetDebug(1, &info); }}, 0);
    expect_refused(*daemon, {[&] { return TE_MOR_SetDebug(0, &info); }}, TE_MOR_ERR_TE_DISABLED);
}

// Entry i is value bytes 6 + 2i and 7 + 2i: the 100th is bytes 204-205.
TEST_F(Debug, GetTeDebugFillsTheWholeRecord) {
    daemon->answer_result(0, {{6, debug_value()}});
    TeDebugInfo info = sentinel();
    EXPECT_EQ(TE_MOR_GetTeDebug(&info), 0u);
    EXPECT_EQ(last_sent(*daemon), message(TE_MOR_CLASS_QUERY, TE_MOR_OP_GET, 0, {{4, {}}}));
    EXPECT_EQ(info.debugFlags, 0x01020304u);
    EXPECT_EQ(info.debugItem, 0x0506);
    for (uint16_t i = 0; i < 100; ++i) EXPECT_EQ(info.debugItemList[i], 0x1000 + i) << i;
    // Value bytes past a short item are what follows it in the reply (here
    // a second item: tag 00 01, length 00 02, AB CD), then zero.
    daemon->answer_result(0, {{6, be32(7)}, {1, be16(0xABCD)}});
    info = sentinel();
    EXPECT_EQ(TE_MOR_GetTeDebug(&info), 0u);
    Bytes list(200, 0);
    list[1] = 2, list[2] = 0xAB, list[3] = 0xCD;
    EXPECT_EQ(info.debugFlags, 7u);
    EXPECT_EQ(info.debugItem, 1);
    EXPECT_EQ(bytes_of(info.debugItemList), host_image(list, {{0, 2, 100}}));
}

TEST_F(Debug, GetTeDebugRefusalsLeaveTheRecord) {
    const std::tuple<uint32_t, std::vector<Tlv>, uint32_t> cases[] = {
        {0, {{5, debug_value()}}, TE_MOR_ERR_FAIL},  // wrong tag
        {0, {{6, {}}}, TE_MOR_ERR_FAIL},
        {0, {}, TE_MOR_ERR_FAIL},
        {0x250C0042, {{6, debug_value()}}, 0x250C0042},
    };
    for (const auto &[code, items, result] : cases) {
        daemon->answer_result(code, items);
        TeDebugInfo info = sentinel();
        EXPECT_EQ(TE_MOR_GetTeDebug(&info), result) << code;
        EXPECT_TRUE(untouched(info));
    }
    // A null record keeps every result that comes before the record is
    // filled: the daemon's code, and the refusal while MPLS-TE is off.
    daemon->answer_result(0x250C0042, {{6, debug_value()}});
    EXPECT_EQ(TE_MOR_GetTeDebug(nullptr), 0x250C0042u);
    daemon->answer_result(0, {{6, debug_value()}});
    EXPECT_EQ(TE_MOR_GetTeDebug(nullptr), TE_MOR_ERR_FAIL);
    dirs.set_te_enabled(false);
    TeDebugInfo info = sentinel();
    expect_refused(*daemon, {[&] { return TE_MOR_GetTeDebug(&info); },
                             [] { return TE_MOR_GetTeDebug(nullptr); }}, TE_MOR_ERR_TE_DISABLED);
    EXPECT_TRUE(untouched(info));
}

// The socket is opened before MPLS-TE is asked about, so even while off a
// missing daemon gives 0 and an untouched record.
TEST_F(Debug, GetTeDebugWithoutSocketSucceedsUntouched) {
    daemon.reset();
    fdsBefore = open_fd_count();
    for (bool enabled : {true, false}) {
        dirs.set_te_enabled(enabled);
        TeDebugInfo info = sentinel();
        EXPECT_EQ(TE_MOR_GetTeDebug(&info), 0u) << enabled;
        EXPECT_TRUE(untouched(info));
        EXPECT_EQ(TE_MOR_GetTeDebug(nullptr), 0u) << enabled;
    }
}

#include <algorithm>
#include <cstdio>
#include <functional>

#include "include/te_mor.h"
#include "query/workers.h"
#include "support/fake_daemon.h"
#include "support/records.h"

using namespace temor::test;

namespace {

// TeTunnelInfo's numbers: words 0-14, halves 0-3, words 15-23.
Bytes tunnel_image(const Bytes &wire) {
    return host_image(wire, {{0, 4, 15}, {60, 2, 4}, {92, 4, 9}});
}

uint32_t decode(const Bytes &payload, TeTunnelInfo *info) {
    return TE_MOR_DecodeTunnelInfo(payload.data(), uint16_t(payload.size()), info);
}

// A row whose first word is id, the rest zero.
Bytes row(uint32_t id) { return cat({be32(id), Bytes(124, 0)}); }

}  // namespace

class TunnelQueryTest : public DaemonTest {};

TEST_F(TunnelQueryTest, RequestsCarryTheKeyBigEndian) {
    const TeTunnelIndexSet set{{1, 2, 3, 4}};
    const TeTunnelIndexSet zero{};
    const Bytes setWire = cat({be32(1), be32(2), be32(3), be32(4)});
    struct Case {
        const char *name;
        std::function<uint32_t(TeTunnelInfo *)> call;
        uint8_t op;
        uint16_t tag;
        Bytes value;
    };
    const Case cases[] = {
        {"exact", [&](TeTunnelInfo *i) { return TE_MOR_GetTunnel(&set, i); }, 3, 101, setWire},
        {"first", [](TeTunnelInfo *i) { return TE_MOR_GetFirstTunnel(i); }, 4, 101, Bytes(16, 0)},
        {"next", [&](TeTunnelInfo *i) { return TE_MOR_GetNextTunnel(&set, i); }, 5, 101, setWire},
        {"next zeros", [&](TeTunnelInfo *i) { return TE_MOR_GetNextTunnel(&zero, i); }, 5, 101,
         Bytes(16, 0)},
        {"id", [](TeTunnelInfo *i) { return TE_MOR_GetTunnelByTnlId(7, i); }, 3, 105, be32(7)},
        {"id 0", [](TeTunnelInfo *i) { return TE_MOR_GetTunnelByTnlId(0, i); }, 3, 105, be32(0)},
        {"first id", [](TeTunnelInfo *i) { return TE_MOR_GetFirstTunnelByTnlId(i); }, 4, 105,
         {0x00, 0x00, 0xFF, 0xFF}},
        {"next id", [](TeTunnelInfo *i) { return TE_MOR_GetNextTunnelByTnlId(65535, i); }, 5, 105,
         be32(65535)},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        daemon->answer_result(0, {{101, pattern(128)}});
        TeTunnelInfo info{};
        EXPECT_EQ(c.call(&info), TE_MOR_OK);
        EXPECT_EQ(daemon->requests().back(), message(4, c.op, 0, {{c.tag, c.value}}));
        EXPECT_EQ(bytes_of(info), tunnel_image(pattern(128)));
    }
}

TEST(TunnelDecode, ConvertsNumbersAndKeepsTheRawBlock) {
    TeTunnelInfo info{};
    ASSERT_EQ(decode(payload_of(reply(0, {{101, pattern(128)}})), &info), TE_MOR_OK);
    EXPECT_EQ(info.word0, 0x01020304u);
    EXPECT_EQ(info.half3, 0x4344u);
    EXPECT_EQ(info.rawBlock[0], 0x45);
    EXPECT_EQ(info.word15, 0x5D5E5F60u);
    EXPECT_EQ(info.word23, 0x7D7E7F80u);
    EXPECT_EQ(bytes_of(info), tunnel_image(pattern(128)));
}

// Whatever the item's length, at most 128 bytes are replaced and every
// number is converted, the caller's previous bytes included.
TEST(TunnelDecode, ItemLengthBoundsTheCopy) {
    const Bytes before = pattern(128, 0x80);
    for (size_t length : {0, 10, 62, 80, 127, 128, 200}) {
        SCOPED_TRACE(length);
        const Bytes value = pattern(length, 1);
        Guarded<TeTunnelInfo> g;
        set_bytes(g.rec, before);
        ASSERT_EQ(decode(payload_of(reply(0, {{3, value}})), &g.rec), TE_MOR_OK);
        Bytes wire = before;
        std::copy_n(value.begin(), std::min<size_t>(length, 128), wire.begin());
        EXPECT_EQ(bytes_of(g.rec), tunnel_image(wire));
        EXPECT_TRUE(g.guard_intact());
    }
}

TEST(TunnelDecode, OnlyTheFirstItemCounts) {
    TeTunnelInfo info{};
    const Bytes payload = payload_of(reply(0, {{101, pattern(128)}, {101, pattern(128, 0x55)}}));
    ASSERT_EQ(decode(payload, &info), TE_MOR_OK);
    EXPECT_EQ(bytes_of(info), tunnel_image(pattern(128)));
}

TEST(TunnelDecode, NoReadableItemLeavesTheRecord) {
    const Bytes truncated = {0, 101, 0, 20, 1, 2, 3};
    for (const Bytes &payload : {Bytes{}, Bytes{0, 101}, truncated}) {
        TeTunnelInfo info;
        set_bytes(info, pattern(128, 9));
        EXPECT_EQ(decode(payload, &info), TE_MOR_ERR_FAIL);
        EXPECT_EQ(bytes_of(info), pattern(128, 9));
    }
}

TEST_F(TunnelQueryTest, FailuresLeaveTheRecord) {
    struct Case {
        const char *name;
        Bytes reply;
        uint32_t expected;
    };
    const Case cases[] = {
        {"daemon code", reply(0x250C0042, {{101, pattern(128)}}), 0x250C0042},
        {"no item", reply(0), TE_MOR_ERR_FAIL},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        daemon->answer(c.reply);
        TeTunnelInfo info;
        set_bytes(info, pattern(128, 9));
        EXPECT_EQ(TE_MOR_GetFirstTunnel(&info), c.expected);
        EXPECT_EQ(bytes_of(info), pattern(128, 9));
    }
}

TEST_F(TunnelQueryTest, RefusedArgumentsSendNothing) {
    const TeTunnelIndexSet set{};
    TeTunnelInfo info{};
    EXPECT_EQ(TE_MOR_GetTunnel(nullptr, &info), TE_MOR_ERR_FAIL);
    EXPECT_EQ(TE_MOR_GetNextTunnel(nullptr, &info), TE_MOR_ERR_FAIL);
    EXPECT_EQ(TE_MOR_GetTunnel(&set, nullptr), TE_MOR_ERR_FAIL);
    EXPECT_EQ(TE_MOR_GetFirstTunnel(nullptr), TE_MOR_ERR_FAIL);
    EXPECT_EQ(TE_MOR_GetNextTunnel(&set, nullptr), TE_MOR_ERR_FAIL);
    EXPECT_EQ(TE_MOR_GetTunnelByTnlId(1, nullptr), TE_MOR_ERR_FAIL);
    EXPECT_EQ(TE_MOR_GetFirstTunnelByTnlId(nullptr), TE_MOR_ERR_FAIL);
    EXPECT_EQ(TE_MOR_GetNextTunnelByTnlId(1, nullptr), TE_MOR_ERR_FAIL);
    for (uint32_t op : {0u, 1u, 2u, 6u, 0x104u}) {
        EXPECT_EQ(TE_MOR_QueryTunnel(op, &set, &info), TE_MOR_ERR_FAIL);
        EXPECT_EQ(TE_MOR_QueryTunnelByTnlId(op, 1, &info), TE_MOR_ERR_FAIL);
    }
    EXPECT_EQ(daemon->request_count(), 0u);
}

TEST_F(TunnelQueryTest, NoDaemonIsAnOpenFailure) {
    std::remove((dirs.lipc() + "/lipc-0a7280").c_str());  // nobody listens
    TeTunnelInfo info{};
    EXPECT_EQ(TE_MOR_GetFirstTunnel(&info), TE_MOR_ERR_IPC_OPEN);
    EXPECT_EQ(TE_MOR_GetNextTunnelByTnlId(3, &info), TE_MOR_ERR_IPC_OPEN);
}

// A walk by tunnel id, each call on a socket of its own (the fixture checks
// that none is left open).
TEST_F(TunnelQueryTest, WalkByIdEndsOnTheDaemonCode) {
    for (uint32_t id : {10u, 20u, 30u}) daemon->answer_result(0, {{105, row(id)}});
    daemon->answer_result(0x250C0099);
    std::vector<uint32_t> seen;
    TeTunnelInfo info{};
    uint32_t rc = TE_MOR_GetFirstTunnelByTnlId(&info);
    while (rc == TE_MOR_OK) {
        seen.push_back(info.word0);
        rc = TE_MOR_GetNextTunnelByTnlId(info.word0, &info);
    }
    EXPECT_EQ(rc, 0x250C0099u);
    EXPECT_EQ(seen, (std::vector<uint32_t>{10, 20, 30}));
    EXPECT_EQ(info.word0, 30u);
    const auto requests = daemon->requests();
    ASSERT_EQ(requests.size(), 4u);
    EXPECT_EQ(requests[0], message(4, 4, 0, {{105, be32(65535)}}));
    for (size_t i = 1; i < 4; ++i)
        EXPECT_EQ(requests[i], message(4, 5, 0, {{105, be32(uint32_t(i * 10))}}));
}

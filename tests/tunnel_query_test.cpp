// Tunnel queries: requests by index set and by tunnel id, and the decoder.
#include <algorithm>
#include <cstdio>

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

}  // namespace

class TunnelQueryTest : public DaemonTest {};

TEST_F(TunnelQueryTest, RequestsCarryTheKeyBigEndian) {
    const TeTunnelIndexSet set{{1, 2, 3, 4}}, zero{};
    const Bytes setWire = cat({be32(1), be32(2), be32(3), be32(4)});
    TeTunnelInfo info{};
    const std::pair<Call, Bytes> cases[] = {
        {[&] { return TE_MOR_GetTunnel(&set, &info); }, message(4, 3, 0, {{101, setWire}})},
        {[&] { return TE_MOR_GetFirstTunnel(&info); }, message(4, 4, 0, {{101, Bytes(16, 0)}})},
        {[&] { return TE_MOR_GetNextTunnel(&set, &info); }, message(4, 5, 0, {{101, setWire}})},
        {[&] { return TE_MOR_GetNextTunnel(&zero, &info); }, message(4, 5, 0, {{101, Bytes(16, 0)}})},
        {[&] { return TE_MOR_GetTunnelByTnlId(0, &info); }, message(4, 3, 0, {{105, be32(0)}})},
        {[&] { return TE_MOR_GetFirstTunnelByTnlId(&info); }, message(4, 4, 0, {{105, be32(65535)}})},
        {[&] { return TE_MOR_GetNextTunnelByTnlId(7, &info); }, message(4, 5, 0, {{105, be32(7)}})},
    };
    for (const auto &[call, expected] : cases) {
        daemon->answer_result(0, {{101, pattern(128)}});
        info = {};
        EXPECT_EQ(call(), TE_MOR_OK);
        EXPECT_EQ(last_sent(*daemon), expected);
        EXPECT_EQ(bytes_of(info), tunnel_image(pattern(128)));
        daemon->answer_result(0x250C0042, {{101, pattern(128, 9)}});  // failures leave it
        EXPECT_EQ(call(), 0x250C0042u);
        daemon->answer_result(0);
        EXPECT_EQ(call(), TE_MOR_ERR_FAIL);
        EXPECT_EQ(bytes_of(info), tunnel_image(pattern(128)));
    }
    const TeTunnelIndexSet any{};
    expect_refused(*daemon, {
        [&] { return TE_MOR_GetTunnel(nullptr, &info); },
        [&] { return TE_MOR_GetNextTunnel(nullptr, &info); },
        [&] { return TE_MOR_GetTunnel(&any, nullptr); },
        [&] { return TE_MOR_GetFirstTunnel(nullptr); },
        [&] { return TE_MOR_GetNextTunnel(&any, nullptr); },
        [&] { return TE_MOR_GetTunnelByTnlId(1, nullptr); },
        [&] { return TE_MOR_GetFirstTunnelByTnlId(nullptr); },
        [&] { return TE_MOR_GetNextTunnelByTnlId(1, nullptr); },
    });
    for (uint32_t op : {0u, 1u, 2u, 6u, 0x104u})
        expect_refused(*daemon, {[&] { return TE_MOR_QueryTunnel(op, &any, &info); },
                                 [&] { return TE_MOR_QueryTunnelByTnlId(op, 1, &info); }});
}

// Whatever the item's length, at most 128 bytes are replaced and every
// number is converted, the caller's previous bytes included; only the first
// item counts.
TEST(TunnelDecode, ItemLengthBoundsTheCopy) {
    const Bytes before = pattern(128, 0x80);
    for (size_t length : {0, 10, 62, 80, 127, 128, 200}) {
        SCOPED_TRACE(length);
        Guarded<TeTunnelInfo> g;
        set_bytes(g.rec, before);
        const Bytes value = pattern(length);
        std::vector<Tlv> items = {{3, value}};
        if (length == 128) items.push_back({101, pattern(128, 0x55)});  // ignored
        ASSERT_EQ(decode(payload_of(reply(0, items)), &g.rec), TE_MOR_OK);
        Bytes wire = before;
        std::copy_n(value.begin(), std::min<size_t>(length, 128), wire.begin());
        EXPECT_EQ(bytes_of(g.rec), tunnel_image(wire));
        EXPECT_TRUE(g.guard_intact());
        if (length != 128) continue;
        // Field kinds, independently of the image helper.
        EXPECT_EQ(g.rec.half3, 0x4344u);
        EXPECT_EQ(g.rec.rawBlock[0], 0x45);
        EXPECT_EQ(g.rec.word23, 0x7D7E7F80u);
    }
    for (const Bytes &payload : {Bytes{}, Bytes{0, 101}, Bytes{0, 101, 0, 20, 1, 2, 3}}) {
        TeTunnelInfo info;
        set_bytes(info, pattern(128, 9));
        EXPECT_EQ(decode(payload, &info), TE_MOR_ERR_FAIL);
        EXPECT_EQ(bytes_of(info), pattern(128, 9));
    }
}

TEST_F(TunnelQueryTest, NoDaemonIsAnOpenFailure) {
    std::remove((dirs.lipc() + "/lipc-0a7280").c_str());  // nobody listens
    TeTunnelInfo info{};
    EXPECT_EQ(TE_MOR_GetNextTunnelByTnlId(3, &info), TE_MOR_ERR_IPC_OPEN);
}

// A walk by tunnel id, each call on a socket of its own (the fixture checks
// that none is left open).
TEST_F(TunnelQueryTest, WalkByIdEndsOnTheDaemonCode) {
    for (uint32_t id : {10u, 20u, 30u}) daemon->answer_result(0, {{105, cat({be32(id), Bytes(124, 0)})}});
    daemon->answer_result(0x250C0099);
    std::vector<uint32_t> seen;
    TeTunnelInfo info{};
    uint32_t rc = TE_MOR_GetFirstTunnelByTnlId(&info);
    for (; rc == TE_MOR_OK; rc = TE_MOR_GetNextTunnelByTnlId(info.word0, &info)) seen.push_back(info.word0);
    EXPECT_EQ(rc, 0x250C0099u);
    EXPECT_EQ(seen, (std::vector<uint32_t>{10, 20, 30}));
    EXPECT_EQ(last_sent(*daemon), message(4, 5, 0, {{105, be32(30)}}));
}

// Tunnel queries as query rows (by index set and by tunnel id), the workers'
// op check and a walk.
#include "include/te_mor.h"
#include "query/tables.h"
#include "query/workers.h"
#include "support/tables.h"

using namespace temor::test;

namespace {

Bytes tunnel_image(const Bytes &wire) { return host_image(wire, temor::tables::kTunnelInfo); }

// Whatever the item's length, at most 128 bytes are replaced and every
// number is converted, the caller's previous bytes included; only the first
// item counts. A payload cut inside an item holds none.
std::vector<Decoding> lengths() {
    const Bytes before = pattern(128, 0x80);
    std::vector<Decoding> out = laid_over(3, {0, 10, 62, 80, 127, 128, 200}, before, tunnel_image, {},
                                          {{101, pattern(128, 0x55)}});
    for (const Bytes &payload : {Bytes{0, 101}, Bytes{0, 101, 0, 20, 1, 2, 3}})
        out.push_back({cat({{4, 0, 0, uint8_t(payload.size())}, be32(0), payload}), before, TE_MOR_ERR_FAIL, before});
    return out;
}

const TeTunnelIndexSet kSet{{1, 2, 3, 4}}, kZero{};
const Bytes kSetWire = cat({be32(1), be32(2), be32(3), be32(4)});
const QueryTable kTunnels{128, {101, pattern(128)}, tunnel_image(pattern(128)), lengths()};

// Keys travel big-endian, as given.
const QueryRow kRows[] = {
    {QUERY_ROW(TE_MOR_GetTunnel, &kSet, r), &kTunnels, message(4, 3, 0, {{101, kSetWire}}),
     QUERY_CALL(TE_MOR_GetTunnel, nullptr, r)},
    {QUERY_ROW(TE_MOR_GetFirstTunnel, r), &kTunnels, message(4, 4, 0, {{101, Bytes(16, 0)}})},
    {QUERY_ROW(TE_MOR_GetNextTunnel, &kSet, r), &kTunnels, message(4, 5, 0, {{101, kSetWire}}),
     QUERY_CALL(TE_MOR_GetNextTunnel, nullptr, r)},
    {"TE_MOR_GetNextTunnel_ZeroKey", QUERY_CALL(TE_MOR_GetNextTunnel, &kZero, r), &kTunnels,
     message(4, 5, 0, {{101, Bytes(16, 0)}})},
    {QUERY_ROW(TE_MOR_GetTunnelByTnlId, 0, r), &kTunnels, message(4, 3, 0, {{105, be32(0)}})},
    {QUERY_ROW(TE_MOR_GetFirstTunnelByTnlId, r), &kTunnels, message(4, 4, 0, {{105, be32(65535)}})},
    {QUERY_ROW(TE_MOR_GetNextTunnelByTnlId, 7, r), &kTunnels, message(4, 5, 0, {{105, be32(7)}})},
};
QUERY_TABLE(Tunnel, kRows);

class TunnelQueryTest : public DaemonTest {};

// Field kinds read independently of host_image: the one check of the image
// helper that every table's expected records come from.
TEST_F(TunnelQueryTest, DecodesEveryFieldKind) {
    daemon->answer_result(0, {{101, pattern(128)}});
    TeTunnelInfo info;
    ASSERT_EQ(TE_MOR_GetFirstTunnel(&info), 0u);
    EXPECT_EQ(info.half3, 0x4344u);
    EXPECT_EQ(info.rawBlock[0], 0x45);
    EXPECT_EQ(info.word23, 0x7D7E7F80u);
}

// Only exact, first and next rows are read, tunnels, paths and hops alike.
TEST_F(TunnelQueryTest, WorkersRefuseOtherOps) {
    TeTunnelInfo info{};
    TeHopInfo hop{};
    const TePathKey key{{1, 2}};
    for (uint32_t op : {0u, 1u, 2u, 6u, 0x104u}) {
        EXPECT_EQ(TE_MOR_QueryTunnel(op, &kSet, &info), TE_MOR_ERR_FAIL);
        EXPECT_EQ(TE_MOR_QueryTunnelByTnlId(op, 1, &info), TE_MOR_ERR_FAIL);
        EXPECT_EQ(TE_MOR_QueryPathHop(op, &hop), TE_MOR_ERR_FAIL);
        EXPECT_EQ(TE_MOR_QueryNewHop(op, &hop), TE_MOR_ERR_FAIL);
        EXPECT_EQ(TE_MOR_QueryTePath(op, &key, nullptr), TE_MOR_ERR_FAIL);
    }
    EXPECT_EQ(daemon->request_count(), 0u);
}

}  // namespace

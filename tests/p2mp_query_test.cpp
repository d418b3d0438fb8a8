// Multicast P2MP bindings and tunnels, tunnel interfaces, P2MP tunnel
// interfaces and destination lists as query rows, and the bounds of the
// destination lists.
#include <cstddef>

#include "include/te_mor.h"
#include "query/tables.h"
#include "support/tables.h"

using namespace temor::test;

namespace {

Bytes bind_image(const Bytes &wire) { return host_image(wire, temor::tables::kMcBind); }
Bytes mc_tunnel_image(const Bytes &wire) { return host_image(wire, temor::tables::kMcTunnel); }
Bytes tun_intf_image(const Bytes &wire) { return host_image(wire, temor::tables::kTunIntf); }

// ---- P2MP tunnel interface records -------------------------------------------

constexpr size_t kIntfSize = sizeof(TeP2mpTunIntfInfo);

// The first item: word0 1, byte0 2, byte1 3, half0 4, half1 5, destCount,
// word1 6.
Bytes intf_item(uint16_t destCount) {
    return cat({be32(1), {2, 3}, be16(4), be16(5), be16(destCount), be32(6)});
}

// before with the first item's fields (and destsReturned, if given) set.
Bytes intf_record(Bytes before, uint16_t destCount, std::optional<uint16_t> returned = {}) {
    TeP2mpTunIntfInfo r;
    set_bytes(r, before);
    r.word0 = 1, r.byte0 = 2, r.byte1 = 3, r.half0 = 4, r.half1 = 5, r.destCount = destCount, r.word1 = 6;
    if (returned) r.destsReturned = *returned;
    return bytes_of(r);
}

Bytes dest_list(uint32_t n, const Bytes &entries) { return cat({be32(n), entries}); }

// The record holds no array (dests null): a list with entries fails once
// the fields are filled; one without gives destsReturned 0; a short first
// item leaves zeros.
std::vector<Decoding> intf_replies() {
    const Bytes zero(kIntfSize, 0), before = pattern(kIntfSize, 0x30);
    TeP2mpTunIntfInfo shortRecord;
    set_bytes(shortRecord, before);
    shortRecord.word0 = 1, shortRecord.word1 = 0, shortRecord.byte0 = shortRecord.byte1 = 0;
    shortRecord.half0 = shortRecord.half1 = shortRecord.destCount = 0;
    return {
        {reply(0, {{19, intf_item(2)}, {20, dest_list(2, Bytes(16, 1))}}), zero, TE_MOR_ERR_FAIL, intf_record(zero, 2)},
        {reply(0, {{19, intf_item(2)}, {20, dest_list(0, {})}}), zero, 0, intf_record(zero, 2, 0)},
        {reply(0, {{19, be32(1)}}), before, 0, bytes_of(shortRecord)},
    };
}

// A short item clears what it lacks; a long one fills the record.
const QueryTable kBinds{.size = 12, .answer = {22, pattern(12)}, .decoded = bind_image(pattern(12)),
                        .replies = laid_over(22, {2, 20}, pattern(12, 0x30), bind_image, Bytes(12, 0)),
                        .held = true, .tag = 22};
const QueryTable kMcTunnels{.size = 8, .answer = {21, pattern(8)}, .decoded = mc_tunnel_image(pattern(8)),
                            .replies = laid_over(21, {2, 16}, pattern(8, 0x30), mc_tunnel_image, Bytes(8, 0)),
                            .held = true, .tag = 21};
// The tag is not examined; a short item replaces only its own bytes and
// every number is converted, the caller's included.
const QueryTable kTunIntfs{.size = 264, .answer = {1, pattern(264)}, .decoded = tun_intf_image(pattern(264)),
                           .replies = laid_over(99, {0, 41, 300}, pattern(264, 0x80), tun_intf_image),
                           .held = true};
const QueryTable kIntfs{.size = kIntfSize, .answer = {19, intf_item(0)},
                        .decoded = intf_record(Bytes(kIntfSize, 0), 0), .replies = intf_replies(),
                        .held = true, .tag = 19};

// The destination list of TE_MOR_GetP2mpTunDestAddr, into two entries.
uint32_t g_count;
const QueryTable kDests{.size = 16, .answer = {20, dest_list(2, pattern(16))},
                        .decoded = host_image(pattern(16), {{0, 4}, {8, 4}}), .held = true, .tag = 20};

// A tunnel key with its padding dirty: only word0 and byte0 are sent.
const TeMCastP2mpTunnelKey &tunnel_key() {
    static TeMCastP2mpTunnelKey k = [] {
        TeMCastP2mpTunnelKey v;
        std::memset(&v, 0xEE, sizeof v);
        v.word0 = 0x0A000001;
        v.byte0 = 7;
        return v;
    }();
    return k;
}
const Bytes kTunnelKeyWire = cat({be32(0x0A000001), {7, 0, 0, 0}});
const Bytes kBind = bytes_of(TeMCastP2mpBind{1, 2, 3, 4}), kBindWire = cat({be32(1), be32(2), be16(3), be16(4)});

const QueryRow kRows[] = {
    // The record is the key and the answer: it is sent as it stands,
    // big-endian, and the reply replaces it.
    {QUERY_ROW(TE_MOR_GetFirstMCastP2mpBind, s, r), &kBinds, message(4, 4, 0, {{8, kBindWire}}), {}, kBind},
    {QUERY_ROW(TE_MOR_GetNextMCastP2mpBind, s, r), &kBinds, message(4, 5, 0, {{8, kBindWire}}), {}, kBind},
    {QUERY_ROW(TE_MOR_GetMCastP2mpBind, s, r), &kBinds, message(4, 3, 0, {{8, kBindWire}}), {}, kBind},
    {QUERY_ROW(TE_MOR_GetFirstMCastP2mpTunnel, s, &tunnel_key(), r), &kMcTunnels,
     message(4, 4, 0, {{7, kTunnelKeyWire}}), QUERY_CALL(TE_MOR_GetFirstMCastP2mpTunnel, s, nullptr, r)},
    {QUERY_ROW(TE_MOR_GetNextMCastP2mpTunnel, s, &tunnel_key(), r), &kMcTunnels,
     message(4, 5, 0, {{7, kTunnelKeyWire}}), QUERY_CALL(TE_MOR_GetNextMCastP2mpTunnel, s, nullptr, r)},
    {QUERY_ROW(TE_MOR_GetMCastP2mpTunnel, s, &tunnel_key(), r), &kMcTunnels, message(4, 3, 0, {{7, kTunnelKeyWire}}),
     QUERY_CALL(TE_MOR_GetMCastP2mpTunnel, s, nullptr, r)},
    {QUERY_ROW(TE_MOR_GetFirstTunIntf, s, r), &kTunIntfs, message(4, 4, 0, {{1, {}}})},
    {QUERY_ROW(TE_MOR_GetNextTunIntf, s, 0x1234, r), &kTunIntfs, message(4, 5, 0, {{1, {0x12, 0x34, 0, 0}}}),
     QUERY_CALL(TE_MOR_GetNextTunIntf, s, 0xFFFF, r)},
    {QUERY_ROW(TE_MOR_GetTunIntf, s, 0, r), &kTunIntfs, message(4, 3, 0, {{1, Bytes(4, 0)}}),
     QUERY_CALL(TE_MOR_GetTunIntf, s, 0xFFFF, r)},
    {QUERY_ROW(TE_MOR_GetFirstP2mpTunIntf, s, r), &kIntfs, message(4, 4, 0, {{5, {}}})},
    {QUERY_ROW(TE_MOR_GetNextP2mpTunIntf, s, 0xFFFE, r), &kIntfs, message(4, 5, 0, {{5, {0xFF, 0xFE, 0, 0}}}),
     QUERY_CALL(TE_MOR_GetNextP2mpTunIntf, s, 0xFFFF, r)},
    {QUERY_ROW(TE_MOR_GetP2mpTunIntf, s, 0, r), &kIntfs, message(4, 3, 0, {{5, Bytes(4, 0)}}),
     QUERY_CALL(TE_MOR_GetP2mpTunIntf, s, 0xFFFF, r)},
    {QUERY_ROW(TE_MOR_GetP2mpTunDestAddr, s, 0x0102, 0xA0B0C0D0, &g_count, r), &kDests,
     message(4, 3, 0, {{6, {0x01, 0x02, 0, 0, 0xA0, 0xB0, 0xC0, 0xD0}}}),
     QUERY_CALL(TE_MOR_GetP2mpTunDestAddr, s, 0x0102, 0, &g_count, r)},
};
QUERY_TABLE(P2mp, kRows);

class P2mpQueryTest : public HeldSocketTest {
protected:
    // A record whose array holds kDestMax entries and a guard entry behind
    // them, all of them 0x5A bytes; destsReturned 77.
    static constexpr size_t kDestMax = TE_MOR_P2MP_DEST_MAX;
    TeP2mpDest dests[kDestMax + 1];
    TeP2mpTunIntfInfo info{};
    void SetUp() override {
        HeldSocketTest::SetUp();
        std::memset(dests, 0x5A, sizeof dests);
        info.destsReturned = 77;
        info.dests = dests;
    }
    Bytes dest_bytes(size_t from, size_t to) const {
        const auto *p = reinterpret_cast<const uint8_t *>(dests);
        return Bytes(p + from * 8, p + to * 8);
    }
};

// Entries of 12 bytes keep their first 8; entries of 4 bytes fill destWord
// alone; nothing past the N entries is written.
TEST_F(P2mpQueryTest, EntrySizeIsDerivedFromTheItem) {
    daemon->answer_result(0, {{19, intf_item(3)}, {20, dest_list(3, pattern(36))}});
    ASSERT_EQ(TE_MOR_GetFirstP2mpTunIntf(sock, &info), TE_MOR_OK);
    EXPECT_EQ(info.destsReturned, 3);
    EXPECT_EQ(dests[2].destWord, 0x191A1B1Cu);
    EXPECT_EQ(dest_bytes(0, 3), host_image(cat({pattern(8), pattern(8, 13), pattern(8, 25)}), {{0, 4, 3, 8}}));
    EXPECT_EQ(dest_bytes(3, 4), Bytes(8, 0x5A));

    std::memset(dests, 0x5A, sizeof dests);
    daemon->answer_result(0, {{19, intf_item(9)}, {20, dest_list(2, cat({be32(0x01020304), be32(0x05060708)}))}});
    ASSERT_EQ(TE_MOR_GetP2mpTunIntf(sock, 0, &info), TE_MOR_OK);
    EXPECT_EQ(info.destsReturned, 2);
    EXPECT_EQ(info.destCount, 9);  // as announced, whatever the list holds
    EXPECT_EQ(dests[1].destWord, 0x05060708u);
    EXPECT_EQ(dests[1].destBytes[0], 0x5A);
}

// destCount 0 needs no list and leaves destsReturned and the array as they
// were; a list that is missing, short, of another tag, or longer than the
// array fails with the fields filled and nothing else written.
TEST_F(P2mpQueryTest, ListBounds) {
    const Bytes none = dest_bytes(0, kDestMax + 1);
    daemon->answer_result(0, {{19, intf_item(0)}});
    ASSERT_EQ(TE_MOR_GetFirstP2mpTunIntf(sock, &info), TE_MOR_OK);
    EXPECT_EQ(info.destsReturned, 77);
    for (const Items &list : {Items{}, Items{{20, {0, 0, 1}}}, Items{{21, dest_list(1, pattern(8))}},
                              Items{{20, dest_list(kDestMax + 1, pattern(2000))}},
                              Items{{20, dest_list(0xFFFFFFFF, pattern(8))}}}) {
        info.word0 = 0;
        Items items = {{19, intf_item(1)}};
        items.insert(items.end(), list.begin(), list.end());
        daemon->answer_result(0, items);
        EXPECT_EQ(TE_MOR_GetFirstP2mpTunIntf(sock, &info), TE_MOR_ERR_FAIL);
        EXPECT_EQ(info.word0, 1u);
        EXPECT_EQ(info.destsReturned, 77);
        EXPECT_EQ(dest_bytes(0, kDestMax + 1), none);
    }
    // The largest list fits the array exactly: 512 entries of 3 bytes.
    daemon->answer_result(0, {{19, intf_item(1)}, {20, dest_list(kDestMax, pattern(3 * kDestMax))}});
    ASSERT_EQ(TE_MOR_GetFirstP2mpTunIntf(sock, &info), TE_MOR_OK);
    EXPECT_EQ(info.destsReturned, kDestMax);
    EXPECT_EQ(dest_bytes(kDestMax, kDestMax + 1), Bytes(8, 0x5A));
}

// The destination list alone: a count of 0 succeeds, a list longer than the
// array fails with the count untouched; a null count or array, selector 0
// and key 0xffff are refused before sending.
TEST_F(P2mpQueryTest, DestinationList) {
    uint32_t count = 99;
    daemon->answer_result(0, {{20, be32(0)}});
    ASSERT_EQ(TE_MOR_GetP2mpTunDestAddr(sock, 1, 1, &count, dests), TE_MOR_OK);
    EXPECT_EQ(count, 0u);
    count = 99;
    daemon->answer_result(0, {{20, dest_list(kDestMax + 1, pattern(1026))}});
    EXPECT_EQ(TE_MOR_GetP2mpTunDestAddr(sock, 1, 1, &count, dests), TE_MOR_ERR_FAIL);
    EXPECT_EQ(count, 99u);
    const size_t sent = daemon->request_count();
    EXPECT_EQ(TE_MOR_GetP2mpTunDestAddr(sock, 1, 1, nullptr, dests), TE_MOR_ERR_FAIL);
    EXPECT_EQ(TE_MOR_GetP2mpTunDestAddr(sock, 1, 1, &count, nullptr), TE_MOR_ERR_FAIL);
    EXPECT_EQ(TE_MOR_GetP2mpTunDestAddr(sock, 0xFFFF, 1, &count, dests), TE_MOR_ERR_FAIL);
    EXPECT_EQ(daemon->request_count(), sent);
}

}  // namespace

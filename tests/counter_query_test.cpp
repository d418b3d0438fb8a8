// Counter queries (one four-byte number each) and the index-set order.
#include <algorithm>
#include <cstring>

#include "include/te_mor.h"
#include "support/fake_daemon.h"
#include "support/records.h"

using namespace temor::test;

namespace {

const std::pair<uint32_t (*)(uint32_t *), uint16_t> kScalars[] = {
    {TE_MOR_GetTunnelConfigured, 100}, {TE_MOR_GetNextPathHopIndex, 102},
    {TE_MOR_GetTeActiveTunnels, 106},  {TE_MOR_GetTePrimaryTunnels, 107},
    {TE_GetBypassTunnelNum, 108},      {TE_MOR_GetNextTunnelHopListIndex, 110},
};

}  // namespace

class CounterQueryTest : public DaemonTest {};

TEST_F(CounterQueryTest, EachNumberIsOneEmptyItemAndFailuresLeaveIt) {
    for (const auto &[call, tag] : kScalars) {
        SCOPED_TRACE(tag);
        daemon->answer_result(0, {{1, {0x00, 0x00, 0x01, 0x02}}});
        uint32_t value = 0;
        EXPECT_EQ(call(&value), TE_MOR_OK);
        EXPECT_EQ(value, 258u);
        EXPECT_EQ(last_sent(*daemon), message(4, 3, 0, {{tag, {}}}));
        expect_refused(*daemon, {[&] { return call(nullptr); }});
        daemon->answer_result(0x250C0007, {{tag, be32(5)}});
        EXPECT_EQ(call(&value), 0x250C0007u);
        daemon->answer_result(0);
        EXPECT_EQ(call(&value), TE_MOR_ERR_FAIL);
        EXPECT_EQ(value, 258u);
    }
}

// Four bytes are read from where the value begins whatever the item's
// length, so a short item lends the bytes behind it in the reply.
TEST_F(CounterQueryTest, FourByteNumbersIgnoreTheItemLength) {
    const std::pair<std::vector<Tlv>, uint32_t> cases[] = {
        {{{100, {0x01, 0x02}}, {0x0304, {}}}, 0x01020304},
        {{{100, {}}, {0x0A0B, {}}}, 0x0A0B0000},
        {{{100, {}}}, 0},
        {{{100, {9, 8, 7, 6, 5, 4}}}, 0x09080706},
    };
    for (const auto &[items, expected] : cases) {
        daemon->answer_result(0, items);
        uint32_t value = 0xFFFFFFFF;
        EXPECT_EQ(TE_MOR_GetTunnelConfigured(&value), TE_MOR_OK);
        EXPECT_EQ(value, expected);
    }
}

// The bypass count replaces only as many leading bytes as the item holds and
// converts the four bytes of the caller's number as they then stand.
TEST_F(CounterQueryTest, BypassCountReplacesOnlyTheItemsBytes) {
    const std::pair<Bytes, uint32_t> cases[] = {
        {{0x00, 0x05}, 0}, {{0x00, 0x05}, 0x11223344}, {{}, 0x11223344}, {{1, 2, 3, 4, 5, 6}, 0x11223344}};
    for (const auto &[bytes, before] : cases) {
        daemon->answer_result(0, {{108, bytes}});
        uint32_t value = before;
        EXPECT_EQ(TE_GetBypassTunnelNum(&value), TE_MOR_OK);
        uint8_t image[4];
        std::memcpy(image, &before, 4);
        std::copy_n(bytes.begin(), std::min<size_t>(bytes.size(), 4), image);
        EXPECT_EQ(value, uint32_t(image[0]) << 24 | uint32_t(image[1]) << 16 | uint32_t(image[2]) << 8 | image[3]);
        if (before == 0 && bytes.size() == 2) { EXPECT_EQ(value, 327680u); }  // 00 05 00 00
    }
}

TEST(CmpIndexSet, OrdersWordByWordUnsigned) {
    const std::tuple<TeTunnelIndexSet, TeTunnelIndexSet, int32_t> cases[] = {
        {{{1, 2, 3, 4}}, {{1, 2, 4, 0}}, -1},
        {{{1, 2, 4, 0}}, {{1, 2, 3, 4}}, 1},
        {{{0xFFFFFFFF, 0, 0, 0}}, {{1, 0, 0, 0}}, 1},
        {{{0, 0, 0, 1}}, {{0, 0, 0, 0xFFFFFFFF}}, -1},
        {{{5, 6, 7, 8}}, {{5, 6, 7, 8}}, 0},
    };
    for (const auto &[a, b, expected] : cases) EXPECT_EQ(TE_CmpIndexSet(&a, &b), expected);
}

#include <algorithm>
#include <cstring>

#include "include/te_mor.h"
#include "support/fake_daemon.h"

using namespace temor::test;

namespace {

struct Scalar {
    const char *name;
    uint32_t (*call)(uint32_t *);
    uint16_t tag;
};

const Scalar kScalars[] = {
    {"configured", TE_MOR_GetTunnelConfigured, 100},
    {"next path hop", TE_MOR_GetNextPathHopIndex, 102},
    {"active", TE_MOR_GetTeActiveTunnels, 106},
    {"primary", TE_MOR_GetTePrimaryTunnels, 107},
    {"bypass", TE_GetBypassTunnelNum, 108},
    {"next hop list", TE_MOR_GetNextTunnelHopListIndex, 110},
};

}  // namespace

class CounterQueryTest : public DaemonTest {};

TEST_F(CounterQueryTest, EachNumberIsOneEmptyItem) {
    for (const Scalar &s : kScalars) {
        SCOPED_TRACE(s.name);
        daemon->answer_result(0, {{1, {0x00, 0x00, 0x01, 0x02}}});
        uint32_t value = 0;
        EXPECT_EQ(s.call(&value), TE_MOR_OK);
        EXPECT_EQ(value, 258u);
        EXPECT_EQ(daemon->requests().back(), message(4, 3, 0, {{s.tag, {}}}));
    }
}

TEST_F(CounterQueryTest, FailuresLeaveTheNumber) {
    for (const Scalar &s : kScalars) {
        SCOPED_TRACE(s.name);
        const size_t sent = daemon->request_count();
        EXPECT_EQ(s.call(nullptr), TE_MOR_ERR_FAIL);
        EXPECT_EQ(daemon->request_count(), sent);
        uint32_t value = 0xDEADBEEF;
        daemon->answer_result(0x250C0007, {{s.tag, be32(5)}});
        EXPECT_EQ(s.call(&value), 0x250C0007u);
        daemon->answer_result(0);
        EXPECT_EQ(s.call(&value), TE_MOR_ERR_FAIL);
        EXPECT_EQ(value, 0xDEADBEEFu);
    }
}

// Four bytes are read from where the value begins whatever the item's
// length, so a short item lends the bytes behind it in the reply.
TEST_F(CounterQueryTest, FourByteNumbersIgnoreTheItemLength) {
    struct Case {
        const char *name;
        std::vector<Tlv> items;
        uint32_t expected;
    };
    const Case cases[] = {
        {"two bytes, then an item header", {{100, {0x01, 0x02}}, {0x0304, {}}}, 0x01020304},
        {"empty, then an item header", {{100, {}}, {0x0A0B, {}}}, 0x0A0B0000},
        {"empty, alone", {{100, {}}}, 0},
        {"six bytes", {{100, {9, 8, 7, 6, 5, 4}}}, 0x09080706},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        daemon->answer_result(0, c.items);
        uint32_t value = 0xFFFFFFFF;
        EXPECT_EQ(TE_MOR_GetTunnelConfigured(&value), TE_MOR_OK);
        EXPECT_EQ(value, c.expected);
    }
}

// The bypass count replaces only as many leading bytes as the item holds and
// converts the four bytes of the caller's number as they then stand.
TEST_F(CounterQueryTest, BypassCountReplacesOnlyTheItemsBytes) {
    struct Case {
        Bytes value;
        uint32_t before;
    };
    const Case cases[] = {
        {{0x00, 0x05}, 0},
        {{0x00, 0x05}, 0x11223344},
        {{}, 0x11223344},
        {{1, 2, 3, 4, 5, 6}, 0x11223344},
    };
    for (const Case &c : cases) {
        daemon->answer_result(0, {{108, c.value}});
        uint32_t value = c.before;
        EXPECT_EQ(TE_GetBypassTunnelNum(&value), TE_MOR_OK);
        uint8_t image[4];
        std::memcpy(image, &c.before, 4);
        std::copy_n(c.value.begin(), std::min<size_t>(c.value.size(), 4), image);
        const uint32_t expected = uint32_t(image[0]) << 24 | uint32_t(image[1]) << 16 |
                                  uint32_t(image[2]) << 8 | image[3];
        EXPECT_EQ(value, expected);
    }
    uint32_t cleared = 0;
    daemon->answer_result(0, {{108, {0x00, 0x05}}});
    ASSERT_EQ(TE_GetBypassTunnelNum(&cleared), TE_MOR_OK);
    EXPECT_EQ(cleared, 327680u);
}

TEST(CmpIndexSet, OrdersWordByWordUnsigned) {
    struct Case {
        TeTunnelIndexSet a, b;
        int32_t expected;
    };
    const Case cases[] = {
        {{{1, 2, 3, 4}}, {{1, 2, 4, 0}}, -1},
        {{{1, 2, 4, 0}}, {{1, 2, 3, 4}}, 1},
        {{{0xFFFFFFFF, 0, 0, 0}}, {{1, 0, 0, 0}}, 1},
        {{{0, 0, 0, 1}}, {{0, 0, 0, 0xFFFFFFFF}}, -1},
        {{{5, 6, 7, 8}}, {{5, 6, 7, 8}}, 0},
    };
    for (const Case &c : cases) EXPECT_EQ(TE_CmpIndexSet(&c.a, &c.b), c.expected);
}

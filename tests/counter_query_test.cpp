// Counter queries (one four-byte number each) as query rows, and the
// index-set order.
#include "include/te_mor.h"
#include "support/tables.h"

using namespace temor::test;

namespace {

const Bytes kBefore = {0x11, 0x22, 0x33, 0x44};

// Four bytes are read from where the value begins whatever the item's
// length, so a short item lends the bytes behind it in the reply; a short
// last item only the bytes received, the rest reading zero.
const QueryTable kCounter{4, {1, {0x00, 0x00, 0x01, 0x02}}, host32(258), {
    {reply(0, {{100, {0x01, 0x02}}, {0x0304, {}}}), kBefore, 0, host32(0x01020304)},
    {reply(0, {{100, {}}, {0x0A0B, {}}}), kBefore, 0, host32(0x0A0B0000)},
    {reply(0, {{100, {}}}), kBefore, 0, host32(0)},
    {reply(0, {{100, {0x01, 0x02}}}), kBefore, 0, host32(0x01020000)},
    {reply(0, {{100, {9, 8, 7, 6, 5, 4}}}), kBefore, 0, host32(0x09080706)},
}};
// The bypass count lays the item's bytes, at most four, over the leading
// bytes of the caller's number and converts the four as they then stand.
const QueryTable kBypass{4, {1, {0x00, 0x00, 0x01, 0x02}}, host32(258), {
    {reply(0, {{108, {0, 5}}}), {0, 0, 0, 0}, 0, host32(0x00050000)},
    {reply(0, {{108, {0, 5}}}), kBefore, 0, host32(0x00053344)},
    {reply(0, {{108, {}}}), kBefore, 0, host32(0x11223344)},
    {reply(0, {{108, {1, 2, 3, 4, 5, 6}}}), kBefore, 0, host32(0x01020304)},
}};

QueryRow counter(const char *name, uint32_t (*get)(uint32_t *), uint16_t tag, const QueryTable &t = kCounter) {
    return {name, [get](int, Rec r) { return get(r); }, &t, message(4, 3, 0, {{tag, {}}})};
}

const QueryRow kRows[] = {
    counter(NAMED(TE_MOR_GetTunnelConfigured), 100),
    counter(NAMED(TE_MOR_GetNextPathHopIndex), 102),
    counter(NAMED(TE_MOR_GetTeActiveTunnels), 106),
    counter(NAMED(TE_MOR_GetTePrimaryTunnels), 107),
    counter(NAMED(TE_GetBypassTunnelNum), 108, kBypass),
    counter(NAMED(TE_MOR_GetNextTunnelHopListIndex), 110),
};
QUERY_TABLE(Counter, kRows);

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

}  // namespace

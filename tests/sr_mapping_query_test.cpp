// Segment-routing mapping lists as query rows (lists that allocate nothing)
// and the lists that do: entries of every size, and the counts refused.
#include <cstdlib>
#include <optional>

#include "include/te_mor.h"
#include "support/tables.h"

using namespace temor::test;

namespace {

Bytes header(uint32_t word0, uint16_t half0, uint32_t count) {
    return cat({be32(word0), be16(half0), {0xEE, 0xEE}, be32(count)});
}

// before with the header fields set, and entries when given.
Bytes filled(const Bytes &before, uint32_t word0, uint16_t half0, uint32_t count,
             std::optional<TeSrMappingEntry *> entries) {
    TeSrMappingList l;
    set_bytes(l, before);
    l.word0 = word0, l.half0 = half0, l.entryCount = count;
    if (entries) l.entries = *entries;
    return bytes_of(l);
}

const Bytes kOld = pattern(sizeof(TeSrMappingList), 0x30), kZero(sizeof(TeSrMappingList), 0);

// A count with an empty entry item gives no array; a failure after the
// header leaves the header filled and entries as they were, a count larger
// than the entry item's bytes included.
std::vector<Decoding> lists() {
    const auto ok = [](const Bytes &head, const Bytes &entries, Bytes after) {
        return Decoding{reply(0, {{23, head}, {24, entries}}), kOld, 0, std::move(after)};
    };
    const auto fail = [](std::vector<Tlv> items, uint32_t count) {
        return Decoding{reply(0, items), kOld, TE_MOR_ERR_FAIL, filled(kOld, 1, 2, count, std::nullopt)};
    };
    return {ok(header(1, 2, 2), {}, filled(kOld, 1, 2, 2, nullptr)),
            ok({0, 0, 0, 9, 0, 3}, be32(1), filled(kOld, 9, 3, 0, nullptr)),
            fail({{23, header(1, 2, 2)}}, 2),
            fail({{23, header(1, 2, 2)}, {25, be32(1)}}, 2),
            fail({{23, header(1, 2, 5)}, {24, be32(1)}}, 5),
            fail({{23, header(1, 2, 0xFFFFFFFF)}, {24, pattern(2000)}}, 0xFFFFFFFF)};
}

const QueryTable kSr{.size = sizeof(TeSrMappingList),
                     .answer = {23, header(5, 6, 0)},
                     .decoded = filled(kZero, 5, 6, 0, nullptr),
                     .replies = lists(),
                     .held = true,
                     .tag = 23,
                     .nullAfterReply = true,
                     .rest = {{24, {}}}};

// The first-row request sends the caller's key; only the exact read
// refuses 0xffffffff.
const QueryRow kRows[] = {
    {QUERY_ROW(TE_MOR_GetFirstSRMappingList, s, 7, r), &kSr, message(4, 4, 0, {{9, be32(7)}})},
    {QUERY_ROW(TE_MOR_GetNextSRMappingList, s, 0xFFFFFFFF, r), &kSr, message(4, 5, 0, {{9, be32(0xFFFFFFFF)}})},
    {QUERY_ROW(TE_MOR_GetSRMappingList, s, 0, r), &kSr, message(4, 3, 0, {{9, be32(0)}}),
     QUERY_CALL(TE_MOR_GetSRMappingList, s, 0xFFFFFFFF, r)},
};
QUERY_TABLE(SrMapping, kRows);

class SrMappingTest : public HeldSocketTest {};

// Entry size = item length / count; at most 4 bytes of each entry count,
// a shorter entry reading as zeros where it ends.
TEST_F(SrMappingTest, EntriesOfEverySize) {
    struct Case {
        uint32_t count;
        Bytes value;
        std::vector<std::pair<uint16_t, uint16_t>> entries;
    };
    const Case cases[] = {
        {3, pattern(12), {{0x0102, 0x0304}, {0x0506, 0x0708}, {0x090A, 0x0B0C}}},
        {2, pattern(16), {{0x0102, 0x0304}, {0x090A, 0x0B0C}}},
        {2, pattern(7), {{0x0102, 0x0300}, {0x0405, 0x0600}}},
        {3, pattern(3), {{0x0100, 0}, {0x0200, 0}, {0x0300, 0}}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << c.count << " entries in " << c.value.size() << " bytes");
        daemon->answer_result(0, {{23, header(1, 2, c.count)}, {24, c.value}});
        TeSrMappingList list{};
        ASSERT_EQ(TE_MOR_GetFirstSRMappingList(sock, 0, &list), TE_MOR_OK);
        ASSERT_NE(list.entries, nullptr);
        ASSERT_EQ(list.entryCount, c.count);
        for (size_t i = 0; i < c.entries.size(); ++i)
            EXPECT_EQ(std::make_pair(list.entries[i].half0, list.entries[i].half1), c.entries[i]) << i;
        std::free(list.entries);
    }
}

}  // namespace

// Bandwidth and DS-TE queries on a socket the caller holds open, as query
// rows.
#include <algorithm>

#include "include/te_mor.h"
#include "query/tables.h"
#include "support/tables.h"

using namespace temor::test;

namespace {

// TeBwAllocationInfo's numbers with the first n entries valid.
Bytes bw_image(const Bytes &wire, size_t n) {
    return host_image(wire, {{0, 4, 6}, {24, 4, 4}, {56, 4, 4}, {92, 4, 2}, {104, 4, n, 12}, {108, 4, n, 12}});
}

Bytes dste_image(const Bytes &wire) { return host_image(wire, temor::tables::kDste); }

// pattern(n) with entryCount (byte 88) set to count.
Bytes bw_value(size_t n, uint8_t count) {
    Bytes v = pattern(n);
    if (n > 88) v[88] = count;
    return v;
}

// An item replaces only its own bytes, at most the record's. Only the first
// entryCount entries (as the record then holds it) are converted, never more
// than the 16 slots, and nothing behind the record is written, a hostile
// count of 200 included.
std::vector<Decoding> entry_counts() {
    Bytes before = pattern(292, 0x80);
    before[88] = 2;
    std::vector<Decoding> out;
    for (const auto &[length, count] : std::initializer_list<std::pair<size_t, uint8_t>>{
             {0, 0}, {50, 0}, {95, 89}, {292, 0}, {292, 2}, {292, 16}, {292, 17}, {400, 200}, {1000, 255}}) {
        const Bytes value = bw_value(length, count);
        Bytes wire = before;
        std::copy_n(value.begin(), std::min<size_t>(length, 292), wire.begin());
        out.push_back({reply(0, {{9, value}}), before, 0, bw_image(wire, std::min<size_t>(wire[88], 16))});
    }
    return out;
}

const QueryTable kBw{.size = 292,
                     .answer = {1, bw_value(292, 2)},
                     .decoded = bw_image(bw_value(292, 2), 2),
                     .replies = entry_counts(),
                     .held = true};
// Only the first item counts.
const QueryTable kDste{.size = 60,
                       .answer = {9, pattern(60)},
                       .decoded = dste_image(pattern(60)),
                       .replies = {{reply(0, {{9, pattern(100)}, {9, pattern(60, 0x40)}}), Bytes(60, 0), 0,
                                    dste_image(pattern(60))}},
                       .held = true};

// Key 0 is reserved for the first row.
const QueryRow kRows[] = {
    {QUERY_ROW(TE_MOR_GetFirstBwAllocationInfo, s, r), &kBw, message(4, 4, 0, {{3, be32(0)}})},
    {QUERY_ROW(TE_MOR_GetNextBwAllocationInfo, s, 7, r), &kBw, message(4, 5, 0, {{3, be32(7)}}),
     QUERY_CALL(TE_MOR_GetNextBwAllocationInfo, s, 0, r)},
    {QUERY_ROW(TE_MOR_GetBwAllocationInfo, s, 0xFFFFFFFF, r), &kBw, message(4, 3, 0, {{3, be32(0xFFFFFFFF)}}),
     QUERY_CALL(TE_MOR_GetBwAllocationInfo, s, 0, r)},
    {QUERY_ROW(TE_MOR_GetDsteInfo, s, r), &kDste, message(4, 3, 0, {{2, {}}})},
};
QUERY_TABLE(Bandwidth, kRows);

}  // namespace

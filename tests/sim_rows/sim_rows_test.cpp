#include "tools/sim_rows.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "messaging/bytes.h"

namespace {

namespace tables = temor::tables;
using sim::RowStore;

// A row of record r whose key in every table reading r is made of n (the
// last four bytes of each key word, or of a shorter key its last bytes).
std::vector<uint8_t> keyed_row(const temor::Layout *r, uint32_t n) {
    std::vector<uint8_t> row(r->size, 0);
    uint8_t word[4];
    temor::put_be32(word, n);
    for (const tables::Table *t : tables::kAll) {
        if (t->record != r) continue;
        if (t->key == tables::Key::InRecord) {
            for (uint8_t i = 0; i < t->keyWords->count; ++i)
                if (t->keyWords->at[i] != tables::kZeroWord) std::copy(word, word + 4, &row[t->keyWords->at[i]]);
        } else if (t->nextKeySize != 0) {
            const size_t w = std::min<size_t>(4, t->nextKeySize);
            std::copy(word + 4 - w, word + 4, &row[t->nextKeyAt + t->nextKeySize - w]);
        }
    }
    return row;
}

std::vector<uint8_t> key_of(const tables::Table &t, sim::Row row) {
    uint8_t k[16];
    return {k, k + tables::row_key(t, row.data(), k)};
}

// Every kind at 60,000 rows (16-bit keys allow no more), added in reverse:
// each table walks them in its key order, finds each by its key, and the
// store holds at most twice the rows' wire images.
TEST(SimRows, EveryTableWalksInKeyOrderWithinTwiceTheImages) {
    constexpr uint32_t kRows = 60000;
    std::set<const temor::Layout *> records;
    for (const tables::Table *t : tables::kAll) records.insert(t->record);
    for (const temor::Layout *r : records) {
        RowStore store(r);
        const bool oneRow = std::any_of(std::begin(tables::kAll), std::end(tables::kAll),
                                        [&](auto *t) { return t->record == r && t->key == tables::Key::None; });
        const uint32_t rows = oneRow ? 1 : kRows;
        for (uint32_t n = rows; n >= 1; --n) ASSERT_TRUE(store.add(keyed_row(r, n), rows));
        store.shrink();
        ASSERT_EQ(store.size(), rows);
        EXPECT_LE(store.footprint(), 2 * size_t{rows} * r->size) << r->size;
        for (const tables::Table *t : tables::kAll) {
            if (t->record != r || t->key == tables::Key::None) continue;
            SCOPED_TRACE(t->name);
            uint32_t walked = 0;
            std::vector<uint8_t> last;
            for (sim::Row row = store.find(*t, 4, {}); !row.empty(); row = store.find(*t, 5, last)) {
                const std::vector<uint8_t> key = key_of(*t, row);
                ASSERT_TRUE(walked == 0 || last < key);
                ASSERT_EQ(key_of(*t, store.find(*t, 3, key)), key);
                last = key;
                ++walked;
            }
            EXPECT_EQ(walked, rows);
        }
    }
}

// A row replaces those sharing a key with it in any table of its record,
// added before or after a lookup; at the bound only a replacing row is taken.
TEST(SimRows, ReplacesByEveryTablesKeyAndKeepsItsBound) {
    const temor::Layout *r = tables::kTunnels.record;
    auto tunnel = [&](uint32_t id, uint32_t w1) {
        std::vector<uint8_t> row = keyed_row(r, id);
        temor::put_be32(&row[4], w1);  // a second word of the index set: a new key by index set only
        return row;
    };
    RowStore store(r);
    ASSERT_TRUE(store.add(tunnel(1, 0), 3));
    ASSERT_TRUE(store.add(tunnel(2, 0), 3));
    ASSERT_TRUE(store.add(tunnel(1, 5), 3));  // same id as the first: replaces it
    EXPECT_EQ(store.size(), 2u);
    ASSERT_TRUE(store.add(tunnel(3, 0), 3));
    EXPECT_FALSE(store.add(tunnel(4, 0), 3));  // full, and new
    EXPECT_TRUE(store.add(tunnel(3, 7), 3));   // full, but replaces id 3
    EXPECT_EQ(store.size(), 3u);
    uint8_t id[4];
    temor::put_be32(id, 1);
    EXPECT_EQ(store.find(tables::kTunnelsById, 3, id)[7], 5);
    EXPECT_TRUE(store.remove(tables::kTunnelsById, id));
    EXPECT_FALSE(store.remove(tables::kTunnelsById, id));
    EXPECT_TRUE(store.find(tables::kTunnelsById, 3, id).empty());
    EXPECT_EQ(store.size(), 2u);
}

}  // namespace

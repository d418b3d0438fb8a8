// The rows of one record kind in the simulator. Each row is its wire image
// (for a table with a list, the record followed by its entries), stored back
// to back in one buffer, and every table that reads the record keeps an index
// of the row numbers in its own key order. Rows are appended; the rows added
// since the last lookup are filed at the next one (sorted, merged into each
// index, and those they replace dropped), so a table file loads in
// O(n log n) and every exact, first and next lookup is a binary search.
// Memory per row: its image, 4 bytes per index, 4 more for a row of varying
// length, and one bit.
#ifndef TEMOR_TOOLS_SIM_ROWS_H
#define TEMOR_TOOLS_SIM_ROWS_H

#include <cstdint>
#include <span>
#include <vector>

#include "query/tables.h"

namespace sim {

using Row = std::span<const uint8_t>;

class RowStore {
public:
    explicit RowStore(const temor::Layout *record);

    // Adds a row; a row with the same key as another in any table that
    // reads the record replaces it. False (and nothing added) when the store
    // holds max rows and this one replaces none.
    bool add(std::span<const uint8_t> image, size_t max);
    // Removes the row whose key in t is key; false when there is none.
    bool remove(const temor::tables::Table &t, std::span<const uint8_t> key);
    size_t size() const;

    // In t's key order: op 3 the row whose key is key, 4 the first row, 5 the
    // first row whose key is greater (keys compare as byte strings). An
    // empty span when there is none.
    Row find(const temor::tables::Table &t, uint8_t op, std::span<const uint8_t> key) const;
    // The rows whose key in t begins with prefix, in key order, at most max.
    std::vector<Row> with_prefix(const temor::tables::Table &t, std::span<const uint8_t> prefix,
                                 size_t max) const;
    // Releases what the buffers hold beyond the rows (after a table file).
    void shrink();
    // Bytes this store holds, its buffers' capacities included.
    size_t footprint() const;

private:
    struct Index {
        const temor::tables::Table *table;
        std::vector<uint32_t> ids;  // filed rows, in key order
    };
    Row row(uint32_t id) const;
    size_t count() const { return dead_.size(); }
    int compare(const Index &x, uint32_t id, std::span<const uint8_t> key) const;
    bool less(const Index &x, uint32_t a, uint32_t b) const;
    void file() const;
    void file_into(Index &x, size_t from) const;
    void drop_dead() const;
    void compact() const;

    size_t width_;  // each row's size, 0 when rows differ in length (a list)
    mutable std::vector<uint8_t> bytes_;
    mutable std::vector<uint32_t> ends_;  // rows of varying length: where each ends
    mutable std::vector<bool> dead_;      // replaced or removed, until compacted
    mutable std::vector<Index> indexes_;
    mutable size_t filed_ = 0;  // rows below this number are in the indexes
    mutable size_t deadCount_ = 0;
};

}  // namespace sim

#endif

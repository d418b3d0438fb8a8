#include "tools/sim_rows.h"

#include <algorithm>
#include <cstring>
#include <numeric>

namespace sim {

namespace tables = temor::tables;

namespace {

// Keys compare as byte strings: a key that another begins with comes first.
int compare_bytes(std::span<const uint8_t> a, std::span<const uint8_t> b) {
    const size_t n = std::min(a.size(), b.size());
    const int c = n == 0 ? 0 : std::memcmp(a.data(), b.data(), n);
    if (c != 0) return c;
    return a.size() < b.size() ? -1 : a.size() > b.size() ? 1 : 0;
}

}  // namespace

RowStore::RowStore(const temor::Layout *record) : width_(record->size) {
    for (const tables::Table *t : tables::kAll) {
        if (t->record != record) continue;
        indexes_.push_back(Index{t, {}});
        if (t->list != nullptr) width_ = 0;
    }
}

Row RowStore::row(uint32_t id) const {
    if (width_ != 0) return {bytes_.data() + size_t{id} * width_, width_};
    const size_t start = id == 0 ? 0 : ends_[id - 1];
    return {bytes_.data() + start, ends_[id] - start};
}

// The row's key compared in place: the run of bytes, or the key words.
int RowStore::compare(const Index &x, uint32_t id, std::span<const uint8_t> key) const {
    const tables::Table &t = *x.table;
    const uint8_t *r = row(id).data();
    if (t.key != tables::Key::InRecord) return compare_bytes({r + t.nextKeyAt, t.nextKeySize}, key);
    static constexpr uint8_t kZero[4] = {};
    for (uint8_t i = 0; i < t.keyWords->count; ++i) {
        const size_t q = 4u * i;
        if (q >= key.size()) return 1;  // the row's key is the longer
        const uint16_t at = t.keyWords->at[i];
        const size_t n = std::min<size_t>(4, key.size() - q);
        if (const int c = std::memcmp(at == tables::kZeroWord ? kZero : r + at, key.data() + q, n); c != 0) return c;
        if (n < 4) return 1;
    }
    return key.size() > 4u * t.keyWords->count ? -1 : 0;
}

bool RowStore::less(const Index &x, uint32_t a, uint32_t b) const {
    uint8_t k[16];
    const uint16_t n = tables::row_key(*x.table, row(b).data(), k);
    return compare(x, a, {k, n}) < 0;
}

bool RowStore::add(std::span<const uint8_t> image, size_t max) {
    bytes_.insert(bytes_.end(), image.begin(), image.end());
    if (width_ == 0) ends_.push_back(static_cast<uint32_t>(bytes_.size()));
    dead_.push_back(false);
    if (indexes_.front().ids.size() + (count() - filed_) <= max) return true;
    file();
    if (indexes_.front().ids.size() <= max) return true;
    dead_.back() = true;  // it replaced no row: take it back
    ++deadCount_;
    drop_dead();
    return false;
}

bool RowStore::remove(const tables::Table &t, std::span<const uint8_t> key) {
    file();
    for (Index &x : indexes_) {
        if (x.table != &t) continue;
        const auto at = std::lower_bound(x.ids.begin(), x.ids.end(), key,
                                         [&](uint32_t id, auto k) { return compare(x, id, k) < 0; });
        if (at == x.ids.end() || compare(x, *at, key) != 0) return false;
        dead_[*at] = true;
        ++deadCount_;
        drop_dead();
        return true;
    }
    return false;
}

size_t RowStore::size() const {
    file();
    return indexes_.front().ids.size();
}

Row RowStore::find(const tables::Table &t, uint8_t op, std::span<const uint8_t> key) const {
    file();
    for (const Index &x : indexes_) {
        if (x.table != &t) continue;
        if (op == 4) return x.ids.empty() ? Row{} : row(x.ids.front());
        const auto past = [&](uint32_t id) { return op == 3 ? compare(x, id, key) >= 0 : compare(x, id, key) > 0; };
        const auto at = std::partition_point(x.ids.begin(), x.ids.end(), [&](uint32_t id) { return !past(id); });
        if (at == x.ids.end() || (op == 3 && compare(x, *at, key) != 0)) return {};
        return row(*at);
    }
    return {};
}

std::vector<Row> RowStore::with_prefix(const tables::Table &t, std::span<const uint8_t> prefix,
                                       size_t max) const {
    file();
    std::vector<Row> out;
    for (const Index &x : indexes_) {
        if (x.table != &t) continue;
        auto at = std::partition_point(x.ids.begin(), x.ids.end(),
                                       [&](uint32_t id) { return compare(x, id, prefix) < 0; });
        for (; at != x.ids.end() && out.size() < max; ++at) {
            uint8_t k[16];
            const uint16_t n = tables::row_key(t, row(*at).data(), k);
            if (n < prefix.size() || std::memcmp(k, prefix.data(), prefix.size()) != 0) break;
            out.push_back(row(*at));
        }
    }
    return out;
}

// Files the rows added since the last lookup into every index. Of rows with
// the same key in an index the last added stays; the others are dropped from
// every index, as a row replaces its predecessors in every table.
void RowStore::file() const {
    if (filed_ == count()) return;
    const size_t before = deadCount_;
    for (Index &x : indexes_) file_into(x, filed_);
    filed_ = count();
    if (deadCount_ != before) drop_dead();
    if (deadCount_ > 4096 && deadCount_ > indexes_.front().ids.size()) compact();
}

void RowStore::file_into(Index &x, size_t from) const {
    std::vector<uint32_t> added(count() - from);
    std::iota(added.begin(), added.end(), static_cast<uint32_t>(from));
    const auto by_key = [&](uint32_t a, uint32_t b) { return less(x, a, b); };
    std::stable_sort(added.begin(), added.end(), by_key);  // equal keys stay in the order added
    const auto bury = [&](uint32_t id) {
        if (!dead_[id]) ++deadCount_;
        dead_[id] = true;
    };
    for (size_t i = 0; i + 1 < added.size(); ++i)
        if (!by_key(added[i], added[i + 1])) bury(added[i]);
    const size_t filed = x.ids.size();
    for (const uint32_t id : added) {
        const auto at = std::lower_bound(x.ids.begin(), x.ids.begin() + static_cast<ptrdiff_t>(filed), id, by_key);
        if (at != x.ids.begin() + static_cast<ptrdiff_t>(filed) && !by_key(id, *at)) bury(*at);
    }
    x.ids.insert(x.ids.end(), added.begin(), added.end());
    std::inplace_merge(x.ids.begin(), x.ids.begin() + static_cast<ptrdiff_t>(filed), x.ids.end(), by_key);
}

void RowStore::drop_dead() const {
    for (Index &x : indexes_) std::erase_if(x.ids, [&](uint32_t id) { return dead_[id]; });
}

// Rewrites the buffers without the dead rows; row numbers keep their order.
void RowStore::compact() const {
    std::vector<uint8_t> bytes;
    std::vector<uint32_t> ends, renumber(count());
    uint32_t next = 0;
    for (uint32_t id = 0; id < count(); ++id) {
        if (dead_[id]) continue;
        const Row r = row(id);
        bytes.insert(bytes.end(), r.begin(), r.end());
        if (width_ == 0) ends.push_back(static_cast<uint32_t>(bytes.size()));
        renumber[id] = next++;
    }
    bytes_ = std::move(bytes);
    ends_ = std::move(ends);
    dead_.assign(next, false);
    deadCount_ = 0;
    filed_ = next;
    for (Index &x : indexes_)
        for (uint32_t &id : x.ids) id = renumber[id];
}

void RowStore::shrink() {
    file();
    if (deadCount_ != 0) compact();
    bytes_.shrink_to_fit();
    ends_.shrink_to_fit();
    dead_.shrink_to_fit();
    for (Index &x : indexes_) x.ids.shrink_to_fit();
}

size_t RowStore::footprint() const {
    size_t n = bytes_.capacity() + ends_.capacity() * sizeof(uint32_t) + dead_.capacity() / 8;
    for (const Index &x : indexes_) n += x.ids.capacity() * sizeof(uint32_t);
    return n;
}

}  // namespace sim

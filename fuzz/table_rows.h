// The table reads of the fuzz target `tables` (tables_fuzz.cpp): one row per
// table of tables::kEntryPoints. A table is read through its first-row,
// next-row and exact-row functions there, each on a guarded record of the
// table's size; a table whose functions take more than a socket, a key and
// a record, or whose reads hand the caller memory to free, has a row of its
// own here (kOwnRows). The default tests check that every table has exactly
// one row (tests/table_check_test.cpp).
#pragma once

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <vector>

#include "fuzz/harness.h"
#include "query/tables.h"

namespace temor::fuzz {

namespace tables = temor::tables;
using Dests = std::array<TeP2mpDest, TE_MOR_P2MP_DEST_MAX>;

constexpr uint32_t kKey = 7;  // not a reserved key: the request goes out

struct OwnRow {
    const tables::Table *table;
    void (*read)(int sock);
};

inline constexpr OwnRow kOwnRows[] = {
    // The entries a successful read allocates are the caller's to free.
    {&tables::kSrMappings,
     [](int sock) {
         Guarded<TeSrMappingList> first, next, exact;
         sr_list_read(TE_MOR_GetFirstSRMappingList(sock, kKey, first.get()), first.get());
         sr_list_read(TE_MOR_GetNextSRMappingList(sock, kKey, next.get()), next.get());
         sr_list_read(TE_MOR_GetSRMappingList(sock, kKey, exact.get()), exact.get());
     }},
    // A failed read may have filled the record's own fields; the array of
    // destinations must be untouched then, and nothing around either written.
    {&tables::kP2mpIntfs,
     [](int sock) {
         for (uint32_t op : {TE_MOR_OP_GET_FIRST, TE_MOR_OP_GET_NEXT, TE_MOR_OP_GET}) {
             Guarded<TeP2mpTunIntfInfo> info;
             Guarded<Dests> dests;
             info.get()->dests = dests.get()->data();
             dests.check(op == TE_MOR_OP_GET_FIRST ? TE_MOR_GetFirstP2mpTunIntf(sock, info.get())
                         : op == TE_MOR_OP_GET_NEXT ? TE_MOR_GetNextP2mpTunIntf(sock, kKey, info.get())
                                                    : TE_MOR_GetP2mpTunIntf(sock, kKey, info.get()));
         }
     }},
    // The list's rows are a key and one destination; the call reads a count
    // and an array.
    {&tables::kP2mpDests,
     [](int sock) {
         Guarded<uint32_t> count;
         Guarded<Dests> dests;
         const uint32_t rc = TE_MOR_GetP2mpTunDestAddr(sock, kKey, 1, count.get(), dests.get()->data());
         count.check(rc);
         dests.check(rc);
     }},
};

// The largest record of any table.
inline constexpr size_t kMostRecord = [] {
    size_t most = 0;
    for (const tables::Table *t : tables::kAll) most = std::max<size_t>(most, t->recordSize);
    return most;
}();

// Guarded for a record whose size is known at run time.
class GuardedBytes {
public:
    explicit GuardedBytes(size_t size) : size_(size) { std::memset(buf_, kFill, sizeof buf_); }
    ~GuardedBytes() {
        for (size_t i = 0; i < kMargin; ++i) {
            if (buf_[i] != kFill || buf_[kMargin + size_ + i] != kFill) {
                std::fprintf(stderr, "a decoder wrote outside the %zu-byte record (%s, byte %zu)\n",
                             size_, buf_[i] != kFill ? "before it" : "after it", i);
                std::abort();
            }
        }
    }
    GuardedBytes(const GuardedBytes &) = delete;
    GuardedBytes &operator=(const GuardedBytes &) = delete;

    uint8_t *get() { return buf_ + kMargin; }

    // A read that failed must have left the record as it was.
    void check(uint32_t rc) const {
        if (rc == TE_MOR_OK) return;
        for (size_t i = 0; i < size_; ++i) {
            if (buf_[kMargin + i] != kFill) {
                std::fprintf(stderr, "a read failing with 0x%08x changed byte %zu of the record\n", rc, i);
                std::abort();
            }
        }
    }

    // The fill pattern; a previous row of it keys every request with a key
    // no table refuses, and a record that is its own key stays the pattern.
    static constexpr uint8_t kFill = 0xa5;

private:
    static constexpr size_t kMargin = 64;
    size_t size_;
    alignas(16) uint8_t buf_[kMargin + kMostRecord + kMargin];
};

// Each of a table's functions on a guarded record of the table's size.
inline void read_all(const tables::EntryPoints &e, int sock) {
    alignas(16) uint8_t previous[kMostRecord];
    std::memset(previous, GuardedBytes::kFill, sizeof previous);
    for (const tables::EntryPoint *f : {&e.first, &e.next, &e.exact}) {
        if (f->call == nullptr) continue;
        GuardedBytes record(e.table->recordSize);
        record.check(f->call(sock, f == &e.first ? nullptr : previous, record.get()));
    }
}

// One table's reads.
struct TableRow {
    const tables::Table *table;
    void (*own)(int sock) = nullptr;                 // a row of its own, or
    const tables::EntryPoints *entryPoints = nullptr;  // the table's functions

    void read(int sock) const {
        if (own != nullptr) own(sock);
        else read_all(*entryPoints, sock);
    }
};

// The rows of every table of kEntryPoints that has one: its own row, else
// its functions where at least one takes only a socket, a key and a record.
inline std::vector<TableRow> table_rows() {
    std::vector<TableRow> out;
    for (const tables::EntryPoints &e : tables::kEntryPoints) {
        const auto own = std::find_if(std::begin(kOwnRows), std::end(kOwnRows),
                                      [&](const OwnRow &r) { return r.table == e.table; });
        if (own != std::end(kOwnRows))
            out.push_back({e.table, own->read});
        else if (e.first.call != nullptr || e.next.call != nullptr || e.exact.call != nullptr)
            out.push_back({e.table, nullptr, &e});
    }
    return out;
}

}  // namespace temor::fuzz

// Replies to every table read: one row per table of tables::kAll, calling
// each of its entry points (first row, next row, exact row) on a record of
// the table's public type. A table without a row here does not build.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "fuzz/harness.h"
#include "query/tables.h"

namespace {

using temor::fuzz::Guarded;
namespace tables = temor::tables;

struct Row {
    const tables::Table *table;
    size_t recordSize;  // of the record the calls read into
    void (*read)(int sock);
};

constexpr TeTunnelIndexSet kIndexSet{{1, 2, 3, 4}};
constexpr uint32_t kKey = 7;  // not the reserved key 0: the request goes out
using Dests = std::array<TeP2mpDest, TE_MOR_P2MP_DEST_MAX>;

// A list read: a failure leaves entries as they were (the fill pattern,
// never to be freed); a success hands the caller an array to free.
void list_read(uint32_t rc, TeSrMappingList *list) {
    if (rc == TE_MOR_OK) {
        std::free(list->entries);
        return;
    }
    TeSrMappingEntry *untouched;
    std::memset(&untouched, 0xa5, sizeof untouched);
    if (list->entries != untouched) {
        std::fprintf(stderr, "a list read failing with 0x%08x changed entries\n", rc);
        std::abort();
    }
}

constexpr Row kRows[] = {
    {&tables::kTunnels, sizeof(TeTunnelInfo),
     [](int) {
         Guarded<TeTunnelInfo> first, next, exact;
         first.check(TE_MOR_GetFirstTunnel(first.get()));
         next.check(TE_MOR_GetNextTunnel(&kIndexSet, next.get()));
         exact.check(TE_MOR_GetTunnel(&kIndexSet, exact.get()));
     }},
    {&tables::kTunnelsById, sizeof(TeTunnelInfo),
     [](int) {
         Guarded<TeTunnelInfo> first, next, exact;
         first.check(TE_MOR_GetFirstTunnelByTnlId(first.get()));
         next.check(TE_MOR_GetNextTunnelByTnlId(kKey, next.get()));
         exact.check(TE_MOR_GetTunnelByTnlId(kKey, exact.get()));
     }},
    {&tables::kBwAlloc, sizeof(TeBwAllocationInfo),
     [](int sock) {
         Guarded<TeBwAllocationInfo> first, next, exact;
         first.check(TE_MOR_GetFirstBwAllocationInfo(sock, first.get()));
         next.check(TE_MOR_GetNextBwAllocationInfo(sock, kKey, next.get()));
         exact.check(TE_MOR_GetBwAllocationInfo(sock, kKey, exact.get()));
     }},
    {&tables::kDsteTable, sizeof(TeDsteInfo),
     [](int sock) {
         Guarded<TeDsteInfo> only;
         only.check(TE_MOR_GetDsteInfo(sock, only.get()));
     }},
    {&tables::kIfConfigTable, sizeof(TeIfConfigInfo),
     [](int) {
         Guarded<TeIfConfigInfo> first, next, exact;
         first.check(TE_MOR_GetFirstIfConfig(first.get()));
         next.check(TE_MOR_GetNextIfConfig(kKey, next.get()));
         exact.check(TE_MOR_GetIfConfig(kKey, exact.get()));
     }},
    {&tables::kSrMappings, sizeof(TeSrMappingList),
     [](int sock) {
         Guarded<TeSrMappingList> first, next, exact;
         list_read(TE_MOR_GetFirstSRMappingList(sock, kKey, first.get()), first.get());
         list_read(TE_MOR_GetNextSRMappingList(sock, kKey, next.get()), next.get());
         list_read(TE_MOR_GetSRMappingList(sock, kKey, exact.get()), exact.get());
     }},
    {&tables::kMcBinds, sizeof(TeMCastP2mpBind),
     [](int sock) {
         Guarded<TeMCastP2mpBind> first, next, exact;
         first.check(TE_MOR_GetFirstMCastP2mpBind(sock, first.get()));
         next.check(TE_MOR_GetNextMCastP2mpBind(sock, next.get()));
         exact.check(TE_MOR_GetMCastP2mpBind(sock, exact.get()));
     }},
    {&tables::kMcTunnels, sizeof(TeMCastP2mpTunnel),
     [](int sock) {
         constexpr TeMCastP2mpTunnelKey key{kKey, 1};
         Guarded<TeMCastP2mpTunnel> first, next, exact;
         first.check(TE_MOR_GetFirstMCastP2mpTunnel(sock, &key, first.get()));
         next.check(TE_MOR_GetNextMCastP2mpTunnel(sock, &key, next.get()));
         exact.check(TE_MOR_GetMCastP2mpTunnel(sock, &key, exact.get()));
     }},
    {&tables::kTunIntfs, sizeof(TeTunIntfInfo),
     [](int sock) {
         Guarded<TeTunIntfInfo> first, next, exact;
         first.check(TE_MOR_GetFirstTunIntf(sock, first.get()));
         next.check(TE_MOR_GetNextTunIntf(sock, kKey, next.get()));
         exact.check(TE_MOR_GetTunIntf(sock, kKey, exact.get()));
     }},
    // A failed read may have filled the record's own fields; the array of
    // destinations must be untouched then, and nothing around either written.
    {&tables::kP2mpIntfs, sizeof(TeP2mpTunIntfInfo),
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
    {&tables::kP2mpDests, tables::kP2mpDestRow.size,
     [](int sock) {
         Guarded<uint32_t> count;
         Guarded<Dests> dests;
         const uint32_t rc = TE_MOR_GetP2mpTunDestAddr(sock, kKey, 1, count.get(), dests.get()->data());
         count.check(rc);
         dests.check(rc);
     }},
    {&tables::kTePaths, sizeof(TePathInfo),
     [](int) {
         constexpr TePathKey key{{1, 2}};
         Guarded<TePathInfo> first, next, exact;
         first.check(TE_MOR_GetFirstTePath(first.get()));
         next.check(TE_MOR_GetNextTePath(&key, next.get()));
         exact.check(TE_MOR_GetTePath(&key, exact.get()));
     }},
    {&tables::kPathHops, sizeof(TeHopInfo),
     [](int) {
         Guarded<TeHopInfo> first, next, exact;
         first.check(TE_MOR_GetFirstPathHop(first.get()));
         next.check(TE_MOR_GetNextPathHop(next.get()));
         exact.check(TE_MOR_GetPathHop(exact.get()));
     }},
    {&tables::kNewHops, sizeof(TeHopInfo),
     [](int) {
         Guarded<TeHopInfo> first, next, exact;
         first.check(TE_MOR_GetFirstNewHop(first.get()));
         next.check(TE_MOR_GetNextNewHop(next.get()));
         exact.check(TE_MOR_GetNewHop(exact.get()));
     }},
};

consteval bool every_table_has_one_row() {
    if (std::size(kRows) != std::size(tables::kAll)) return false;
    for (const tables::Table *t : tables::kAll) {
        int rows = 0;
        for (const Row &r : kRows) rows += r.table == t && r.recordSize == t->recordSize;
        if (rows != 1) return false;
    }
    return true;
}
static_assert(every_table_has_one_row(),
              "each table of tables::kAll needs one row, reading its public record");

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return temor::fuzz::with_reply(data, size, [](int sock) {
        for (const Row &r : kRows) r.read(sock);
    });
}

// Replies to every table read: one row per table of tables::kAll, calling
// each of its entry points (first row, next row, exact row) on a record of
// the table's public type. A table without a row here does not build.
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

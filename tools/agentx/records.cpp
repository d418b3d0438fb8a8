// How the agent keeps the rows of the tables of records.h.
#include "tools/agentx/records.h"

#include <cstdlib>
#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "messaging/bytes.h"
#include "tools/p2mp_image.h"

namespace agentx {
namespace {

namespace tb = temor::tables;

// The P2MP tunnel interfaces as served: the first item's image, and the
// destinations that came with it.
constexpr tb::List kP2mpDestList{.tag = 20, .entry = &tb::kP2mpDest, .countAt = 10, .name = "dests"};
constexpr tb::Table kP2mpServed = [] {
    tb::Table t = tb::kP2mpIntfs;
    t.recordSize = tb::kP2mpIntf.size;
    t.list = &kP2mpDestList;
    t.listed = nullptr;
    return t;
}();

uint32_t read_p2mp(tb::Call fn, int sock, const uint8_t *previous, uint8_t *row, std::vector<uint8_t> &list) {
    static thread_local std::vector<TeP2mpDest> dests(TE_MOR_P2MP_DEST_MAX);
    TeP2mpTunIntfInfo r{};
    r.dests = dests.data();
    const uint32_t rc = fn(sock, previous, &r);
    if (rc != TE_MOR_OK) return rc;
    tools::p2mp_image(r, row);
    const size_t n = r.destCount == 0 ? 0 : r.destsReturned;
    const auto *bytes = reinterpret_cast<const uint8_t *>(dests.data());
    list.insert(list.end(), bytes, bytes + n * sizeof(TeP2mpDest));
    return rc;
}

// Segment-routing mappings: the entries the query allocated, moved into
// list and freed.
uint32_t read_sr(tb::Call fn, int sock, const uint8_t *previous, uint8_t *row, std::vector<uint8_t> &list) {
    const uint32_t rc = fn(sock, previous, row);
    if (rc != TE_MOR_OK) return rc;
    TeSrMappingList r;
    std::memcpy(&r, row, sizeof r);
    const auto *bytes = reinterpret_cast<const uint8_t *>(r.entries);
    if (bytes != nullptr) list.insert(list.end(), bytes, bytes + size_t{r.entryCount} * sizeof *r.entries);
    std::free(r.entries);
    r.entries = nullptr;
    std::memcpy(row, &r, sizeof r);
    return rc;
}

// Explicit paths as served: the name, the flag and the hop count, then
// the hops (half0 turned to host order, as tectl shows it).
constexpr temor::Field kPathRowFields[] = {temor::text("name", 0, tb::kPathNameSize),
                                           temor::octets("pathFlag", tb::kPathNameSize), temor::pad(33, 1),
                                           temor::halves("hopCount", 34)};
constexpr temor::Layout kPathRow = temor::layout(36, kPathRowFields);
static_assert(temor::covers_exactly(kPathRow));
constexpr tb::List kHopList{.tag = tb::kExpathHopTag, .entry = &tb::kExpathHop, .countAt = 34, .name = "hops"};
constexpr tb::Table kPaths{.name = "paths", .tag = tb::kExpathTag, .record = &kPathRow, .recordSize = kPathRow.size,
                           .socket = tb::Socket::Held, .expect = {}, .key = tb::Key::Record, .keyLayout = &kPathRow,
                           .nextKeyAt = 0, .nextKeySize = tb::kPathNameSize, .list = &kHopList};

uint32_t first_path(int sock, const uint8_t *, void *reply) {
    return TE_MOR_GetFirstExpath(sock, static_cast<TeExpathReply *>(reply));
}
uint32_t next_path(int sock, const uint8_t *previous, void *reply) {
    return TE_MOR_GetNextExpath(sock, reinterpret_cast<const char *>(previous), static_cast<TeExpathReply *>(reply));
}

uint32_t read_path(tb::Call fn, int sock, const uint8_t *previous, uint8_t *row, std::vector<uint8_t> &list) {
    TeExpathReply r{};
    uint32_t rc = fn(sock, previous, &r);
    if (rc != TE_MOR_OK) return rc;
    std::memset(row, 0, kPathRow.size);
    const size_t length = r.name == nullptr ? 0 : std::strlen(r.name);
    if (length == 0 || length >= tb::kPathNameSize) rc = TE_MOR_ERR_FAIL;  // no name leads to the next path
    std::memcpy(row, r.name, std::min<size_t>(length, tb::kPathNameSize - 1));
    row[tb::kPathNameSize] = r.pathFlag;
    std::memcpy(row + kPathRowFields[3].offset, &r.hopCount, 2);
    for (uint16_t i = 0; r.hops != nullptr && i < r.hopCount; ++i) {
        TeExpathHop h = r.hops[i];
        h.half0 = temor::get_be16(reinterpret_cast<const uint8_t *>(&r.hops[i].half0));
        const auto *bytes = reinterpret_cast<const uint8_t *>(&h);
        list.insert(list.end(), bytes, bytes + sizeof h);
    }
    TE_MOR_FreeExpathReply(&r);
    return rc;
}

struct Reader {
    const tb::Table *table;
    const tb::Table *served;
    uint32_t (*read)(tb::Call, int, const uint8_t *, uint8_t *, std::vector<uint8_t> &);
};
const Reader kReaders[] = {
    {&tb::kP2mpIntfs, &kP2mpServed, read_p2mp},
    {&tb::kSrMappings, &tb::kSrMappings, read_sr},
    {&kPaths, &kPaths, read_path},
};

}  // namespace

const Extra kExtras[1] = {{&kPaths, first_path, next_path, 100}};

const tb::Table &served_table(const tb::Table &t) {
    for (const Reader &r : kReaders)
        if (r.table == &t) return *r.served;
    return t;
}

uint32_t read_row(const tb::Table &t, tb::Call fn, int sock, const uint8_t *previous, uint8_t *row,
                  std::vector<uint8_t> &list) {
    for (const Reader &r : kReaders)
        if (r.table == &t) return r.read(fn, sock, previous, row, list);
    return fn(sock, previous, row);
}

}  // namespace agentx

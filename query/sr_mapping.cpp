// Segment-routing mapping lists, read on a socket the caller holds open. A
// reply holds a header item and an item of entries; the entries go into an
// array allocated for the caller, who frees it.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "include/te_mor.h"
#include "messaging/bytes.h"
#include "query/query.h"
#include "query/tables.h"

using namespace temor;
using tables::kSrEntries;
using tables::kSrMappings;

namespace {

constexpr uint32_t kNoKey = 0xffffffffu;  // refused by the exact read only

// The largest array a reply can make the library allocate: a count is
// refused unless the entry item holds at least a byte per entry, and an
// item's length is 16 bits (and no more than a reply's 2048 bytes). The
// size never wraps, a 32-bit size_t included.
constexpr uint32_t kMostEntries = UINT16_MAX;
static_assert(uint64_t{kMostEntries} * sizeof(TeSrMappingEntry) < SIZE_MAX);

// Decodes a reply into list. The header fields are written as soon as the
// header item is read; entries only once the whole list is decoded.
uint32_t decode_list(Payload p, TeSrMappingList *list) {
    const ReplyItem head = p.next();
    if (!head.ok || head.tag != kSrMappings.expect.tag || head.length == 0) return TE_MOR_ERR_FAIL;
    if (list == nullptr) return TE_MOR_ERR_FAIL;  // where the list is first written
    uint8_t h[tables::kSrHeader.size] = {};
    std::memcpy(h, head.value, head.length < sizeof h ? head.length : sizeof h);
    list->word0 = get_be32(h + offsetof(TeSrMappingList, word0));
    list->half0 = get_be16(h + offsetof(TeSrMappingList, half0));
    list->entryCount = get_be32(h + kSrEntries.countAt);

    const ReplyItem body = p.next();
    if (!body.ok || body.tag != kSrEntries.tag) return TE_MOR_ERR_FAIL;
    const uint32_t count = list->entryCount;
    if (body.length == 0 || count == 0) {
        list->entries = nullptr;
        return TE_MOR_OK;
    }
    // The one bound of the library's own: fewer bytes than entries.
    if (count > body.length) return TE_MOR_ERR_FAIL;
    static_assert(sizeof body.length == 2, "count <= length <= kMostEntries");
    auto *entries = static_cast<TeSrMappingEntry *>(std::malloc(size_t{count} * sizeof(TeSrMappingEntry)));
    if (entries == nullptr) return TE_MOR_ERR_FAIL;
    const uint32_t size = body.length / count;
    const uint32_t take = size < sizeof(TeSrMappingEntry) ? size : sizeof(TeSrMappingEntry);
    for (uint32_t i = 0; i < count; ++i) {
        uint8_t e[tables::kSrEntry.size] = {};
        std::memcpy(e, body.value + size_t{i} * size, take);
        entries[i].half0 = get_be16(e + offsetof(TeSrMappingEntry, half0));
        entries[i].half1 = get_be16(e + offsetof(TeSrMappingEntry, half1));
    }
    list->entries = entries;
    return TE_MOR_OK;
}

// Socket -1 is refused before anything is sent; a null list only where it
// would first be written, so the daemon's code still comes back.
uint32_t read_list(int sock, uint32_t op, uint32_t key, TeSrMappingList *list) {
    return query_held(sock, op, item::Word{kSrMappings.tag, key},
                      [list](Payload p) { return decode_list(p, list); });
}

}  // namespace

extern "C" {

TE_MOR_API uint32_t TE_MOR_GetFirstSRMappingList(int sock, uint32_t key, TeSrMappingList *list) {
    return read_list(sock, TE_MOR_OP_GET_FIRST, key, list);
}

TE_MOR_API uint32_t TE_MOR_GetNextSRMappingList(int sock, uint32_t key, TeSrMappingList *list) {
    return read_list(sock, TE_MOR_OP_GET_NEXT, key, list);
}

TE_MOR_API uint32_t TE_MOR_GetSRMappingList(int sock, uint32_t key, TeSrMappingList *list) {
    if (key == kNoKey) return TE_MOR_ERR_FAIL;
    return read_list(sock, TE_MOR_OP_GET, key, list);
}

}  // extern "C"

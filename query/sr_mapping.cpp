// Segment-routing mapping lists, read on a socket the caller holds open. A
// reply holds a header item and an item of entries; the entries go into an
// array allocated for the caller, who frees it (query/decoders.h decodes).
#include <cstdint>

#include "include/te_mor.h"
#include "query/decoders.h"
#include "query/query.h"
#include "query/tables.h"

using namespace temor;
using tables::kSrMappings;

namespace {

constexpr uint32_t kNoKey = 0xffffffffu;  // refused by the exact read only

// Socket -1 is refused before anything is sent; a null list only where it
// would first be written, so the daemon's code still comes back.
uint32_t read_list(int sock, uint32_t op, uint32_t key, TeSrMappingList *list) {
    return query_held(sock, op, item::Word{kSrMappings.tag, key},
                      [list](Payload p) { return decode_sr_list(p, list); });
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

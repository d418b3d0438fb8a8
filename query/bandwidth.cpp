// The bandwidth allocation table and the DS-TE record, read on a socket the
// caller holds open.
#include "include/te_mor.h"
#include "query/query.h"
#include "query/tables.h"

using namespace temor;
using tables::kBwAlloc;

extern "C" {

TE_MOR_API uint32_t TE_MOR_GetFirstBwAllocationInfo(int sock, TeBwAllocationInfo *info) {
    return first_row<kBwAlloc>(sock, info);
}

TE_MOR_API uint32_t TE_MOR_GetNextBwAllocationInfo(int sock, uint32_t key,
                                                   TeBwAllocationInfo *info) {
    return keyed_row<kBwAlloc>(sock, TE_MOR_OP_GET_NEXT, key, info);
}

TE_MOR_API uint32_t TE_MOR_GetBwAllocationInfo(int sock, uint32_t key, TeBwAllocationInfo *info) {
    return keyed_row<kBwAlloc>(sock, TE_MOR_OP_GET, key, info);
}

TE_MOR_API uint32_t TE_MOR_GetDsteInfo(int sock, TeDsteInfo *info) {
    return only_row<tables::kDsteTable>(sock, info);
}

}  // extern "C"

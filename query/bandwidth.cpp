// The bandwidth allocation table and the DS-TE record, read on a socket the
// caller holds open.
#include "include/te_mor.h"
#include "query/layouts.h"
#include "query/query.h"

using namespace temor;

namespace {

constexpr uint16_t kTagBwKey = 3;
constexpr uint16_t kTagDste = 2;

uint32_t bw_row(int sock, uint32_t op, uint32_t key, TeBwAllocationInfo *info) {
    return held_row(sock, op, item::Word{kTagBwKey, key}, info, layouts::kBwAllocation);
}

}  // namespace

extern "C" {

TE_MOR_API uint32_t TE_MOR_GetFirstBwAllocationInfo(int sock, TeBwAllocationInfo *info) {
    return bw_row(sock, TE_MOR_OP_GET_FIRST, 0, info);
}

// Key 0 belongs to the first-row request and is refused here.
TE_MOR_API uint32_t TE_MOR_GetNextBwAllocationInfo(int sock, uint32_t key,
                                                   TeBwAllocationInfo *info) {
    return key == 0 ? TE_MOR_ERR_FAIL : bw_row(sock, TE_MOR_OP_GET_NEXT, key, info);
}

TE_MOR_API uint32_t TE_MOR_GetBwAllocationInfo(int sock, uint32_t key, TeBwAllocationInfo *info) {
    return key == 0 ? TE_MOR_ERR_FAIL : bw_row(sock, TE_MOR_OP_GET, key, info);
}

TE_MOR_API uint32_t TE_MOR_GetDsteInfo(int sock, TeDsteInfo *info) {
    return held_row(sock, TE_MOR_OP_GET, item::Flag{kTagDste}, info, layouts::kDste);
}

}  // extern "C"

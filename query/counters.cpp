// Single numbers of the daemon (tunnel counts, next free indexes), each read
// with one empty item on a socket per call, and the order of index sets.
#include "include/te_mor.h"
#include "query/decoders.h"
#include "query/query.h"
#include "query/tables.h"
#include "query/workers.h"

using namespace temor;
using tables::scalar;

extern "C" {

// The scalar worker (decode_scalar says how each number is read).
uint32_t TE_MOR_QueryScalar(uint16_t tag, uint32_t *value) {
    if (value == nullptr) return TE_MOR_ERR_FAIL;
    return query_own(TE_MOR_OP_GET, item::Flag{tag},
                     [tag, value](Payload p) { return decode_scalar(tag, p, value); });
}

TE_MOR_API uint32_t TE_MOR_GetTunnelConfigured(uint32_t *value) {
    return TE_MOR_QueryScalar(scalar("configured").tag, value);
}

TE_MOR_API uint32_t TE_MOR_GetNextPathHopIndex(uint32_t *value) {
    return TE_MOR_QueryScalar(scalar("next-path-hop-index").tag, value);
}

TE_MOR_API uint32_t TE_MOR_GetTeActiveTunnels(uint32_t *value) {
    return TE_MOR_QueryScalar(scalar("active").tag, value);
}

TE_MOR_API uint32_t TE_MOR_GetTePrimaryTunnels(uint32_t *value) {
    return TE_MOR_QueryScalar(scalar("primary").tag, value);
}

TE_MOR_API uint32_t TE_GetBypassTunnelNum(uint32_t *value) {
    return TE_MOR_QueryScalar(scalar("bypass").tag, value);
}

TE_MOR_API uint32_t TE_MOR_GetNextTunnelHopListIndex(uint32_t *value) {
    return TE_MOR_QueryScalar(scalar("next-hop-list-index").tag, value);
}

TE_MOR_API int32_t TE_CmpIndexSet(const TeTunnelIndexSet *a, const TeTunnelIndexSet *b) {
    for (int i = 0; i < 4; ++i) {
        if (a->indexSet[i] != b->indexSet[i]) return a->indexSet[i] > b->indexSet[i] ? 1 : -1;
    }
    return 0;
}

}  // extern "C"

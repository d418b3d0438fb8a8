// Single numbers of the daemon (tunnel counts, next free indexes), each read
// with one empty item on a socket per call, and the order of index sets.
#include "include/te_mor.h"
#include "query/layouts.h"
#include "query/query.h"
#include "query/workers.h"

using namespace temor;

namespace {

enum : uint16_t {
    kTagConfigured = 100,
    kTagNextPathHop = 102,
    kTagActive = 106,
    kTagPrimary = 107,
    kTagBypass = 108,
    kTagNextHopList = 110,
};

// The first four bytes of the first item's value, whatever its length: a
// short item lends the reply bytes behind it (never beyond the buffer).
uint32_t four_bytes(Payload p, uint32_t *value) {
    const ReplyItem it = p.next();
    if (!it.ok) return TE_MOR_ERR_FAIL;
    uint8_t v[4] = {};
    p.copy_clamped(it.end - it.length, sizeof v, v);
    *value = get_be32(v);
    return TE_MOR_OK;
}

}  // namespace

extern "C" {

// The scalar worker. The bypass count alone is taken from at most the
// item's own bytes, laid over the caller's number and then converted whole.
uint32_t TE_MOR_QueryScalar(uint16_t tag, uint32_t *value) {
    if (value == nullptr) return TE_MOR_ERR_FAIL;
    return query_own(TE_MOR_OP_GET, item::Flag{tag}, [tag, value](Payload p) {
        return tag == kTagBypass ? decode_first(p, value, layouts::kWord) : four_bytes(p, value);
    });
}

TE_MOR_API uint32_t TE_MOR_GetTunnelConfigured(uint32_t *value) {
    return TE_MOR_QueryScalar(kTagConfigured, value);
}

TE_MOR_API uint32_t TE_MOR_GetNextPathHopIndex(uint32_t *value) {
    return TE_MOR_QueryScalar(kTagNextPathHop, value);
}

TE_MOR_API uint32_t TE_MOR_GetTeActiveTunnels(uint32_t *value) {
    return TE_MOR_QueryScalar(kTagActive, value);
}

TE_MOR_API uint32_t TE_MOR_GetTePrimaryTunnels(uint32_t *value) {
    return TE_MOR_QueryScalar(kTagPrimary, value);
}

TE_MOR_API uint32_t TE_GetBypassTunnelNum(uint32_t *value) {
    return TE_MOR_QueryScalar(kTagBypass, value);
}

TE_MOR_API uint32_t TE_MOR_GetNextTunnelHopListIndex(uint32_t *value) {
    return TE_MOR_QueryScalar(kTagNextHopList, value);
}

TE_MOR_API int32_t TE_CmpIndexSet(const TeTunnelIndexSet *a, const TeTunnelIndexSet *b) {
    for (int i = 0; i < 4; ++i) {
        if (a->indexSet[i] != b->indexSet[i]) return a->indexSet[i] > b->indexSet[i] ? 1 : -1;
    }
    return 0;
}

}  // extern "C"

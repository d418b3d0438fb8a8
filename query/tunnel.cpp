// The tunnel table, read by index set or by tunnel id on a socket per call.
#include "include/te_mor.h"
#include "query/layouts.h"
#include "query/query.h"
#include "query/workers.h"

using namespace temor;

namespace {

constexpr uint16_t kTagIndexSet = 101;
constexpr uint16_t kTagTnlId = 105;
// The tunnel id a first-row request by id sends.
constexpr uint32_t kFirstTnlId = 65535;
// The index set a first-row request sends.
constexpr TeTunnelIndexSet kFirstIndexSet{};

}  // namespace

extern "C" {

// Reads the first item of a reply payload into info (see decode_first).
uint32_t TE_MOR_DecodeTunnelInfo(const uint8_t *payload, uint16_t payloadLength,
                                 TeTunnelInfo *info) {
    if (payload == nullptr || info == nullptr) return TE_MOR_ERR_FAIL;
    return decode_first(Payload(payload, payloadLength, payload + payloadLength), info,
                        layouts::kTunnelInfo);
}

// The index-set worker: a first-row request ignores indexSet and sends zeros.
uint32_t TE_MOR_QueryTunnel(uint32_t op, const TeTunnelIndexSet *indexSet, TeTunnelInfo *info) {
    if (op == TE_MOR_OP_GET_FIRST) indexSet = &kFirstIndexSet;
    if (indexSet == nullptr) return TE_MOR_ERR_FAIL;
    return own_row(op, item::Copy{kTagIndexSet, indexSet, layouts::kIndexSet}, info,
                   layouts::kTunnelInfo);
}

// The tunnel-id worker: the id is sent as given.
uint32_t TE_MOR_QueryTunnelByTnlId(uint32_t op, uint32_t tnlId, TeTunnelInfo *info) {
    return own_row(op, item::Word{kTagTnlId, tnlId}, info, layouts::kTunnelInfo);
}

TE_MOR_API uint32_t TE_MOR_GetTunnel(const TeTunnelIndexSet *indexSet, TeTunnelInfo *info) {
    return TE_MOR_QueryTunnel(TE_MOR_OP_GET, indexSet, info);
}

TE_MOR_API uint32_t TE_MOR_GetFirstTunnel(TeTunnelInfo *info) {
    return TE_MOR_QueryTunnel(TE_MOR_OP_GET_FIRST, nullptr, info);
}

TE_MOR_API uint32_t TE_MOR_GetNextTunnel(const TeTunnelIndexSet *indexSet, TeTunnelInfo *info) {
    return TE_MOR_QueryTunnel(TE_MOR_OP_GET_NEXT, indexSet, info);
}

TE_MOR_API uint32_t TE_MOR_GetTunnelByTnlId(uint32_t tnlId, TeTunnelInfo *info) {
    return TE_MOR_QueryTunnelByTnlId(TE_MOR_OP_GET, tnlId, info);
}

TE_MOR_API uint32_t TE_MOR_GetFirstTunnelByTnlId(TeTunnelInfo *info) {
    return TE_MOR_QueryTunnelByTnlId(TE_MOR_OP_GET_FIRST, kFirstTnlId, info);
}

TE_MOR_API uint32_t TE_MOR_GetNextTunnelByTnlId(uint32_t tnlId, TeTunnelInfo *info) {
    return TE_MOR_QueryTunnelByTnlId(TE_MOR_OP_GET_NEXT, tnlId, info);
}

}  // extern "C"

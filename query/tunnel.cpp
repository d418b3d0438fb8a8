// The tunnel table, read by index set or by tunnel id on a socket per call.
#include "include/te_mor.h"
#include "query/query.h"
#include "query/tables.h"
#include "query/workers.h"

using namespace temor;
using tables::kTunnels;
using tables::kTunnelsById;

namespace {
constexpr int kOwnSocket = -1;  // ignored: these tables open a socket per call
}

extern "C" {

// Reads the first item of a reply payload into info (see decode_first).
uint32_t TE_MOR_DecodeTunnelInfo(const uint8_t *payload, uint16_t payloadLength,
                                 TeTunnelInfo *info) {
    if (payload == nullptr || info == nullptr) return TE_MOR_ERR_FAIL;
    return decode_first(Payload(payload, payloadLength, payload + payloadLength), info,
                        *kTunnels.record, kTunnels.expect);
}

// The index-set worker: a first-row request ignores indexSet and sends zeros.
uint32_t TE_MOR_QueryTunnel(uint32_t op, const TeTunnelIndexSet *indexSet, TeTunnelInfo *info) {
    return keyed_row<kTunnels>(kOwnSocket, op, indexSet, info);
}

// The tunnel-id worker: the id is sent as given.
uint32_t TE_MOR_QueryTunnelByTnlId(uint32_t op, uint32_t tnlId, TeTunnelInfo *info) {
    return keyed_row<kTunnelsById>(kOwnSocket, op, tnlId, info);
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
    return TE_MOR_QueryTunnelByTnlId(TE_MOR_OP_GET_FIRST, kTunnelsById.firstKey, info);
}

TE_MOR_API uint32_t TE_MOR_GetNextTunnelByTnlId(uint32_t tnlId, TeTunnelInfo *info) {
    return TE_MOR_QueryTunnelByTnlId(TE_MOR_OP_GET_NEXT, tnlId, info);
}

}  // extern "C"

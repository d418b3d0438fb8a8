// Internal workers of the tunnel table and the counters, reachable by the
// library's own code and tests but not exported.
#pragma once

#include <cstdint>

#include "include/te_mor.h"

extern "C" {
// The index-set and tunnel-id workers of the tunnel table: op is
// TE_MOR_OP_GET, TE_MOR_OP_GET_FIRST or TE_MOR_OP_GET_NEXT (anything else is
// TE_MOR_ERR_FAIL with nothing opened).
uint32_t TE_MOR_QueryTunnel(uint32_t op, const TeTunnelIndexSet *indexSet, TeTunnelInfo *info);
uint32_t TE_MOR_QueryTunnelByTnlId(uint32_t op, uint32_t tnlId, TeTunnelInfo *info);
// Decodes the first item of a reply payload into info: 0, or TE_MOR_ERR_FAIL
// with info untouched when no item can be read.
uint32_t TE_MOR_DecodeTunnelInfo(const uint8_t *payload, uint16_t payloadLength,
                                 TeTunnelInfo *info);
// The workers of the TE path, path-hop and new-hop tables (op as above),
// and the hop decoder: 0, or TE_MOR_ERR_FAIL with hop untouched when no item
// can be read.
uint32_t TE_MOR_QueryTePath(uint32_t op, const TePathKey *pathKey, TePathInfo *info);
uint32_t TE_MOR_QueryPathHop(uint32_t op, TeHopInfo *hop);
uint32_t TE_MOR_QueryNewHop(uint32_t op, TeHopInfo *hop);
uint32_t TE_MOR_DecodeHopInfo(const uint8_t *payload, uint16_t payloadLength, TeHopInfo *hop);
// Decodes an explicit path reply payload into reply (see TE_MOR_GetExpath):
// 0, or TE_MOR_ERR_FAIL with everything it attached to reply released.
uint32_t TE_MOR_DecodeExpathReply(const uint8_t *payload, uint16_t payloadLength,
                                  TeExpathReply *reply);
// Reads one number named by tag (class 4, op 3, one empty item).
uint32_t TE_MOR_QueryScalar(uint16_t tag, uint32_t *value);
}

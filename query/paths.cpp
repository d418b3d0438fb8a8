// The TE path table and the path-hop and new-hop tables, each read on a
// socket per call. A hop record is the key of its own request and receives
// the row read.
#include "include/te_mor.h"
#include "query/query.h"
#include "query/tables.h"
#include "query/workers.h"

using namespace temor;
using tables::kNewHops;
using tables::kPathHops;
using tables::kTePaths;

namespace {
constexpr int kOwnSocket = -1;  // ignored: these tables open a socket per call
}

extern "C" {

// The TE path worker: a first-row request ignores pathKey and sends zeros.
uint32_t TE_MOR_QueryTePath(uint32_t op, const TePathKey *pathKey, TePathInfo *info) {
    return keyed_row<kTePaths>(kOwnSocket, op, pathKey, info);
}

uint32_t TE_MOR_QueryPathHop(uint32_t op, TeHopInfo *hop) {
    return record_row<kPathHops>(kOwnSocket, op, hop);
}

uint32_t TE_MOR_QueryNewHop(uint32_t op, TeHopInfo *hop) {
    return record_row<kNewHops>(kOwnSocket, op, hop);
}

// Reads the first item of a reply payload into hop (see decode_first); the
// text is left terminated within its field.
uint32_t TE_MOR_DecodeHopInfo(const uint8_t *payload, uint16_t payloadLength, TeHopInfo *hop) {
    if (payload == nullptr || hop == nullptr) return TE_MOR_ERR_FAIL;
    return decode_first<*kPathHops.record>(Payload(payload, payloadLength, payload + payloadLength),
                                           hop, kPathHops.expect);
}

TE_MOR_API uint32_t TE_MOR_GetTePath(const TePathKey *pathKey, TePathInfo *info) {
    return TE_MOR_QueryTePath(TE_MOR_OP_GET, pathKey, info);
}

TE_MOR_API uint32_t TE_MOR_GetFirstTePath(TePathInfo *info) {
    return TE_MOR_QueryTePath(TE_MOR_OP_GET_FIRST, nullptr, info);
}

TE_MOR_API uint32_t TE_MOR_GetNextTePath(const TePathKey *pathKey, TePathInfo *info) {
    return TE_MOR_QueryTePath(TE_MOR_OP_GET_NEXT, pathKey, info);
}

TE_MOR_API uint32_t TE_MOR_GetPathHop(TeHopInfo *hop) { return TE_MOR_QueryPathHop(TE_MOR_OP_GET, hop); }

TE_MOR_API uint32_t TE_MOR_GetFirstPathHop(TeHopInfo *hop) {
    return TE_MOR_QueryPathHop(TE_MOR_OP_GET_FIRST, hop);
}

TE_MOR_API uint32_t TE_MOR_GetNextPathHop(TeHopInfo *hop) {
    return TE_MOR_QueryPathHop(TE_MOR_OP_GET_NEXT, hop);
}

TE_MOR_API uint32_t TE_MOR_GetNewHop(TeHopInfo *hop) { return TE_MOR_QueryNewHop(TE_MOR_OP_GET, hop); }

TE_MOR_API uint32_t TE_MOR_GetFirstNewHop(TeHopInfo *hop) {
    return TE_MOR_QueryNewHop(TE_MOR_OP_GET_FIRST, hop);
}

TE_MOR_API uint32_t TE_MOR_GetNextNewHop(TeHopInfo *hop) {
    return TE_MOR_QueryNewHop(TE_MOR_OP_GET_NEXT, hop);
}

}  // extern "C"

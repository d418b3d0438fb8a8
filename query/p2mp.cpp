// Multicast P2MP bindings and tunnels, tunnel interfaces, P2MP tunnel
// interfaces and their destination lists, read on a socket the caller holds
// open. The fixed rows decode by their layouts; a P2MP tunnel interface
// (a record filled field by field, then a list) and a destination list have
// decoders of their own (query/decoders.h).
#include "include/te_mor.h"
#include "query/decoders.h"
#include "query/query.h"
#include "query/tables.h"

using namespace temor;
using tables::kMcBinds;
using tables::kMcTunnels;
using tables::kP2mpDests;
using tables::kP2mpIntfs;
using tables::kTunIntfs;

extern "C" {

TE_MOR_API uint32_t TE_MOR_GetFirstMCastP2mpBind(int sock, TeMCastP2mpBind *bind) {
    return keyed_row<kMcBinds>(sock, TE_MOR_OP_GET_FIRST, bind, bind);
}

TE_MOR_API uint32_t TE_MOR_GetNextMCastP2mpBind(int sock, TeMCastP2mpBind *bind) {
    return keyed_row<kMcBinds>(sock, TE_MOR_OP_GET_NEXT, bind, bind);
}

TE_MOR_API uint32_t TE_MOR_GetMCastP2mpBind(int sock, TeMCastP2mpBind *bind) {
    return keyed_row<kMcBinds>(sock, TE_MOR_OP_GET, bind, bind);
}

TE_MOR_API uint32_t TE_MOR_GetFirstMCastP2mpTunnel(int sock, const TeMCastP2mpTunnelKey *key,
                                                   TeMCastP2mpTunnel *tunnel) {
    return keyed_row<kMcTunnels>(sock, TE_MOR_OP_GET_FIRST, key, tunnel);
}

TE_MOR_API uint32_t TE_MOR_GetNextMCastP2mpTunnel(int sock, const TeMCastP2mpTunnelKey *key,
                                                  TeMCastP2mpTunnel *tunnel) {
    return keyed_row<kMcTunnels>(sock, TE_MOR_OP_GET_NEXT, key, tunnel);
}

TE_MOR_API uint32_t TE_MOR_GetMCastP2mpTunnel(int sock, const TeMCastP2mpTunnelKey *key,
                                              TeMCastP2mpTunnel *tunnel) {
    return keyed_row<kMcTunnels>(sock, TE_MOR_OP_GET, key, tunnel);
}

TE_MOR_API uint32_t TE_MOR_GetFirstTunIntf(int sock, TeTunIntfInfo *info) {
    return first_row<kTunIntfs>(sock, info);
}

TE_MOR_API uint32_t TE_MOR_GetNextTunIntf(int sock, uint16_t key, TeTunIntfInfo *info) {
    return keyed_row<kTunIntfs>(sock, TE_MOR_OP_GET_NEXT, key, info);
}

TE_MOR_API uint32_t TE_MOR_GetTunIntf(int sock, uint16_t key, TeTunIntfInfo *info) {
    return keyed_row<kTunIntfs>(sock, TE_MOR_OP_GET, key, info);
}

TE_MOR_API uint32_t TE_MOR_GetFirstP2mpTunIntf(int sock, TeP2mpTunIntfInfo *info) {
    return first_row<kP2mpIntfs>(sock, info, decode_p2mp_intf);
}

TE_MOR_API uint32_t TE_MOR_GetNextP2mpTunIntf(int sock, uint16_t key, TeP2mpTunIntfInfo *info) {
    return keyed_row<kP2mpIntfs>(sock, TE_MOR_OP_GET_NEXT, key, info, decode_p2mp_intf);
}

TE_MOR_API uint32_t TE_MOR_GetP2mpTunIntf(int sock, uint16_t key, TeP2mpTunIntfInfo *info) {
    return keyed_row<kP2mpIntfs>(sock, TE_MOR_OP_GET, key, info, decode_p2mp_intf);
}

TE_MOR_API uint32_t TE_MOR_GetP2mpTunDestAddr(int sock, uint16_t key, uint32_t selector,
                                              uint32_t *count, TeP2mpDest *dests) {
    if (key == kP2mpIntfs.refusedKey || selector == 0 || count == nullptr || dests == nullptr)
        return TE_MOR_ERR_FAIL;
    const auto value = [key, selector](uint8_t *v) {
        put_be16(v, key);
        put_be32(v + 4, selector);
    };
    static_assert(kP2mpDests.keyLayout->size == 8);
    return read_row<kP2mpDests>(
        sock, TE_MOR_OP_GET, item::built<8>(kP2mpDests.tag, value), dests,
        [count](Payload p, void *record) {
            return decode_dest_list(p, static_cast<TeP2mpDest *>(record), count);
        });
}

}  // extern "C"

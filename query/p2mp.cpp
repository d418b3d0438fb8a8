// Multicast P2MP bindings and tunnels, tunnel interfaces, P2MP tunnel
// interfaces and their destination lists, read on a socket the caller holds
// open. The fixed rows decode by their layouts; a P2MP tunnel interface
// (a record filled field by field, then a list) and a destination list have
// decoders of their own.
#include <cstring>

#include "include/te_mor.h"
#include "query/query.h"
#include "query/tables.h"

using namespace temor;
using tables::kMcBinds;
using tables::kMcTunnels;
using tables::kP2mpDests;
using tables::kP2mpIntfs;
using tables::kTunIntfs;

namespace {

constexpr uint32_t kDestMax = TE_MOR_P2MP_DEST_MAX;
constexpr uint16_t kDestCountSize = 4;

// A destination list item: a 32-bit count N, then N entries of
// (length - 4) / N bytes each, of which the first min(that, 8) land in
// dests[i] (the rest of dests[i] is kept) with destWord turned to host order.
// TE_MOR_ERR_FAIL, writing nothing, when the item is not a list of the
// table's tag, announces more than kDestMax entries, or has entries while
// dests is null. Reads stay within the item: i * size + copied <= N * size
// <= length - 4, and N <= kDestMax keeps every product far from wrapping.
struct DestList {
    const ReplyItem &it;

    bool ok() const {
        return it.ok && it.tag == kP2mpDests.expect.tag && it.length >= kDestCountSize;
    }
    uint32_t count() const { return get_be32(it.value); }

    uint32_t write(TeP2mpDest *dests) const {
        const uint32_t n = count();
        if (n == 0) return TE_MOR_OK;
        if (n > kDestMax || dests == nullptr) return TE_MOR_ERR_FAIL;
        const uint32_t size = (it.length - kDestCountSize) / n;
        const uint32_t take = size < sizeof(TeP2mpDest) ? size : sizeof(TeP2mpDest);
        const uint8_t *entry = it.value + kDestCountSize;
        for (uint32_t i = 0; i < n; ++i, entry += size) {
            auto *d = reinterpret_cast<uint8_t *>(&dests[i]);
            if (take != 0) std::memcpy(d, entry, take);
            swap_fields<tables::kP2mpDest>(d);
        }
        return TE_MOR_OK;
    }
};

uint32_t decode_p2mp_intf(Payload p, void *record) {
    auto *info = static_cast<TeP2mpTunIntfInfo *>(record);
    const ReplyItem first = p.next();
    const Expect e = kP2mpIntfs.expect;
    if (!first.ok || first.tag != e.tag || first.length == 0) return TE_MOR_ERR_FAIL;
    uint8_t image[tables::kP2mpIntfImageSize] = {};
    std::memcpy(image, first.value, first.length < sizeof image ? first.length : sizeof image);
    info->word0 = get_be32(&image[0]);
    info->byte0 = image[4];
    info->byte1 = image[5];
    info->half0 = get_be16(&image[6]);
    info->half1 = get_be16(&image[8]);
    info->destCount = get_be16(&image[10]);
    info->word1 = get_be32(&image[12]);
    if (info->destCount == 0) return TE_MOR_OK;

    const ReplyItem second = p.next();
    const DestList list{second};
    if (!list.ok()) return TE_MOR_ERR_FAIL;
    if (const uint32_t rc = list.write(info->dests); rc != TE_MOR_OK) return rc;
    info->destsReturned = static_cast<uint16_t>(list.count());  // at most kDestMax
    return TE_MOR_OK;
}

static_assert(kDestMax <= UINT16_MAX, "destsReturned holds any accepted count");

}  // namespace

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
            const ReplyItem it = p.next();
            const DestList list{it};
            if (!list.ok()) return TE_MOR_ERR_FAIL;
            const uint32_t rc = list.write(static_cast<TeP2mpDest *>(record));
            if (rc == TE_MOR_OK) *count = list.count();
            return rc;
        });
}

}  // extern "C"

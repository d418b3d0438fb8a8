// The daemon's debugging switches: change (class 0, tag 9) and read back
// (class 4, tag 4, reply tag 6).
#include <cstddef>
#include <cstring>

#include "include/te_mor.h"
#include "messaging/bytes.h"
#include "query/query.h"
#include "service/te_check.h"

namespace {

using namespace temor;

constexpr uint16_t kTagDebugSet = 9;
constexpr uint16_t kTagDebugQuery = 4;
constexpr uint16_t kTagDebugReply = 6;

// The reply value: flags, item, then the 100 list entries; every field lies
// at the same offset as in TeDebugInfo.
constexpr uint16_t kDebugValueSize = 206;
static_assert(offsetof(TeDebugInfo, debugItem) == 4);
static_assert(offsetof(TeDebugInfo, debugItemList) == 6);
constexpr Field kDebugFields[] = {words(0), halves(4), halves(6, 100)};
constexpr Layout kDebugLayout = layout(kDebugValueSize, kDebugFields);

// Fills info from the 206 bytes starting at the first item's value, even
// when the item is shorter: what follows it in the reply is read as it lies,
// bytes past the received reply are zero (the reply buffer starts cleared),
// and nothing past the end of the buffer is read.
uint32_t decode_debug(Payload p, TeDebugInfo *info) {
    const ReplyItem it = p.next();
    if (!it.ok || it.tag != kTagDebugReply || it.length == 0) return TE_MOR_ERR_FAIL;
    uint8_t value[sizeof(TeDebugInfo)] = {};
    p.copy_clamped(it.value, kDebugValueSize, value);
    swap_fields(value, kDebugLayout);
    std::memcpy(info, value, kDebugValueSize);
    return TE_MOR_OK;
}

}  // namespace

extern "C" TE_MOR_API uint32_t TE_MOR_SetDebug(uint32_t op, const TeDebugInfo *info) {
    return send(rule_u(op).or_invalid_if(info == nullptr), TE_MOR_CLASS_GLOBAL, op,
                item::built<8>(kTagDebugSet, [info](uint8_t *v) {
                    put_be32(v, info->debugFlags);
                    put_be16(v + 4, info->debugItem);
                }));
}

extern "C" TE_MOR_API uint32_t TE_MOR_GetTeDebug(TeDebugInfo *info) {
    // The socket is opened before MPLS-TE is asked about; without one the
    // read succeeds with the record untouched. A null record is refused only
    // where the reply would be written, after the daemon has answered.
    Socket sock;
    if (!sock.ok()) return TE_MOR_OK;
    if (TE_MOR_IsTeGlobalEnable() != 1) return TE_MOR_ERR_TE_DISABLED;
    return query_on(sock.fd(), TE_MOR_OP_GET, item::Flag{kTagDebugQuery}, [info](Payload p) {
        return info == nullptr ? TE_MOR_ERR_FAIL : decode_debug(p, info);
    });
}

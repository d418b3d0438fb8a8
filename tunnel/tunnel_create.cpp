// Tunnel creation from a whole configuration record, and the primary and
// backup path options of a tunnel.
#include <cstddef>

#include "include/te_mor.h"
#include "messaging/items.h"
#include "messaging/layout.h"
#include "service/te_check.h"
#include "tunnel/tunnel_attr.h"

using namespace temor;

namespace {

constexpr uint16_t kTunnelConfigTag = 24;  // class 6

// word0..word6, half0 and half1 big-endian, byte0..byte3 as they are, text
// bounded to its 256-byte field.
constexpr Field kTunnelConfigFields[] = {words(0, 7), halves(28, 2), text(36, 256)};
constexpr Layout kTunnelConfigLayout = layout(sizeof(TeTunnelConfig), kTunnelConfigFields);
static_assert(sizeof(TeTunnelConfig) == 292 && offsetof(TeTunnelConfig, half0) == 28 &&
              offsetof(TeTunnelConfig, byte0) == 32 && offsetof(TeTunnelConfig, text) == 36);

// half0, word0 and word1 big-endian; both raw blocks as they are.
constexpr Field kPathOptionFields[] = {halves(34), words(36, 2)};
constexpr Layout kPathOptionLayout = layout(sizeof(TeTunnelPathOption), kPathOptionFields);
static_assert(sizeof(TeTunnelPathOption) == 76 && offsetof(TeTunnelPathOption, half0) == 34 &&
              offsetof(TeTunnelPathOption, word0) == 36 &&
              offsetof(TeTunnelPathOption, rawBlock1) == 44);

}  // namespace

// Sent whatever the TE state; the caller's record is only read.
extern "C" TE_MOR_API uint32_t TE_MOR_SetTunnel(const TeTunnelConfig *config) {
    if (config == nullptr) return TE_MOR_ERR_FAIL;
    return send(no_check(), TE_MOR_CLASS_TUNNEL_CREATE, TE_MOR_OP_SET,
                item::Copy{kTunnelConfigTag, config, kTunnelConfigLayout});
}

// Once the check lets the call through, the option's numbers are left in
// network order in the caller's record, whatever the daemon answers.
extern "C" TE_MOR_API uint32_t TE_MOR_SetTunnelPath(uint32_t op, uint32_t tnlId,
                                                    TeTunnelPathOption *option) {
    return tunnel_attr(rule_u(op).or_invalid_if(option == nullptr), op, tnlId,
                       item::InPlace{kPathOption, option, kPathOptionLayout});
}

extern "C" TE_MOR_API uint32_t TE_MOR_SetTunnelBackupPath(uint32_t op, uint32_t tnlId,
                                                          TeTunnelPathOption *option) {
    return tunnel_attr(rule_u(op).or_invalid_if(option == nullptr), op, tnlId,
                       item::InPlace{kBackupPathOption, option, kPathOptionLayout});
}

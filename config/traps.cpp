// Traps: switching the daemon's trap on and off, the private trap mask, and
// reading back whether tunnel notification is enabled. The setters report a
// socket that cannot be opened as TE_MOR_ERR_TE_DISABLED.
#include "config/setters.h"
#include "include/te_mor.h"
#include "query/decoders.h"
#include "query/query.h"
#include "query/tables.h"
#include "setter/setter.h"

using namespace temor;
using setters::kTraps;

extern "C" TE_MOR_API uint32_t TE_MOR_SetPrivateTrap(uint32_t op, uint64_t trapMask) {
    return set<row(kTraps, "private")>(op, trapMask);
}

extern "C" TE_MOR_API uint32_t TE_MOR_SetTrap(uint32_t op) {
    return set<row(kTraps, "enable")>(op);
}

extern "C" TE_MOR_API uint32_t TE_EnableTrap(uint32_t enable) {
    return TE_MOR_SetTrap(enable == 0 ? TE_MOR_OP_UNDO : TE_MOR_OP_SET);
}

// The state is the first 4 bytes of the first reply item (decode_notify_state).
// A shorter item is read no further than the reply buffer, whose unreceived
// bytes are zero.
extern "C" TE_MOR_API uint32_t TE_MOR_GetTunnelNotifyEnable(uint32_t *state) {
    if (state == nullptr) return TE_MOR_ERR_FAIL;
    return query_own(TE_MOR_OP_GET, item::Flag{tables::kNotifyTag},
                     [state](Payload p) { return decode_notify_state(p, state); });
}

// The notification read's failure comes back unchanged; a null pointer is
// refused only when the capability would be written.
extern "C" TE_MOR_API uint32_t TE_GetTrapCapability(uint16_t *capability) {
    uint32_t state = 0;
    const uint32_t rc = TE_MOR_GetTunnelNotifyEnable(&state);
    if (rc != TE_MOR_OK) return rc;
    if (capability == nullptr) return TE_MOR_ERR_FAIL;
    *capability = state == 1 ? 1 : 0;
    return TE_MOR_OK;
}

// The TE-enabled check that guards most setters, and the composition every
// setter is written with:
//
//   return send(rule_u(op), TE_MOR_CLASS_TUNNEL, op, tunnel_key(id), item::Octet{15, v});
//
// The check runs first; only when it lets the call through are the items
// encoded (and any caller record converted) and the request exchanged.
#pragma once

#include <cstddef>
#include <cstdint>

#include "include/te_mor.h"
#include "messaging/frame.h"
#include "messaging/items.h"
#include "messaging/transport.h"

namespace temor {

// What a setter does about the TE state, decided from its arguments before
// anything is asked or sent.
struct Check {
    bool probe;        // ask whether MPLS-TE is enabled
    uint32_t refusal;  // the result while it is not
    bool invalid;      // arguments unusable: TE_MOR_ERR_FAIL once the probe passed

    // Refuses the call with TE_MOR_ERR_FAIL after a passing probe when bad.
    constexpr Check or_invalid_if(bool bad) const { return Check{probe, refusal, invalid || bad}; }
};

// No check: the request is sent whatever the TE state.
constexpr Check no_check() { return Check{false, TE_MOR_OK, false}; }
// Rule U: while off, an undo (op exactly 1) succeeds silently.
constexpr Check rule_u(uint32_t op) {
    return Check{true, op == TE_MOR_OP_UNDO ? TE_MOR_OK : TE_MOR_ERR_TE_DISABLED, false};
}
// Rule N: while off, any non-zero op counts as an undo.
constexpr Check rule_n(uint32_t op) {
    return Check{true, op != 0 ? TE_MOR_OK : TE_MOR_ERR_TE_DISABLED, false};
}
// Rule F: while off, a record whose enable byte is 0 (a removal) succeeds.
constexpr Check rule_f(uint8_t enable) {
    return Check{true, enable == 0 ? TE_MOR_OK : TE_MOR_ERR_TE_DISABLED, false};
}
// Rule S: while off, always refused.
constexpr Check rule_s() { return Check{true, TE_MOR_ERR_TE_DISABLED, false}; }

// Makes the check. Returns true when the call may go on; otherwise stores
// the call's result in *result.
inline bool passes(const Check &c, uint32_t *result) {
    if (c.probe && TE_MOR_IsTeGlobalEnable() != 1) {
        *result = c.refusal;
        return false;
    }
    if (c.invalid) {
        *result = TE_MOR_ERR_FAIL;
        return false;
    }
    return true;
}

// Builds the request of class and op from the items and exchanges it on a
// socket of its own. The header op is the low 8 bits of op.
template <class... Items>
uint32_t send_via(uint32_t openFailure, const Check &check, uint8_t msgClass, uint32_t op,
                  const Items &...items) {
    uint32_t result;
    if (!passes(check, &result)) return result;
    Request req;
    (items.write(req), ...);
    const uint32_t length = req.finish(msgClass, static_cast<uint8_t>(op));
    return exchange_once(req.data(), length, openFailure);
}

template <class... Items>
uint32_t send(const Check &check, uint8_t msgClass, uint32_t op, const Items &...items) {
    return send_via(TE_MOR_ERR_IPC_OPEN, check, msgClass, op, items...);
}

// The result rc, except that any code listed in from is reported as to.
// For the few calls that rename particular daemon codes.
template <size_t N>
constexpr uint32_t translate(uint32_t rc, const uint32_t (&from)[N], uint32_t to) {
    for (const uint32_t f : from)
        if (rc == f) return to;
    return rc;
}

// Key items that name the object of a two-item request.
inline item::Word if_key(uint32_t ifIndex) { return item::Word{0, ifIndex}; }
inline item::Word tunnel_key(uint32_t tnlId) { return item::Word{0, tnlId}; }
inline item::Word bundle_key(uint32_t bundleId) { return item::Word{0, bundleId}; }

}  // namespace temor

// The TE-enabled check and the checked send: a request goes out only when
// the check a row's arguments decided (messaging/setter_rows.h) lets it
// through.
#pragma once

#include <cstdint>

#include "include/te_mor.h"
#include "messaging/frame.h"
#include "messaging/setter_rows.h"
#include "messaging/transport.h"

namespace temor {

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

// ---- sending -----------------------------------------------------------------

// Builds the request of class and op from the items and exchanges it on a
// socket of its own; openFailure is the result when none can be opened. The
// header op is the low 8 bits of op.
template <class... Items>
uint32_t send_via(uint32_t openFailure, const Check &check, uint8_t msgClass, uint32_t op,
                  const Items &...items) {
    uint32_t result;
    if (!passes(check, &result)) return result;
    Request req;
    (items.write(req), ...);
    const uint32_t length = req.finish(msgClass, static_cast<uint8_t>(op));
    return exchange_once(req, length, openFailure);
}

template <class... Items>
uint32_t send(const Check &check, uint8_t msgClass, uint32_t op, const Items &...items) {
    return send_via(TE_MOR_ERR_IPC_OPEN, check, msgClass, op, items...);
}

// Sends the row's request with value as its value item (and key first for a
// keyed row). invalid refuses the call with TE_MOR_ERR_FAIL once the check
// passed. For a custom value item or an extra argument check.
template <SetterRow R, class Item>
uint32_t send_row(uint32_t op, uint32_t subject, bool invalid, const Item &value,
                  uint32_t key = 0) {
    static_assert(R.opAt != OpAt::None || !R.headerOp, "a row without an op sends op 0");
    const Check check = check_of(R.check, subject).or_invalid_if(invalid ||
                                                                (R.opAtMostOne && op > 1));
    const uint32_t headerOp = R.headerOp ? op : uint32_t{R.fixedOp};
    if constexpr (R.keyed)
        return send_via(R.openFailure, check, R.cls, headerOp, object_key(key), value);
    else
        return send_via(R.openFailure, check, R.cls, headerOp, value);
}

}  // namespace temor

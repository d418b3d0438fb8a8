// Setters: the one line of an exported setter over its row.
//
// A setter is one row of its family (messaging/setter_rows.h says what a
// row holds); its exported function is then one line:
//
//   return set<row(kGlobalSetters, "frr-timer")>(TE_MOR_OP_SET, timer);
//
// The check runs first; only when it lets the call through are the items
// encoded (and any caller record read or converted) and the request
// exchanged (service/te_check.h).
//
// The framework sits above service/, whose checked send it uses, and below
// the families of tunnel/ and config/.
#pragma once

#include <cstdint>
#include <type_traits>

#include "include/te_mor.h"
#include "messaging/items.h"
#include "messaging/setter_rows.h"
#include "service/te_check.h"

namespace temor {

// The same for a row keyed by a path name or by an empty item. The name is
// looked at only once the check has passed.
template <SetterRow R, class Item>
uint32_t send_named(uint32_t op, const char *name, bool invalid, const Item &value) {
    static_assert(R.keyed && R.keyItem != KeyItem::Id && R.headerOp);
    uint32_t result;
    if (!passes(check_of(R.check, op), &result)) return result;
    if (invalid || (R.opAtMostOne && op > 1)) return TE_MOR_ERR_FAIL;
    if constexpr (R.keyItem == KeyItem::Empty) {
        return send_via(R.openFailure, unchecked(), R.cls, op, item::Flag{0}, value);
    } else {
        if (!name_accepted<R>(name)) return TE_MOR_ERR_FAIL;
        return send_via(R.openFailure, unchecked(), R.cls, op, PathName{name}, value);
    }
}

template <SetterRow R, class V>
uint32_t set_named(uint32_t op, const char *name, const V &v) {
    if constexpr (std::is_pointer_v<V>)
        return send_named<R>(op, name, v == nullptr, value_item<R>(v));
    else
        return send_named<R>(op, name, false, value_item<R>(v));
}

template <SetterRow R, class V>
uint32_t set_value(uint32_t op, uint32_t key, const V &v) {
    uint32_t subject = op;
    bool invalid = false;
    if constexpr (std::is_pointer_v<V>) {
        invalid = v == nullptr;
        // The removal check reads the record first: a null one is refused
        // there, before anything is asked.
        if constexpr (R.check == CheckForm::RemovalPasses) {
            if (invalid) return TE_MOR_ERR_FAIL;
            subject = reinterpret_cast<const uint8_t *>(v)[R.enableAt];
        }
    }
    return send_row<R>(op, subject, invalid, value_item<R>(v), key);
}

// set<R>(op, key, selector, metric) for a MetricSelector row.
template <SetterRow R>
uint32_t set_metric(uint32_t op, uint32_t key, uint32_t selector, uint32_t metric) {
    static_assert(R.keyed);
    return send_row<R>(op, op, false, item::MetricSelector{R.tag, selector, metric}, key);
}

// The setter of row R: set<R>(op) for a flag, set<R>(op, value) or
// set<R>(op, key, value) otherwise (set<R>(op, key) for a keyed flag). A
// pointer value that is null is refused with TE_MOR_ERR_FAIL where it would
// first be read: after the check.
template <SetterRow R, class... A>
uint32_t set(uint32_t op, const A &...args) {
    if constexpr (R.keyed && R.keyItem != KeyItem::Id && R.value == Value::Flag)
        return send_named<R>(op, args..., false, item::Flag{R.tag});
    else if constexpr (R.keyed && R.keyItem == KeyItem::Empty)
        return set_named<R>(op, nullptr, args...);
    else if constexpr (R.keyed && R.keyItem != KeyItem::Id)
        return set_named<R>(op, args...);
    else if constexpr (R.value == Value::Flag)
        return send_row<R>(op, op, false, item::Flag{R.tag}, args...);
    else if constexpr (R.value == Value::MetricSelector)
        return set_metric<R>(op, args...);
    else if constexpr (R.keyed)
        return set_value<R>(op, args...);
    else
        return set_value<R>(op, 0u, args...);
}

}  // namespace temor

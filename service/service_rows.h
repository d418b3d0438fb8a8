// The rows service/ sends: the daemon teardown of MPLS-TE on/off and the
// debug switches. Each is described here once; config/setters.h lists them
// in their families for the tools and tests.
#pragma once

#include "include/te_mor.h"
#include "messaging/layout.h"
#include "messaging/setter_rows.h"

namespace temor::service_rows {

// Sent with op 1 while MPLS-TE is switched off: the daemon tears its state
// down. Not a setter of its own; a row of the global family.
inline constexpr SetterRow kTeardown{
    .name = "teardown", .cls = 0, .tag = 12, .value = Value::Flag};

// The daemon's debug switches, class 0: flags big-endian, the item as a
// 16-bit number in a 4-byte slot. The setter builds the value itself; the
// layout names its fields for the tools.
inline constexpr Field kDebugValueFields[] = {words("debugFlags", 0), halves("debugItem", 4), pad(6, 2)};
inline constexpr Layout kDebugValue = layout(8, kDebugValueFields);
static_assert(covers_exactly(kDebugValue));
inline constexpr SetterRow kDebug[] = {
    {.name = "set", .cls = 0, .tag = 9, .value = Value::Custom, .check = CheckForm::UndoPasses,
     .length = kDebugValue.size, .layout = &kDebugValue, .call = call_setter<TE_MOR_SetDebug>},
};

}  // namespace temor::service_rows

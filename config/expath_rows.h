// Explicit paths (class 2, keyed by the path name) and the rows of the two
// MIB hop tables, as setter rows (see messaging/setter_rows.h).
#pragma once

#include "include/te_mor.h"
#include "messaging/setter_rows.h"
#include "query/tables.h"

namespace temor::setters {

// Explicit paths by name. Only the path itself is checked against the TE
// state; a hop goes whatever the state, its name not checked for length.
inline constexpr SetterRow kExplicitPaths[] = {
    {.name = "create", .cls = 2, .tag = 1, .value = Value::Flag, .check = CheckForm::UndoPasses,
     .keyed = true, .keyItem = KeyItem::Name, .call = call_setter<TE_MOR_SetExplicitPath>},
    {.name = "disable", .cls = 2, .tag = 3, .value = Value::Flag, .keyed = true,
     .keyItem = KeyItem::Name, .call = call_setter<TE_MOR_SetDisableExpath>},
    {.name = "hop add", .cls = 2, .tag = 2, .value = Value::Copy, .keyed = true,
     .keyItem = KeyItem::NamePrefix, .layout = &tables::kExpathHop,
     .call = call_setter<TE_MOR_SetNextHop>},
};

// Rows of the explicit path hop table (class 2, behind an empty key item)
// and of the new-hop table (class 9): the 68-byte row from a copy, op 0 or
// 1 only, whatever the TE state.
inline constexpr SetterRow kMibHops[] = {
    {.name = "path-hop", .cls = 2, .tag = 4, .value = Value::Copy, .keyed = true,
     .keyItem = KeyItem::Empty, .opAtMostOne = true, .layout = &tables::kPathHopInfo,
     .call = call_setter<TE_MOR_SetMibExpathHop>},
    {.name = "new-hop", .cls = 9, .tag = 25, .value = Value::Copy, .opAtMostOne = true,
     .layout = &tables::kNewHopInfo, .call = call_setter<TE_MOR_SetMibNewHop>},
};

}  // namespace temor::setters

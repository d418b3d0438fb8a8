// The setter families of the global configuration, each row one exported
// setter (see messaging/setter.h for what a row says), and the list of every
// family for the tools and tests.
#pragma once

#include <cstddef>

#include "include/te_mor.h"
#include "messaging/layout.h"
#include "messaging/setter.h"
#include "tunnel/tunnel_rows.h"

namespace temor::setters {

// Two 16-bit tunnel ids, low then high.
inline constexpr Field kIdRangeFields[] = {halves("lowTunnelId", 0), halves("highTunnelId", 2)};
inline constexpr Layout kIdRange = layout(sizeof(TeAutoBkpTunnelIdRange), kIdRangeFields);
static_assert(covers_exactly(kIdRange));

using enum Value;
using enum CheckForm;
constexpr OpAt kNoOp = OpAt::None, kOpLast = OpAt::Last;

// Router-wide settings, class 0. Nothing is range-checked; the daemon judges
// the values.
inline constexpr SetterRow kGlobal[] = {
    {.name = "reoptimize", .cls = 0, .tag = 0, .value = Flag, .check = AlwaysRefused,
     .opAt = kNoOp, .headerOp = false, .call = call_setter<TE_MOR_SetReoptimization>},
    {.name = "reset-auto-bw", .cls = 0, .tag = 1, .value = Flag, .check = UndoPasses,
     .call = call_setter<TE_MOR_ResetAutoBw>},
    {.name = "auto-bw", .cls = 0, .tag = 2, .value = Word, .call = call_setter<TE_MOR_SetTeAutoBw>},
    {.name = "bc-mode", .cls = 0, .tag = 3, .value = Raw, .length = 4,
     .call = call_setter<TE_MOR_SetDsteBcMode>},
    {.name = "ds-te-mode", .cls = 0, .tag = 4, .value = OctetAt,
     .call = call_setter<TE_MOR_SetDsTeMode>},
    {.name = "ietf-te-class", .cls = 0, .tag = 5, .value = Raw, .length = 4,
     .call = call_setter<TE_MOR_SetIetfTeClass>},
    {.name = "metric-type", .cls = 0, .tag = 6, .value = Flag,
     .call = call_setter<TE_MOR_SetGlobalMetricType>},
    {.name = "flooding-timer", .cls = 0, .tag = 7, .value = Half,
     .call = call_setter<TE_MOR_SetTimerPriFlooding>},
    {.name = "frr-timer", .cls = 0, .tag = 8, .value = Word, .opAt = kNoOp, .headerOp = false,
     .call = call_setter<TE_MOR_SetFrrTimer>},
    {.name = "auto-tunnel", .cls = 0, .tag = 11, .value = Flag,
     .call = call_setter<TE_MOR_SetTeAutoTunn>},
    // Sent with op 1 while MPLS-TE is switched off: the daemon tears its
    // state down. Not a setter of its own.
    {.name = "teardown", .cls = 0, .tag = 12, .value = Flag},
};

// Automatic backup tunnels, class 8.
inline constexpr SetterRow kAutoBackup[] = {
    // op decides only the check: the request always says "set".
    {.name = "removal-timer", .cls = 8, .tag = 0, .value = Word, .check = UndoPasses,
     .opAt = kOpLast, .headerOp = false, .call = call_setter<TE_MOR_SetAutoBkpRemovalTimer>},
    {.name = "tunnel-id", .cls = 8, .tag = 1, .value = Copy, .opAt = kNoOp, .headerOp = false,
     .layout = &kIdRange, .call = call_setter<TE_MOR_SetAutoBkpTunnelId>},
    {.name = "nhop-only", .cls = 8, .tag = 2, .value = Flag, .check = UndoPasses,
     .call = call_setter<TE_MOR_SetAutoBkpNhopOnly>},
};

// Settings of one interface, class 1, keyed by its ifIndex.
inline constexpr SetterRow kInterface[] = {
    {.name = "frr-bypass", .cls = 1, .tag = 9, .value = Half, .check = UndoPasses, .keyed = true,
     .call = call_setter<TE_MOR_SetFrrBypassTunnel>},
};

// Traps, class 0: only op 0 or 1, and a socket that cannot be opened is
// reported as TE_MOR_ERR_TE_DISABLED.
inline constexpr SetterRow kTraps[] = {
    {.name = "enable", .cls = 0, .tag = 10, .value = Flag, .check = UndoPasses,
     .opAtMostOne = true, .openFailure = TE_MOR_ERR_TE_DISABLED,
     .call = call_setter<TE_MOR_SetTrap>},
    // The mask travels as its 8 bytes in host byte order, not converted.
    {.name = "private", .cls = 0, .tag = 13, .value = HostOrder, .check = UndoPasses,
     .opAtMostOne = true, .length = 8, .openFailure = TE_MOR_ERR_TE_DISABLED,
     .call = call_setter<TE_MOR_SetPrivateTrap>},
};

// The daemon's debug switches, class 0: flags big-endian, the item as a
// 16-bit number in a 4-byte slot.
inline constexpr SetterRow kDebug[] = {
    {.name = "set", .cls = 0, .tag = 9, .value = Custom, .check = UndoPasses, .length = 8,
     .call = call_setter<TE_MOR_SetDebug>},
};

// Every family; a new family is listed here.
inline constexpr Family kFamilies[] = {
    {"global", kGlobal},        {"auto-backup", kAutoBackup}, {"interface", kInterface},
    {"trap", kTraps},           {"debug", kDebug},            {"tunnel", kTunnelCreate},
    {"tunnel", kTunnelAttributes},
};

}  // namespace temor::setters

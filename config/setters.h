// The setter families of the global configuration, each row one exported
// setter (see messaging/setter_rows.h for what a row says), and the list of
// every family for the tools and tests.
#pragma once

#include <cstddef>

#include "include/te_mor.h"
#include "messaging/layout.h"
#include "messaging/setter_rows.h"
#include "service/service_rows.h"
#include "config/expath_rows.h"
#include "tunnel/tunnel_rows.h"

namespace temor::setters {

// Two 16-bit tunnel ids, low then high.
inline constexpr Field kIdRangeFields[] = {halves("lowTunnelId", 0), halves("highTunnelId", 2)};
inline constexpr Layout kIdRange = layout(sizeof(TeAutoBkpTunnelIdRange), kIdRangeFields);
static_assert(covers_exactly(kIdRange));

using enum Value;
using enum CheckForm;
constexpr OpAt kNoOp = OpAt::None, kOpSecond = OpAt::Second, kOpThird = OpAt::Third;

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
    service_rows::kTeardown,
};

// Automatic backup tunnels, class 8.
inline constexpr SetterRow kAutoBackup[] = {
    // op decides only the check: the request always says "set".
    {.name = "removal-timer", .cls = 8, .tag = 0, .value = Word, .check = UndoPasses,
     .opAt = kOpSecond, .headerOp = false, .call = call_setter<TE_MOR_SetAutoBkpRemovalTimer>},
    {.name = "tunnel-id", .cls = 8, .tag = 1, .value = Copy, .opAt = kNoOp, .headerOp = false,
     .layout = &kIdRange, .call = call_setter<TE_MOR_SetAutoBkpTunnelId>},
    {.name = "nhop-only", .cls = 8, .tag = 2, .value = Flag, .check = UndoPasses,
     .call = call_setter<TE_MOR_SetAutoBkpNhopOnly>},
};

// Reservable bandwidth and the two bandwidth-constraint models: packed
// 32-bit words, big-endian on the wire.
inline constexpr Field kMaxResBwFields[] = {words("word%u", 0, 2)};
inline constexpr Layout kMaxResBw = layout(sizeof(TeMaxResBandwidth), kMaxResBwFields);
inline constexpr Field kBcRdmFields[] = {words("word%u", 0, 4)};
inline constexpr Layout kBcRdm = layout(sizeof(TeBcModelRdm), kBcRdmFields);
inline constexpr Field kBcMamFields[] = {words("word%u", 0, 5)};
inline constexpr Layout kBcMam = layout(sizeof(TeBcModelMam), kBcMamFields);
static_assert(covers_exactly(kMaxResBw) && covers_exactly(kBcRdm) && covers_exactly(kBcMam));
static_assert(sizeof(TeMaxResBandwidth) == 8 && sizeof(TeBcModelRdm) == 16 &&
              sizeof(TeBcModelMam) == 20 && sizeof(TeIfBwThresholds) == 4);

// The reservable bandwidth and each model in absolute values, sent with the
// caller's op under the undo rule. The reservable bandwidth goes from a
// copy; the models' words are converted in the caller's record.
inline constexpr SetterRow kMaxReservable{
    .name = "max-reservable", .cls = 1, .tag = 4, .value = Copy, .check = UndoPasses,
    .keyed = true, .layout = &kMaxResBw, .call = call_setter<TE_MOR_SetMaxResBandwidth>};
inline constexpr SetterRow kMam{.name = "mam", .cls = 1, .tag = 5, .value = InPlace,
                                .check = UndoPasses, .keyed = true, .layout = &kBcMam,
                                .call = call_setter<TE_MOR_SetMaxResBandwidthMam>};
inline constexpr SetterRow kRdm{.name = "rdm", .cls = 1, .tag = 6, .value = InPlace,
                                .check = UndoPasses, .keyed = true, .layout = &kBcRdm,
                                .call = call_setter<TE_MOR_SetMaxResBandwidthRdm>};

// The percent form of an absolute row: the same value under its own tag,
// no op (the header says set) and always refused while MPLS-TE is off.
consteval SetterRow in_percent(SetterRow absolute, RowName name, uint16_t tag, SetterCall call) {
    absolute.name = name;
    absolute.tag = tag;
    absolute.check = AlwaysRefused;
    absolute.opAt = kNoOp;
    absolute.headerOp = false;
    absolute.call = call;
    return absolute;
}

// Settings of one interface, class 1, keyed by its ifIndex. Nothing is
// range-checked, percentages included.
inline constexpr SetterRow kInterface[] = {
    {.name = "te", .cls = 1, .tag = 1, .value = Flag, .check = AnyUndoPasses, .opAt = kOpSecond,
     .keyed = true, .call = call_setter<TE_MOR_SetMplsTeIf>},
    // op decides only the check: the request always says "set".
    {.name = "admin-group", .cls = 1, .tag = 2, .value = Word, .check = UndoPasses,
     .opAt = kOpThird, .headerOp = false, .keyed = true,
     .call = call_setter<TE_MOR_SetLinkAdminGroup>},
    {.name = "max-bandwidth", .cls = 1, .tag = 3, .value = Word, .check = UndoPasses,
     .opAt = kOpSecond, .keyed = true, .call = call_setter<TE_MOR_SetMaxLinkBandwidth>},
    kMaxReservable,
    kMam,
    kRdm,
    {.name = "bw-thresholds", .cls = 1, .tag = 7, .value = Raw, .check = UndoPasses,
     .keyed = true, .length = 4, .call = call_setter<TE_MOR_SetIfBwChangeThresholds>},
    {.name = "metric", .cls = 1, .tag = 8, .value = Word, .check = UndoPasses, .keyed = true,
     .call = call_setter<TE_MOR_SetIfMetricValue>},
    {.name = "frr-bypass", .cls = 1, .tag = 9, .value = Half, .check = UndoPasses, .keyed = true,
     .call = call_setter<TE_MOR_SetFrrBypassTunnel>},
    {.name = "auto-tunnel", .cls = 1, .tag = 10, .value = Flag, .check = AnyUndoPasses,
     .opAt = kOpSecond, .keyed = true, .call = call_setter<TE_MOR_SetIfAutoTunn>},
    {.name = "max-bandwidth-percent", .cls = 1, .tag = 11, .value = Word, .check = AlwaysRefused,
     .opAt = kNoOp, .headerOp = false, .keyed = true,
     .call = call_setter<TE_MOR_SetMaxLinkBandwidthInPercent>},
    in_percent(kMaxReservable, "max-reservable-percent", 12,
               call_setter<TE_MOR_SetMaxResBWInPercent>),
    in_percent(kMam, "mam-percent", 13, call_setter<TE_MOR_SetMaxResBWMamInPercent>),
    in_percent(kRdm, "rdm-percent", 14, call_setter<TE_MOR_SetMaxResBWRdmInPercent>),
};

// IGP settings of a bundle, class 7, keyed by the bundle id, under the undo
// rule.
inline constexpr SetterRow kBundle[] = {
    {.name = "igp-advertise", .cls = 7, .tag = 1, .value = Flag, .check = UndoPasses,
     .keyed = true, .call = call_setter<TE_MOR_SetBundleIgpAdvertise>},
    {.name = "igp-metric", .cls = 7, .tag = 2, .value = MetricSelector, .check = UndoPasses,
     .keyed = true, .call = call_setter<TE_MOR_SetBundleIgpMetric>},
    // HOST ORDER: the shortcut value travels as the caller's machine holds
    // it in memory, not converted to big-endian.
    {.name = "igp-shortcut", .cls = 7, .tag = 3, .value = HostOrder, .check = UndoPasses,
     .keyed = true, .length = 4, .call = call_setter<TE_MOR_SetBundleIgpShortcut>},
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

// Every family; a new family is listed here.
inline constexpr Family kFamilies[] = {
    {"global", kGlobal},   {"auto-backup", kAutoBackup}, {"interface", kInterface},
    {"bundle", kBundle},   {"trap", kTraps},             {"debug", service_rows::kDebug},
    {"tunnel", kTunnelCreate}, {"tunnel", kTunnelAttributes},
    {"path", kExplicitPaths}, {"mib", kMibHops},
};

// Every row of every family, in the order of kFamilies, each turned into
// what make(family, row) returns at compile time: how a program that links
// none of the library (whose rows name its functions) keeps what it needs.
consteval size_t setter_row_count() {
    size_t n = 0;
    for (const Family &f : kFamilies) n += f.rows.size();
    return n;
}
consteval auto each_setter_row(auto make) {
    std::array<decltype(make(kFamilies[0], kFamilies[0].rows[0])), setter_row_count()> out{};
    size_t n = 0;
    for (const Family &f : kFamilies)
        for (const SetterRow &r : f.rows) out[n++] = make(f, r);
    return out;
}

// The largest request a setter sends (header excluded), from the rows; the
// request buffer holds every row's items whole.
inline constexpr uint32_t kLargestSetterRequest = [] {
    uint32_t most = 0;
    for (const Family &f : kFamilies)
        for (const SetterRow &r : f.rows) most = request_room(r) > most ? request_room(r) : most;
    return most;
}();
consteval bool every_setter_request_fits() {
    for (const Family &f : kFamilies)
        for (const SetterRow &r : f.rows)
            if (!request_fits(r)) return false;
    return true;
}
static_assert(every_setter_request_fits(),
              "a setter row's key and value items do not fit the request (request_fits)");

}  // namespace temor::setters

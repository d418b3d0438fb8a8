// Tunnel creation (class 6) and the per-tunnel settings (class 3, keyed by
// the tunnel id), as setter rows (see messaging/setter_rows.h).
#pragma once

#include <cstddef>

#include "include/te_mor.h"
#include "messaging/layout.h"
#include "messaging/setter_rows.h"

namespace temor::setters {

// word0..word6, half0 and half1 big-endian, byte0..byte3 as they are, text
// bounded to its 256-byte field.
inline constexpr Field kTunnelConfigFields[] = {words("word%u", 0, 7), halves("half%u", 28, 2),
                                                octets("byte%u", 32, 4), text("text", 36, 256)};
inline constexpr Layout kTunnelConfig = layout(sizeof(TeTunnelConfig), kTunnelConfigFields);
static_assert(covers_exactly(kTunnelConfig) && sizeof(TeTunnelConfig) == 292 &&
              offsetof(TeTunnelConfig, half0) == 28 && offsetof(TeTunnelConfig, text) == 36);

// half0, word0 and word1 big-endian; both raw blocks as they are.
inline constexpr Field kPathOptionFields[] = {bytes("rawBlock0", 0, 34), halves("half0", 34),
                                              words("word%u", 36, 2), bytes("rawBlock1", 44, 32)};
inline constexpr Layout kPathOptionRecord = layout(sizeof(TeTunnelPathOption), kPathOptionFields);
static_assert(covers_exactly(kPathOptionRecord) && offsetof(TeTunnelPathOption, half0) == 34 &&
              offsetof(TeTunnelPathOption, rawBlock1) == 44);

// Sent whatever the TE state; the caller's record is only read.
inline constexpr SetterRow kTunnelCreate[] = {
    {.name = "create", .cls = 6, .tag = 24, .value = Value::Copy, .opAt = OpAt::None,
     .headerOp = false, .layout = &kTunnelConfig, .call = call_setter<TE_MOR_SetTunnel>},
};

// Attribute tags of class 3 (tag 0 is the tunnel id key).
enum TunnelTag : uint16_t {
    kReoptimizeTunnel = 1,
    kPathOption = 2,
    kBackupPathOption = 3,
    kBackup = 4,
    kAutoBandwidth = 5,
    kPriority = 6,
    kBandwidth = 7,
    kResvStyle = 8,
    kSignalProtocol = 9,
    kRetryTimes = 10,
    kRetryInterval = 11,
    kAffinity = 12,
    kFastReroute = 13,
    kBackupBandwidth = 14,
    kRecordRoute = 15,
    kLoopDetection = 16,
    kBidirectional = 17,
    kScrlsp = 18,
    kRoutePinning = 19,
    kIgpAdvertise = 20,
    kIgpMetric = 21,
    kIgpShortcut = 22,
    kPathMetric = 23,
    kSsrlsp = 28,
    kServiceClass = 29,
};

// Attribute records. Converted in the caller's record: bidirectional,
// affinity, automatic bandwidth, backup bandwidth. Sent from a copy (the
// record only read): Ssrlsp, bandwidth, priority (padding and the slot
// behind the priorities travel as zero). Scrlsp goes as its bytes lie.
inline constexpr Field kBidirFields[] = {words("word0", 0), halves("half0", 4),
                                         bytes("rawBlock", 6, 18)};
inline constexpr Layout kBidir = layout(sizeof(TeTunnelBidirectional), kBidirFields);
inline constexpr Field kSsrlspFields[] = {bytes("rawBlock", 0, 16), words("word0", 16)};
inline constexpr Layout kSsrlspRecord = layout(sizeof(TeTunnelSsrlsp), kSsrlspFields);
inline constexpr Field kAffinityFields[] = {words("word%u", 0, 2)};
inline constexpr Layout kAffinityRecord = layout(sizeof(TeTunnelAffinity), kAffinityFields);
inline constexpr Field kAutoBwFields[] = {words("word%u", 0, 3), octets("enable", 12),
                                          bytes("rawBlock", 13, 3)};
inline constexpr Layout kAutoBw = layout(sizeof(TeTunnelAutoBw), kAutoBwFields);
inline constexpr Field kBackupBwFields[] = {words("bandwidth", 0), octets("byte0", 4),
                                            octets("enable", 5), bytes("rawBlock", 6, 2)};
inline constexpr Layout kBackupBw = layout(sizeof(TeTunnelBackupBw), kBackupBwFields);
inline constexpr Field kBandwidthFields[] = {octets("selector", 0), pad(1, 3),
                                             words("bandwidth", 4)};
inline constexpr Layout kTunnelBandwidth = layout(sizeof(TeTunnelBandwidth), kBandwidthFields);
inline constexpr Field kPriorityFields[] = {octets("priority%u", 0, 2)};
inline constexpr Layout kPriorityRecord = layout(sizeof(TeTunnelPriority), kPriorityFields);
static_assert(covers_exactly(kBidir) && covers_exactly(kSsrlspRecord) && covers_exactly(kAffinityRecord) &&
              covers_exactly(kAutoBw) && covers_exactly(kBackupBw) &&
              covers_exactly(kTunnelBandwidth) && covers_exactly(kPriorityRecord));
static_assert(sizeof(TeTunnelBidirectional) == 24 && sizeof(TeTunnelScrlsp) == 16 &&
              sizeof(TeTunnelSsrlsp) == 20 && sizeof(TeTunnelAutoBw) == 16 &&
              sizeof(TeTunnelBackupBw) == 8 && offsetof(TeTunnelBackupBw, enable) == 5 &&
              offsetof(TeTunnelAutoBw, enable) == 12 &&
              offsetof(TeTunnelBandwidth, bandwidth) == 4);

// Per-tunnel settings, class 3, keyed by the tunnel id. Unless a row says
// otherwise the op comes first, goes into the header, and decides the undo
// rule. Path options: once the check lets the call through, the option's
// numbers are left in network order in the caller's record, whatever the
// daemon answers.
using enum Value;
using enum CheckForm;
inline constexpr SetterRow kTunnelAttributes[] = {
    {.name = "reoptimize", .cls = 3, .tag = kReoptimizeTunnel, .value = Word, .check = UndoPasses,
     .keyed = true, .call = call_setter<TE_MOR_SetTunnelReoptimize>},
    {.name = "path", .cls = 3, .tag = kPathOption, .value = InPlace, .check = UndoPasses,
     .keyed = true, .layout = &kPathOptionRecord, .call = call_setter<TE_MOR_SetTunnelPath>},
    {.name = "backup-path", .cls = 3, .tag = kBackupPathOption, .value = InPlace,
     .check = UndoPasses, .keyed = true, .layout = &kPathOptionRecord,
     .call = call_setter<TE_MOR_SetTunnelBackupPath>},
    // The value stands before the tunnel id among the arguments.
    {.name = "backup", .cls = 3, .tag = kBackup, .value = Octet, .check = UndoPasses,
     .keyed = true, .valueBeforeKey = true, .call = call_setter<TE_MOR_SetTunnelBackup>},
    // No op: the record's enable octet (0: removal) decides the check.
    {.name = "auto-bw", .cls = 3, .tag = kAutoBandwidth, .value = InPlace, .check = RemovalPasses,
     .opAt = OpAt::None, .headerOp = false, .keyed = true, .layout = &kAutoBw,
     .enableAt = offsetof(TeTunnelAutoBw, enable), .call = call_setter<TE_MOR_SetTunnelAutoBw>},
    {.name = "priority", .cls = 3, .tag = kPriority, .value = Copy, .check = UndoPasses,
     .keyed = true, .length = 4, .layout = &kPriorityRecord, .call = call_setter<TE_MOR_SetPriority>},
    {.name = "bandwidth", .cls = 3, .tag = kBandwidth, .value = Copy, .check = UndoPasses,
     .keyed = true, .layout = &kTunnelBandwidth, .call = call_setter<TE_MOR_SetBandWidth>},
    // Op last: it decides the check only; the header always says set, so an
    // undo reaches the daemon as a set of the value passed.
    {.name = "resv-style", .cls = 3, .tag = kResvStyle, .value = Octet, .check = UndoPasses,
     .opAt = OpAt::Third, .headerOp = false, .keyed = true,
     .call = call_setter<TE_MOR_SetTunnelResvStyle>},
    {.name = "signal-protocol", .cls = 3, .tag = kSignalProtocol, .value = Octet,
     .check = UndoPasses, .opAt = OpAt::Third, .headerOp = false, .keyed = true,
     .call = call_setter<TE_MOR_SetTunnelSignalProtocol>},
    {.name = "retry-times", .cls = 3, .tag = kRetryTimes, .value = Word, .check = UndoPasses,
     .opAt = OpAt::Third, .headerOp = false, .keyed = true,
     .call = call_setter<TE_MOR_SetTunnelRetryTimes>},
    {.name = "retry-interval", .cls = 3, .tag = kRetryInterval, .value = Word, .check = UndoPasses,
     .opAt = OpAt::Third, .headerOp = false, .keyed = true,
     .call = call_setter<TE_MOR_SetTunnelRetryInterval>},
    {.name = "affinity", .cls = 3, .tag = kAffinity, .value = InPlace, .check = UndoPasses,
     .opAt = OpAt::Third, .headerOp = false, .keyed = true, .layout = &kAffinityRecord,
     .call = call_setter<TE_MOR_SetTunnelAffinityProperty>},
    {.name = "frr", .cls = 3, .tag = kFastReroute, .value = Octet, .check = UndoPasses,
     .keyed = true, .call = call_setter<TE_MOR_SetTunnelFrr>},
    // No op: the header carries the backup-bandwidth op (6) and the record's
    // enable octet says set (1) or remove (0), deciding the check.
    {.name = "backup-bw", .cls = 3, .tag = kBackupBandwidth, .value = InPlace,
     .check = RemovalPasses, .opAt = OpAt::None, .headerOp = false,
     .fixedOp = TE_MOR_OP_BACKUP_BW, .keyed = true, .layout = &kBackupBw,
     .enableAt = offsetof(TeTunnelBackupBw, enable),
     .call = call_setter<TE_MOR_SetTunnelBackupBw>},
    {.name = "record-route", .cls = 3, .tag = kRecordRoute, .value = Octet, .check = UndoPasses,
     .keyed = true, .call = call_setter<TE_MOR_SetTunnelRecordRoute>},
    {.name = "loop-detection", .cls = 3, .tag = kLoopDetection, .value = Octet,
     .check = UndoPasses, .keyed = true, .call = call_setter<TE_MOR_SetTunnelLoopDetection>},
    {.name = "bidirectional", .cls = 3, .tag = kBidirectional, .value = InPlace,
     .check = UndoPasses, .keyed = true, .layout = &kBidir,
     .call = call_setter<TE_MOR_SetBidirectionalTunnel>},
    {.name = "scrlsp", .cls = 3, .tag = kScrlsp, .value = Raw, .check = UndoPasses, .keyed = true,
     .length = sizeof(TeTunnelScrlsp), .call = call_setter<TE_MOR_SetTunnelScrlsp>},
    {.name = "route-pinning", .cls = 3, .tag = kRoutePinning, .value = Flag, .check = UndoPasses,
     .keyed = true, .call = call_setter<TE_MOR_SetTunnelRoutePinning>},
    {.name = "igp-advertise", .cls = 3, .tag = kIgpAdvertise, .value = Word, .check = UndoPasses,
     .keyed = true, .call = call_setter<TE_MOR_SetTunnelIgpAdvertise>},
    {.name = "igp-metric", .cls = 3, .tag = kIgpMetric, .value = MetricSelector,
     .check = UndoPasses, .keyed = true, .call = call_setter<TE_MOR_SetTunnelIgpMetric>},
    {.name = "igp-shortcut", .cls = 3, .tag = kIgpShortcut, .value = Octet, .check = UndoPasses,
     .keyed = true, .call = call_setter<TE_MOR_SetTunnelIgpShortcut>},
    {.name = "path-metric", .cls = 3, .tag = kPathMetric, .value = Octet, .check = UndoPasses,
     .keyed = true, .call = call_setter<TE_MOR_SetTunnelPathMetric>},
    {.name = "ssrlsp", .cls = 3, .tag = kSsrlsp, .value = Copy, .check = UndoPasses,
     .keyed = true, .layout = &kSsrlspRecord, .call = call_setter<TE_MOR_SetTunnelSsrlsp>},
    {.name = "service-class", .cls = 3, .tag = kServiceClass, .value = Word, .check = UndoPasses,
     .keyed = true, .call = call_setter<TE_MOR_SetTunnelSerclass>},
};

}  // namespace temor::setters

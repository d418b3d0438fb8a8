// Tunnel creation (class 6) and the per-tunnel settings (class 3, keyed by
// the tunnel id), as setter rows (see messaging/setter.h).
#pragma once

#include <cstddef>

#include "include/te_mor.h"
#include "messaging/layout.h"
#include "messaging/setter.h"

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

// Per-tunnel settings. Path options: once the check lets the call through, the option's numbers
// are left in network order in the caller's record, whatever the daemon
// answers.
inline constexpr SetterRow kTunnelAttributes[] = {
    {.name = "path", .cls = 3, .tag = kPathOption, .value = Value::InPlace,
     .check = CheckForm::UndoPasses, .keyed = true, .layout = &kPathOptionRecord,
     .call = call_setter<TE_MOR_SetTunnelPath>},
    {.name = "backup-path", .cls = 3, .tag = kBackupPathOption, .value = Value::InPlace,
     .check = CheckForm::UndoPasses, .keyed = true, .layout = &kPathOptionRecord,
     .call = call_setter<TE_MOR_SetTunnelBackupPath>},
};

}  // namespace temor::setters

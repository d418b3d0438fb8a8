// The tunnel attribute request: class 3, the tunnel id as key item (tag 0),
// then one item that carries the attribute. Every per-tunnel setter is one
// tunnel_attr() line:
//
//   return tunnel_attr(rule_u(op), op, tnlId, item::Octet{kRecordRoute, value});
#pragma once

#include <cstdint>

#include "include/te_mor.h"
#include "service/te_check.h"

namespace temor {

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

// Makes the check, then sends class 3 with header op op (its low 8 bits),
// the key item for tnlId and attribute, and returns the result.
template <class Item>
uint32_t tunnel_attr(const Check &check, uint32_t op, uint32_t tnlId, const Item &attribute) {
    return send(check, TE_MOR_CLASS_TUNNEL, op, tunnel_key(tnlId), attribute);
}

}  // namespace temor

// Per-tunnel attributes: each setter is its row (tunnel/tunnel_rows.h) and
// one line; two convenience entry points on top.
#include "include/te_mor.h"
#include "setter/setter.h"
#include "tunnel/tunnel_rows.h"

using namespace temor;
using setters::kTunnelAttributes;

namespace {
template <size_t N>
consteval SetterRow attribute(const char (&name)[N]) {
    return row(kTunnelAttributes, name);
}
}  // namespace

// The exported functions that share a shape, one line each: their rows say
// everything else.
#define TUNNEL_NUMBER(fn, name)                                           \
    TE_MOR_API uint32_t fn(uint32_t op, uint32_t tnlId, uint32_t value) { \
        return set<attribute(name)>(op, tnlId, value);                    \
    }
#define TUNNEL_NUMBER_OP_LAST(fn, name)                                   \
    TE_MOR_API uint32_t fn(uint32_t tnlId, uint32_t value, uint32_t op) { \
        return set<attribute(name)>(op, tnlId, value);                    \
    }
#define TUNNEL_RECORD(fn, name, Record)                                     \
    TE_MOR_API uint32_t fn(uint32_t op, uint32_t tnlId, Record *record) {   \
        return set<attribute(name)>(op, tnlId, record);                     \
    }

extern "C" {

TUNNEL_NUMBER(TE_MOR_SetTunnelReoptimize, "reoptimize")
TUNNEL_NUMBER(TE_MOR_SetTunnelFrr, "frr")
TUNNEL_NUMBER(TE_MOR_SetTunnelRecordRoute, "record-route")
TUNNEL_NUMBER(TE_MOR_SetTunnelLoopDetection, "loop-detection")
TUNNEL_NUMBER(TE_MOR_SetTunnelIgpAdvertise, "igp-advertise")
TUNNEL_NUMBER(TE_MOR_SetTunnelIgpShortcut, "igp-shortcut")
TUNNEL_NUMBER(TE_MOR_SetTunnelPathMetric, "path-metric")
TUNNEL_NUMBER(TE_MOR_SetTunnelSerclass, "service-class")
TUNNEL_NUMBER_OP_LAST(TE_MOR_SetTunnelResvStyle, "resv-style")
TUNNEL_NUMBER_OP_LAST(TE_MOR_SetTunnelSignalProtocol, "signal-protocol")
TUNNEL_NUMBER_OP_LAST(TE_MOR_SetTunnelRetryTimes, "retry-times")
TUNNEL_NUMBER_OP_LAST(TE_MOR_SetTunnelRetryInterval, "retry-interval")
TUNNEL_RECORD(TE_MOR_SetPriority, "priority", const TeTunnelPriority)
TUNNEL_RECORD(TE_MOR_SetBandWidth, "bandwidth", const TeTunnelBandwidth)
TUNNEL_RECORD(TE_MOR_SetBidirectionalTunnel, "bidirectional", TeTunnelBidirectional)
TUNNEL_RECORD(TE_MOR_SetTunnelScrlsp, "scrlsp", const TeTunnelScrlsp)
TUNNEL_RECORD(TE_MOR_SetTunnelSsrlsp, "ssrlsp", const TeTunnelSsrlsp)

TE_MOR_API uint32_t TE_MOR_SetTunnelRoutePinning(uint32_t op, uint32_t tnlId) {
    return set<attribute("route-pinning")>(op, tnlId);
}
TE_MOR_API uint32_t TE_MOR_SetTunnelIgpMetric(uint32_t op, uint32_t tnlId, uint32_t selector,
                                              uint32_t metric) {
    return set<attribute("igp-metric")>(op, tnlId, selector, metric);
}
TE_MOR_API uint32_t TE_MOR_SetTunnelBackup(uint32_t op, uint32_t value, uint32_t tnlId) {
    return set<attribute("backup")>(op, tnlId, value);
}
TE_MOR_API uint32_t TE_MOR_SetTunnelAffinityProperty(uint32_t tnlId, TeTunnelAffinity *affinity,
                                                     uint32_t op) {
    return set<attribute("affinity")>(op, tnlId, affinity);
}
TE_MOR_API uint32_t TE_MOR_SetTunnelAutoBw(uint32_t tnlId, TeTunnelAutoBw *autoBw) {
    return set<attribute("auto-bw")>(TE_MOR_OP_SET, tnlId, autoBw);
}
TE_MOR_API uint32_t TE_MOR_SetTunnelBackupBw(uint32_t tnlId, TeTunnelBackupBw *backupBw) {
    return set<attribute("backup-bw")>(TE_MOR_OP_SET, tnlId, backupBw);
}

TE_MOR_API uint32_t TE_SetTunnelBackupBw(uint32_t tnlId, uint32_t bandwidth) {
    TeTunnelBackupBw record{bandwidth, 0, 1, {0, 0}};
    return TE_MOR_SetTunnelBackupBw(tnlId, &record);
}

TE_MOR_API uint32_t TE_MOR_SetScrlsp(uint32_t op, uint16_t tnlId, const TeTunnelScrlsp *scrlsp) {
    if (op > TE_MOR_OP_UNDO || scrlsp == nullptr) return TE_MOR_ERR_FAIL;
    constexpr uint32_t kDisabled[] = {TE_MOR_ERR_TE_DISABLED};
    return translate(TE_MOR_SetTunnelScrlsp(op, tnlId, scrlsp), kDisabled, TE_MOR_ERR_IPC_OPEN);
}

}  // extern "C"

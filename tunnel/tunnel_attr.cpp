// Per-tunnel attributes: each setter is its row (tunnel/tunnel_rows.h) and
// one line; two convenience entry points on top.
#include "include/te_mor.h"
#include "messaging/setter.h"
#include "tunnel/tunnel_rows.h"

using namespace temor;
using setters::kTunnelAttributes;

namespace {
template <size_t N>
consteval SetterRow attribute(const char (&name)[N]) {
    return row(kTunnelAttributes, name);
}
}  // namespace

extern "C" {

TE_MOR_API uint32_t TE_MOR_SetTunnelReoptimize(uint32_t op, uint32_t tnlId, uint32_t value) {
    return set<attribute("reoptimize")>(op, tnlId, value);
}
TE_MOR_API uint32_t TE_MOR_SetPriority(uint32_t op, uint32_t tnlId, const TeTunnelPriority *p) {
    return set<attribute("priority")>(op, tnlId, p);
}
TE_MOR_API uint32_t TE_MOR_SetBandWidth(uint32_t op, uint32_t tnlId, const TeTunnelBandwidth *b) {
    return set<attribute("bandwidth")>(op, tnlId, b);
}
TE_MOR_API uint32_t TE_MOR_SetTunnelFrr(uint32_t op, uint32_t tnlId, uint32_t value) {
    return set<attribute("frr")>(op, tnlId, value);
}
TE_MOR_API uint32_t TE_MOR_SetTunnelRecordRoute(uint32_t op, uint32_t tnlId, uint32_t value) {
    return set<attribute("record-route")>(op, tnlId, value);
}
TE_MOR_API uint32_t TE_MOR_SetTunnelLoopDetection(uint32_t op, uint32_t tnlId, uint32_t value) {
    return set<attribute("loop-detection")>(op, tnlId, value);
}
TE_MOR_API uint32_t TE_MOR_SetBidirectionalTunnel(uint32_t op, uint32_t tnlId,
                                                  TeTunnelBidirectional *bidir) {
    return set<attribute("bidirectional")>(op, tnlId, bidir);
}
TE_MOR_API uint32_t TE_MOR_SetTunnelScrlsp(uint32_t op, uint32_t tnlId,
                                           const TeTunnelScrlsp *scrlsp) {
    return set<attribute("scrlsp")>(op, tnlId, scrlsp);
}
TE_MOR_API uint32_t TE_MOR_SetTunnelRoutePinning(uint32_t op, uint32_t tnlId) {
    return set<attribute("route-pinning")>(op, tnlId);
}
TE_MOR_API uint32_t TE_MOR_SetTunnelIgpAdvertise(uint32_t op, uint32_t tnlId, uint32_t value) {
    return set<attribute("igp-advertise")>(op, tnlId, value);
}
TE_MOR_API uint32_t TE_MOR_SetTunnelIgpMetric(uint32_t op, uint32_t tnlId, uint32_t selector,
                                              uint32_t metric) {
    return set<attribute("igp-metric")>(op, tnlId, selector, metric);
}
TE_MOR_API uint32_t TE_MOR_SetTunnelIgpShortcut(uint32_t op, uint32_t tnlId, uint32_t value) {
    return set<attribute("igp-shortcut")>(op, tnlId, value);
}
TE_MOR_API uint32_t TE_MOR_SetTunnelPathMetric(uint32_t op, uint32_t tnlId, uint32_t value) {
    return set<attribute("path-metric")>(op, tnlId, value);
}
TE_MOR_API uint32_t TE_MOR_SetTunnelSsrlsp(uint32_t op, uint32_t tnlId,
                                           const TeTunnelSsrlsp *ssrlsp) {
    return set<attribute("ssrlsp")>(op, tnlId, ssrlsp);
}
TE_MOR_API uint32_t TE_MOR_SetTunnelSerclass(uint32_t op, uint32_t tnlId, uint32_t value) {
    return set<attribute("service-class")>(op, tnlId, value);
}
TE_MOR_API uint32_t TE_MOR_SetTunnelBackup(uint32_t op, uint32_t value, uint32_t tnlId) {
    return set<attribute("backup")>(op, tnlId, value);
}
TE_MOR_API uint32_t TE_MOR_SetTunnelResvStyle(uint32_t tnlId, uint32_t value, uint32_t op) {
    return set<attribute("resv-style")>(op, tnlId, value);
}
TE_MOR_API uint32_t TE_MOR_SetTunnelSignalProtocol(uint32_t tnlId, uint32_t value, uint32_t op) {
    return set<attribute("signal-protocol")>(op, tnlId, value);
}
TE_MOR_API uint32_t TE_MOR_SetTunnelRetryTimes(uint32_t tnlId, uint32_t value, uint32_t op) {
    return set<attribute("retry-times")>(op, tnlId, value);
}
TE_MOR_API uint32_t TE_MOR_SetTunnelRetryInterval(uint32_t tnlId, uint32_t value, uint32_t op) {
    return set<attribute("retry-interval")>(op, tnlId, value);
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

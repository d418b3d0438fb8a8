// Router-wide TE settings, automatic backup tunnels and an interface's FRR
// bypass tunnel: each setter is its row (config/setters.h) and one line.
#include "config/setters.h"
#include "include/te_mor.h"
#include "setter/setter.h"

using namespace temor;
using setters::kAutoBackup;
using setters::kGlobal;
using setters::kInterface;

namespace {
// Daemon codes that TE_SetFrrBypassTunnel reports as a refused bypass tunnel.
constexpr uint32_t kBypassRefusedCodes[] = {0x250C00BFu, 0x250C00C0u};
}  // namespace

extern "C" {

TE_MOR_API uint32_t TE_MOR_SetAutoBkpNhopOnly(uint32_t op) {
    return set<row(kAutoBackup, "nhop-only")>(op);
}

TE_MOR_API uint32_t TE_MOR_SetAutoBkpTunnelId(const TeAutoBkpTunnelIdRange *range) {
    return set<row(kAutoBackup, "tunnel-id")>(TE_MOR_OP_SET, range);
}

TE_MOR_API uint32_t TE_MOR_SetAutoBkpRemovalTimer(uint32_t timer, uint32_t op) {
    return set<row(kAutoBackup, "removal-timer")>(op, timer);
}

TE_MOR_API uint32_t TE_MOR_SetFrrTimer(uint32_t timer) {
    return set<row(kGlobal, "frr-timer")>(TE_MOR_OP_SET, timer);
}

TE_MOR_API uint32_t TE_MOR_SetTimerPriFlooding(uint32_t op, uint16_t floodingTime) {
    return set<row(kGlobal, "flooding-timer")>(op, floodingTime);
}

TE_MOR_API uint32_t TE_MOR_SetGlobalMetricType(uint32_t op) {
    return set<row(kGlobal, "metric-type")>(op);
}

TE_MOR_API uint32_t TE_MOR_SetIetfTeClass(uint32_t op, const uint8_t *teClass) {
    return set<row(kGlobal, "ietf-te-class")>(op, teClass);
}

TE_MOR_API uint32_t TE_MOR_SetDsTeMode(uint32_t op, const uint8_t *dsTeMode) {
    return set<row(kGlobal, "ds-te-mode")>(op, dsTeMode);
}

TE_MOR_API uint32_t TE_MOR_SetDsteBcMode(uint32_t op, const uint8_t *bcMode) {
    return set<row(kGlobal, "bc-mode")>(op, bcMode);
}

TE_MOR_API uint32_t TE_MOR_SetFrrBypassTunnel(uint32_t op, uint32_t ifIndex,
                                              uint16_t bypassTunnel) {
    return set<row(kInterface, "frr-bypass")>(op, ifIndex, bypassTunnel);
}

TE_MOR_API uint32_t TE_SetFrrBypassTunnel(uint32_t enable, uint32_t ifIndex,
                                          uint16_t bypassTunnel) {
    const uint32_t op = enable == 1 ? TE_MOR_OP_SET : TE_MOR_OP_UNDO;
    return translate(TE_MOR_SetFrrBypassTunnel(op, ifIndex, bypassTunnel), kBypassRefusedCodes,
                     TE_MOR_ERR_BYPASS_REFUSED);
}

TE_MOR_API uint32_t TE_MOR_SetReoptimization(void) {
    return set<row(kGlobal, "reoptimize")>(TE_MOR_OP_SET);
}

TE_MOR_API uint32_t TE_MOR_ResetAutoBw(uint32_t op) {
    return set<row(kGlobal, "reset-auto-bw")>(op);
}

TE_MOR_API uint32_t TE_MOR_SetTeAutoTunn(uint32_t op) {
    return set<row(kGlobal, "auto-tunnel")>(op);
}

TE_MOR_API uint32_t TE_MOR_SetTeAutoBw(uint32_t op, uint32_t autoBwValue) {
    return set<row(kGlobal, "auto-bw")>(op, autoBwValue);
}

}  // extern "C"

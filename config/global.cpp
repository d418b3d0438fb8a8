// Router-wide TE settings. Each setter is one request: the TE-enabled check
// it makes, its class, where its header op comes from and how its value is
// encoded. Nothing is range-checked here; the daemon judges the values.
#include "include/te_mor.h"
#include "messaging/items.h"
#include "messaging/layout.h"
#include "service/te_check.h"

using namespace temor;

namespace {

// Tags of class 0 (global settings).
enum GlobalTag : uint16_t {
    kReoptimize = 0,
    kResetAutoBw = 1,
    kAutoBw = 2,
    kDsteBcMode = 3,
    kDsTeMode = 4,
    kIetfTeClass = 5,
    kGlobalMetricType = 6,
    kFloodingTimer = 7,
    kFrrTimer = 8,
    kAutoTunnels = 11,
};
// Tags of class 8 (automatic backup tunnels).
enum AutoBackupTag : uint16_t { kRemovalTimer = 0, kTunnelIdRange = 1, kNhopOnly = 2 };
// Tag of class 1 carrying an interface's FRR bypass tunnel.
constexpr uint16_t kFrrBypassTunnel = 9;

// Two 16-bit tunnel ids, low then high.
constexpr Field kIdRangeFields[] = {halves(0, 2)};
constexpr Layout kIdRange = layout(sizeof(TeAutoBkpTunnelIdRange), kIdRangeFields);
static_assert(sizeof(TeAutoBkpTunnelIdRange) == 4);

// Daemon codes that TE_SetFrrBypassTunnel reports as a refused bypass tunnel.
constexpr uint32_t kBypassRefusedCodes[] = {0x250C00BFu, 0x250C00C0u};

}  // namespace

extern "C" TE_MOR_API uint32_t TE_MOR_SetAutoBkpNhopOnly(uint32_t op) {
    return send(rule_u(op), TE_MOR_CLASS_AUTO_BACKUP, op, item::Flag{kNhopOnly});
}

extern "C" TE_MOR_API uint32_t TE_MOR_SetAutoBkpTunnelId(const TeAutoBkpTunnelIdRange *range) {
    return send(no_check().or_invalid_if(range == nullptr), TE_MOR_CLASS_AUTO_BACKUP,
                TE_MOR_OP_SET, item::Copy{kTunnelIdRange, range, kIdRange});
}

// op decides only the check: the request always says "set".
extern "C" TE_MOR_API uint32_t TE_MOR_SetAutoBkpRemovalTimer(uint32_t timer, uint32_t op) {
    return send(rule_u(op), TE_MOR_CLASS_AUTO_BACKUP, TE_MOR_OP_SET,
                item::Word{kRemovalTimer, timer});
}

extern "C" TE_MOR_API uint32_t TE_MOR_SetFrrTimer(uint32_t timer) {
    return send(no_check(), TE_MOR_CLASS_GLOBAL, TE_MOR_OP_SET, item::Word{kFrrTimer, timer});
}

extern "C" TE_MOR_API uint32_t TE_MOR_SetTimerPriFlooding(uint32_t op, uint16_t floodingTime) {
    return send(no_check(), TE_MOR_CLASS_GLOBAL, op, item::Half{kFloodingTimer, floodingTime});
}

extern "C" TE_MOR_API uint32_t TE_MOR_SetGlobalMetricType(uint32_t op) {
    return send(no_check(), TE_MOR_CLASS_GLOBAL, op, item::Flag{kGlobalMetricType});
}

extern "C" TE_MOR_API uint32_t TE_MOR_SetIetfTeClass(uint32_t op, const uint8_t *teClass) {
    return send(no_check().or_invalid_if(teClass == nullptr), TE_MOR_CLASS_GLOBAL, op,
                item::Raw{kIetfTeClass, 4, teClass});
}

extern "C" TE_MOR_API uint32_t TE_MOR_SetDsTeMode(uint32_t op, const uint8_t *dsTeMode) {
    return send(no_check().or_invalid_if(dsTeMode == nullptr), TE_MOR_CLASS_GLOBAL, op,
                item::built<4>(kDsTeMode, [dsTeMode](uint8_t *v) { v[0] = *dsTeMode; }));
}

extern "C" TE_MOR_API uint32_t TE_MOR_SetDsteBcMode(uint32_t op, const uint8_t *bcMode) {
    return send(no_check().or_invalid_if(bcMode == nullptr), TE_MOR_CLASS_GLOBAL, op,
                item::Raw{kDsteBcMode, 4, bcMode});
}

extern "C" TE_MOR_API uint32_t TE_MOR_SetFrrBypassTunnel(uint32_t op, uint32_t ifIndex,
                                                         uint16_t bypassTunnel) {
    return send(rule_u(op), TE_MOR_CLASS_IF, op, if_key(ifIndex),
                item::Half{kFrrBypassTunnel, bypassTunnel});
}

extern "C" TE_MOR_API uint32_t TE_SetFrrBypassTunnel(uint32_t enable, uint32_t ifIndex,
                                                     uint16_t bypassTunnel) {
    const uint32_t op = enable == 1 ? TE_MOR_OP_SET : TE_MOR_OP_UNDO;
    return translate(TE_MOR_SetFrrBypassTunnel(op, ifIndex, bypassTunnel), kBypassRefusedCodes,
                     TE_MOR_ERR_BYPASS_REFUSED);
}

extern "C" TE_MOR_API uint32_t TE_MOR_SetReoptimization(void) {
    return send(rule_s(), TE_MOR_CLASS_GLOBAL, TE_MOR_OP_SET, item::Flag{kReoptimize});
}

extern "C" TE_MOR_API uint32_t TE_MOR_ResetAutoBw(uint32_t op) {
    return send(rule_u(op), TE_MOR_CLASS_GLOBAL, op, item::Flag{kResetAutoBw});
}

extern "C" TE_MOR_API uint32_t TE_MOR_SetTeAutoTunn(uint32_t op) {
    return send(no_check(), TE_MOR_CLASS_GLOBAL, op, item::Flag{kAutoTunnels});
}

extern "C" TE_MOR_API uint32_t TE_MOR_SetTeAutoBw(uint32_t op, uint32_t autoBwValue) {
    return send(no_check(), TE_MOR_CLASS_GLOBAL, op, item::Word{kAutoBw, autoBwValue});
}

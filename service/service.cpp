// Starting and stopping a platform service on the master node and on all
// standby nodes.
#include "service/service.h"

#include "include/te_mor.h"
#include "platform/platform.h"
#include "service/nodes.h"

namespace {

// Status query selectors: the master node, and the standby nodes.
constexpr int32_t kSelectMaster = 0;
constexpr int32_t kSelectStandby = -1;
// Trailing arguments of the service manager's start and stop calls.
constexpr uint32_t kStartA = 0, kStartB = 0;
constexpr uint32_t kStopA = 0, kStopB = 3;


}  // namespace

extern "C" uint32_t TE_MOR_FilterNodes(uint32_t mode, const char *serviceName, uint32_t count,
                                       uint16_t *nodes) {
    // Not reset per node: a query that succeeds without storing a status
    // leaves the previous value (4, neither running nor stopped, at first).
    uint32_t status = 4;
    uint32_t kept = 0;
    for (uint32_t i = 0; i < count; ++i) {
        if (SERVICE_GetStatus(nodes[i], serviceName, kSelectStandby, &status) != 0) continue;
        if (mode == 1 ? temor::service_running(status)
                      : temor::service_stopped(status))
            continue;
        nodes[kept++] = nodes[i];
    }
    return kept;
}

extern "C" uint32_t TE_MOR_StartServiceOn(const char *serviceName) {
    const uint32_t master = DEV_GetSystemMaster();
    uint32_t status = 0;
    uint32_t result = SERVICE_GetStatus(master, serviceName, kSelectMaster, &status);
    if (result != TE_MOR_OK && result != TE_MOR_ERR_NOT_FOUND) return result;
    if (temor::service_stopped(status)) {
        result = SERVICE_Start(master, serviceName, kStartA, kStartB);
        if (result != TE_MOR_OK) return result;
    }
    temor::StandbyNodes standby;
    if (!standby.present()) return result;
    const uint32_t n = TE_MOR_FilterNodes(1, serviceName, standby.count(), standby.data());
    if (n != 0) result = SERVICE_BatchStart(standby.data(), n, serviceName, kStartA, kStartB);
    return result;
}

extern "C" TE_MOR_API uint32_t TE_MOR_StartService(void) {
    return TE_MOR_StartServiceOn(temor::kServiceTe);
}

extern "C" TE_MOR_API uint32_t TE_MOR_StopService(const char *serviceName) {
    const uint32_t master = DEV_GetSystemMaster();
    {
        temor::StandbyNodes standby;
        const uint32_t n = TE_MOR_FilterNodes(0, serviceName, standby.count(), standby.data());
        if (n != 0) SERVICE_BatchStop(standby.data(), n, serviceName, kStopA, kStopB);
    }
    uint32_t status = 0;
    const uint32_t rc = SERVICE_GetStatus(master, serviceName, kSelectMaster, &status);
    if (rc != TE_MOR_OK) return rc;
    if (temor::service_stopped(status)) return TE_MOR_OK;
    return SERVICE_Stop(master, serviceName, kStopA, kStopB);
}

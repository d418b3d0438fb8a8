// Whether MPLS-TE is enabled: the "TE" service runs on the master node or on
// one of the standby nodes.
#include "include/te_mor.h"
#include "platform/platform.h"
#include "service/nodes.h"

namespace {

bool te_running_on(uint32_t node) {
    uint32_t status = 0;
    return SERVICE_GetStatus(node, temor::kServiceTe, 0, &status) == 0 &&
           temor::service_running(status);
}

}  // namespace

extern "C" TE_MOR_API int TE_MOR_IsTeGlobalEnable(void) {
    if (te_running_on(DEV_GetSystemMaster())) return 1;
    temor::StandbyNodes standby;
    for (uint32_t i = 0; i < standby.count(); ++i)
        if (te_running_on(standby.data()[i])) return 1;
    return 0;
}

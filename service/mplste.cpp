// Switching MPLS-TE on (start "TE" and "PCE") and off (daemon teardown, then
// stop "TE").
#include "include/te_mor.h"
#include "platform/platform.h"
#include "service/nodes.h"
#include "service/service.h"
#include "service/service_rows.h"
#include "service/te_check.h"

namespace {

// Database open mode and parameters: only whether "eTE"/"TE" exists matters.
constexpr uint32_t kDbmMode = 1;
constexpr uint32_t kDbmParams[8] = {1, 0, 1, 0, 0, 0, 0, 0};

// Whether the TE configuration database exists; it is closed again at once.
bool te_config_exists() {
    uint32_t handle = 0xffffffffu;
    if (DBM_Open("eTE", "TE", kDbmMode, kDbmParams, &handle) != 0) return false;
    DBM_Close(handle);
    return true;
}

}  // namespace

extern "C" uint32_t TE_MOR_TeardownMplsTe(void) {
    using namespace temor;
    constexpr SetterRow R = service_rows::kTeardown;
    if (send_row<R>(TE_MOR_OP_UNDO, TE_MOR_OP_UNDO, false, item::Flag{R.tag}) == TE_MOR_OK)
        return TE_MOR_OK;
    return te_config_exists() ? TE_MOR_ERR_FAIL : TE_MOR_OK;
}

extern "C" TE_MOR_API uint32_t TE_MOR_SetMplsTe(uint32_t op) {
    if (op == TE_MOR_OP_SET) {
        const uint32_t te = TE_MOR_StartServiceOn(temor::kServiceTe);
        const uint32_t pce = TE_MOR_StartServiceOn(temor::kServicePce);
        return te == TE_MOR_OK && pce == TE_MOR_OK ? TE_MOR_OK : TE_MOR_ERR_FAIL;
    }
    const uint32_t rc = TE_MOR_TeardownMplsTe();
    if (rc != TE_MOR_OK) return rc;
    CONSOLE_Print("Stopping service, please wait...");
    TE_MOR_StopService(temor::kServiceTe);
    return TE_MOR_OK;
}

// Single-number replies: a counter, the bypass count and the notification
// state with the trap capability derived from it.
#include "fuzz/harness.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using temor::fuzz::Guarded;
    return temor::fuzz::with_reply(data, size, [](int) {
        Guarded<uint32_t> configured, bypass, notify;
        Guarded<uint16_t> capability;
        TE_MOR_GetTunnelConfigured(configured.get());
        TE_GetBypassTunnelNum(bypass.get());
        TE_MOR_GetTunnelNotifyEnable(notify.get());
        TE_GetTrapCapability(capability.get());
    });
}

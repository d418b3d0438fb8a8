// Single-number replies: every number of tables::kScalars through its
// exported read, and the notification state with the trap capability
// derived from it.
#include "fuzz/harness.h"
#include "query/tables.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using temor::fuzz::Guarded;
    return temor::fuzz::with_reply(data, size, [](int) {
        for (const temor::tables::Scalar &s : temor::tables::kScalars) {
            Guarded<uint32_t> value;
            value.check(s.read(value.get()));
        }
        Guarded<uint32_t> notify;
        Guarded<uint16_t> capability;
        notify.check(TE_MOR_GetTunnelNotifyEnable(notify.get()));
        capability.check(TE_GetTrapCapability(capability.get()));
    });
}

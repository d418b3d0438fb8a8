// Replies to the read of the daemon's debug switches.
#include "fuzz/harness.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return temor::fuzz::with_reply(data, size, [](int) {
        temor::fuzz::Guarded<TeDebugInfo> info;
        info.check(TE_MOR_GetTeDebug(info.get()));
    });
}

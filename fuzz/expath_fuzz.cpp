// Replies to the explicit path reads. Each read's heap memory is allocated
// and released inside the input's run, so LeakSanitizer sees a failed
// decode that keeps anything, and AddressSanitizer a release of memory the
// library already released. A hop written past hopCount slots, or a name
// copy read past its item, is an out-of-bounds access.
#include "fuzz/harness.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return temor::fuzz::with_reply(data, size, [](int sock) {
        using temor::fuzz::expath_read;
        TeExpathReply first{}, next{}, exact{};
        expath_read(TE_MOR_GetFirstExpath(sock, &first), first);
        expath_read(TE_MOR_GetNextExpath(sock, "p1", &next), next);
        expath_read(TE_MOR_GetExpath(sock, "p1", &exact), exact);
    });
}

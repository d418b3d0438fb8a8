// Replies to the explicit path reads. Each read's heap memory is allocated
// and released inside the input's run, so LeakSanitizer sees a failed
// decode that keeps anything, and AddressSanitizer a release of memory the
// library already released. A hop written past hopCount slots, or a name
// copy read past its item, is an out-of-bounds access.
#include <cstdlib>
#include <cstring>

#include "fuzz/harness.h"

namespace {

void check(uint32_t rc, TeExpathReply &r) {
    if (rc == TE_MOR_OK) {
        if (r.name != nullptr && std::strlen(r.name) == 0) std::abort();  // names are never empty
        if ((r.hops != nullptr) != (r.hopCount != 0)) std::abort();
        TE_MOR_FreeExpathReply(&r);
    }
    // On failure the library has released everything: nothing to do.
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return temor::fuzz::with_reply(data, size, [](int sock) {
        TeExpathReply first{}, next{}, exact{};
        check(TE_MOR_GetFirstExpath(sock, &first), first);
        check(TE_MOR_GetNextExpath(sock, "p1", &next), next);
        check(TE_MOR_GetExpath(sock, "p1", &exact), exact);
    });
}

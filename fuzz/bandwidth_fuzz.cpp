// Bandwidth allocation and DS-TE replies, read on the caller's socket.
#include "fuzz/harness.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using temor::fuzz::Guarded;
    return temor::fuzz::with_reply(data, size, [](int sock) {
        Guarded<TeBwAllocationInfo> first, next;
        Guarded<TeDsteInfo> dste;
        TE_MOR_GetFirstBwAllocationInfo(sock, first.get());
        TE_MOR_GetNextBwAllocationInfo(sock, 1, next.get());
        TE_MOR_GetDsteInfo(sock, dste.get());
    });
}

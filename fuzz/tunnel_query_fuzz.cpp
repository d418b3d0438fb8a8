// Tunnel table replies: the index-set and tunnel-id reads, each on a socket
// of its own.
#include "fuzz/harness.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    using temor::fuzz::Guarded;
    return temor::fuzz::with_reply(data, size, [](int) {
        const TeTunnelIndexSet key{};
        Guarded<TeTunnelInfo> a, b, c;
        TE_MOR_GetFirstTunnel(a.get());
        TE_MOR_GetNextTunnel(&key, b.get());
        TE_MOR_GetTunnelByTnlId(7, c.get());
    });
}

// Tunnel creation from a whole configuration record, and the primary and
// backup path options of a tunnel (rows in tunnel/tunnel_rows.h).
#include "include/te_mor.h"
#include "setter/setter.h"
#include "tunnel/tunnel_rows.h"

using namespace temor;
using setters::kTunnelAttributes;

// A null config is refused before the request is built; the record is
// only read.
extern "C" TE_MOR_API uint32_t TE_MOR_SetTunnel(const TeTunnelConfig *config) {
    return set<row(setters::kTunnelCreate, "create")>(TE_MOR_OP_SET, config);
}

extern "C" TE_MOR_API uint32_t TE_MOR_SetTunnelPath(uint32_t op, uint32_t tnlId,
                                                    TeTunnelPathOption *option) {
    return set<row(kTunnelAttributes, "path")>(op, tnlId, option);
}

extern "C" TE_MOR_API uint32_t TE_MOR_SetTunnelBackupPath(uint32_t op, uint32_t tnlId,
                                                          TeTunnelPathOption *option) {
    return set<row(kTunnelAttributes, "backup-path")>(op, tnlId, option);
}

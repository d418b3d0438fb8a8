// The daemon's debugging switches: change (class 0, tag 9) and read back
// (class 4, tag 4, reply tag 6).
#include "include/te_mor.h"
#include "messaging/bytes.h"
#include "query/decoders.h"
#include "query/query.h"
#include "query/tables.h"
#include "service/service_rows.h"
#include "service/te_check.h"

using namespace temor;

extern "C" TE_MOR_API uint32_t TE_MOR_SetDebug(uint32_t op, const TeDebugInfo *info) {
    constexpr SetterRow R = row(service_rows::kDebug, "set");
    // Where the row's layout says the flags and the item lie.
    static_assert(R.layout->fields[0].offset == 0 && R.layout->fields[0].width == 4 &&
                  R.layout->fields[1].offset == 4 && R.layout->fields[1].width == 2);
    return send_row<R>(op, op, info == nullptr,
                       item::built<R.length>(R.tag, [info](uint8_t *v) {
                           put_be32(v, info->debugFlags);
                           put_be16(v + 4, info->debugItem);
                       }));
}

extern "C" TE_MOR_API uint32_t TE_MOR_GetTeDebug(TeDebugInfo *info) {
    // The socket is opened before MPLS-TE is asked about; without one the
    // read succeeds with the record untouched. A null record is refused only
    // where the reply would be written, after the daemon has answered.
    Socket sock;
    if (!sock.ok()) return TE_MOR_OK;
    if (TE_MOR_IsTeGlobalEnable() != 1) return TE_MOR_ERR_TE_DISABLED;
    return query_on(sock.fd(), TE_MOR_OP_GET, item::Flag{tables::kDebugTag}, [info](Payload p) {
        return info == nullptr ? TE_MOR_ERR_FAIL : decode_debug(p, info);
    });
}

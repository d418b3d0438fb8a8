// The two query patterns and the record decoder they share.
//
// A query sends one class-4 request with one key item and decodes the
// accepted reply's payload into the caller's record:
//   - query_own:  on a socket opened and closed for the one call;
//   - query_held: on a socket the caller holds open for a whole walk.
// Decoders read the payload only through Payload, which bounds every item by
// the bytes actually received.
#pragma once

#include <cstdint>
#include <cstring>

#include "include/te_mor.h"
#include "messaging/frame.h"
#include "messaging/items.h"
#include "messaging/layout.h"
#include "messaging/transport.h"

namespace temor {

constexpr bool is_query_op(uint32_t op) {
    return op == TE_MOR_OP_GET || op == TE_MOR_OP_GET_FIRST || op == TE_MOR_OP_GET_NEXT;
}

// Exchanges one query on sock; a non-zero result is returned unchanged and
// nothing is decoded.
template <class Key, class Decode>
uint32_t query_on(int sock, uint32_t op, const Key &key, Decode &&decode) {
    Request req;
    key.write(req);
    const uint32_t length = req.finish(TE_MOR_CLASS_QUERY, static_cast<uint8_t>(op));
    Reply reply;
    const uint32_t rc = TE_MOR_SendMsg(sock, req.data(), length, reply.data());
    if (rc != TE_MOR_OK) return rc;
    return decode(reply.payload());
}

template <class Key, class Decode>
uint32_t query_own(uint32_t op, const Key &key, Decode &&decode) {
    Socket sock;
    if (!sock.ok()) return TE_MOR_ERR_IPC_OPEN;
    return query_on(sock.fd(), op, key, decode);
}

template <class Key, class Decode>
uint32_t query_held(int sock, uint32_t op, const Key &key, Decode &&decode) {
    if (sock == -1) return TE_MOR_ERR_FAIL;
    return query_on(sock, op, key, decode);
}

// What a decoder demands of the reply's first item.
struct Expect {
    int32_t tag = -1;        // required tag, or -1 for any
    bool nonEmpty = false;   // an empty item fails
    bool zeroFirst = false;  // clear the record before copying
};

// Decodes one item into a record: copies at most the record's size of its
// value, then converts every numeric field of the layout whatever the
// length (fields beyond a short item are the caller's bytes, converted).
inline void decode_item(const ReplyItem &it, void *record, const Layout &l, bool zeroFirst) {
    auto *rec = static_cast<uint8_t *>(record);
    if (zeroFirst) std::memset(rec, 0, l.size);
    const uint16_t n = it.length < l.size ? it.length : l.size;
    if (n != 0) std::memcpy(rec, it.value, n);
    swap_fields(rec, l);
}

// Decodes the first item of the payload into record. TE_MOR_ERR_FAIL, with
// the record untouched, when there is no item or it is not what expect asks.
inline uint32_t decode_first(Payload p, void *record, const Layout &l, Expect expect = {}) {
    const ReplyItem it = p.next();
    if (!it.ok) return TE_MOR_ERR_FAIL;
    if (expect.tag >= 0 && it.tag != expect.tag) return TE_MOR_ERR_FAIL;
    if (expect.nonEmpty && it.length == 0) return TE_MOR_ERR_FAIL;
    decode_item(it, record, l, expect.zeroFirst);
    return TE_MOR_OK;
}

// A decoder for query_*: the first item into record.
inline auto into(void *record, const Layout &l, Expect expect = {}) {
    return [record, &l, expect](Payload p) { return decode_first(p, record, l, expect); };
}

// The worker of a table read on a socket of the call's own: refuses a null
// record or an op other than exact, first or next before anything is opened,
// then decodes the reply's first item into the record.
template <class Key>
uint32_t own_row(uint32_t op, const Key &key, void *record, const Layout &l, Expect e = {}) {
    if (record == nullptr || !is_query_op(op)) return TE_MOR_ERR_FAIL;
    return query_own(op, key, into(record, l, e));
}

// The worker of a table read on the caller's socket: the same, with socket
// -1 refused as well; the socket is neither opened nor closed.
template <class Key>
uint32_t held_row(int sock, uint32_t op, const Key &key, void *record, const Layout &l,
                  Expect e = {}) {
    if (record == nullptr || !is_query_op(op)) return TE_MOR_ERR_FAIL;
    return query_held(sock, op, key, into(record, l, e));
}

}  // namespace temor

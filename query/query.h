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
#include <type_traits>

#include "include/te_mor.h"
#include "messaging/frame.h"
#include "messaging/items.h"
#include "messaging/layout.h"
#include "messaging/transport.h"
#include "query/tables.h"

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
    const uint64_t r = exchange_received(sock, req.data(), length, reply.data());
    const uint32_t rc = static_cast<uint32_t>(r);
    if (rc != TE_MOR_OK) return rc;
    return decode(reply.payload(static_cast<uint32_t>(r >> 32)));
}

template <class Key, class Decode>
uint32_t query_own(uint32_t op, const Key &key, Decode &&decode) {
    Socket sock;
    if (!sock.ok()) return TE_MOR_ERR_IPC_OPEN;
    return query_on(sock.fd(), op, key, decode);
}

// Replies that wait on a socket the caller holds belong to no request of
// this call: a reply that came after its request timed out, or a duplicate.
// They are discarded before the request goes out (a bounded number, so a
// daemon that floods the socket cannot hold the call here).
constexpr int kStaleRepliesDiscarded = 64;

inline void discard_queued_replies(int sock) {
    uint8_t scrap[kHeaderSize];
    for (int i = 0; i < kStaleRepliesDiscarded; ++i)
        if (LIPC_RecvQueued(sock, scrap, sizeof scrap) < 0) return;
}

template <class Key, class Decode>
uint32_t query_held(int sock, uint32_t op, const Key &key, Decode &&decode) {
    if (sock == -1) return TE_MOR_ERR_FAIL;
    discard_queued_replies(sock);
    return query_on(sock, op, key, decode);
}

// Decodes one item into a record: copies at most the record's size of its
// value, then converts every numeric field of the layout whatever the
// length (fields beyond a short item are the caller's bytes, converted).
// swap(record) does the conversion.
template <class Swap>
inline void decode_item(const ReplyItem &it, void *record, uint16_t size, bool zeroFirst,
                        Swap swap) {
    auto *rec = static_cast<uint8_t *>(record);
    if (zeroFirst) std::memset(rec, 0, size);
    const uint16_t n = it.length < size ? it.length : size;
    if (n != 0) std::memcpy(rec, it.value, n);
    swap(rec);
}

// Decodes the first item of the payload into record. TE_MOR_ERR_FAIL, with
// the record untouched, when there is no item or it is not what expect asks.
template <class Swap>
inline uint32_t decode_first(Payload p, void *record, uint16_t size, Expect expect, Swap swap) {
    const ReplyItem it = p.next();
    if (!it.ok) return TE_MOR_ERR_FAIL;
    if (expect.tag >= 0 && it.tag != expect.tag) return TE_MOR_ERR_FAIL;
    if (expect.nonEmpty && it.length == 0) return TE_MOR_ERR_FAIL;
    decode_item(it, record, size, expect.zeroFirst, swap);
    return TE_MOR_OK;
}

// The same through a layout given at run time.
inline uint32_t decode_first(Payload p, void *record, const Layout &l, Expect expect = {}) {
    return decode_first(p, record, l.size, expect, [&l](uint8_t *r) { swap_fields(r, l); });
}

// The same through a layout fixed at compile time.
template <const Layout &L>
inline uint32_t decode_first(Payload p, void *record, Expect expect = {}) {
    return decode_first(p, record, L.size, expect, [](uint8_t *r) { swap_fields<L>(r); });
}

// The first four bytes at the first item's value, big-endian, whatever the
// item's length: a short item lends the received bytes behind it, and
// nothing past the received reply is read (bytes beyond it read as zero).
inline uint32_t decode_first_word(Payload p, uint32_t *value) {
    const ReplyItem it = p.next();
    if (!it.ok) return TE_MOR_ERR_FAIL;
    uint8_t v[4] = {};
    p.copy_clamped(it.end - it.length, sizeof v, v);
    *value = get_be32(v);
    return TE_MOR_OK;
}

// A decoder for query_*: the first item into record.
inline auto into(void *record, const Layout &l, Expect expect = {}) {
    return [record, &l, expect](Payload p) { return decode_first(p, record, l, expect); };
}

// The same for a layout fixed at compile time.
template <const Layout &L>
inline auto into(void *record, Expect expect = {}) {
    return [record, expect](Payload p) { return decode_first<L>(p, record, expect); };
}

// The worker of a table read on a socket of the call's own: refuses a null
// record or an op other than exact, first or next before anything is opened,
// then decodes the reply's first item into the record.
template <const Layout &L, class Key>
uint32_t own_row(uint32_t op, const Key &key, void *record, Expect e = {}) {
    if (record == nullptr || !is_query_op(op)) return TE_MOR_ERR_FAIL;
    return query_own(op, key, into<L>(record, e));
}

// The worker of a table read on the caller's socket: the same, with socket
// -1 refused as well; the socket is neither opened nor closed.
template <const Layout &L, class Key>
uint32_t held_row(int sock, uint32_t op, const Key &key, void *record, Expect e = {}) {
    if (record == nullptr || !is_query_op(op)) return TE_MOR_ERR_FAIL;
    return query_held(sock, op, key, into<L>(record, e));
}

// ---- entry points of a described table -------------------------------------
//
// Each exported query is one line over its table's descriptor:
//
//   return first_row<tables::kBwAlloc>(sock, info);
//   return keyed_row<tables::kBwAlloc>(sock, TE_MOR_OP_GET_NEXT, key, info);
//
// sock is ignored by tables read on a socket of the call's own.

// The decoder of a described table, unless its entry points give their own:
// the reply's first item into the record by the table's layout.
struct ByLayout {};

// decode, when given, is called as decode(Payload, record) once the daemon
// has answered 0; the null record and the op are refused first either way.
template <const tables::Table &T, class Key, class Decode = ByLayout>
uint32_t read_row(int sock, uint32_t op, const Key &key, void *record, Decode decode = {}) {
    if constexpr (!std::is_same_v<Decode, ByLayout>) {
        if (record == nullptr || !is_query_op(op)) return TE_MOR_ERR_FAIL;
        const auto into_record = [&decode, record](Payload p) { return decode(p, record); };
        if constexpr (T.socket == tables::Socket::Own) {
            (void)sock;
            return query_own(op, key, into_record);
        } else {
            return query_held(sock, op, key, into_record);
        }
    } else if constexpr (T.socket == tables::Socket::Own) {
        (void)sock;
        return own_row<*T.record>(op, key, record, T.expect);
    } else {
        return held_row<*T.record>(sock, op, key, record, T.expect);
    }
}

// The table's first row: its first-row key (zeros for a key record, an
// empty item for a 16-bit key).
template <const tables::Table &T, class Decode = ByLayout>
uint32_t first_row(int sock, void *record, Decode decode = {}) {
    if constexpr (T.key == tables::Key::Word) {
        return read_row<T>(sock, TE_MOR_OP_GET_FIRST, item::Word{T.tag, T.firstKey}, record, decode);
    } else if constexpr (T.key == tables::Key::Record) {
        static constexpr uint8_t kZeros[64] = {};
        static_assert(sizeof kZeros >= 16 && T.keyLayout->size <= sizeof kZeros);
        return read_row<T>(sock, TE_MOR_OP_GET_FIRST, item::Copy{T.tag, kZeros, *T.keyLayout},
                           record, decode);
    } else {
        return read_row<T>(sock, TE_MOR_OP_GET_FIRST, item::Flag{T.tag}, record, decode);
    }
}

// The row with (op 3) or after (op 5) a numeric key; a reserved key 0 (a
// 32-bit key) or the refused key (a 16-bit one) is refused before anything
// is sent.
template <const tables::Table &T, class Decode = ByLayout>
uint32_t keyed_row(int sock, uint32_t op, uint32_t key, void *record, Decode decode = {}) {
    static_assert(T.key == tables::Key::Word || T.key == tables::Key::Half);
    if constexpr (T.key == tables::Key::Half) {
        if (T.refusedKey >= 0 && key == static_cast<uint32_t>(T.refusedKey)) return TE_MOR_ERR_FAIL;
        return read_row<T>(sock, op, item::Half{T.tag, static_cast<uint16_t>(key)}, record, decode);
    } else {
        if (T.zeroKeyReserved && key == 0) return TE_MOR_ERR_FAIL;
        return read_row<T>(sock, op, item::Word{T.tag, key}, record, decode);
    }
}

// The same for a key record; a first-row op sends zeros and ignores key
// (unless the table's first-row requests send the key too), otherwise a
// null key is refused before anything is sent.
template <const tables::Table &T, class Decode = ByLayout>
uint32_t keyed_row(int sock, uint32_t op, const void *key, void *record, Decode decode = {}) {
    static_assert(T.key == tables::Key::Record);
    if (op == TE_MOR_OP_GET_FIRST && !T.firstSendsKey) return first_row<T>(sock, record, decode);
    if (key == nullptr) return TE_MOR_ERR_FAIL;
    return read_row<T>(sock, op, item::Copy{T.tag, key, *T.keyLayout}, record, decode);
}

// A table keyed by words of the record itself: a first-row request sends an
// empty item and does not read the record; the others send the key words
// the descriptor names, read from the record only once the request is
// written (after the null record and the op are refused).
template <const tables::Table &T>
uint32_t record_row(int sock, uint32_t op, void *record) {
    static_assert(T.key == tables::Key::InRecord);
    constexpr uint16_t n = 4 * T.keyWords->count;
    if (op == TE_MOR_OP_GET_FIRST) return read_row<T>(sock, op, item::Flag{T.tag}, record);
    const auto key = item::built<n>(T.tag, [record](uint8_t *v) {
        const auto *rec = static_cast<const uint8_t *>(record);
        for (uint8_t i = 0; i < T.keyWords->count; ++i) {
            uint32_t word = 0;
            if (T.keyWords->at[i] != tables::kZeroWord) std::memcpy(&word, rec + T.keyWords->at[i], 4);
            put_be32(v + 4 * i, word);
        }
    });
    return read_row<T>(sock, op, key, record);
}

// A table without a key: its one record.
template <const tables::Table &T>
uint32_t only_row(int sock, void *record) {
    static_assert(T.key == tables::Key::None);
    return read_row<T>(sock, TE_MOR_OP_GET, item::Flag{T.tag}, record);
}

// ---- the size of query requests ------------------------------------------------

// The bytes of the request buffer behind the header that a table's requests
// take: the key item (4 bytes of head), a key record counted twice as it is
// built in the buffer's spare end (item::Copy).
constexpr uint32_t request_room(const tables::Table &t) {
    switch (t.key) {
    case tables::Key::None:
        return 4;
    case tables::Key::Word:
    case tables::Key::Half:
        return 8;
    case tables::Key::Record:
        return 4u + 2u * t.keyLayout->size;
    case tables::Key::InRecord:
        return 4u + 4u * t.keyWords->count;
    }
    return 4;
}

// The largest query request (header excluded): the tables' keys, and a
// named explicit path (its name and terminator); single numbers, the notify
// state and the debug switches send an empty item.
inline constexpr uint32_t kLargestQueryRequest = [] {
    uint32_t most = 4u + tables::kPathNameSize;
    for (const tables::Table *t : tables::kAll) most = request_room(*t) > most ? request_room(*t) : most;
    return most;
}();
consteval bool every_query_request_fits() {
    for (const tables::Table *t : tables::kAll)
        if (t->key == tables::Key::Record && t->keyLayout->size > item::kMaxCopiedRecord) return false;
    return kLargestQueryRequest <= TE_MOR_PAYLOAD_MAX;
}
static_assert(every_query_request_fits(), "a table's key item does not fit the request");

}  // namespace temor

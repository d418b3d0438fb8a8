// Request items and their value encodings. An item is a small description
// (tag plus what to encode) whose bytes are produced only when it is written
// into a request, so that nothing of the caller's is read or converted before
// the call has decided to send.
#pragma once

#include <cassert>
#include <cstdint>
#include <cstring>

#include "messaging/bytes.h"
#include "messaging/frame.h"
#include "messaging/layout.h"

namespace temor::item {

// An item of length 0: the tag alone is the setting, the header op says
// apply or undo.
struct Flag {
    uint16_t tag;
    void write(Request &r) const { r.item(tag, 0, nullptr); }
};

// A 32-bit number, big-endian.
struct Word {
    uint16_t tag;
    uint32_t value;
    void write(Request &r) const {
        uint8_t v[4];
        put_be32(v, value);
        r.item(tag, 4, v);
    }
};

// A 16-bit number in a 4-byte slot: two big-endian bytes, two zero bytes.
struct Half {
    uint16_t tag;
    uint16_t value;
    void write(Request &r) const {
        uint8_t v[4] = {};
        put_be16(v, value);
        r.item(tag, 4, v);
    }
};

// The low 8 bits of a number in a 4-byte slot, then three zero bytes.
struct Octet {
    uint16_t tag;
    uint32_t value;
    void write(Request &r) const {
        const uint8_t v[4] = {static_cast<uint8_t>(value), 0, 0, 0};
        r.item(tag, 4, v);
    }
};

// A metric big-endian, then the low 8 bits of a selector and three zero
// bytes.
struct MetricSelector {
    uint16_t tag;
    uint32_t selector;
    uint32_t metric;
    void write(Request &r) const {
        uint8_t v[8] = {};
        put_be32(v, metric);
        v[4] = static_cast<uint8_t>(selector);
        r.item(tag, 8, v);
    }
};

// The caller's bytes exactly as they lie in memory.
struct Raw {
    uint16_t tag;
    uint16_t length;
    const void *bytes;
    void write(Request &r) const { r.item(tag, length, bytes); }
};

// The largest record a setter sends from a copy (the tunnel configuration).
constexpr uint16_t kMaxCopiedRecord = 320;

// A host-order record sent from a converted copy; the caller's record is
// only read (text fields bounded, numbers big-endian, padding zero). A value
// longer than the record (length) is completed with zeros.
struct Copy {
    uint16_t tag;
    const void *record;
    const Layout &fields;
    uint16_t length = 0;  // 0: the record's own size
    // The image is built in the request's spare end, so a query keyed by a
    // record needs no third buffer beside its request and reply.
    void write(Request &r) const {
        const uint16_t n = length > fields.size ? length : fields.size;
        uint8_t *v = n <= kMaxCopiedRecord ? r.spare(n) : nullptr;
        // Layouts are fixed and small (checked at compile time with the
        // rows and tables that send them): never taken.
        assert(v != nullptr && "a copied record does not fit the request");
        if (v == nullptr) return;
        std::memset(v, 0, n);
        wire_image(record, fields, v);
        r.item(tag, n, v);
    }
};

// A caller's record converted to network byte order where it lies, then
// sent from there: the caller gets it back in network order.
struct InPlace {
    uint16_t tag;
    void *record;
    const Layout &fields;
    void write(Request &r) const {
        swap_fields(static_cast<uint8_t *>(record), fields);
        r.item(tag, fields.size, record);
    }
};

// A value of N bytes laid out by fill(uint8_t *value) in a zeroed buffer,
// for values that mix arguments (a metric and a selector, say).
template <uint16_t N, class Fill>
struct Built {
    uint16_t tag;
    Fill fill;
    void write(Request &r) const {
        uint8_t v[N] = {};
        fill(v);
        r.item(tag, N, v);
    }
};

template <uint16_t N, class Fill>
Built<N, Fill> built(uint16_t tag, Fill fill) {
    return Built<N, Fill>{tag, fill};
}

}  // namespace temor::item

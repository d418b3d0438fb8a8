// Record layouts as lists of fields: which bytes of a record hold 32-bit or
// 16-bit numbers (converted between network and host order), which hold
// bounded text, and which are byte runs carried as they stand (not listed).
// The same lists drive the decoding of replies and the in-place or copied
// conversion of records that setters send.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>

#include "messaging/bytes.h"

namespace temor {

enum class FieldKind : uint8_t { U16, U32, Text };

struct Field {
    uint16_t offset;     // of the first element
    FieldKind kind;
    uint16_t count = 1;  // elements (for Text: the field's size in bytes)
    uint16_t stride = 0; // bytes between elements; 0 for packed numbers
    // When not negative: the byte at this record offset bounds count
    // (elements beyond it are left as they are).
    int16_t countAt = -1;
};

constexpr Field words(uint16_t offset, uint16_t n = 1) { return {offset, FieldKind::U32, n, 4}; }
constexpr Field halves(uint16_t offset, uint16_t n = 1) { return {offset, FieldKind::U16, n, 2}; }
constexpr Field text(uint16_t offset, uint16_t size) { return {offset, FieldKind::Text, size, 0}; }
// count elements of width kind, one every stride bytes, of which only the
// first record[countAt] are valid.
constexpr Field counted(uint16_t offset, FieldKind kind, uint16_t count, uint16_t stride,
                        uint16_t countAt) {
    return {offset, kind, count, stride, static_cast<int16_t>(countAt)};
}

struct Layout {
    uint16_t size;
    const Field *fields;
    uint16_t fieldCount;
};

template <size_t N>
constexpr Layout layout(uint16_t size, const Field (&fields)[N]) {
    return Layout{size, fields, static_cast<uint16_t>(N)};
}

// Converts every numeric field of a record image between network and host
// byte order, in place. Text fields are made terminated within their size.
inline void swap_fields(uint8_t *record, const Layout &l) {
    for (uint16_t f = 0; f < l.fieldCount; ++f) {
        const Field &fd = l.fields[f];
        if (fd.kind == FieldKind::Text) {
            uint8_t *t = record + fd.offset;
            if (std::memchr(t, 0, fd.count - 1u) == nullptr) t[fd.count - 1] = 0;
            continue;
        }
        uint16_t n = fd.count;
        if (fd.countAt >= 0 && record[fd.countAt] < n) n = record[fd.countAt];
        for (uint16_t i = 0; i < n; ++i) {
            uint8_t *p = record + fd.offset + i * fd.stride;
            if (fd.kind == FieldKind::U32)
                swap32_at(p);
            else
                swap16_at(p);
        }
    }
}

// Builds the wire image of a host-order record into out (size bytes): the
// record copied, numbers big-endian, text bounded to size - 1 characters with
// the rest of its field zero. Reads nothing outside the record.
inline void wire_image(const void *record, const Layout &l, uint8_t *out) {
    std::memcpy(out, record, l.size);
    for (uint16_t f = 0; f < l.fieldCount; ++f) {
        const Field &fd = l.fields[f];
        if (fd.kind != FieldKind::Text) continue;
        uint8_t *t = out + fd.offset;
        const auto *end = static_cast<uint8_t *>(std::memchr(t, 0, fd.count - 1u));
        const size_t len = end ? static_cast<size_t>(end - t) : fd.count - 1u;
        std::memset(t + len, 0, fd.count - len);
    }
    swap_fields(out, l);
}

}  // namespace temor

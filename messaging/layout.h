// Record layouts as lists of fields. A layout describes a record's wire
// image completely: which bytes hold numbers (big-endian on the wire, host
// order in the record, or carried in the caller's own order), which hold
// bounded text, and which are byte runs or padding. The same lists drive the
// decoding of replies, the in-place or copied conversion of records that
// setters send, and the tools, which name a record's fields by them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "messaging/bytes.h"

namespace temor {

// The kinds of field. What the library does with each is in traits() below;
// what the tools do with each is in tools/field_kinds.cpp. A kind added here
// is a case in each of their switches (the compiler lists the missing ones).
enum class FieldKind : uint8_t {
    U64,    // unsigned numbers, big-endian on the wire, host order in the record
    U32,
    U16,
    U8,
    Host,   // numbers of 1, 2, 4 or 8 bytes in the caller's byte order, never converted
    Bytes,  // a run of bytes carried as it stands
    Text,   // NUL-terminated text within its field
    Pad,    // bytes for alignment only: zero when sent, kept as received
};

// How a kind travels between the wire image and the record.
enum class Conversion : uint8_t {
    BigEndian,  // a number turned between network and host order
    AsIs,       // the bytes as they stand
    Terminate,  // text: terminated within its field; zero behind it when sent
    Zero,       // zero when sent, kept as received
};

struct KindTraits {
    uint16_t width;  // bytes of one element, or 0: given per field
    Conversion conversion;
};

constexpr KindTraits traits(FieldKind k) {
    switch (k) {
    case FieldKind::U64:
        return {8, Conversion::BigEndian};
    case FieldKind::U32:
        return {4, Conversion::BigEndian};
    case FieldKind::U16:
        return {2, Conversion::BigEndian};
    case FieldKind::U8:
        return {1, Conversion::BigEndian};
    case FieldKind::Host:
    case FieldKind::Bytes:
        return {0, Conversion::AsIs};
    case FieldKind::Text:
        return {0, Conversion::Terminate};
    case FieldKind::Pad:
        return {0, Conversion::Zero};
    }
    return {0, Conversion::AsIs};  // not reached: every kind has its case
}

struct Field {
    // The field's name for the tools; "%u" in it stands for the element's
    // number (first, first + 1, ...), as in "word%u" or "valuesA[%u]".
    const char *name;
    uint16_t offset;      // of the first element
    FieldKind kind;
    uint16_t count = 1;   // elements
    uint16_t stride = 0;  // bytes between elements
    uint16_t width = 0;   // bytes of one element
    // When not negative: the byte at this record offset bounds count
    // (elements beyond it are left as they are).
    int16_t countAt = -1;
    uint8_t first = 0;    // number of the first element in its name
};

constexpr Field quads(const char *name, uint16_t offset, uint16_t n = 1, uint8_t first = 0) {
    return {name, offset, FieldKind::U64, n, 8, 8, -1, first};
}
constexpr Field words(const char *name, uint16_t offset, uint16_t n = 1, uint8_t first = 0) {
    return {name, offset, FieldKind::U32, n, 4, 4, -1, first};
}
constexpr Field halves(const char *name, uint16_t offset, uint16_t n = 1, uint8_t first = 0) {
    return {name, offset, FieldKind::U16, n, 2, 2, -1, first};
}
constexpr Field octets(const char *name, uint16_t offset, uint16_t n = 1, uint8_t first = 0) {
    return {name, offset, FieldKind::U8, n, 1, 1, -1, first};
}
// n numbers of width bytes (1, 2, 4 or 8) that travel in the caller's own
// byte order.
constexpr Field host_numbers(const char *name, uint16_t offset, uint16_t width, uint16_t n = 1,
                             uint8_t first = 0) {
    return {name, offset, FieldKind::Host, n, width, width, -1, first};
}
// A run of size bytes carried as it stands; n runs one every stride bytes.
constexpr Field bytes(const char *name, uint16_t offset, uint16_t size, uint16_t n = 1,
                      uint16_t stride = 0) {
    return {name, offset, FieldKind::Bytes, n, stride, size, -1, 0};
}
constexpr Field pad(uint16_t offset, uint16_t size) {
    return {"", offset, FieldKind::Pad, 1, 0, size, -1, 0};
}
// Text bounded to size - 1 characters and terminated within its field.
constexpr Field text(const char *name, uint16_t offset, uint16_t size) {
    return {name, offset, FieldKind::Text, 1, 0, size, -1, 0};
}
// count numbers of kind (one of a fixed width), one every stride bytes, of
// which only the first record[countAt] are valid.
constexpr Field counted(const char *name, uint16_t offset, FieldKind kind, uint16_t count,
                        uint16_t stride, uint16_t countAt) {
    return {name, offset, kind, count, stride, traits(kind).width, static_cast<int16_t>(countAt), 0};
}

// A field whose width suits its kind: the kind's own width, 1, 2, 4 or 8
// bytes for host-order numbers, room for the terminator of text.
constexpr bool well_formed(const Field &f) {
    const KindTraits k = traits(f.kind);
    if (k.width != 0) return f.width == k.width;
    if (f.kind == FieldKind::Host) return f.width == 1 || f.width == 2 || f.width == 4 || f.width == 8;
    return f.width >= 1;
}

struct Layout {
    uint16_t size;  // bytes of the wire image
    const Field *fields;
    uint16_t fieldCount;
};

template <size_t N>
constexpr Layout layout(uint16_t size, const Field (&fields)[N]) {
    return Layout{size, fields, static_cast<uint16_t>(N)};
}

// True when the fields cover every byte of the image exactly once and each
// is well formed: a layout that leaves a byte out or lists one twice is a
// mistake in its description.
constexpr bool covers_exactly(const Layout &l) {
    uint8_t seen[1024] = {};
    if (l.size > sizeof seen) return false;
    for (uint16_t f = 0; f < l.fieldCount; ++f) {
        const Field &fd = l.fields[f];
        if (!well_formed(fd)) return false;
        for (uint16_t i = 0; i < fd.count; ++i)
            for (uint16_t b = 0; b < fd.width; ++b) {
                const uint32_t at = fd.offset + uint32_t{i} * fd.stride + b;
                if (at >= l.size || seen[at]++) return false;
            }
    }
    for (uint16_t b = 0; b < l.size; ++b)
        if (!seen[b]) return false;
    return true;
}

// Converts every big-endian number of a record image between network and
// host byte order, in place. Text fields are made terminated within their
// size; everything else is left as it is.
inline void swap_fields(uint8_t *record, const Layout &l) {
    const Field *fields = l.fields;
    const uint16_t fieldCount = l.fieldCount;
    for (uint16_t f = 0; f < fieldCount; ++f) {
        // The field's description is read once: stores into the record may
        // alias it as far as the compiler knows, and would reload it for
        // every number otherwise.
        const Field &fd = fields[f];
        const KindTraits kind = traits(fd.kind);
        const uint16_t offset = fd.offset;
        switch (kind.conversion) {
        case Conversion::Terminate: {
            const uint16_t width = fd.width;
            uint8_t *t = record + offset;
            if (std::memchr(t, 0, width - 1u) == nullptr) t[width - 1] = 0;
            continue;
        }
        case Conversion::AsIs:
        case Conversion::Zero:
            continue;
        case Conversion::BigEndian:
            break;
        }
        const uint16_t stride = fd.stride;
        const int16_t countAt = fd.countAt;
        uint16_t n = fd.count;
        if (countAt >= 0 && record[countAt] < n) n = record[countAt];
        uint8_t *p = record + offset;
        if (kind.width == 8) {
            for (; n != 0; --n, p += stride) swap64_at(p);
        } else if (kind.width == 4) {
            for (; n != 0; --n, p += stride) swap32_at(p);
        } else if (kind.width == 2) {
            for (; n != 0; --n, p += stride) swap16_at(p);
        }
    }
}

// The same for a layout fixed at compile time: each field's offset, count,
// stride and kind are constants, so the conversion is straight-line code
// per field (a table's decoder runs on every row of a walk).
template <const Layout &L, uint16_t F>
inline void swap_field(uint8_t *record) {
    constexpr Field fd = L.fields[F];
    constexpr KindTraits kind = traits(fd.kind);
    if constexpr (kind.conversion == Conversion::Terminate) {
        uint8_t *t = record + fd.offset;
        if (std::memchr(t, 0, fd.width - 1u) == nullptr) t[fd.width - 1] = 0;
    } else if constexpr (kind.conversion == Conversion::BigEndian && kind.width > 1) {
        uint16_t n = fd.count;
        if constexpr (fd.countAt >= 0) {
            if (record[fd.countAt] < n) n = record[fd.countAt];
        }
        for (uint16_t i = 0; i < n; ++i) {
            uint8_t *p = record + fd.offset + i * fd.stride;
            if constexpr (kind.width == 8)
                swap64_at(p);
            else if constexpr (kind.width == 4)
                swap32_at(p);
            else
                swap16_at(p);
        }
    }
}

template <const Layout &L, size_t... F>
inline void swap_fields(uint8_t *record, std::index_sequence<F...>) {
    (swap_field<L, static_cast<uint16_t>(F)>(record), ...);
}

template <const Layout &L>
inline void swap_fields(uint8_t *record) {
    swap_fields<L>(record, std::make_index_sequence<L.fieldCount>{});
}

// Builds the wire image of a host-order record into out (size bytes): the
// record copied, big-endian numbers turned, padding zero, text bounded to
// size - 1 characters with the rest of its field zero. Reads nothing outside
// the record.
inline void wire_image(const void *record, const Layout &l, uint8_t *out) {
    std::memcpy(out, record, l.size);
    for (uint16_t f = 0; f < l.fieldCount; ++f) {
        const Field &fd = l.fields[f];
        uint8_t *at = out + fd.offset;
        switch (traits(fd.kind).conversion) {
        case Conversion::Zero:
            std::memset(at, 0, fd.width);
            break;
        case Conversion::Terminate: {
            const auto *end = static_cast<uint8_t *>(std::memchr(at, 0, fd.width - 1u));
            const size_t len = end ? static_cast<size_t>(end - at) : fd.width - 1u;
            std::memset(at + len, 0, fd.width - len);
            break;
        }
        case Conversion::BigEndian:
        case Conversion::AsIs:
            break;
        }
    }
    swap_fields(out, l);
}

}  // namespace temor

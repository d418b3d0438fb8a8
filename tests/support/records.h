// Test support for records: the image a record should hold on this host, a
// record as the table runners pass it, and what was sent.
#pragma once

#include <cstring>
#include <initializer_list>

#include "include/te_mor.h"
#include "messaging/layout.h"
#include "support/fake_daemon.h"

namespace temor::test {

// count numbers of width bytes (4 or 2), packed from offset on, or one
// every stride bytes.
struct Numbers {
    size_t offset;
    size_t width;
    size_t count = 1;
    size_t stride = 0;
};

// The bytes a record holds after decoding wire: wire itself with every
// listed number turned from big-endian into host order.
inline Bytes host_image(Bytes wire, std::initializer_list<Numbers> numbers) {
    for (const Numbers &n : numbers) {
        for (size_t i = 0; i < n.count; ++i) {
            uint8_t *p = wire.data() + n.offset + i * (n.stride ? n.stride : n.width);
            if (n.width == 4) {
                const uint32_t v = uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 |
                                   uint32_t(p[2]) << 8 | p[3];
                std::memcpy(p, &v, 4);
            } else {
                const uint16_t v = uint16_t(p[0] << 8 | p[1]);
                std::memcpy(p, &v, 2);
            }
        }
    }
    return wire;
}

// The bytes a record described by l holds after decoding wire: its numbers
// turned as the layout says.
inline Bytes host_image(Bytes wire, const Layout &l) {
    swap_fields(wire.data(), l);
    return wire;
}

// A 32-bit number as it lies in memory on this host.
inline Bytes host32(uint32_t v) { return host_image(be32(v), {{0, 4}}); }

template <class T>
Bytes bytes_of(const T &rec) {
    const auto *p = reinterpret_cast<const uint8_t *>(&rec);
    return Bytes(p, p + sizeof rec);
}

template <class T>
void set_bytes(T &rec, const Bytes &b) {
    std::memcpy(&rec, b.data(), sizeof rec);
}

// A caller's record as the table runners pass it to a row's call: converts
// to whatever record pointer the called function takes.
struct Rec {
    void *p;
    template <class T>
    operator T *() const { return static_cast<T *>(p); }
};

// The last request exactly as received (empty if there was none).
inline Bytes last_sent(const FakeDaemon &d) {
    const std::vector<Bytes> r = d.requests();
    return r.empty() ? Bytes{} : r.back();
}

}  // namespace temor::test

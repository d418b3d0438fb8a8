// Big-endian reads and writes on byte buffers, and in-place byte-order
// conversion of fields that may sit at any alignment.
#pragma once

#include <cstdint>
#include <cstring>

namespace temor {

inline void put_be16(uint8_t *p, uint16_t v) {
    p[0] = static_cast<uint8_t>(v >> 8);
    p[1] = static_cast<uint8_t>(v);
}

inline void put_be32(uint8_t *p, uint32_t v) {
    p[0] = static_cast<uint8_t>(v >> 24);
    p[1] = static_cast<uint8_t>(v >> 16);
    p[2] = static_cast<uint8_t>(v >> 8);
    p[3] = static_cast<uint8_t>(v);
}

inline void put_be64(uint8_t *p, uint64_t v) {
    put_be32(p, static_cast<uint32_t>(v >> 32));
    put_be32(p + 4, static_cast<uint32_t>(v));
}

inline uint16_t get_be16(const uint8_t *p) {
    return static_cast<uint16_t>((p[0] << 8) | p[1]);
}

inline uint32_t get_be32(const uint8_t *p) {
    return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) |
           uint32_t{p[3]};
}

inline uint64_t get_be64(const uint8_t *p) {
    return (uint64_t{get_be32(p)} << 32) | get_be32(p + 4);
}

// Swaps a field between host and network byte order where it lies. The
// operation is its own inverse, so it serves both directions.
inline void swap16_at(void *field) {
    auto *p = static_cast<uint8_t *>(field);
    const uint16_t big = get_be16(p);
    std::memcpy(p, &big, 2);
}

inline void swap32_at(void *field) {
    auto *p = static_cast<uint8_t *>(field);
    const uint32_t big = get_be32(p);
    std::memcpy(p, &big, 4);
}

inline void swap64_at(void *field) {
    auto *p = static_cast<uint8_t *>(field);
    const uint64_t big = get_be64(p);
    std::memcpy(p, &big, 8);
}

}  // namespace temor

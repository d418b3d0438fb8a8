// TLV codec: tag (2 bytes, big-endian), length (2 bytes, big-endian, value
// bytes only), value.
#include <cstring>

#include "platform/platform.h"

extern "C" uint32_t STLV_Set(uint8_t *dst, uint16_t room, uint16_t tag, uint16_t length,
                             const void *value) {
    if (dst == nullptr || uint32_t{room} < 4u + length || (length != 0 && value == nullptr))
        return 0;
    dst[0] = static_cast<uint8_t>(tag >> 8);
    dst[1] = static_cast<uint8_t>(tag);
    dst[2] = static_cast<uint8_t>(length >> 8);
    dst[3] = static_cast<uint8_t>(length);
    if (length != 0) std::memmove(dst + 4, value, length);
    return 4u + length;
}

extern "C" uint32_t STLV_Get(const uint8_t *src, uint16_t avail, uint16_t *tag,
                             uint16_t *length, const uint8_t **value) {
    if (src == nullptr || avail < 4) return 0;
    const uint16_t len = static_cast<uint16_t>((src[2] << 8) | src[3]);
    if (4u + len > avail) return 0;
    *tag = static_cast<uint16_t>((src[0] << 8) | src[1]);
    *length = len;
    *value = len != 0 ? src + 4 : nullptr;
    return 4u + len;
}

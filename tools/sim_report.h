// te-simd's own request, outside the daemon's protocol: the settings it
// holds, for `tectl show settings`. A real daemon answers it with an error.
//
// Request: class kSettingsClass, op 3, one item (tag 0, 4 bytes) holding the
// index of the first setting wanted, big-endian. Reply: result 0 and one
// item per setting (tag 0), as many as fit in one datagram, in a fixed order:
//   class (1 byte), the value item's tag (2, big-endian), the key's length
//   (1), the key item's value (a keyed family's object), then the value item's
//   value as the setter sent it.
// A reply without items means there are no more.
#pragma once

#include <cstdint>

namespace sim::report {

inline constexpr uint8_t kSettingsClass = 0xF0;
inline constexpr const char *kSettingsClassName = "SIM_SETTINGS";  // for the dissector
inline constexpr uint8_t kSettingsOp = 3;
inline constexpr uint16_t kSettingTag = 0;
inline constexpr unsigned kEntryHead = 4;  // class, tag, key length

}  // namespace sim::report

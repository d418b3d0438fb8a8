// Field lists of the query records: which bytes of each record are 32-bit
// or 16-bit numbers (converted from network to host order on decoding) and,
// by omission, which are byte runs carried as received.
#pragma once

#include <cstddef>

#include "include/te_mor.h"
#include "messaging/layout.h"

namespace temor::layouts {

// A key of four words (TeTunnelIndexSet), sent big-endian.
inline constexpr Field kIndexSetFields[] = {words(0, 4)};
inline constexpr Layout kIndexSet = layout(16, kIndexSetFields);

// A lone 32-bit number.
inline constexpr Field kWordFields[] = {words(0)};
inline constexpr Layout kWord = layout(4, kWordFields);

// TeTunnelInfo: words 0-14, halves 0-3, 24 raw octets, words 15-23.
inline constexpr Field kTunnelInfoFields[] = {words(0, 15), halves(60, 4), words(92, 9)};
inline constexpr Layout kTunnelInfo = layout(128, kTunnelInfoFields);

// TeBwAllocationInfo: the row's own numbers, then the two numbers of each of
// the first entryCount entries (never more than the 16 slots).
inline constexpr uint16_t kBwEntries = 100;
inline constexpr uint16_t kBwEntryCount = 88;
inline constexpr Field kBwAllocationFields[] = {
    words(0, 6),
    words(24, 4),
    words(56, 4),
    words(92, 2),
    counted(kBwEntries + 4, FieldKind::U32, 16, sizeof(TeBwAllocationEntry), kBwEntryCount),
    counted(kBwEntries + 8, FieldKind::U32, 16, sizeof(TeBwAllocationEntry), kBwEntryCount),
};
inline constexpr Layout kBwAllocation = layout(292, kBwAllocationFields);

// TeDsteInfo: two words, 48 octets as received, one word.
inline constexpr Field kDsteFields[] = {words(0, 2), words(56)};
inline constexpr Layout kDste = layout(60, kDsteFields);

// The records are the packed images of their items.
static_assert(sizeof(TeTunnelIndexSet) == 16);
static_assert(sizeof(TeTunnelInfo) == 128 && offsetof(TeTunnelInfo, half0) == 60 &&
              offsetof(TeTunnelInfo, rawBlock) == 68 && offsetof(TeTunnelInfo, word15) == 92);
static_assert(sizeof(TeBwAllocationEntry) == 12 && offsetof(TeBwAllocationEntry, entryValueA) == 4);
static_assert(sizeof(TeBwAllocationInfo) == 292 && offsetof(TeBwAllocationInfo, valuesA) == 24 &&
              offsetof(TeBwAllocationInfo, valuesB) == 56 &&
              offsetof(TeBwAllocationInfo, entryCount) == kBwEntryCount &&
              offsetof(TeBwAllocationInfo, word6) == 92 &&
              offsetof(TeBwAllocationInfo, entries) == kBwEntries);
static_assert(sizeof(TeDsteInfo) == 60 && offsetof(TeDsteInfo, dsteWord2) == 56);

}  // namespace temor::layouts

// The daemon's tables, each described once: the tag of its key item, its
// record, how its key is encoded, what a first-row request sends, which key
// it reserves, and whether it is read on a socket of the call's own or on
// one the caller holds. The library's entry points, the simulator, tectl,
// the fuzz seeds and the tests all derive from these descriptors.
//
// Records and wire images. A layout's size is the size of the reply item's
// value that the record takes (its wire image). For most records that is the
// record's whole size; a padded record (a C record larger than its wire
// image, e.g. for alignment) gives sizeof in recordSize and only the image's
// bytes are ever written.
//
// Expect. A table may demand that the reply's first item carries a given tag
// and is not empty; zeroFirst clears the wire image before the item's bytes
// are copied in, so a short item leaves zeros rather than the caller's bytes.
// Without zeroFirst an item shorter than the image replaces only its own
// leading bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "include/te_mor.h"
#include "messaging/layout.h"

namespace temor {

// What a decoder demands of the reply's first item.
struct Expect {
    int32_t tag = -1;        // required tag, or -1 for any
    bool nonEmpty = false;   // an empty item fails
    bool zeroFirst = false;  // clear the image before copying
};

namespace tables {

enum class Socket : uint8_t { Own, Held };
// How a key travels: an empty item, one 32-bit number, or a key record
// converted by its own layout.
enum class Key : uint8_t { None, Word, Record };

// A list that a reply carries behind its record, in an item of its own: the
// item's tag, one entry's wire image, the record's 32-bit count of entries,
// and the list's name for the tools.
struct List {
    uint16_t tag;
    const Layout *entry;
    uint16_t countAt;  // offset of the count in the record's image
    const char *name;
};

struct Table {
    const char *name;  // for the tools: `tectl show NAME`, te-simd's table file
    uint16_t tag;      // tag of the request's key item (the simulator answers with it)
    const Layout *record;
    uint16_t recordSize;  // sizeof the caller's record (>= the image)
    Socket socket;
    Expect expect;
    Key key;
    const Layout *keyLayout = nullptr;  // Key::Record
    uint32_t firstKey = 0;              // Key::Word: what a first-row request sends
    bool zeroKeyReserved = false;       // next-row and exact reads refuse key 0
    // For the tools only (the library never forms a key): the bytes of a
    // row's wire image that are the key of the request for the next row.
    uint16_t nextKeyAt = 0;
    uint16_t nextKeySize = 0;
    const List *list = nullptr;  // a list behind the record, or none
};

// ---- records ---------------------------------------------------------------

inline constexpr Field kIndexSetFields[] = {words("indexSet[%u]", 0, 4)};
inline constexpr Layout kIndexSet = layout(sizeof(TeTunnelIndexSet), kIndexSetFields);

// A lone 32-bit number.
inline constexpr Field kWordFields[] = {words("value", 0)};
inline constexpr Layout kWord = layout(4, kWordFields);

inline constexpr Field kTunnelInfoFields[] = {words("word%u", 0, 15), halves("half%u", 60, 4),
                                              bytes("rawBlock", 68, 24),
                                              words("word%u", 92, 9, 15)};
inline constexpr Layout kTunnelInfo = layout(sizeof(TeTunnelInfo), kTunnelInfoFields);

// The row's own numbers, then the two numbers of each of the first
// entryCount entries (never more than the 16 slots).
inline constexpr uint16_t kBwEntryCount = offsetof(TeBwAllocationInfo, entryCount);
inline constexpr uint16_t kBwEntries = offsetof(TeBwAllocationInfo, entries);
inline constexpr Field kBwAllocationFields[] = {
    words("word%u", 0, 6),
    words("valuesA[%u]", 24, 4),
    bytes("bytesA", 40, 16),
    words("valuesB[%u]", 56, 4),
    bytes("bytesB", 72, 16),
    octets("entryCount", kBwEntryCount),
    bytes("reserved", 89, 3),
    words("word%u", 92, 2, 6),
    bytes("entries[%u].entryBytes", kBwEntries, 4, 16, sizeof(TeBwAllocationEntry)),
    counted("entries[%u].entryValueA", kBwEntries + 4, FieldKind::U32, 16,
            sizeof(TeBwAllocationEntry), kBwEntryCount),
    counted("entries[%u].entryValueB", kBwEntries + 8, FieldKind::U32, 16,
            sizeof(TeBwAllocationEntry), kBwEntryCount),
};
inline constexpr Layout kBwAllocation = layout(sizeof(TeBwAllocationInfo), kBwAllocationFields);

inline constexpr Field kDsteFields[] = {words("dsteWord%u", 0, 2), bytes("dsteBytes", 8, 48),
                                        words("dsteWord%u", 56, 1, 2)};
inline constexpr Layout kDste = layout(sizeof(TeDsteInfo), kDsteFields);

// An interface configuration row: the index and a 16-bit value. The image
// is 6 bytes; the record's 2 bytes of padding are never written.
inline constexpr Field kIfConfigFields[] = {words("ifIndex", 0), halves("configValue", 4)};
inline constexpr Layout kIfConfig = layout(6, kIfConfigFields);

// A segment-routing mapping list's header (12 bytes, the 2 after half0
// unused) and one entry of its list (4 bytes).
inline constexpr Field kSrHeaderFields[] = {words("word0", 0), halves("half0", 4), pad(6, 2),
                                            words("entryCount", 8)};
inline constexpr Layout kSrHeader = layout(12, kSrHeaderFields);
inline constexpr Field kSrEntryFields[] = {halves("half%u", 0, 2)};
inline constexpr Layout kSrEntry = layout(sizeof(TeSrMappingEntry), kSrEntryFields);
inline constexpr List kSrEntries{.tag = 24, .entry = &kSrEntry, .countAt = 8, .name = "entries"};
static_assert(kSrEntries.countAt + 4u <= kSrHeader.size);

// ---- tables ------------------------------------------------------------------

// The tunnel table by index set; the key is the row's first four words.
inline constexpr Table kTunnels{.name = "tunnels", .tag = 101, .record = &kTunnelInfo,
                                .recordSize = sizeof(TeTunnelInfo), .socket = Socket::Own,
                                .expect = {}, .key = Key::Record, .keyLayout = &kIndexSet,
                                .nextKeyAt = 0, .nextKeySize = 16};
// The same rows by tunnel id (word0); a first-row request sends id 65535.
inline constexpr Table kTunnelsById{.name = "tunnels-by-id", .tag = 105, .record = &kTunnelInfo,
                                    .recordSize = sizeof(TeTunnelInfo), .socket = Socket::Own,
                                    .expect = {}, .key = Key::Word, .firstKey = 65535,
                                    .nextKeyAt = 0, .nextKeySize = 4};
// Bandwidth allocation rows by word0; key 0 asks for the first row only.
inline constexpr Table kBwAlloc{.name = "bw-alloc", .tag = 3, .record = &kBwAllocation,
                                .recordSize = sizeof(TeBwAllocationInfo), .socket = Socket::Held,
                                .expect = {}, .key = Key::Word, .firstKey = 0,
                                .zeroKeyReserved = true, .nextKeyAt = 0, .nextKeySize = 4};
// The one DS-TE record, asked for with an empty item.
inline constexpr Table kDsteTable{.name = "dste", .tag = 2, .record = &kDste,
                                  .recordSize = sizeof(TeDsteInfo), .socket = Socket::Held,
                                  .expect = {}, .key = Key::None};

// Interface configuration rows by interface index; a first-row request
// sends 0, and a short item leaves zeros rather than the caller's bytes.
inline constexpr Table kIfConfigTable{.name = "if-config", .tag = 109, .record = &kIfConfig,
                                      .recordSize = sizeof(TeIfConfigInfo), .socket = Socket::Own,
                                      .expect = {.zeroFirst = true}, .key = Key::Word,
                                      .firstKey = 0, .nextKeyAt = 0, .nextKeySize = 4};
// Segment-routing mapping lists by word0: a header item of tag 23 (not
// empty), then the entries in an item of tag 24. The record's image is the
// header; the list has a decoder of its own (query/sr_mapping.cpp).
inline constexpr Table kSrMappings{.name = "sr-mappings", .tag = 9, .record = &kSrHeader,
                                   .recordSize = sizeof(TeSrMappingList), .socket = Socket::Held,
                                   .expect = {.tag = 23, .nonEmpty = true}, .key = Key::Word,
                                   .firstKey = 0, .nextKeyAt = 0, .nextKeySize = 4,
                                   .list = &kSrEntries};

// Every table, for the tools and the tests. A new table is listed here.
inline constexpr const Table *kAll[] = {&kTunnels, &kTunnelsById, &kBwAlloc, &kDsteTable,
                                        &kIfConfigTable, &kSrMappings};

// ---- single numbers ------------------------------------------------------------

// Numbers read with one empty item (class 4, op 3). bypass takes at most the
// item's own bytes (laid over the caller's number); the others take the
// first four bytes where the value begins whatever the item's length.
struct Scalar {
    const char *name;
    uint16_t tag;
    uint32_t (*read)(uint32_t *value);  // the exported function, for the tools
};
inline constexpr Scalar kScalars[] = {
    {"configured", 100, TE_MOR_GetTunnelConfigured},
    {"active", 106, TE_MOR_GetTeActiveTunnels},
    {"primary", 107, TE_MOR_GetTePrimaryTunnels},
    {"bypass", 108, TE_GetBypassTunnelNum},
    {"next-path-hop-index", 102, TE_MOR_GetNextPathHopIndex},
    {"next-hop-list-index", 110, TE_MOR_GetNextTunnelHopListIndex},
};
consteval const Scalar &scalar(std::string_view name) {
    for (const Scalar &s : kScalars)
        if (name == s.name) return s;
    return kScalars[sizeof kScalars];  // no such number: not a constant expression
}

// The tunnel notification state (first four bytes of the first item).
inline constexpr uint16_t kNotifyTag = 104;
// The daemon's debug switches: asked for with tag 4, answered with tag 6.
inline constexpr uint16_t kDebugTag = 4;
inline constexpr uint16_t kDebugReplyTag = 6;
inline constexpr uint16_t kDebugImageSize = 206;
inline constexpr Field kDebugFields[] = {words("debugFlags", 0), halves("debugItem", 4),
                                         halves("debugItemList[%u]", 6, 100)};
inline constexpr Layout kDebug = layout(kDebugImageSize, kDebugFields);

// ---- checks of the descriptions against the public records -----------------

static_assert(covers_exactly(kIndexSet) && covers_exactly(kTunnelInfo) &&
              covers_exactly(kBwAllocation) && covers_exactly(kDste) && covers_exactly(kDebug));
static_assert(offsetof(TeTunnelInfo, half0) == 60 && offsetof(TeTunnelInfo, rawBlock) == 68 &&
              offsetof(TeTunnelInfo, word15) == 92);
static_assert(sizeof(TeBwAllocationEntry) == 12 && offsetof(TeBwAllocationEntry, entryValueA) == 4);
static_assert(offsetof(TeBwAllocationInfo, valuesA) == 24 &&
              offsetof(TeBwAllocationInfo, bytesA) == 40 &&
              offsetof(TeBwAllocationInfo, valuesB) == 56 &&
              offsetof(TeBwAllocationInfo, bytesB) == 72 &&
              offsetof(TeBwAllocationInfo, word6) == 92);
static_assert(offsetof(TeDsteInfo, dsteBytes) == 8 && offsetof(TeDsteInfo, dsteWord2) == 56);
static_assert(offsetof(TeDebugInfo, debugItem) == 4 && offsetof(TeDebugInfo, debugItemList) == 6);
static_assert(covers_exactly(kIfConfig) && covers_exactly(kSrHeader) && covers_exactly(kSrEntry));
static_assert(offsetof(TeIfConfigInfo, configValue) == 4 && sizeof(TeIfConfigInfo) == 8);
static_assert(offsetof(TeSrMappingList, half0) == 4 && offsetof(TeSrMappingList, entryCount) == 8 &&
              offsetof(TeSrMappingList, entries) >= kSrHeader.size &&
              offsetof(TeSrMappingEntry, half1) == 2);
consteval bool tables_consistent() {
    for (const Table *t : kAll) {
        if (t->recordSize < t->record->size) return false;
        if (t->nextKeyAt + t->nextKeySize > t->record->size) return false;
    }
    return true;
}
static_assert(tables_consistent());

}  // namespace tables
}  // namespace temor

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

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string_view>
#include <type_traits>

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
// How a key travels: an empty item, one 32-bit number, a key record
// converted by its own layout, a 16-bit number in a 4-byte slot (its two
// big-endian bytes, two zero bytes; a first-row request sends an empty item),
// or words of the caller's record itself (the record is key and result; a
// first-row request sends an empty item).
enum class Key : uint8_t { None, Word, Record, Half, InRecord };

// Key::InRecord: the 32-bit words of the key item, each the record's word
// at a byte offset, or kZeroWord for a word sent as zero.
inline constexpr uint16_t kZeroWord = 0xffff;
struct KeyWords {
    uint8_t count;
    uint16_t at[4];
};

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
    const KeyWords *keyWords = nullptr;  // Key::InRecord
    // For the tools only (the library never forms a key): the bytes of a
    // row's wire image that are the key of the request for the next row.
    uint16_t nextKeyAt = 0;
    uint16_t nextKeySize = 0;
    const List *list = nullptr;  // a list item behind the record, or none
    // Key::Record: a first-row request sends the caller's key too (not zeros).
    bool firstSendsKey = false;
    // Key::Half: the one key that next-row and exact reads refuse, or -1.
    int32_t refusedKey = -1;
    // A counted list table: its reply item is a 32-bit count and that many
    // entries. For the tools, a row of it is its key's image followed by one
    // entry (the record's bytes from keyLayout->size on).
    bool countedList = false;
    // The list table whose entries follow a row of this table as a second
    // item (those whose key begins with this row's key).
    const Table *listed = nullptr;
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
// Multicast P2MP binding rows, the whole row being the key; tunnel rows and
// their key (word0, byte0, three bytes sent as zero).
inline constexpr Field kMcBindFields[] = {words("word%u", 0, 2), halves("half%u", 8, 2)};
inline constexpr Layout kMcBind = layout(sizeof(TeMCastP2mpBind), kMcBindFields);
inline constexpr Field kMcTunnelKeyFields[] = {words("word0", 0), octets("byte0", 4), pad(5, 3)};
inline constexpr Layout kMcTunnelKey = layout(sizeof(TeMCastP2mpTunnelKey), kMcTunnelKeyFields);
inline constexpr Field kMcTunnelFields[] = {words("word0", 0), halves("half0", 4),
                                            bytes("bytes0", 6, 2)};
inline constexpr Layout kMcTunnel = layout(sizeof(TeMCastP2mpTunnel), kMcTunnelFields);

inline constexpr Field kTunIntfFields[] = {
    halves("half%u", 0, 2),       words("word%u", 4, 2),        bytes("bytes0", 12, 4),
    words("word%u", 16, 3, 2),    bytes("bytes1", 28, 4),       words("word%u", 32, 2, 5),
    bytes("bytes2", 40, 2),       halves("half%u", 42, 1, 2),   words("word%u", 44, 2, 7),
    halves("half%u", 52, 1, 3),   bytes("bytes3", 54, 2),       words("word%u", 56, 1, 9),
    bytes("bytes4", 60, 2),       halves("half%u", 62, 1, 4),   bytes("bytes5", 64, 4),
    words("word%u", 68, 4, 10),   bytes("bytes6", 84, 4),       words("word%u", 88, 1, 14),
    bytes("bytes7", 92, 44),      halves("half%u", 136, 1, 5),  bytes("bytes8", 138, 32),
    halves("half%u", 170, 1, 6),  bytes("bytes9", 172, 32),     halves("half%u", 204, 2, 7),
    bytes("bytes10", 208, 4),     words("word%u", 212, 1, 15),  bytes("bytes11", 216, 40),
    words("word%u", 256, 2, 16)};
inline constexpr Layout kTunIntf = layout(sizeof(TeTunIntfInfo), kTunIntfFields);

// The first item of a P2MP tunnel interface reply (16 bytes), in its own
// order; the record takes its fields one by one.
inline constexpr uint16_t kP2mpIntfImageSize = 16;
inline constexpr Field kP2mpIntfFields[] = {words("word0", 0),  octets("byte%u", 4, 2),
                                            halves("half%u", 6, 2), halves("destCount", 10),
                                            words("word1", 12)};
inline constexpr Layout kP2mpIntf = layout(kP2mpIntfImageSize, kP2mpIntfFields);

// A destination list's key (the interface key in a 4-byte slot, then the
// selector), and a row of it for the tools: the key, then one destination.
inline constexpr Field kP2mpDestKeyFields[] = {halves("key", 0), pad(2, 2), words("selector", 4)};
inline constexpr Layout kP2mpDestKey = layout(8, kP2mpDestKeyFields);
inline constexpr Field kP2mpDestRowFields[] = {halves("key", 0), pad(2, 2), words("selector", 4),
                                               words("destWord", 8), bytes("destBytes", 12, 4)};
inline constexpr Layout kP2mpDestRow = layout(16, kP2mpDestRowFields);
// One destination as a list entry carries it (and TeP2mpDest holds it).
inline constexpr Field kP2mpDestFields[] = {words("destWord", 0), bytes("destBytes", 4, 4)};
inline constexpr Layout kP2mpDest = layout(sizeof(TeP2mpDest), kP2mpDestFields);
// The TE path table's key and row.
inline constexpr Field kPathKeyFields[] = {words("pathKey[%u]", 0, 2)};
inline constexpr Layout kPathKey = layout(sizeof(TePathKey), kPathKeyFields);
inline constexpr Field kTePathFields[] = {words("word%u", 0, 7), halves("half%u", 28, 3),
                                          bytes("rawBlock", 34, 34)};
inline constexpr Layout kTePath = layout(sizeof(TePathInfo), kTePathFields);

// A hop row. The path-hop and new-hop tables are two tables of the daemon
// with the same record: two layouts over the one field list, so that tools
// which keep rows per record (the simulator) keep them apart.
inline constexpr Field kHopInfoFields[] = {
    halves("hopHalf0", 0), bytes("hopRaw", 2, 18), words("index%u", 20, 2),
    halves("hopHalf1", 28), octets("hopByte0", 30), octets("hopByte1", 31),
    words("index%u", 32, 1, 2), text("hopText", 36, 32)};
inline constexpr Layout kPathHopInfo = layout(sizeof(TeHopInfo), kHopInfoFields);
inline constexpr Layout kNewHopInfo = layout(sizeof(TeHopInfo), kHopInfoFields);
// Path hops are keyed by index0 and index1 (a zero third word), new hops by
// all three index words.
inline constexpr KeyWords kPathHopKey{3, {offsetof(TeHopInfo, index0), offsetof(TeHopInfo, index1),
                                          kZeroWord}};
inline constexpr KeyWords kNewHopKey{3, {offsetof(TeHopInfo, index0), offsetof(TeHopInfo, index1),
                                         offsetof(TeHopInfo, index2)}};

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
// header; the list has a decoder of its own (query/decoders.h).
inline constexpr Table kSrMappings{.name = "sr-mappings", .tag = 9, .record = &kSrHeader,
                                   .recordSize = sizeof(TeSrMappingList), .socket = Socket::Held,
                                   .expect = {.tag = 23, .nonEmpty = true}, .key = Key::Word,
                                   .firstKey = 0, .nextKeyAt = 0, .nextKeySize = 4,
                                   .list = &kSrEntries};

// Multicast P2MP bindings: the row is the key, sent by first-row requests
// too; the reply is a non-empty item of tag 22, cleared before copying.
inline constexpr Table kMcBinds{.name = "p2mp-binds", .tag = 8, .record = &kMcBind,
                                .recordSize = sizeof(TeMCastP2mpBind), .socket = Socket::Held,
                                .expect = {22, true, true}, .key = Key::Record,
                                .keyLayout = &kMcBind, .nextKeyAt = 0, .nextKeySize = 12,
                                .firstSendsKey = true};
// Multicast P2MP tunnels by the caller's key; the tools take word0 of a row
// as the next key (byte0 0).
inline constexpr Table kMcTunnels{.name = "p2mp-tunnels", .tag = 7, .record = &kMcTunnel,
                                  .recordSize = sizeof(TeMCastP2mpTunnel), .socket = Socket::Held,
                                  .expect = {21, true, true}, .key = Key::Record,
                                  .keyLayout = &kMcTunnelKey, .nextKeyAt = 0, .nextKeySize = 4,
                                  .firstSendsKey = true};
// Tunnel interfaces by a 16-bit key (half0); 0xffff is refused.
inline constexpr Table kTunIntfs{.name = "tunnel-interfaces", .tag = 1, .record = &kTunIntf,
                                 .recordSize = sizeof(TeTunIntfInfo), .socket = Socket::Held,
                                 .expect = {}, .key = Key::Half, .nextKeyAt = 0, .nextKeySize = 2,
                                 .refusedKey = 0xffff};
// Destination lists by interface key and selector (op 3 only), answered
// with a list of tag 20. Decoded by query/decoders.h.
inline constexpr Table kP2mpDests{.name = "p2mp-dests", .tag = 6, .record = &kP2mpDestRow,
                                  .recordSize = kP2mpDestRow.size, .socket = Socket::Held,
                                  .expect = {20, false, false}, .key = Key::Record,
                                  .keyLayout = &kP2mpDestKey, .nextKeyAt = 0, .nextKeySize = 16,
                                  .countedList = true};
// P2MP tunnel interfaces by a 16-bit key (half0 of the first item), the
// first item of tag 19 followed by the interface's destination list.
// Decoded by query/decoders.h (the record is not the item's image).
inline constexpr Table kP2mpIntfs{.name = "p2mp-interfaces", .tag = 5, .record = &kP2mpIntf,
                                  .recordSize = sizeof(TeP2mpTunIntfInfo), .socket = Socket::Held,
                                  .expect = {19, true, true}, .key = Key::Half, .nextKeyAt = 6,
                                  .nextKeySize = 2, .refusedKey = 0xffff, .listed = &kP2mpDests};

// TE path rows by the two-word key; a first-row request sends zeros.
inline constexpr Table kTePaths{.name = "te-paths", .tag = 113, .record = &kTePath,
                                .recordSize = sizeof(TePathInfo), .socket = Socket::Own,
                                .expect = {}, .key = Key::Record, .keyLayout = &kPathKey,
                                .nextKeyAt = 0, .nextKeySize = 8};
// Hop rows keyed by the index words of the caller's record.
inline constexpr Table kPathHops{.name = "path-hops", .tag = 112, .record = &kPathHopInfo,
                                 .recordSize = sizeof(TeHopInfo), .socket = Socket::Own,
                                 .expect = {}, .key = Key::InRecord, .keyWords = &kPathHopKey,
                                 .nextKeyAt = offsetof(TeHopInfo, index0), .nextKeySize = 8};
inline constexpr Table kNewHops{.name = "new-hops", .tag = 111, .record = &kNewHopInfo,
                                .recordSize = sizeof(TeHopInfo), .socket = Socket::Own,
                                .expect = {}, .key = Key::InRecord, .keyWords = &kNewHopKey,
                                .nextKeyAt = offsetof(TeHopInfo, index0), .nextKeySize = 16};

// ---- each table's exported functions, for the tools and the tests -----------

// An exported read in one form: sock is the caller's socket (held tables;
// the others ignore it), previous the image of the row read last (null for
// a first row), record the record to fill. The function's arguments are
// picked by type: the socket for an int, the key for a number or a key
// record (the bytes of previous that key the next request; the rest of a
// key record is zero), the record for the other pointer. A record that is
// its own key starts as previous.
using Call = uint32_t (*)(int sock, const uint8_t *previous, void *record);

template <const Table &T, auto Fn>
uint32_t call(int sock, const uint8_t *previous, void *record) {
    return [&]<class... P>(uint32_t (*)(P...)) {
        static_assert((std::is_same_v<P, int> || ...) == (T.socket == Socket::Held),
                      "a held-socket table's functions take the socket, the others do not");
        alignas(8) uint8_t key[64] = {};
        static_assert(T.nextKeySize <= sizeof key);
        if (previous != nullptr) std::memcpy(key, previous + T.nextKeyAt, T.nextKeySize);
        if constexpr (T.key == Key::InRecord)
            if (previous != nullptr) std::memcpy(record, previous, T.recordSize);
        // A table whose row is its key takes the previous row in the record.
        // (Compared at run time: some sanitizer builds cannot compare the
        // descriptors' pointers in a constant expression.)
        if constexpr (T.key == Key::Record) {
            if (T.keyLayout == T.record && previous != nullptr) std::memcpy(record, previous, T.recordSize);
        }
        [[maybe_unused]] auto pick = [&]<class A>(std::type_identity<A>) -> A {
            if constexpr (std::is_same_v<A, int>) {
                return sock;
            } else if constexpr (std::is_integral_v<A>) {
                static_assert(sizeof(A) == T.nextKeySize && (sizeof(A) == 4 || sizeof(A) == 2));
                A k;
                std::memcpy(&k, key, sizeof k);
                return k;
            } else if constexpr (std::is_const_v<std::remove_pointer_t<A>>) {
                static_assert(sizeof(std::remove_pointer_t<A>) >= T.nextKeySize);
                return reinterpret_cast<A>(key);
            } else {
                return static_cast<A>(record);
            }
        };
        return Fn(pick(std::type_identity<P>{})...);
    }(Fn);
}

// An exported function: its name, and the function as a Call (none for a
// function whose arguments are not a socket, a key and the record).
struct EntryPoint {
    const char *name = nullptr;
    Call call = nullptr;
};
template <const Table &T, auto Fn>
consteval EntryPoint entry_point(const char *name) {
    if constexpr (std::is_null_pointer_v<decltype(Fn)>)
        return {};
    else
        return {name, call<T, Fn>};
}

// A table with its first-row, next-row and exact-row functions (a table of
// one record has only the first), and a line of help for the tools.
struct EntryPoints {
    const Table *table;
    EntryPoint first, next, exact;
    const char *help;
};
// The table T and its three functions, nullptr where it has none.
#define TEMOR_ENTRY_POINTS(T, first, next, exact)                                 \
    &T, entry_point<T, first>(#first), entry_point<T, next>(#next),               \
        entry_point<T, exact>(#exact)

// Every table with its exported functions. The tools (te-simd's rows,
// tectl's show commands), the fuzz target and the tests' checks that every
// function has a test row all take the tables from here: a new table is one
// line.
inline constexpr EntryPoints kEntryPoints[] = {
    {TEMOR_ENTRY_POINTS(kTunnels, TE_MOR_GetFirstTunnel, TE_MOR_GetNextTunnel, TE_MOR_GetTunnel),
     "walk the tunnel table by index set"},
    {TEMOR_ENTRY_POINTS(kTunnelsById, TE_MOR_GetFirstTunnelByTnlId, TE_MOR_GetNextTunnelByTnlId,
                        TE_MOR_GetTunnelByTnlId),
     "walk the tunnel table by tunnel id"},
    {TEMOR_ENTRY_POINTS(kBwAlloc, TE_MOR_GetFirstBwAllocationInfo, TE_MOR_GetNextBwAllocationInfo,
                        TE_MOR_GetBwAllocationInfo),
     "walk the bandwidth allocation table (on one socket)"},
    {TEMOR_ENTRY_POINTS(kDsteTable, TE_MOR_GetDsteInfo, nullptr, nullptr), "the DS-TE record"},
    {TEMOR_ENTRY_POINTS(kIfConfigTable, TE_MOR_GetFirstIfConfig, TE_MOR_GetNextIfConfig,
                        TE_MOR_GetIfConfig),
     "walk the interface configuration table"},
    {TEMOR_ENTRY_POINTS(kSrMappings, TE_MOR_GetFirstSRMappingList, TE_MOR_GetNextSRMappingList,
                        TE_MOR_GetSRMappingList),
     "walk the segment-routing mapping lists (on one socket)"},
    {TEMOR_ENTRY_POINTS(kMcBinds, TE_MOR_GetFirstMCastP2mpBind, TE_MOR_GetNextMCastP2mpBind,
                        TE_MOR_GetMCastP2mpBind),
     "walk the multicast P2MP binding table (on one socket)"},
    {TEMOR_ENTRY_POINTS(kMcTunnels, TE_MOR_GetFirstMCastP2mpTunnel, TE_MOR_GetNextMCastP2mpTunnel,
                        TE_MOR_GetMCastP2mpTunnel),
     "walk the multicast P2MP tunnel table (on one socket; key word0, byte0 0)"},
    {TEMOR_ENTRY_POINTS(kTunIntfs, TE_MOR_GetFirstTunIntf, TE_MOR_GetNextTunIntf, TE_MOR_GetTunIntf),
     "walk the tunnel interface table (on one socket)"},
    {TEMOR_ENTRY_POINTS(kP2mpIntfs, TE_MOR_GetFirstP2mpTunIntf, TE_MOR_GetNextP2mpTunIntf,
                        TE_MOR_GetP2mpTunIntf),
     "walk the P2MP tunnel interface table with each interface's destinations (on one socket)"},
    // One list per call, read into the caller's count and array.
    {&kP2mpDests, {}, {}, {"TE_MOR_GetP2mpTunDestAddr"},
     "the destination list of one P2MP tunnel interface"},
    {TEMOR_ENTRY_POINTS(kTePaths, TE_MOR_GetFirstTePath, TE_MOR_GetNextTePath, TE_MOR_GetTePath),
     "walk the TE path table"},
    {TEMOR_ENTRY_POINTS(kPathHops, TE_MOR_GetFirstPathHop, TE_MOR_GetNextPathHop, TE_MOR_GetPathHop),
     "walk the path-hop table"},
    {TEMOR_ENTRY_POINTS(kNewHops, TE_MOR_GetFirstNewHop, TE_MOR_GetNextNewHop, TE_MOR_GetNewHop),
     "walk the new-hop table"},
};

// Every table, in the order of kEntryPoints.
inline constexpr auto kAll = [] {
    std::array<const Table *, std::size(kEntryPoints)> all{};
    for (size_t i = 0; i < all.size(); ++i) all[i] = kEntryPoints[i].table;
    return all;
}();

// The key of a row's image (wire or host order alike: bytes are copied) as
// the table's requests carry it; returns its size (at most 16 bytes).
inline uint16_t row_key(const Table &t, const uint8_t *image, uint8_t out[16]) {
    if (t.key != Key::InRecord) {
        std::memcpy(out, image + t.nextKeyAt, t.nextKeySize);
        return t.nextKeySize;
    }
    for (uint8_t i = 0; i < t.keyWords->count; ++i) {
        const uint16_t at = t.keyWords->at[i];
        if (at == kZeroWord)
            std::memset(out + 4 * i, 0, 4);
        else
            std::memcpy(out + 4 * i, image + at, 4);
    }
    return static_cast<uint16_t>(4 * t.keyWords->count);
}

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
// Explicit paths (read on the caller's socket): asked for with tag 0 (an
// empty item, or a name and its terminator); the reply holds a header (tag
// 0: the flag, a spare byte, the hop count big-endian), the name (tag 2)
// and the hops (tag 1, a TeExpathHop each).
inline constexpr uint16_t kExpathTag = 0;
inline constexpr uint16_t kExpathHeaderTag = 0;
inline constexpr uint16_t kExpathHopTag = 1;
inline constexpr uint16_t kExpathNameTag = 2;
inline constexpr uint16_t kExpathHeaderSize = 4;
// The header's fields, for the tools (the library reads them one by one).
inline constexpr Field kExpathHeaderFields[] = {octets("pathFlag", 0), pad(1, 1), halves("hopCount", 2)};
inline constexpr Layout kExpathHeader = layout(kExpathHeaderSize, kExpathHeaderFields);
inline constexpr uint16_t kPathNameSize = 32;  // a name's field: 31 characters and a terminator
// A hop as it travels: word0, word1, word2 and half0 big-endian, padding
// zero when sent.
inline constexpr Field kExpathHopFields[] = {words("word%u", 0, 2), octets("byte0", 8), pad(9, 3),
                                             words("word%u", 12, 1, 2), octets("byte1", 16),
                                             pad(17, 1), halves("half0", 18)};
inline constexpr Layout kExpathHop = layout(sizeof(TeExpathHop), kExpathHopFields);

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
static_assert(covers_exactly(kPathKey) && covers_exactly(kTePath) && covers_exactly(kPathHopInfo) &&
              covers_exactly(kExpathHop) && covers_exactly(kExpathHeader));
static_assert(sizeof(TePathInfo) == 68 && offsetof(TePathInfo, half0) == 28 &&
              offsetof(TePathInfo, rawBlock) == 34);
static_assert(sizeof(TeHopInfo) == 68 && offsetof(TeHopInfo, index0) == 20 &&
              offsetof(TeHopInfo, hopHalf1) == 28 && offsetof(TeHopInfo, index2) == 32 &&
              offsetof(TeHopInfo, hopText) == 36);
static_assert(sizeof(TeExpathHop) == 20 && offsetof(TeExpathHop, word2) == 12 &&
              offsetof(TeExpathHop, byte1) == 16 && offsetof(TeExpathHop, half0) == 18);
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
static_assert(covers_exactly(kMcBind) && covers_exactly(kMcTunnelKey) &&
              covers_exactly(kMcTunnel) && covers_exactly(kTunIntf) &&
              covers_exactly(kP2mpIntf) && covers_exactly(kP2mpDestKey) &&
              covers_exactly(kP2mpDestRow) && covers_exactly(kP2mpDest));
static_assert(sizeof(TeMCastP2mpBind) == 12 && sizeof(TeMCastP2mpTunnelKey) == 8 &&
              sizeof(TeMCastP2mpTunnel) == 8 && sizeof(TeP2mpDest) == 8);
static_assert(sizeof(TeTunIntfInfo) == 264 && offsetof(TeTunIntfInfo, bytes2) == 40 &&
              offsetof(TeTunIntfInfo, half4) == 62 && offsetof(TeTunIntfInfo, half5) == 136 &&
              offsetof(TeTunIntfInfo, half7) == 204 && offsetof(TeTunIntfInfo, word15) == 212 &&
              offsetof(TeTunIntfInfo, word16) == 256);
// A destination row is its key, then one list entry.
static_assert(kP2mpDestRow.size == kP2mpDestKey.size + kP2mpDest.size);
consteval bool tables_consistent() {
    for (const Table *t : kAll) {
        if (t->recordSize < t->record->size) return false;
        if (t->nextKeyAt + t->nextKeySize > t->record->size) return false;
        // (No pointer is compared with null here: some sanitizer builds
        // cannot do that at compile time. A table without its key words
        // does not compile.)
        if (t->key == Key::InRecord && t->keyWords->count > 4) return false;
    }
    return true;
}
static_assert(tables_consistent());

}  // namespace tables
}  // namespace temor

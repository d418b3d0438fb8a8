// The decoders of replies that are not one record by its table's layout:
// segment-routing mapping lists, P2MP tunnel interfaces and destination
// lists, explicit paths, the single numbers, the notification state and the
// debug switches. Each takes the payload of a reply the transport accepted.
//
// Internal: the library's entry points call them, and so do the fuzz targets
// that feed payloads to the decoders without a socket. Everything here has
// internal linkage, as in the entry points' own units: nothing is exported,
// each unit compiles only what it uses, and a decoder with one caller is
// folded into it as before.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "include/te_mor.h"
#include "messaging/bytes.h"
#include "messaging/frame.h"
#include "messaging/layout.h"
#include "query/query.h"
#include "query/tables.h"

namespace temor {
namespace {

// ---- P2MP destination lists and tunnel interfaces ---------------------------

inline constexpr uint32_t kDestMax = TE_MOR_P2MP_DEST_MAX;
inline constexpr uint16_t kDestCountSize = 4;
static_assert(kDestMax <= UINT16_MAX, "destsReturned holds any accepted count");

// A destination list item: a 32-bit count N, then N entries of
// (length - 4) / N bytes each, of which the first min(that, 8) land in
// dests[i] (the rest of dests[i] is kept) with destWord turned to host order.
// TE_MOR_ERR_FAIL, writing nothing, when the item is not a list of the
// table's tag, announces more than kDestMax entries, or has entries while
// dests is null. Reads stay within the item: i * size + copied <= N * size
// <= length - 4, and N <= kDestMax keeps every product far from wrapping.
struct DestList {
    const ReplyItem &it;

    bool ok() const {
        return it.ok && it.tag == tables::kP2mpDests.expect.tag && it.length >= kDestCountSize;
    }
    uint32_t count() const { return get_be32(it.value); }

    uint32_t write(TeP2mpDest *dests) const {
        const uint32_t n = count();
        if (n == 0) return TE_MOR_OK;
        if (n > kDestMax || dests == nullptr) return TE_MOR_ERR_FAIL;
        const uint32_t size = (it.length - kDestCountSize) / n;
        const uint32_t take = size < sizeof(TeP2mpDest) ? size : sizeof(TeP2mpDest);
        const uint8_t *entry = it.value + kDestCountSize;
        for (uint32_t i = 0; i < n; ++i, entry += size) {
            auto *d = reinterpret_cast<uint8_t *>(&dests[i]);
            if (take != 0) std::memcpy(d, entry, take);
            swap_fields<tables::kP2mpDest>(d);
        }
        return TE_MOR_OK;
    }
};

// A destination list reply into dests and its count into *count; on
// failure neither is written.
inline uint32_t decode_dest_list(Payload p, TeP2mpDest *dests, uint32_t *count) {
    const ReplyItem it = p.next();
    const DestList list{it};
    if (!list.ok()) return TE_MOR_ERR_FAIL;
    const uint32_t rc = list.write(dests);
    if (rc == TE_MOR_OK) *count = list.count();
    return rc;
}

// A P2MP tunnel interface: its fields from the first item, then, when it
// announces destinations, the list in the second item into info->dests.
// The fields may be written by a read that fails on the list.
inline uint32_t decode_p2mp_intf(Payload p, void *record) {
    auto *info = static_cast<TeP2mpTunIntfInfo *>(record);
    const ReplyItem first = p.next();
    const Expect e = tables::kP2mpIntfs.expect;
    if (!first.ok || first.tag != e.tag || first.length == 0) return TE_MOR_ERR_FAIL;
    uint8_t image[tables::kP2mpIntfImageSize] = {};
    std::memcpy(image, first.value, first.length < sizeof image ? first.length : sizeof image);
    info->word0 = get_be32(&image[0]);
    info->byte0 = image[4];
    info->byte1 = image[5];
    info->half0 = get_be16(&image[6]);
    info->half1 = get_be16(&image[8]);
    info->destCount = get_be16(&image[10]);
    info->word1 = get_be32(&image[12]);
    if (info->destCount == 0) return TE_MOR_OK;

    const ReplyItem second = p.next();
    const DestList list{second};
    if (!list.ok()) return TE_MOR_ERR_FAIL;
    if (const uint32_t rc = list.write(info->dests); rc != TE_MOR_OK) return rc;
    info->destsReturned = static_cast<uint16_t>(list.count());  // at most kDestMax
    return TE_MOR_OK;
}

// ---- segment-routing mapping lists -----------------------------------------

// The largest array a reply can make the library allocate: a count is
// refused unless the entry item holds at least a byte per entry, and an
// item's length is 16 bits (and no more than a reply's 2048 bytes). The
// size never wraps, a 32-bit size_t included.
inline constexpr uint32_t kMostSrEntries = UINT16_MAX;
static_assert(uint64_t{kMostSrEntries} * sizeof(TeSrMappingEntry) < SIZE_MAX);

// Decodes a reply into list: a header item, then an item of entries, which
// go into an array allocated for the caller. The header fields are written
// as soon as the header item is read; entries only once the whole list is
// decoded.
inline uint32_t decode_sr_list(Payload p, TeSrMappingList *list) {
    using tables::kSrEntries;
    const ReplyItem head = p.next();
    if (!head.ok || head.tag != tables::kSrMappings.expect.tag || head.length == 0)
        return TE_MOR_ERR_FAIL;
    if (list == nullptr) return TE_MOR_ERR_FAIL;  // where the list is first written
    uint8_t h[tables::kSrHeader.size] = {};
    std::memcpy(h, head.value, head.length < sizeof h ? head.length : sizeof h);
    list->word0 = get_be32(h + offsetof(TeSrMappingList, word0));
    list->half0 = get_be16(h + offsetof(TeSrMappingList, half0));
    list->entryCount = get_be32(h + kSrEntries.countAt);

    const ReplyItem body = p.next();
    if (!body.ok || body.tag != kSrEntries.tag) return TE_MOR_ERR_FAIL;
    const uint32_t count = list->entryCount;
    if (body.length == 0 || count == 0) {
        list->entries = nullptr;
        return TE_MOR_OK;
    }
    // The one bound of the library's own: fewer bytes than entries.
    if (count > body.length) return TE_MOR_ERR_FAIL;
    static_assert(sizeof body.length == 2, "count <= length <= kMostSrEntries");
    auto *entries =
        static_cast<TeSrMappingEntry *>(std::malloc(size_t{count} * sizeof(TeSrMappingEntry)));
    if (entries == nullptr) return TE_MOR_ERR_FAIL;
    const uint32_t size = body.length / count;
    const uint32_t take = size < sizeof(TeSrMappingEntry) ? size : sizeof(TeSrMappingEntry);
    for (uint32_t i = 0; i < count; ++i) {
        uint8_t e[tables::kSrEntry.size] = {};
        std::memcpy(e, body.value + size_t{i} * size, take);
        entries[i].half0 = get_be16(e + offsetof(TeSrMappingEntry, half0));
        entries[i].half1 = get_be16(e + offsetof(TeSrMappingEntry, half1));
    }
    list->entries = entries;
    return TE_MOR_OK;
}

// ---- explicit paths -----------------------------------------------------------

// A hop item into its slot: at most the slot's bytes, the rest stays zero;
// the three words to host order, half0 and the padding as received.
inline void put_expath_hop(const ReplyItem &it, TeExpathHop *slot) {
    auto *p = reinterpret_cast<uint8_t *>(slot);
    std::memcpy(p, it.value, it.length < sizeof *slot ? it.length : sizeof *slot);
    swap32_at(p + offsetof(TeExpathHop, word0));
    swap32_at(p + offsetof(TeExpathHop, word1));
    swap32_at(p + offsetof(TeExpathHop, word2));
}

// The reader of one explicit path reply. Only what it allocated itself is
// ever stored in the reply, so releasing the reply's fields on failure
// releases exactly that (the caller passes them null).
class ExpathReader {
public:
    explicit ExpathReader(TeExpathReply *reply) : r_(reply) {}

    uint32_t read(Payload p) {
        while (p.remaining() != 0) {
            const ReplyItem it = p.next();
            // Bytes that hold no item end the reply: it is malformed.
            if (!it.ok || !take(it)) {
                TE_MOR_FreeExpathReply(r_);
                return TE_MOR_ERR_FAIL;
            }
        }
        return TE_MOR_OK;
    }

private:
    bool take(const ReplyItem &it) {
        switch (it.tag) {
        case tables::kExpathHeaderTag:
            return header(it);
        case tables::kExpathHopTag:
            if (it.length == 0) return false;
            // Hops without a slot (before a header, past hopCount) are
            // ignored: the array holds exactly hopCount hops.
            if (next_ < slots_) put_expath_hop(it, &r_->hops[next_++]);
            return true;
        case tables::kExpathNameTag:
            return name(it);
        default:
            return true;
        }
    }

    // One header per reply: a second would orphan the first hop list.
    bool header(const ReplyItem &it) {
        if (it.length == 0 || headerSeen_) return false;
        headerSeen_ = true;
        uint8_t v[tables::kExpathHeaderSize] = {};  // a short item's missing bytes read as zero
        std::memcpy(v, it.value, it.length < sizeof v ? it.length : sizeof v);
        r_->pathFlag = v[0];
        r_->hopCount = get_be16(v + 2);
        if (r_->hopCount == 0) return true;
        auto *hops = static_cast<TeExpathHop *>(std::calloc(r_->hopCount, sizeof(TeExpathHop)));
        if (hops == nullptr) return false;
        r_->hops = hops;
        // The header starts the path: a name read before it is dropped.
        std::free(r_->name);
        r_->name = nullptr;
        slots_ = r_->hopCount;
        return true;
    }

    // The text up to its terminator, never read past the item; one name
    // per reply.
    bool name(const ReplyItem &it) {
        if (it.length == 0 || r_->name != nullptr) return false;
        const size_t n = strnlen(reinterpret_cast<const char *>(it.value), it.length);
        if (n == 0) return false;
        auto *copy = static_cast<char *>(std::malloc(n + 1));
        if (copy == nullptr) return false;
        std::memcpy(copy, it.value, n);
        copy[n] = '\0';
        r_->name = copy;
        return true;
    }

    TeExpathReply *r_;
    bool headerSeen_ = false;
    uint16_t slots_ = 0;  // hop slots of the array read so far
    uint16_t next_ = 0;   // the next slot to fill
};

// ---- single numbers and the debug switches ----------------------------------

// A number of tables::kScalars by its tag. The bypass count alone is taken
// from at most the item's own bytes, laid over the caller's number and then
// converted whole; the others are the first four bytes where the item's
// value begins.
inline uint32_t decode_scalar(uint16_t tag, Payload p, uint32_t *value) {
    return tag == tables::scalar("bypass").tag ? decode_first(p, value, tables::kWord)
                                               : decode_first_word(p, value);
}

// The tunnel notification state: the first 4 bytes of the first reply item,
// big-endian; the item's tag and length are not looked at.
inline uint32_t decode_notify_state(Payload p, uint32_t *state) {
    return decode_first_word(p, state);
}

// The debug switches from the 206 bytes starting at the first item's value,
// even when the item is shorter: what follows it in the received reply is
// read as it lies, and bytes beyond the received reply read as zero (nothing
// past the received datagram is read).
inline uint32_t decode_debug(Payload p, TeDebugInfo *info) {
    const ReplyItem it = p.next();
    if (!it.ok || it.tag != tables::kDebugReplyTag || it.length == 0) return TE_MOR_ERR_FAIL;
    uint8_t value[sizeof(TeDebugInfo)] = {};
    p.copy_clamped(it.value, tables::kDebugImageSize, value);
    swap_fields(value, tables::kDebug);
    std::memcpy(info, value, tables::kDebugImageSize);
    return TE_MOR_OK;
}

}  // namespace
}  // namespace temor

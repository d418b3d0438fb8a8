// Replies fed straight to the decoders, without a socket or a daemon: the
// first byte of an input picks a family of decoders (fuzz/decoders.h), the
// rest is a reply datagram as the daemon would send it. The datagram goes
// through the transport's acceptance check and, once accepted, its payload
// goes to every decoder of the family, each writing into a record between
// canaries (Guarded), as the socket-level target of the same name does.
//
// The datagram ends where the input's buffer ends, so a decoder that reads
// past the bytes received is an out-of-bounds access here (through a socket
// it would read the stale rest of the reply buffer).
//
// The tables come from tables::kAll: a table decoded by its layout needs
// nothing here; a table whose replies carry a list is decoded by code of its
// own, and the build fails until it has a reader below.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string_view>
#include <utility>

#include "fuzz/decoders.h"
#include "fuzz/harness.h"
#include "messaging/frame.h"
#include "messaging/transport.h"
#include "query/decoders.h"
#include "query/query.h"
#include "query/tables.h"

namespace {

using namespace temor;
using fuzz::Guarded;
using Dests = std::array<TeP2mpDest, TE_MOR_P2MP_DEST_MAX>;

// A reply the transport accepted: received bytes at datagram, its payload
// bounded as Reply::payload bounds it.
struct Accepted {
    const uint8_t *datagram;
    uint32_t received;

    Payload payload() const {
        return Payload(datagram + kHeaderSize, get_be16(datagram + 2), datagram + received);
    }
};

// ---- tables ----------------------------------------------------------------------

template <const tables::Table &T>
void read_table(const Accepted &a) {
    if constexpr (&T == &tables::kSrMappings) {
        Guarded<TeSrMappingList> list;
        fuzz::sr_list_read(decode_sr_list(a.payload(), list.get()), list.get());
    } else if constexpr (&T == &tables::kP2mpIntfs) {
        // A failed read may have filled the record's own fields; the array
        // of destinations must be untouched then.
        Guarded<TeP2mpTunIntfInfo> info;
        Guarded<Dests> dests;
        info.get()->dests = dests.get()->data();
        dests.check(decode_p2mp_intf(a.payload(), info.get()));
    } else if constexpr (&T == &tables::kP2mpDests) {
        Guarded<uint32_t> count;
        Guarded<Dests> dests;
        const uint32_t rc = decode_dest_list(a.payload(), dests.get()->data(), count.get());
        count.check(rc);
        dests.check(rc);
    } else {
        static_assert(!T.countedList && T.list == nullptr && T.listed == nullptr,
                      "a table with a list has a decoder of its own: give it a reader here");
        Guarded<std::array<uint8_t, T.recordSize>> rec;
        rec.check(decode_first<*T.record>(a.payload(), rec.get(), T.expect));
    }
}

template <size_t... I>
void read_tables(const Accepted &a, std::index_sequence<I...>) {
    (read_table<*tables::kAll[I]>(a), ...);
}

void read_tables(const Accepted &a) {
    read_tables(a, std::make_index_sequence<std::size(tables::kAll)>{});
}

// ---- numbers, debug switches, explicit paths ------------------------------------

void read_counters(const Accepted &a) {
    for (const tables::Scalar &s : tables::kScalars) {
        Guarded<uint32_t> value;
        value.check(decode_scalar(s.tag, a.payload(), value.get()));
    }
    Guarded<uint32_t> state;
    state.check(decode_notify_state(a.payload(), state.get()));
}

void read_debug(const Accepted &a) {
    Guarded<TeDebugInfo> info;
    info.check(decode_debug(a.payload(), info.get()));
}

void read_expath(const Accepted &a) {
    TeExpathReply reply{};
    fuzz::expath_read(ExpathReader(&reply).read(a.payload()), reply);
}

// ---- the reply reader -------------------------------------------------------------

// The first item through the decoder driven by a layout given at run time:
// the layout of the table whose request or reply carries the item's tag
// (the first such table of tables::kAll), whatever that table expects.
template <size_t... I>
void read_by_layout(const Accepted &a, uint16_t tag, std::index_sequence<I...>) {
    const auto read = [&a, tag]<const tables::Table &T>() {
        if (tag != T.tag && static_cast<int32_t>(tag) != T.expect.tag) return false;
        Guarded<std::array<uint8_t, T.record->size>> rec;
        rec.check(decode_first(a.payload(), rec.get(), *T.record, Expect{}));
        return true;
    };
    (read.template operator()<*tables::kAll[I]>() || ...);
}

void read_reply(const Accepted &a) {
    // Every item lies inside the payload that the header announced.
    const uint8_t *begin = a.datagram + kHeaderSize;
    const uint8_t *end = begin + get_be16(a.datagram + 2);
    Payload p = a.payload();
    const ReplyItem first = p.next();
    for (ReplyItem it = first; it.ok; it = p.next()) {
        if (it.length != 0 && (it.value < begin || it.value + it.length > end)) {
            std::fprintf(stderr, "an item reaches outside the payload\n");
            std::abort();
        }
    }
    if (first.ok) read_by_layout(a, first.tag, std::make_index_sequence<std::size(tables::kAll)>{});
}

// ---- the families -------------------------------------------------------------------

struct Family {
    const char *name;
    void (*read)(const Accepted &);
};
constexpr Family kFamilies[] = {{"tables", read_tables},
                                {"counters", read_counters},
                                {"debug", read_debug},
                                {"expath", read_expath},
                                {"reply_reader", read_reply}};

consteval bool families_as_listed() {
    if (std::size(kFamilies) != std::size(fuzz::kDecoderFamilies)) return false;
    for (size_t i = 0; i < std::size(kFamilies); ++i)
        if (std::string_view(kFamilies[i].name) != fuzz::kDecoderFamilies[i]) return false;
    return true;
}
static_assert(families_as_listed(), "the families are those of fuzz/decoders.h, in its order");

// The family named by TEMOR_FUZZ_FAMILY, which then takes every input
// whatever its first byte (a session on one family, or its speed measured
// alone); null when unset.
const Family *gOnly = nullptr;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    const char *name = std::getenv("TEMOR_FUZZ_FAMILY");
    if (name == nullptr) return 0;
    for (const Family &f : kFamilies)
        if (name == std::string_view(f.name)) gOnly = &f;
    if (gOnly == nullptr) {
        std::fprintf(stderr, "TEMOR_FUZZ_FAMILY=%s: no such family; the families are", name);
        for (const Family &f : kFamilies) std::fprintf(stderr, " %s", f.name);
        std::fprintf(stderr, "\n");
        std::exit(2);
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) return 0;
    const Family &family = gOnly != nullptr ? *gOnly : kFamilies[data[0] % std::size(kFamilies)];
    // What the receive hands over: the datagram, cut at the reply buffer's
    // size.
    const uint8_t *datagram = data + 1;
    const size_t length = size - 1 < kMsgMax ? size - 1 : kMsgMax;
    const uint64_t r = accept_reply(datagram, static_cast<long>(length));
    if (static_cast<uint32_t>(r) != TE_MOR_OK) return 0;
    family.read(Accepted{datagram, static_cast<uint32_t>(r >> 32)});
    return 0;
}

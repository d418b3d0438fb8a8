// Arbitrary reply datagrams through the reading path every query shares:
// the transport's acceptance checks, the payload's item reader and the
// record decoder, once directly and once through a query on a held socket.
#include <cstdio>
#include <cstdlib>

#include "fuzz/harness.h"
#include "messaging/frame.h"
#include "messaging/layout.h"
#include "messaging/setter_rows.h"
#include "query/query.h"

namespace {

using namespace temor;

// A record with every kind of field a layout knows.
struct Sample {
    uint32_t words[4];
    uint16_t halves[4];
    char name[16];
    uint32_t list[4];
    uint8_t listCount;
    uint8_t raw[7];
    uint64_t quad;
    uint16_t host[2];  // in the caller's byte order
    uint8_t pad[4];
};
constexpr Field kSampleFields[] = {words("words[%u]", 0, 4), halves("halves[%u]", 16, 4),
                                   text("name", 24, 16),
                                   counted("list[%u]", 40, FieldKind::U32, 4, 4, 56),
                                   octets("listCount", 56), bytes("raw", 57, 7),
                                   quads("quad", 64), host_numbers("host[%u]", 72, 2, 2),
                                   pad(76, 4)};
constexpr Layout kSample = layout(sizeof(Sample), kSampleFields);
static_assert(covers_exactly(kSample) && offsetof(Sample, quad) == 64 && sizeof(Sample) == 80);

[[noreturn]] void fail(const char *what) {
    std::fprintf(stderr, "%s\n", what);
    std::abort();
}

void read_reply(int sock) {
    Request req;
    object_key(1).write(req);
    const uint32_t length = req.finish(TE_MOR_CLASS_QUERY, TE_MOR_OP_GET);
    Reply reply;
    const uint64_t r = exchange_received(sock, req.data(), length, reply.data());
    if (static_cast<uint32_t>(r) != TE_MOR_OK) return;
    const auto received = static_cast<uint32_t>(r >> 32);

    // Every item lies inside the payload that the header announced.
    const uint8_t *begin = reply.data() + kHeaderSize;
    const uint8_t *end = begin + get_be16(reply.data() + 2);
    Payload p = reply.payload(received);
    for (ReplyItem it = p.next(); it.ok; it = p.next()) {
        if (it.length != 0 && (it.value < begin || it.value + it.length > end))
            fail("an item reaches outside the payload");
    }

    fuzz::Guarded<Sample> rec;
    decode_first(reply.payload(received), rec.get(), kSample, Expect{});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return fuzz::with_reply(data, size, [](int sock) {
        read_reply(sock);
        fuzz::Guarded<Sample> rec;
        query_held(sock, TE_MOR_OP_GET, object_key(1), into(rec.get(), kSample, Expect{1, true, true}));
    });
}

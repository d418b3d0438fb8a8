// Explicit paths, read on the caller's socket. The reply's size depends on
// the path: the name and the hop list are allocated here and handed to the
// caller, who releases them with TE_MOR_FreeExpathReply.
#include <cstdlib>
#include <cstring>

#include "include/te_mor.h"
#include "query/query.h"
#include "query/tables.h"
#include "query/workers.h"

using namespace temor;

namespace {

// A hop item into its slot: at most the slot's bytes, the rest stays zero;
// the three words to host order, half0 and the padding as received.
void put_hop(const ReplyItem &it, TeExpathHop *slot) {
    auto *p = reinterpret_cast<uint8_t *>(slot);
    std::memcpy(p, it.value, it.length < sizeof *slot ? it.length : sizeof *slot);
    swap32_at(p + offsetof(TeExpathHop, word0));
    swap32_at(p + offsetof(TeExpathHop, word1));
    swap32_at(p + offsetof(TeExpathHop, word2));
}

// The reader of one reply. Only what it allocated itself is ever stored in
// the reply, so releasing the reply's fields on failure releases exactly
// that (the caller passes them null).
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
            if (next_ < slots_) put_hop(it, &r_->hops[next_++]);
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

// A name of 1 to 31 characters, read no further than its field.
bool name_ok(const char *name) {
    if (name == nullptr) return false;
    const size_t n = strnlen(name, tables::kPathNameSize);
    return n >= 1 && n < tables::kPathNameSize;
}

uint32_t read_expath(int sock, uint32_t op, const char *name, TeExpathReply *reply) {
    if (reply == nullptr) return TE_MOR_ERR_FAIL;
    const auto decode = [reply](Payload p) { return ExpathReader(reply).read(p); };
    if (op == TE_MOR_OP_GET_FIRST) return query_held(sock, op, item::Flag{tables::kExpathTag}, decode);
    if (sock == -1 || !name_ok(name)) return TE_MOR_ERR_FAIL;
    const auto length = static_cast<uint16_t>(std::strlen(name) + 1);
    return query_held(sock, op, item::Raw{tables::kExpathTag, length, name}, decode);
}

}  // namespace

extern "C" {

uint32_t TE_MOR_DecodeExpathReply(const uint8_t *payload, uint16_t payloadLength,
                                  TeExpathReply *reply) {
    if (payload == nullptr || reply == nullptr) return TE_MOR_ERR_FAIL;
    return ExpathReader(reply).read(Payload(payload, payloadLength, payload + payloadLength));
}

TE_MOR_API uint32_t TE_MOR_GetFirstExpath(int sock, TeExpathReply *reply) {
    return read_expath(sock, TE_MOR_OP_GET_FIRST, nullptr, reply);
}

TE_MOR_API uint32_t TE_MOR_GetNextExpath(int sock, const char *name, TeExpathReply *reply) {
    return read_expath(sock, TE_MOR_OP_GET_NEXT, name, reply);
}

TE_MOR_API uint32_t TE_MOR_GetExpath(int sock, const char *name, TeExpathReply *reply) {
    return read_expath(sock, TE_MOR_OP_GET, name, reply);
}

TE_MOR_API void TE_MOR_FreeExpathReply(TeExpathReply *reply) {
    if (reply == nullptr) return;
    if (reply->name != nullptr) std::free(reply->name);
    if (reply->hops != nullptr) std::free(reply->hops);
}

}  // extern "C"

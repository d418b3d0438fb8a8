// Explicit paths, read on the caller's socket. The reply's size depends on
// the path: the name and the hop list are allocated here and handed to the
// caller, who releases them with TE_MOR_FreeExpathReply. The reader of a
// reply is ExpathReader (query/decoders.h).
#include <cstdlib>
#include <cstring>

#include "include/te_mor.h"
#include "query/decoders.h"
#include "query/query.h"
#include "query/tables.h"
#include "query/workers.h"

using namespace temor;

namespace {

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

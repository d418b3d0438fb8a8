// Requests and replies: an 8-byte header followed by TLV items written and
// read with the platform codec.
#pragma once

#include <array>
#include <cassert>
#include <cstdint>
#include <cstring>

#include "include/te_mor.h"
#include "messaging/bytes.h"
#include "platform/platform.h"

namespace temor {

constexpr uint32_t kMsgMax = TE_MOR_MSG_MAX;
constexpr uint32_t kHeaderSize = 8;

// The header's classes and ops by the names the tools show them with (the
// packet dissector); the values are the public header's.
struct HeaderName {
    uint8_t value;
    const char *name;
};
inline constexpr HeaderName kClassNames[] = {
    {TE_MOR_CLASS_GLOBAL, "GLOBAL"},       {TE_MOR_CLASS_IF, "IF"},
    {TE_MOR_CLASS_EXPATH, "EXPATH"},       {TE_MOR_CLASS_TUNNEL, "TUNNEL"},
    {TE_MOR_CLASS_QUERY, "QUERY"},         {TE_MOR_CLASS_TUNNEL_CREATE, "TUNNEL_CREATE"},
    {TE_MOR_CLASS_BUNDLE, "BUNDLE"},       {TE_MOR_CLASS_AUTO_BACKUP, "AUTO_BACKUP"},
    {TE_MOR_CLASS_NEW_HOP, "NEW_HOP"},
};
inline constexpr HeaderName kOpNames[] = {
    {TE_MOR_OP_SET, "SET"},         {TE_MOR_OP_UNDO, "UNDO"},         {TE_MOR_OP_GET, "GET"},
    {TE_MOR_OP_GET_FIRST, "GET_FIRST"}, {TE_MOR_OP_GET_NEXT, "GET_NEXT"},
    {TE_MOR_OP_BACKUP_BW, "BACKUP_BW"},
};

// A request under construction in a 2048-byte buffer. Items are appended one
// behind the other and only the bytes written are sent, so the buffer is not
// cleared; finish() writes the header once the payload length is known.
class Request {
public:
    Request() {}
    Request(const Request &) = delete;
    Request &operator=(const Request &) = delete;

    // Appends one item; value may be null only when length is 0. Every
    // request the library builds fits, which is checked at compile time from
    // the setter rows and the tables (kLargestSetterRequest,
    // kLargestQueryRequest); a debug build stops here on an item that does
    // not, rather than send the request without it.
    void item(uint16_t tag, uint16_t length, const void *value) {
        const uint32_t at = kHeaderSize + payload_;
        const uint32_t written = STLV_Set(buf_.data() + at, static_cast<uint16_t>(kMsgMax - at),
                                          tag, length, value);
        assert(written == 4u + length && "a request item was not written: it does not fit");
        payload_ += written;
    }

    // n bytes at the far end of the buffer, behind where this item (its
    // 4-byte head and n bytes of value) will be written, for building the
    // item's value before it is appended: no second buffer on the stack. Null
    // when the item would not fit beside them.
    uint8_t *spare(uint16_t n) {
        const uint32_t end = kHeaderSize + payload_ + 4u + n;
        return end + n <= kMsgMax ? buf_.data() + kMsgMax - n : nullptr;
    }

    // Writes the header (class, op, payload length, result 0) and returns the
    // length of the whole datagram.
    uint32_t finish(uint8_t msgClass, uint8_t op) {
        buf_[0] = msgClass;
        buf_[1] = op;
        put_be16(&buf_[2], static_cast<uint16_t>(payload_));
        put_be32(&buf_[4], 0);
        return kHeaderSize + payload_;
    }

    const uint8_t *data() const { return buf_.data(); }
    // The whole 2048-byte buffer, for receiving the reply once the request
    // has gone out.
    uint8_t *buffer() { return buf_.data(); }

private:
    std::array<uint8_t, kMsgMax> buf_;
    uint32_t payload_ = 0;
};

// One item read from a reply: its tag, its value length and where the value
// lies inside the reply buffer. ok is false when no item could be read (then
// the other fields are zero).
struct ReplyItem {
    uint16_t tag = 0;
    uint16_t length = 0;
    const uint8_t *value = nullptr;
    // Just behind the item in the reply: the value begins at end - length
    // even when the item is empty and value is null.
    const uint8_t *end = nullptr;
    bool ok = false;
};

// The payload of a reply that the transport has accepted: bounded by the
// payload length the header announced, which the transport has checked
// against the bytes received. Items are read in order, each bounded by the
// payload bytes that remain.
class Payload {
public:
    Payload(const uint8_t *data, uint16_t length, const uint8_t *bufferEnd)
        : data_(data),
          length_(length < bufferEnd - data ? length : static_cast<uint32_t>(bufferEnd - data)),
          bufferEnd_(bufferEnd) {}

    // Reads the item at the cursor and moves the cursor behind it.
    ReplyItem next() {
        ReplyItem it;
        const uint32_t used = STLV_Get(data_ + pos_, static_cast<uint16_t>(length_ - pos_),
                                       &it.tag, &it.length, &it.value);
        if (used == 0 || used > remaining()) return ReplyItem{};
        pos_ += used;
        it.end = data_ + pos_;
        it.ok = true;
        return it;
    }

    uint32_t remaining() const { return length_ - pos_; }

    // Copies up to n bytes starting at p (a pointer into this reply) into out,
    // never reading past the bytes received; returns the bytes copied. What
    // lies behind the received datagram is left to out as it was.
    uint32_t copy_clamped(const uint8_t *p, uint32_t n, uint8_t *out) const {
        if (p == nullptr || p >= bufferEnd_) return 0;
        const uint32_t avail = static_cast<uint32_t>(bufferEnd_ - p);
        const uint32_t take = n < avail ? n : avail;
        std::memcpy(out, p, take);
        return take;
    }

private:
    const uint8_t *data_;
    uint32_t length_;
    uint32_t pos_ = 0;
    const uint8_t *bufferEnd_;
};

// A reply buffer of 2048 bytes. It is not cleared: readers are given the
// length of the datagram received and see only the bytes received.
class Reply {
public:
    Reply() {}
    Reply(const Reply &) = delete;
    Reply &operator=(const Reply &) = delete;

    uint8_t *data() { return buf_.data(); }
    // The payload of the reply the transport accepted, received bytes long
    // (at least the header and the payload length it announces).
    Payload payload(uint32_t received) const {
        return Payload(buf_.data() + kHeaderSize, get_be16(&buf_[2]), buf_.data() + received);
    }

private:
    std::array<uint8_t, kMsgMax> buf_;
};

}  // namespace temor

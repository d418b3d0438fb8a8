// The one-shot transaction and the socket guard shared by every call that
// opens its own socket.
#pragma once

#include <cstdint>

#include "include/te_mor.h"
#include "messaging/frame.h"

namespace temor {

// Owns a socket from TE_MOR_LIPCOpen for one call and closes it on every
// path out of that call.
class Socket {
public:
    Socket() : fd_(TE_MOR_LIPCOpen()) {}
    ~Socket() {
        if (fd_ >= 0) TE_MOR_LIPCClose(fd_);
    }
    Socket(const Socket &) = delete;
    Socket &operator=(const Socket &) = delete;

    bool ok() const { return fd_ >= 0; }
    int fd() const { return fd_; }

private:
    int fd_;
};

// Opens a socket, exchanges one request (its reply checked and discarded)
// and closes the socket. Returns the reply's result code, the transport's
// TE_MOR_ERR_FAIL, or openFailure when no socket could be opened. The reply
// is received into the request's own buffer, which has gone out by then: a
// setter's exchange needs one 2048-byte buffer, not two.
uint32_t exchange_once(Request &request, uint32_t length,
                       uint32_t openFailure = TE_MOR_ERR_IPC_OPEN);

// TE_MOR_SendMsg telling also how long the reply was: the result code in
// the low 32 bits, and in the high 32 bits the length of the datagram
// received into reply once it is accepted (at least the header and the
// payload length it announces; 0 with TE_MOR_ERR_FAIL otherwise). One
// 64-bit value, so that nothing more goes through memory than before.
uint64_t exchange_received(int sock, const void *request, uint32_t requestLength, void *reply);

// The transport's acceptance of a datagram of n bytes received into reply
// (n as the receive returned it): accepted when it holds the header and the
// payload length the header announces, then exchange_received's value for
// it; TE_MOR_ERR_FAIL otherwise.
inline uint64_t accept_reply(const uint8_t *reply, long n) {
    if (n < static_cast<long>(kHeaderSize)) return TE_MOR_ERR_FAIL;
    if (n < static_cast<long>(kHeaderSize + get_be16(reply + 2))) return TE_MOR_ERR_FAIL;
    return uint64_t{static_cast<uint32_t>(n)} << 32 | get_be32(reply + 4);
}

}  // namespace temor

extern "C" {
// One whole transaction on a socket of its own: open, exchange, close.
// Returns the result code, or TE_MOR_ERR_IPC_OPEN when no socket could be
// opened.
uint32_t TE_MOR_DoRequest(const uint8_t *request, uint32_t requestLength);
}

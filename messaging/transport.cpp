// Local-IPC transport: connected datagram sockets to the TE daemon, one
// request datagram answered by one reply datagram.
#include "messaging/transport.h"

#include <cerrno>

#include "messaging/bytes.h"
#include "platform/platform.h"

namespace {

constexpr int kDatagram = 2;
constexpr int kProtocol = 1;
constexpr uint32_t kTimeoutSeconds = 10;

int set_timeouts(int fd, uint32_t seconds, uint32_t microseconds) {
    const uint32_t timeout[2] = {seconds, microseconds};
    if (LIPC_SetSockOpt(fd, LIPC_SOL_SOCKET, LIPC_SO_SNDTIMEO, timeout, sizeof timeout) != 0)
        return -1;
    return LIPC_SetSockOpt(fd, LIPC_SOL_SOCKET, LIPC_SO_RCVTIMEO, timeout, sizeof timeout);
}

// A send or a receive that keeps to a deadline however often a signal
// interrupts it. An uninterrupted call makes no system call beyond io();
// only after an interruption are the socket's time-outs shortened to what is
// left (and restored to 10 s by the destructor, before the call returns).
class Deadline {
public:
    Deadline(int fd, uint64_t endMs) : fd_(fd), end_(endMs) {}
    ~Deadline() {
        if (shortened_) (void)set_timeouts(fd_, kTimeoutSeconds, 0);
    }
    Deadline(const Deadline &) = delete;
    Deadline &operator=(const Deadline &) = delete;

    template <class Io>
    long run(Io io) {
        for (;;) {
            const long n = io();
            if (n != -1 || errno != EINTR) return n;
            const uint64_t now = LIPC_NowMs();
            // Nothing left (a time-out of 0 would mean none): a time-out.
            if (now >= end_) {
                errno = EAGAIN;
                return -1;
            }
            const uint64_t left = end_ - now;
            shortened_ = true;
            if (set_timeouts(fd_, static_cast<uint32_t>(left / 1000u),
                             static_cast<uint32_t>(left % 1000u) * 1000u) != 0)
                return -1;
        }
    }
    // Whether an interruption was seen (the clock has been read since).
    bool interrupted() const { return shortened_; }

private:
    int fd_;
    uint64_t end_;
    bool shortened_ = false;
};

}  // namespace

extern "C" TE_MOR_API int TE_MOR_LIPCOpen(void) {
    const int fd = LIPC_Socket(TE_MOR_LIPC_FAMILY, kDatagram, kProtocol);
    if (fd < 0) return -1;

    if (set_timeouts(fd, kTimeoutSeconds, 0) != 0) {
        LIPC_Close(fd);
        return -1;
    }
    const int32_t bufferSize = 8192;
    (void)LIPC_SetSockOpt(fd, LIPC_SOL_SOCKET, LIPC_SO_BUFFER, &bufferSize, sizeof bufferSize);

    // The daemon's fixed address: length 16, family 37, address 0a 72 80.
    const uint8_t daemon[16] = {16, TE_MOR_LIPC_FAMILY, 0x0a, 0x72, 0x80};
    for (;;) {
        if (LIPC_Connect(fd, daemon, sizeof daemon) == 0 || errno == EISCONN) return fd;
        if (errno != EINTR) break;
    }
    TE_MOR_LIPCClose(fd);
    return -1;
}

extern "C" TE_MOR_API uint32_t TE_MOR_LIPCClose(int sock) {
    return static_cast<uint32_t>(LIPC_Close(sock));
}

uint64_t temor::exchange_received(int sock, const void *request, uint32_t requestLength,
                                  void *reply) {
    if (request == nullptr || reply == nullptr || requestLength < kHeaderSize ||
        requestLength > kMsgMax)
        return TE_MOR_ERR_FAIL;

    // Without signals each step has the socket's own 10-second time-out.
    // Under signals the send keeps to 10 seconds from the exchange's start,
    // and so does the receive, unless the send itself was interrupted: then
    // the receive gets 10 seconds of its own from the send's end. So the
    // clock is read once per exchange, and an exchange never waits longer
    // than 10 seconds per interrupted step.
    uint64_t end = LIPC_NowMs() + kTimeoutSeconds * 1000u;
    long n;
    {
        Deadline send(sock, end);
        n = send.run([&] { return LIPC_Send(sock, request, requestLength, 0); });
        if (send.interrupted()) end = LIPC_NowMs() + kTimeoutSeconds * 1000u;
    }
    if (n != static_cast<long>(requestLength)) return TE_MOR_ERR_FAIL;
    n = Deadline(sock, end).run([&] { return LIPC_Recv(sock, reply, kMsgMax, 0); });
    return accept_reply(static_cast<const uint8_t *>(reply), n);
}

extern "C" TE_MOR_API uint32_t TE_MOR_SendMsg(int sock, const void *request,
                                              uint32_t requestLength, void *reply) {
    return static_cast<uint32_t>(temor::exchange_received(sock, request, requestLength, reply));
}

namespace temor {

namespace {

// One exchange on a socket opened and closed for it.
uint32_t exchange_on_own_socket(const void *request, uint32_t length, void *reply,
                                uint32_t openFailure) {
    Socket sock;
    if (!sock.ok()) return openFailure;
    return static_cast<uint32_t>(exchange_received(sock.fd(), request, length, reply));
}

}  // namespace

uint32_t exchange_once(Request &request, uint32_t length, uint32_t openFailure) {
    return exchange_on_own_socket(request.data(), length, request.buffer(), openFailure);
}

}  // namespace temor

extern "C" uint32_t TE_MOR_DoRequest(const uint8_t *request, uint32_t requestLength) {
    uint8_t reply[temor::kMsgMax];
    return temor::exchange_on_own_socket(request, requestLength, reply, TE_MOR_ERR_IPC_OPEN);
}

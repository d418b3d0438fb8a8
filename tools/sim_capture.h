// te-simd's record of the wire: every datagram it receives and sends, as a
// pcapng file that tshark and Wireshark open (docs/wire.md).
//
// Layout (the blocks' numbers in te-simd's byte order, as the section
// header's magic number says; the exported-PDU tags big-endian):
//   - one section header block;
//   - one interface description block, link type 252 (exported PDU), its
//     if_name the daemon's socket path, time stamps in microseconds;
//   - per datagram one enhanced packet block. Its data is the exported-PDU
//     tag 12 (the name of the dissector: "temor", padded to 8 bytes), the
//     end tag 0, then the datagram. Its flags give the direction: inbound for
//     a request to the daemon, outbound for a reply. Its one comment is
//     exactly "peer NAME\nbyte order big-endian" (or little-endian): the
//     client's socket name (an abstract name with a leading '@', "(unnamed)"
//     for a client without one) and te-simd's byte order, the order of the
//     values that travel in the sender's host order.
//
// Records are buffered and written out at least once a second (see
// flush_due), when the buffer grows large, and at the end, so a crash loses
// at most the last second.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

namespace sim {

// A receive buffer's size: one byte more than the longest datagram a header
// can describe (a 16-bit payload length), so that what fills it is known
// malformed. A datagram longer still is cut short (MSG_TRUNC tells its
// length): captured as cut, with its length on the socket.
inline constexpr size_t kReceiveBuffer = 8 + 0xFFFF + 1;

// The client's socket name as the capture writes it: a path, '@' and an
// abstract name (bytes other than printable ASCII as \xNN), or "(unnamed)".
std::string peer_name(const sockaddr_un &from, socklen_t length);

class Capture {
public:
    enum class Direction { Inbound, Outbound };

    Capture() = default;
    Capture(const Capture &) = delete;
    Capture &operator=(const Capture &) = delete;
    ~Capture();

    // Starts the capture in path ("-": standard output), with the file's
    // headers naming the interface after socketPath. Returns what went wrong,
    // or "".
    std::string open(const std::string &path, const std::string &socketPath);
    bool active() const { return fd_ >= 0; }

    // One datagram, time-stamped now: its first size bytes, of wireSize it
    // had on the socket (more when it did not fit the receive buffer).
    void record(Direction direction, const std::string &peer, const uint8_t *data, size_t size, size_t wireSize = 0);

    // Milliseconds until buffered records must be written (-1: none held),
    // for a wait's time-out; flush_if_due writes them once that has come.
    int flush_due_ms() const;
    void flush_if_due();
    // Writes out what is buffered. A write that fails ends the capture with
    // one message on standard error; te-simd goes on without it.
    void flush();

private:
    void append(const uint8_t *p, size_t n) { buf_.insert(buf_.end(), p, p + n); }

    int fd_ = -1;
    bool ownFd_ = false;
    std::string path_;
    std::vector<uint8_t> buf_;
    timespec firstHeld_{};  // when the oldest buffered record came
};

}  // namespace sim

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
//
// A pipe, FIFO or socket is written without blocking, so a reader that
// stalls never holds up te-simd: what it does not take stays buffered, up to
// kMaxHeld bytes; past that whole records are dropped (one line on standard
// error when dropping starts, one with the count when it ends). The stream a
// reader gets stays whole blocks, minus the ones dropped.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <cstdint>
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
    // Writes out what is buffered, or for a reader on a pipe what it takes
    // now. A write that fails ends the capture with one message on standard
    // error; te-simd goes on without it.
    void flush();
    // At exit: writes out what is held, waiting for a stalled reader at most
    // a second, then gives up; puts the descriptor back as it was found.
    void finish();

    // Held for a reader that does not keep up, at most.
    static constexpr size_t kMaxHeld = 4 << 20;

private:
    void append(const uint8_t *p, size_t n) { buf_.insert(buf_.end(), p, p + n); }
    size_t held() const { return buf_.size() - start_; }
    size_t block_length(size_t at) const;
    // One write from buf_[start_] on; false when nothing more goes now.
    bool write_some();
    void stop(const char *why);

    int fd_ = -1;
    bool ownFd_ = false;
    int oldFlags_ = -1;     // the descriptor's flags before it was made non-blocking
    size_t headLeft_ = 0;   // bytes of buf_'s first block still to write (a block cut by a write)
    unsigned long dropped_ = 0;  // records dropped since the reader last kept up
    std::string path_;
    std::vector<uint8_t> buf_;
    size_t start_ = 0;      // bytes at buf_'s front already written
    long long dueAt_ = 0;   // monotonic milliseconds by which held records go out
};

}  // namespace sim

// te-simd's pcapng writer; the layout is described in sim_capture.h.
#include "tools/sim_capture.h"

#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace sim {

namespace {

constexpr uint32_t kSectionHeader = 0x0A0D0D0A, kInterface = 1, kEnhancedPacket = 6;
constexpr uint32_t kByteOrderMagic = 0x1A2B3C4D;
constexpr uint16_t kLinkExportedPdu = 252;
constexpr uint16_t kOptEnd = 0, kOptComment = 1, kShbUserAppl = 4, kIfName = 2, kIfTsresol = 9, kEpbFlags = 2;
constexpr uint32_t kFlagInbound = 1, kFlagOutbound = 2;
// The exported-PDU header in front of each datagram: the dissector's name
// (tag 12, its length padded to 4 bytes), then the end tag.
constexpr uint8_t kPduHeader[] = {0, 12, 0, 8, 't', 'e', 'm', 'o', 'r', 0, 0, 0, 0, 0, 0, 0};
constexpr size_t kFlushBytes = 64 * 1024;  // write out sooner when this much is held
constexpr int kFlushMs = 1000;
constexpr int kRetryMs = 50;     // a reader that took nothing is tried again this soon
constexpr int kFinishMs = 1000;  // at exit, how long a stalled reader is waited for

size_t padded(size_t n) { return (n + 3) & ~size_t{3}; }

// Builds one block: its type and length words around the body.
class Block {
public:
    explicit Block(uint32_t type) { u32(type), u32(0); }
    // The blocks' own numbers are in te-simd's byte order, which the section
    // header's magic number tells readers: tshark reading a live pipe
    // accepts no other.
    Block &u16(uint16_t v) { return bytes(&v, 2); }
    Block &u32(uint32_t v) { return bytes(&v, 4); }
    Block &bytes(const void *p, size_t n) {
        // resize and copy rather than insert: gcc 12 at -O2 on some targets
        // mistakes insert's inlined copy for an overflow
        const size_t at = out_.size();
        out_.resize(at + n);
        if (n != 0) std::memcpy(out_.data() + at, p, n);
        return *this;
    }
    Block &pad() {
        out_.resize(padded(out_.size()), 0);
        return *this;
    }
    Block &option(uint16_t code, const void *p, size_t n) { return u16(code).u16(static_cast<uint16_t>(n)).bytes(p, n).pad(); }
    Block &option(uint16_t code, const std::string &s) { return option(code, s.data(), s.size()); }
    // Ends the options and the block; the finished block.
    const std::vector<uint8_t> &end() {
        u16(kOptEnd).u16(0);
        const size_t total = out_.size() + 4;
        const auto length = static_cast<uint32_t>(total);
        u32(length);
        std::memcpy(out_.data() + 4, &length, 4);
        return out_;
    }

private:
    std::vector<uint8_t> out_;
};

const char *const kByteOrder = std::endian::native == std::endian::big ? "big-endian" : "little-endian";

long long now_ms() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<long long>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

}  // namespace

std::string peer_name(const sockaddr_un &from, socklen_t length) {
    const size_t offset = offsetof(sockaddr_un, sun_path);
    if (length <= offset) return "(unnamed)";
    const size_t n = std::min<size_t>(length - offset, sizeof from.sun_path);
    // A path is escaped as an abstract name is: its bytes go into a comment
    // of text lines, and a line break in a name would forge the next line.
    const bool path = from.sun_path[0] != '\0';
    const size_t end = path ? strnlen(from.sun_path, n) : n;
    std::string name = path ? "" : "@";
    for (size_t i = path ? 0 : 1; i < end; ++i) {
        const auto c = static_cast<unsigned char>(from.sun_path[i]);
        if (c >= 0x20 && c < 0x7f && c != '\\') {
            name += static_cast<char>(c);
        } else {
            char esc[5];
            std::snprintf(esc, sizeof esc, "\\x%02x", c);
            name += esc;
        }
    }
    return name;
}

Capture::~Capture() { finish(); }

std::string Capture::open(const std::string &path, const std::string &socketPath) {
    if (path == "-") {
        if (isatty(STDOUT_FILENO)) return "standard output is a terminal (pipe it into tshark -i -, or give a file)";
        fd_ = STDOUT_FILENO;
    } else {
        fd_ = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        if (fd_ < 0) return std::strerror(errno);
        ownFd_ = true;
    }
    path_ = path == "-" ? "standard output" : path;
    // A reader on a pipe, FIFO or socket must not hold up te-simd. Standard
    // output's flags are shared with whoever else holds it, so they are put
    // back at exit.
    struct stat st{};
    if (fstat(fd_, &st) == 0 && (S_ISFIFO(st.st_mode) || S_ISSOCK(st.st_mode))) {
        oldFlags_ = fcntl(fd_, F_GETFL);
        if (oldFlags_ >= 0 && fcntl(fd_, F_SETFL, oldFlags_ | O_NONBLOCK) != 0) oldFlags_ = -1;
    }
    // A reader that goes away (tshark on a pipe) ends the capture, not te-simd.
    std::signal(SIGPIPE, SIG_IGN);
    Block shb(kSectionHeader);
    shb.u32(kByteOrderMagic).u16(1).u16(0).u32(0xFFFFFFFFu).u32(0xFFFFFFFFu);  // version 1.0, length unknown
    shb.option(kShbUserAppl, std::string("te-simd " TEMOR_VERSION));
    const auto &s = shb.end();
    append(s.data(), s.size());
    Block idb(kInterface);
    const uint8_t microseconds = 6;
    idb.u16(kLinkExportedPdu).u16(0).u32(0);  // no snapshot limit
    idb.option(kIfName, socketPath).option(kIfTsresol, &microseconds, 1);
    const auto &i = idb.end();
    append(i.data(), i.size());
    flush();  // the headers go out at once: a reader on a pipe starts with them
    return active() ? "" : "the first write failed";
}

void Capture::record(Direction direction, const std::string &peer, const uint8_t *data, size_t size, size_t wireSize) {
    if (!active()) return;
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const uint64_t us = uint64_t(now.tv_sec) * 1000000u + uint64_t(now.tv_nsec) / 1000u;
    const size_t captured = sizeof kPduHeader + size;
    Block epb(kEnhancedPacket);
    epb.u32(0).u32(static_cast<uint32_t>(us >> 32)).u32(static_cast<uint32_t>(us));
    const size_t original = sizeof kPduHeader + (wireSize > size ? wireSize : size);
    epb.u32(static_cast<uint32_t>(captured)).u32(static_cast<uint32_t>(original));
    epb.bytes(kPduHeader, sizeof kPduHeader).bytes(data, size).pad();
    epb.option(kOptComment, "peer " + peer + "\nbyte order " + kByteOrder);
    const uint32_t flags = direction == Direction::Inbound ? kFlagInbound : kFlagOutbound;
    epb.option(kEpbFlags, &flags, 4);
    const auto &b = epb.end();
    // Once dropping, records are kept again only when half the bound is
    // free, so a reader that lags does not make te-simd flap between the two.
    const size_t bound = dropped_ != 0 ? kMaxHeld / 2 : kMaxHeld;
    if (held() + b.size() > bound) flush();
    if (!active()) return;
    if (held() + b.size() > bound) {  // only a reader that is not keeping up gets here
        if (dropped_++ == 0) std::fprintf(stderr, "te-simd: capture reader is not keeping up: dropping records\n");
        return;
    }
    if (dropped_ != 0) {
        std::fprintf(stderr, "te-simd: capture reader caught up: %lu records dropped\n", dropped_);
        dropped_ = 0;
    }
    if (held() == 0) dueAt_ = now_ms() + kFlushMs;
    append(b.data(), b.size());
    if (held() >= kFlushBytes) flush();
}

int Capture::flush_due_ms() const {
    if (!active() || held() == 0) return -1;
    const long long left = dueAt_ - now_ms();
    return left < 0 ? 0 : static_cast<int>(std::min<long long>(left, kFlushMs));
}

void Capture::flush_if_due() {
    if (flush_due_ms() == 0) flush();
}

size_t Capture::block_length(size_t at) const {
    uint32_t length = 0;
    std::memcpy(&length, buf_.data() + at + 4, 4);  // written in te-simd's byte order above
    return length;
}

bool Capture::write_some() {
    size_t chunk = held();
    if (oldFlags_ >= 0) {
        // Whole blocks of at most PIPE_BUF bytes a write: a pipe takes such a
        // write whole or not at all, so what a reader has is whole blocks even
        // when te-simd gives up on it. A longer block goes alone, and the rest
        // of one cut short first.
        if (headLeft_ != 0) {
            chunk = headLeft_;
        } else {
            chunk = 0;
            while (start_ + chunk < buf_.size()) {
                const size_t length = block_length(start_ + chunk);
                if (chunk != 0 && chunk + length > PIPE_BUF) break;
                chunk += length;
            }
        }
    }
    const ssize_t n = write(fd_, buf_.data() + start_, chunk);
    if (n < 0) {
        if (errno == EINTR) return true;
        if (errno != EAGAIN && errno != EWOULDBLOCK) stop(std::strerror(errno));
        return false;
    }
    const auto written = static_cast<size_t>(n);
    if (oldFlags_ >= 0) {
        if (headLeft_ != 0) {
            headLeft_ -= written;
        } else {
            size_t end = 0;  // the end of the block the write stopped in
            while (end < written) end += block_length(start_ + end);
            headLeft_ = end - written;
        }
    }
    start_ += written;
    return n != 0;
}

void Capture::stop(const char *why) {
    std::fprintf(stderr, "te-simd: capture stopped: cannot write %s: %s\n", path_.c_str(), why);
    if (oldFlags_ >= 0) (void)fcntl(fd_, F_SETFL, oldFlags_);
    oldFlags_ = -1;
    if (ownFd_) close(fd_);
    fd_ = -1;
}

void Capture::flush() {
    while (active() && held() != 0 && write_some()) {
    }
    if (!active() || held() == 0) {
        buf_.clear();
        start_ = headLeft_ = 0;
        return;
    }
    // The reader took no more for now: it is tried again soon, not at once
    // (that would spin), and the written front goes once it is most of the
    // buffer.
    dueAt_ = now_ms() + kRetryMs;
    if (start_ >= buf_.size() / 2) {
        buf_.erase(buf_.begin(), buf_.begin() + static_cast<std::ptrdiff_t>(start_));
        start_ = 0;
    }
}

void Capture::finish() {
    flush();
    const long long end = now_ms() + kFinishMs;
    while (active() && held() != 0) {
        const long long left = end - now_ms();
        if (left <= 0) break;
        pollfd out{fd_, POLLOUT, 0};
        if (poll(&out, 1, static_cast<int>(left)) < 0 && errno != EINTR) break;
        flush();
    }
    if (dropped_ != 0) std::fprintf(stderr, "te-simd: capture reader did not keep up: %lu records dropped\n", dropped_);
    dropped_ = 0;
    if (!active()) return;
    if (held() != 0)
        std::fprintf(stderr, "te-simd: capture reader is not reading: the last %zu bytes are not written\n", held());
    if (oldFlags_ >= 0) (void)fcntl(fd_, F_SETFL, oldFlags_);
    oldFlags_ = -1;
    if (ownFd_) close(fd_);
    fd_ = -1;
    buf_.clear();
    start_ = headLeft_ = 0;
}

}  // namespace sim

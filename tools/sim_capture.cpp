// te-simd's pcapng writer; the layout is described in sim_capture.h.
#include "tools/sim_capture.h"

#include <fcntl.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstring>

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
        const auto *b = static_cast<const uint8_t *>(p);
        out_.insert(out_.end(), b, b + n);
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

long elapsed_ms(const timespec &since) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (now.tv_sec - since.tv_sec) * 1000 + (now.tv_nsec - since.tv_nsec) / 1000000;
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

Capture::~Capture() {
    flush();
    if (ownFd_) close(fd_);
}

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
    if (buf_.empty()) clock_gettime(CLOCK_MONOTONIC, &firstHeld_);
    append(b.data(), b.size());
    if (buf_.size() >= kFlushBytes) flush();
}

int Capture::flush_due_ms() const {
    if (!active() || buf_.empty()) return -1;
    const long left = kFlushMs - elapsed_ms(firstHeld_);
    return left < 0 ? 0 : static_cast<int>(left);
}

void Capture::flush_if_due() {
    if (flush_due_ms() == 0) flush();
}

void Capture::flush() {
    size_t done = 0;
    while (active() && done < buf_.size()) {
        const ssize_t n = write(fd_, buf_.data() + done, buf_.size() - done);
        if (n >= 0) {
            done += static_cast<size_t>(n);
        } else if (errno != EINTR) {
            std::fprintf(stderr, "te-simd: capture stopped: cannot write %s: %s\n", path_.c_str(), std::strerror(errno));
            if (ownFd_) close(fd_);
            fd_ = -1;
        }
    }
    buf_.clear();
}

}  // namespace sim

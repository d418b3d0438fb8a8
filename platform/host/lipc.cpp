// Local-IPC sockets on a host: family 37 datagram sockets are Unix-domain
// datagram sockets; a 16-byte address {16, 37, a, b, c, 0...} names the file
// lipc-aabbcc in $TE_LIPC_DIR (default /run/te). Clients are bound to an
// automatically chosen abstract address so that the daemon can answer.
#include <sys/socket.h>
#include <sys/time.h>
#include <time.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "platform/host/lipc_host.h"
#include "platform/platform.h"

namespace {

constexpr int kFamily = 37;

// Two lower-case hex digits for every octet.
constexpr auto kHexPairs = [] {
    constexpr char digits[] = "0123456789abcdef";
    std::array<char, 512> out{};
    for (int i = 0; i < 256; ++i) {
        out[2 * i] = digits[i >> 4];
        out[2 * i + 1] = digits[i & 0x0f];
    }
    return out;
}();

// "<dir>/lipc-" and six lower-case hex digits into out (size bytes), built
// by hand: this runs on every open, and a formatted print costs far more
// than the copy. Returns the length without the terminating zero, or -1.
long host_path(const uint8_t address[16], char *out, size_t size) {
    if (address == nullptr || address[0] != 16 || address[1] != kFamily) return -1;
    static constexpr char kPrefix[] = "/lipc-";
    const char *dir = LIPC_HostDir();
    const size_t dirLength = std::strlen(dir);
    const size_t length = dirLength + (sizeof kPrefix - 1) + 6;
    if (out == nullptr || length >= size) return -1;
    std::memcpy(out, dir, dirLength);
    char *p = out + dirLength;
    std::memcpy(p, kPrefix, sizeof kPrefix - 1);
    p += sizeof kPrefix - 1;
    for (int i = 0; i < 3; ++i) std::memcpy(p + 2 * i, &kHexPairs[2 * address[2 + i]], 2);
    p[6] = '\0';
    return static_cast<long>(length);
}

// The Unix address of a 16-byte local-IPC address, and its length (the
// path and its terminating zero; nothing behind it is cleared or passed).
socklen_t unix_address(const void *address, uint32_t length, sockaddr_un *out) {
    out->sun_family = AF_UNIX;
    if (length != 16) return 0;
    const long n = host_path(static_cast<const uint8_t *>(address), out->sun_path,
                             sizeof out->sun_path);
    return n < 0 ? 0 : static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + n + 1);
}

// The option LIPC_HostFailOption named (0: none).
std::atomic<int> gFailingOption{0};

}  // namespace

extern "C" void LIPC_HostFailOption(int name) {
    gFailingOption.store(name, std::memory_order_relaxed);
}

extern "C" const char *LIPC_HostDir(void) {
    const char *dir = std::getenv("TE_LIPC_DIR");
    return dir != nullptr && *dir != '\0' ? dir : LIPC_HOST_DEFAULT_DIR;
}

extern "C" int LIPC_HostPath(const uint8_t address[16], char *out, size_t size) {
    return host_path(address, out, size) < 0 ? -1 : 0;
}

extern "C" int LIPC_Socket(int domain, int type, int protocol) {
    if (domain != kFamily || type != SOCK_DGRAM || protocol != 1) {
        errno = EAFNOSUPPORT;
        return -1;
    }
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return -1;
    // Autobind: an abstract address chosen by the kernel (the family alone).
    sockaddr_un self;
    self.sun_family = AF_UNIX;
    self.sun_path[0] = '\0';  // not passed; set so that checkers reading the path see it end
    if (bind(fd, reinterpret_cast<sockaddr *>(&self), sizeof(sa_family_t)) != 0) {
        const int e = errno;
        close(fd);
        errno = e;
        return -1;
    }
    return fd;
}

extern "C" int LIPC_SetSockOpt(int sock, int level, int name, const void *value,
                               uint32_t length) {
    const int failing = gFailingOption.load(std::memory_order_relaxed);
    if (failing != 0 && name == failing && level == LIPC_SOL_SOCKET) {
        errno = EINVAL;
        return -1;
    }
    int option;
    switch (level == LIPC_SOL_SOCKET ? name : 0) {
    case LIPC_SO_SNDTIMEO: option = SO_SNDTIMEO; break;
    case LIPC_SO_RCVTIMEO: option = SO_RCVTIMEO; break;
    case LIPC_SO_BUFFER: return 0;
    default: errno = ENOPROTOOPT; return -1;
    }
    if (value == nullptr || length != 8) {
        errno = EINVAL;
        return -1;
    }
    uint32_t parts[2];
    std::memcpy(parts, value, sizeof parts);
    const timeval tv{static_cast<time_t>(parts[0]), static_cast<suseconds_t>(parts[1])};
    return setsockopt(sock, SOL_SOCKET, option, &tv, sizeof tv);
}

extern "C" int LIPC_Connect(int sock, const void *address, uint32_t length) {
    sockaddr_un peer;
    const socklen_t size = unix_address(address, length, &peer);
    if (size == 0) {
        errno = EINVAL;
        return -1;
    }
    return connect(sock, reinterpret_cast<sockaddr *>(&peer), size);
}

extern "C" long LIPC_Send(int sock, const void *buf, size_t length, int flags) {
    return send(sock, buf, length, flags | MSG_NOSIGNAL);
}

extern "C" long LIPC_Recv(int sock, void *buf, size_t length, int flags) {
    return recv(sock, buf, length, flags);
}

extern "C" int LIPC_Close(int sock) { return close(sock); }

extern "C" long LIPC_RecvQueued(int sock, void *buf, size_t length) {
    return recv(sock, buf, length, MSG_DONTWAIT);
}

extern "C" uint64_t LIPC_NowMs(void) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000u + static_cast<uint64_t>(now.tv_nsec) / 1000000u;
}

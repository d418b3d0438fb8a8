// The minimal hand-written client the library is measured against: the same
// system calls a careful programmer would make for each call, the daemon's
// address built from $TE_LIPC_DIR on every open (the host's address rule
// needs the variable, so one getenv per open), and nothing cleared or
// formatted that the protocol does not need.
#pragma once

#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "include/te_mor.h"

namespace temor::bench::hand {

// socket, autobind, both time-outs, connect to "$TE_LIPC_DIR/lipc-0a7280".
inline int open_socket() {
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return -1;
    sockaddr_un self;
    self.sun_family = AF_UNIX;
    bind(fd, reinterpret_cast<sockaddr *>(&self), sizeof(sa_family_t));
    const timeval tv{10, 0};
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &tv, sizeof tv);
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
    sockaddr_un peer;
    peer.sun_family = AF_UNIX;
    const char *dir = getenv("TE_LIPC_DIR");
    if (dir == nullptr) dir = "/run/te";
    const size_t n = strlen(dir);
    if (n + sizeof "/lipc-0a7280" > sizeof peer.sun_path) {
        close(fd);
        return -1;
    }
    std::memcpy(peer.sun_path, dir, n);
    std::memcpy(peer.sun_path + n, "/lipc-0a7280", sizeof "/lipc-0a7280");
    connect(fd, reinterpret_cast<sockaddr *>(&peer),
            socklen_t(offsetof(sockaddr_un, sun_path) + n + sizeof "/lipc-0a7280"));
    return fd;
}

// One exchange: a request of one item (class cls, op, tag, value) and its
// reply into reply (room TE_MOR_MSG_MAX). Returns the result code, and
// leaves the first item's value length in *valueLength (the value lies at
// reply + 12).
inline uint32_t exchange(int fd, uint8_t cls, uint8_t op, uint16_t tag, const void *value,
                         uint16_t length, uint8_t *reply, uint16_t *valueLength) {
    uint8_t req[12 + 64];
    req[0] = cls;
    req[1] = op;
    const uint16_t payload = htons(uint16_t(4 + length)), t = htons(tag), l = htons(length);
    std::memcpy(req + 2, &payload, 2);
    std::memset(req + 4, 0, 4);
    std::memcpy(req + 8, &t, 2);
    std::memcpy(req + 10, &l, 2);
    std::memcpy(req + 12, value, length);
    const ssize_t sent = send(fd, req, 12u + length, MSG_NOSIGNAL);
    if (sent != 12 + length) return TE_MOR_ERR_FAIL;
    const ssize_t n = recv(fd, reply, TE_MOR_MSG_MAX, 0);
    if (n < 8) return TE_MOR_ERR_FAIL;
    uint16_t announced;
    std::memcpy(&announced, reply + 2, 2);
    if (n < 8 + ntohs(announced)) return TE_MOR_ERR_FAIL;
    uint32_t result;
    std::memcpy(&result, reply + 4, 4);
    if (result != 0) return ntohl(result);
    *valueLength = 0;
    if (n >= 12) {
        uint16_t len;
        std::memcpy(&len, reply + 10, 2);
        *valueLength = ntohs(len);
    }
    return 0;
}

// Stale replies queued on a held socket are dropped first (one
// non-blocking receive when there are none).
inline void drain(int fd) {
    uint8_t scrap[8];
    for (int i = 0; i < 64; ++i)
        if (recv(fd, scrap, sizeof scrap, MSG_DONTWAIT) < 0) return;
}

// n big-endian numbers of T, packed from p on, turned into host order.
template <class T>
void to_host(uint8_t *p, int n) {
    for (int i = 0; i < n; ++i) {
        T v;
        std::memcpy(&v, p + sizeof v * i, sizeof v);
        v = sizeof v == 4 ? T(ntohl(uint32_t(v))) : T(ntohs(uint16_t(v)));
        std::memcpy(p + sizeof v * i, &v, sizeof v);
    }
}

inline void swap_words(uint8_t *p, int n) { to_host<uint32_t>(p, n); }
inline void swap_halves(uint8_t *p, int n) { to_host<uint16_t>(p, n); }

// A tunnel row (128 bytes) from value (length bytes) into info.
inline void decode_tunnel(const uint8_t *value, uint16_t length, TeTunnelInfo *info) {
    auto *rec = reinterpret_cast<uint8_t *>(info);
    std::memcpy(rec, value, length < 128 ? length : 128);
    swap_words(rec, 15);
    swap_halves(rec + 60, 4);
    swap_words(rec + 92, 9);
}

// A bandwidth allocation row (292 bytes) from value into info.
inline void decode_bw(const uint8_t *value, uint16_t length, TeBwAllocationInfo *info) {
    auto *rec = reinterpret_cast<uint8_t *>(info);
    std::memcpy(rec, value, length < 292 ? length : 292);
    swap_words(rec, 10);
    swap_words(rec + 56, 4);
    swap_words(rec + 92, 2);
    for (int i = 0; i < info->entryCount && i < 16; ++i) swap_words(rec + 104 + 12 * i, 2);
}

// TE_MOR_GetTunnelByTnlId (and first/next) by hand: a socket of its own.
inline uint32_t tunnel_by_id(uint8_t op, uint32_t id, TeTunnelInfo *info) {
    const uint32_t key = htonl(id);
    uint8_t reply[TE_MOR_MSG_MAX];
    uint16_t len = 0;
    const int fd = open_socket();
    if (fd < 0) return TE_MOR_ERR_IPC_OPEN;
    const uint32_t rc = exchange(fd, 4, op, 105, &key, 4, reply, &len);
    if (rc == 0) decode_tunnel(reply + 12, len, info);
    close(fd);
    return rc;
}

// One step of a bandwidth allocation walk on a held socket, by hand.
inline uint32_t bw_step(int fd, uint8_t op, uint32_t key, TeBwAllocationInfo *info) {
    drain(fd);
    const uint32_t k = htonl(key);
    uint8_t reply[TE_MOR_MSG_MAX];
    uint16_t len = 0;
    const uint32_t rc = exchange(fd, 4, op, 3, &k, 4, reply, &len);
    if (rc == 0) decode_bw(reply + 12, len, info);
    return rc;
}

// TE_MOR_SetFrrTimer by hand: class 0, op 0, tag 8, the timer big-endian.
inline uint32_t set_frr_timer(uint32_t timer) {
    const uint32_t value = htonl(timer);
    uint8_t reply[TE_MOR_MSG_MAX];
    uint16_t len = 0;
    const int fd = open_socket();
    if (fd < 0) return TE_MOR_ERR_IPC_OPEN;
    uint32_t rc = exchange(fd, 0, 0, 8, &value, 4, reply, &len);
    close(fd);
    return rc;
}

}  // namespace temor::bench::hand

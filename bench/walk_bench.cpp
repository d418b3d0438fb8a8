// Table walks through the library beside hand-written code doing the same
// system calls: 10,000 rows of the tunnel table (a socket per row) and of
// the bandwidth allocation table (one socket for the whole walk). Each
// iteration times one walk of each kind, alternately, and the counters report
// library time over hand-written time ("ratio", from the sums, and
// "ratio_best", from the fastest walk of each).
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "include/te_mor.h"

namespace {

constexpr uint32_t kRows = 10000;
constexpr uint32_t kEndOfTable = 0x250C0099;

// The daemon's side: answers each request with the next row (its first word
// counting 1, 2, ...), and after kRows rows with kEndOfTable, then starts over.
class Responder {
public:
    Responder(uint16_t tag, uint16_t rowSize, int countAt) {
        char tmpl[] = "/tmp/temor-bench-XXXXXX";
        dir_ = mkdtemp(tmpl);
        setenv("TE_LIPC_DIR", dir_.c_str(), 1);
        path_ = dir_ + "/lipc-0a7280";
        fd_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_un addr{};
        addr.sun_family = AF_UNIX;
        std::strncpy(addr.sun_path, path_.c_str(), sizeof addr.sun_path - 1);
        if (bind(fd_, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0) std::abort();
        timeval tv{0, 100000};
        setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
        // Row reply: header, item header, value of rowSize pattern bytes.
        rowLength_ = 12u + rowSize;
        row_[0] = 4;
        const uint16_t payload = htons(uint16_t(4 + rowSize));
        std::memcpy(row_ + 2, &payload, 2);
        const uint16_t t = htons(tag), l = htons(rowSize);
        std::memcpy(row_ + 8, &t, 2);
        std::memcpy(row_ + 10, &l, 2);
        for (uint16_t i = 0; i < rowSize; ++i) row_[12 + i] = uint8_t(i);
        if (countAt >= 0) row_[12 + countAt] = 16;
        end_[0] = 4;
        const uint32_t code = htonl(kEndOfTable);
        std::memcpy(end_ + 4, &code, 4);
        thread_ = std::thread([this] { serve(); });
    }
    ~Responder() {
        stop_ = true;
        thread_.join();
        close(fd_);
        unlink(path_.c_str());
        rmdir(dir_.c_str());
    }

private:
    void serve() {
        uint32_t served = 0;
        uint8_t buf[TE_MOR_MSG_MAX];
        while (!stop_) {
            sockaddr_un from{};
            socklen_t fromLen = sizeof from;
            if (recvfrom(fd_, buf, sizeof buf, 0, reinterpret_cast<sockaddr *>(&from), &fromLen) < 0)
                continue;
            if (served == kRows) {
                served = 0;
                sendto(fd_, end_, sizeof end_, 0, reinterpret_cast<sockaddr *>(&from), fromLen);
                continue;
            }
            const uint32_t id = htonl(++served);
            std::memcpy(row_ + 12, &id, 4);
            sendto(fd_, row_, rowLength_, 0, reinterpret_cast<sockaddr *>(&from), fromLen);
        }
    }

    std::string dir_, path_;
    int fd_ = -1;
    uint8_t row_[TE_MOR_MSG_MAX] = {};
    uint32_t rowLength_ = 0;
    uint8_t end_[8] = {};
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

// ---- hand-written baseline ------------------------------------------------

int raw_open() {
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un self{};
    self.sun_family = AF_UNIX;
    bind(fd, reinterpret_cast<sockaddr *>(&self), sizeof(sa_family_t));
    timeval tv{10, 0};
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &tv, sizeof tv);
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
    sockaddr_un peer{};
    peer.sun_family = AF_UNIX;
    std::snprintf(peer.sun_path, sizeof peer.sun_path, "%s/lipc-0a7280", getenv("TE_LIPC_DIR"));
    connect(fd, reinterpret_cast<sockaddr *>(&peer), sizeof peer);
    return fd;
}

// One exchange: a class-4 request with one item; returns the result code and
// leaves the first item's value at reply + 12.
uint32_t raw_query(int fd, uint8_t op, uint16_t tag, const void *key, uint16_t keyLength,
                   uint8_t *reply, uint16_t *valueLength) {
    uint8_t req[TE_MOR_MSG_MAX] = {};
    req[0] = 4;
    req[1] = op;
    const uint16_t payload = htons(uint16_t(4 + keyLength)), t = htons(tag), l = htons(keyLength);
    std::memcpy(req + 2, &payload, 2);
    std::memcpy(req + 8, &t, 2);
    std::memcpy(req + 10, &l, 2);
    std::memcpy(req + 12, key, keyLength);
    if (send(fd, req, 12u + keyLength, MSG_NOSIGNAL) != 12 + keyLength) return TE_MOR_ERR_FAIL;
    const ssize_t n = recv(fd, reply, TE_MOR_MSG_MAX, 0);
    if (n < 12) return TE_MOR_ERR_FAIL;
    uint32_t result;
    std::memcpy(&result, reply + 4, 4);
    if (result != 0) return ntohl(result);
    uint16_t len;
    std::memcpy(&len, reply + 10, 2);
    *valueLength = ntohs(len);
    return 0;
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

void swap_words(uint8_t *p, int n) { to_host<uint32_t>(p, n); }
void swap_halves(uint8_t *p, int n) { to_host<uint16_t>(p, n); }

uint32_t raw_tunnel(uint8_t op, const TeTunnelIndexSet &set, TeTunnelInfo *info) {
    uint32_t key[4];
    for (int i = 0; i < 4; ++i) key[i] = htonl(set.indexSet[i]);
    uint8_t reply[TE_MOR_MSG_MAX] = {};
    uint16_t len = 0;
    const int fd = raw_open();
    uint32_t rc = raw_query(fd, op, 101, key, sizeof key, reply, &len);
    if (rc == 0) {
        auto *rec = reinterpret_cast<uint8_t *>(info);
        std::memcpy(rec, reply + 12, len < 128 ? len : 128);
        swap_words(rec, 15);
        swap_halves(rec + 60, 4);
        swap_words(rec + 92, 9);
    }
    close(fd);
    return rc;
}

uint32_t raw_bw(int fd, uint8_t op, uint32_t key, TeBwAllocationInfo *info) {
    const uint32_t k = htonl(key);
    uint8_t reply[TE_MOR_MSG_MAX] = {};
    uint16_t len = 0;
    const uint32_t rc = raw_query(fd, op, 3, &k, 4, reply, &len);
    if (rc != 0) return rc;
    auto *rec = reinterpret_cast<uint8_t *>(info);
    std::memcpy(rec, reply + 12, len < 292 ? len : 292);
    swap_words(rec, 10);
    swap_words(rec + 56, 4);
    swap_words(rec + 92, 2);
    for (int i = 0; i < info->entryCount && i < 16; ++i) swap_words(rec + 104 + 12 * i, 2);
    return 0;
}

// ---- the walks ------------------------------------------------------------

TeTunnelIndexSet next_key(const TeTunnelInfo &info) {
    return TeTunnelIndexSet{{info.word0, info.word1, info.word2, info.word3}};
}

uint32_t library_tunnel_walk() {
    TeTunnelInfo info{};
    uint32_t rows = 0;
    uint32_t rc = TE_MOR_GetFirstTunnel(&info);
    while (rc == TE_MOR_OK) {
        ++rows;
        const TeTunnelIndexSet key = next_key(info);
        rc = TE_MOR_GetNextTunnel(&key, &info);
    }
    return rows;
}

uint32_t raw_tunnel_walk() {
    TeTunnelInfo info{};
    uint32_t rows = 0;
    uint32_t rc = raw_tunnel(TE_MOR_OP_GET_FIRST, TeTunnelIndexSet{}, &info);
    while (rc == TE_MOR_OK) {
        ++rows;
        rc = raw_tunnel(TE_MOR_OP_GET_NEXT, next_key(info), &info);
    }
    return rows;
}

uint32_t library_bw_walk() {
    const int sock = TE_MOR_LIPCOpen();
    TeBwAllocationInfo info{};
    uint32_t rows = 0;
    uint32_t rc = TE_MOR_GetFirstBwAllocationInfo(sock, &info);
    while (rc == TE_MOR_OK) {
        ++rows;
        rc = TE_MOR_GetNextBwAllocationInfo(sock, info.word0, &info);
    }
    TE_MOR_LIPCClose(sock);
    return rows;
}

uint32_t raw_bw_walk() {
    const int fd = raw_open();
    TeBwAllocationInfo info{};
    uint32_t rows = 0;
    uint32_t rc = raw_bw(fd, TE_MOR_OP_GET_FIRST, 0, &info);
    while (rc == TE_MOR_OK) {
        ++rows;
        rc = raw_bw(fd, TE_MOR_OP_GET_NEXT, info.word0, &info);
    }
    close(fd);
    return rows;
}

double seconds(uint32_t (*walk)(), benchmark::State &state) {
    const auto t0 = std::chrono::steady_clock::now();
    const uint32_t rows = walk();
    const std::chrono::duration<double> d = std::chrono::steady_clock::now() - t0;
    if (rows != kRows) state.SkipWithError("the walk did not read every row");
    return d.count();
}

void compare(benchmark::State &state, uint32_t (*library)(), uint32_t (*baseline)()) {
    double lib = 0, base = 0, libBest = 1e9, baseBest = 1e9;
    bool libFirst = true;
    library();  // warm both paths before timing
    baseline();
    for (auto _ : state) {
        double l, b;
        if (libFirst) {
            l = seconds(library, state);
            b = seconds(baseline, state);
        } else {
            b = seconds(baseline, state);
            l = seconds(library, state);
        }
        libFirst = !libFirst;
        state.SetIterationTime(l);
        lib += l;
        base += b;
        libBest = std::min(libBest, l);
        baseBest = std::min(baseBest, b);
    }
    state.counters["lib_ms"] = 1e3 * lib / double(state.iterations());
    state.counters["base_ms"] = 1e3 * base / double(state.iterations());
    state.counters["ratio"] = lib / base;
    state.counters["ratio_best"] = libBest / baseBest;
}

void BM_TunnelWalk(benchmark::State &state) {
    Responder daemon(101, 128, -1);
    compare(state, library_tunnel_walk, raw_tunnel_walk);
}

void BM_BwAllocationWalk(benchmark::State &state) {
    Responder daemon(3, 292, 88);
    compare(state, library_bw_walk, raw_bw_walk);
}

}  // namespace

BENCHMARK(BM_TunnelWalk)->UseManualTime()->Iterations(8)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BwAllocationWalk)->UseManualTime()->Iterations(8)->Unit(benchmark::kMillisecond);

// Table walks through the library beside the minimal hand-written client
// (bench/hand_client.h) doing the same system calls: 10,000 rows of the tunnel table (a socket per row) and of
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

#include "bench/hand_client.h"
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

namespace hand = temor::bench::hand;

uint32_t raw_tunnel(uint8_t op, const TeTunnelIndexSet &set, TeTunnelInfo *info) {
    uint32_t key[4];
    for (int i = 0; i < 4; ++i) key[i] = htonl(set.indexSet[i]);
    uint8_t reply[TE_MOR_MSG_MAX];
    uint16_t len = 0;
    const int fd = hand::open_socket();
    const uint32_t rc = hand::exchange(fd, 4, op, 101, key, sizeof key, reply, &len);
    if (rc == 0) hand::decode_tunnel(reply + 12, len, info);
    close(fd);
    return rc;
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
    const int fd = hand::open_socket();
    TeBwAllocationInfo info{};
    uint32_t rows = 0;
    uint32_t rc = hand::bw_step(fd, TE_MOR_OP_GET_FIRST, 0, &info);
    while (rc == TE_MOR_OK) {
        ++rows;
        rc = hand::bw_step(fd, TE_MOR_OP_GET_NEXT, info.word0, &info);
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

// Instruction counts per call, for bench/instructions.sh (callgrind). Each
// path runs N times through the library and N times through the minimal
// hand-written client (bench/hand_client.h), inside functions named
// measure_<path>_<lib|hand> that the script has callgrind count (and only
// those). A responder in a forked process answers on a real socket in a
// private $TE_LIPC_DIR, and refuses any request other than the one expected,
// so that both sides are seen to send the same datagram.
//   temor_instructions [N]     (default 1000)
#include <arpa/inet.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bench/hand_client.h"
#include "include/te_mor.h"
#include "messaging/frame.h"
#include "query/query.h"
#include "query/tables.h"

namespace {

namespace hand = temor::bench::hand;

constexpr uint32_t kTimer = 30;
constexpr uint16_t kBwSize = 292;

// The reply carrying one bandwidth allocation row: pattern bytes, word0 1,
// 16 entries.
size_t bw_reply(uint8_t *out) {
    const uint8_t head[12] = {4, 0, 0, 0, 0, 0, 0, 0, 0, 3, kBwSize >> 8, kBwSize & 0xff};
    std::memcpy(out, head, sizeof head);
    const uint16_t payload = htons(4 + kBwSize);
    std::memcpy(out + 2, &payload, 2);
    for (uint16_t i = 0; i < kBwSize; ++i) out[12 + i] = uint8_t(i * 7);
    const uint32_t one = htonl(1);
    std::memcpy(out + 12, &one, 4);
    out[12 + 88] = 16;
    return 12u + kBwSize;
}

// The answer to one request, or a failure code when the request is not one
// of those the driver sends.
size_t answer(const uint8_t *in, size_t n, uint8_t *out) {
    const uint8_t setter[16] = {0, 0, 0, 8, 0, 0, 0, 0, 0, 8, 0, 4, 0, 0, 0, kTimer};
    const bool query = n == 16 && in[0] == 4 && in[2] == 0 && in[3] == 8 && in[10] == 0 &&
                       in[11] == 4 && std::memcmp(in + 4, "\0\0\0\0", 4) == 0;
    if (n == sizeof setter && std::memcmp(in, setter, n) == 0) {
        std::memcpy(out, "\4\0\0\0\0\0\0\0", 8);
        return 8;
    }
    if (query && in[8] == 0 && in[9] == 105) {  // a tunnel row: 128 bytes
        const uint8_t head[12] = {4, 0, 0, 132, 0, 0, 0, 0, 0, 105, 0, 128};
        std::memcpy(out, head, sizeof head);
        for (int i = 0; i < 128; ++i) out[12 + i] = uint8_t(i * 3);
        return 140;
    }
    if (query && in[8] == 0 && in[9] == 3) return bw_reply(out);
    std::memcpy(out, "\4\0\0\0\xff\xff\xff\xff", 8);
    return 8;
}

[[noreturn]] void serve(int fd) {
    static uint8_t in[65536], out[65536];
    for (;;) {
        sockaddr_un from{};
        socklen_t fromLen = sizeof from;
        const ssize_t n =
            recvfrom(fd, in, sizeof in, 0, reinterpret_cast<sockaddr *>(&from), &fromLen);
        if (n < 0) continue;
        const size_t m = answer(in, size_t(n), out);
        (void)sendto(fd, out, m, 0, reinterpret_cast<sockaddr *>(&from), fromLen);
    }
}

void check(uint32_t rc, const char *what) {
    if (rc != TE_MOR_OK) {
        std::fprintf(stderr, "%s: result 0x%x\n", what, rc);
        std::exit(1);
    }
}

template <class T>
void keep(T *p) {
    asm volatile("" : : "r"(p) : "memory");
}

TeTunnelInfo gTunnel;
TeBwAllocationInfo gBw;
uint8_t gReply[TE_MOR_MSG_MAX];
uint32_t gReplyLength;

}  // namespace

// ---- the paths ----------------------------------------------------------------

namespace {

void setter_lib(int n) {
    for (int i = 0; i < n; ++i) check(TE_MOR_SetFrrTimer(kTimer), "library setter");
}

void setter_hand(int n) {
    for (int i = 0; i < n; ++i) check(hand::set_frr_timer(kTimer), "hand setter");
}

void own_query_lib(int n) {
    for (int i = 0; i < n; ++i) check(TE_MOR_GetTunnelByTnlId(7, &gTunnel), "library query");
}

void own_query_hand(int n) {
    for (int i = 0; i < n; ++i)
        check(hand::tunnel_by_id(TE_MOR_OP_GET, 7, &gTunnel), "hand query");
}

void held_step_lib(int sock, int n) {
    for (int i = 0; i < n; ++i)
        check(TE_MOR_GetNextBwAllocationInfo(sock, 1, &gBw), "library held step");
}

void held_step_hand(int sock, int n) {
    for (int i = 0; i < n; ++i)
        check(hand::bw_step(sock, TE_MOR_OP_GET_NEXT, 1, &gBw), "hand held step");
}

// The bandwidth table's decoder in the library, on a reply already received.
void decode_lib(int n) {
    using namespace temor;
    for (int i = 0; i < n; ++i) {
        keep(gReply);
        const Payload p(gReply + kHeaderSize, get_be16(gReply + 2), gReply + gReplyLength);
        check(decode_first<*tables::kBwAlloc.record>(p, &gBw, tables::kBwAlloc.expect),
              "library decode");
        keep(&gBw);
    }
}

void decode_hand(int n) {
    for (int i = 0; i < n; ++i) {
        keep(gReply);
        uint16_t len;
        std::memcpy(&len, gReply + 10, 2);
        hand::decode_bw(gReply + 12, ntohs(len), &gBw);
        keep(&gBw);
    }
}

// Each table's decoder, on a reply holding one full row of pattern bytes
// under the tag the table expects (tables whose replies carry a list decode
// in code of their own and are not in this report).
alignas(8) uint8_t gRecord[1024];

template <const temor::tables::Table *T>
size_t table_reply(uint8_t *out) {
    using namespace temor;
    const uint16_t size = T->record->size;
    out[0] = 4, out[1] = 3;
    put_be16(out + 2, static_cast<uint16_t>(4 + size));
    put_be32(out + 4, 0);
    put_be16(out + 8, static_cast<uint16_t>(T->expect.tag >= 0 ? T->expect.tag : T->tag));
    put_be16(out + 10, size);
    for (uint16_t i = 0; i < size; ++i) out[12 + i] = uint8_t(i * 5 + 1);
    return 12u + size;
}

template <const temor::tables::Table *T>
__attribute__((noinline)) void measure_decode_table(int n) {
    using namespace temor;
    static_assert(sizeof gRecord >= T->recordSize);
    uint8_t reply[TE_MOR_MSG_MAX];
    const size_t length = table_reply<T>(reply);
    for (int i = 0; i < n; ++i) {
        keep(reply);
        const Payload p(reply + kHeaderSize, get_be16(reply + 2), reply + length);
        check(decode_first<*T->record>(p, gRecord, T->expect), T->name);
        keep(gRecord);
    }
}

template <const temor::tables::Table *...T>
void measure_decoders(int n) {
    (measure_decode_table<T>(n), ...);
}

}  // namespace

// ---- the measured loops (callgrind counts these, and only these) -------------

extern "C" {
__attribute__((noinline)) void measure_setter_lib(int n) { setter_lib(n); }
__attribute__((noinline)) void measure_setter_hand(int n) { setter_hand(n); }
__attribute__((noinline)) void measure_own_query_lib(int n) { own_query_lib(n); }
__attribute__((noinline)) void measure_own_query_hand(int n) { own_query_hand(n); }
__attribute__((noinline)) void measure_held_step_lib(int s, int n) { held_step_lib(s, n); }
__attribute__((noinline)) void measure_held_step_hand(int s, int n) { held_step_hand(s, n); }
__attribute__((noinline)) void measure_decode_lib(int n) { decode_lib(n); }
__attribute__((noinline)) void measure_decode_hand(int n) { decode_hand(n); }
}

int main(int argc, char **argv) {
    const int n = argc > 1 ? std::atoi(argv[1]) : 1000;

    char dir[] = "/tmp/temor-instr-XXXXXX";
    if (mkdtemp(dir) == nullptr) return 1;
    setenv("TE_LIPC_DIR", dir, 1);
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::snprintf(addr.sun_path, sizeof addr.sun_path, "%s/lipc-0a7280", dir);
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0 || bind(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0) return 1;
    const pid_t responder = fork();
    if (responder < 0) return 1;
    if (responder == 0) serve(fd);
    close(fd);

    gReplyLength = uint32_t(bw_reply(gReply));
    const int sock = TE_MOR_LIPCOpen();
    if (sock < 0) return 1;

    // Each path once before counting: lazy binding and first-touch costs
    // belong to no call.
    setter_lib(1);
    setter_hand(1);
    own_query_lib(1);
    own_query_hand(1);
    held_step_lib(sock, 1);
    held_step_hand(sock, 1);
    decode_lib(1);
    decode_hand(1);

    measure_setter_lib(n);
    measure_setter_hand(n);
    measure_own_query_lib(n);
    measure_own_query_hand(n);
    measure_held_step_lib(sock, n);
    measure_held_step_hand(sock, n);
    measure_decode_lib(n);
    measure_decode_hand(n);
    {
        using namespace temor::tables;
        measure_decoders<&kTunnels, &kBwAlloc, &kDsteTable, &kIfConfigTable, &kMcBinds, &kMcTunnels,
                         &kTunIntfs, &kTePaths, &kPathHops, &kNewHops>(n);
    }

    TE_MOR_LIPCClose(sock);
    kill(responder, SIGKILL);
    waitpid(responder, nullptr, 0);
    unlink(addr.sun_path);
    rmdir(dir);
    std::printf("%d calls per path\n", n);
    return 0;
}

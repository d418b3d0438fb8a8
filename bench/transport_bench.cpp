// The transport against the same system calls made by hand: one whole
// transaction on a fresh socket, and one exchange on a held socket.
#include <benchmark/benchmark.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

#include "bench/bench_support.h"
#include "bench/hand_client.h"
#include "include/te_mor.h"
#include "messaging/transport.h"

namespace {

using temor::bench::Responder;

const uint8_t kRequest[] = {1, 2, 0, 8, 0, 0, 0, 0, 0, 3, 0, 4, 0, 0, 0, 1};

void BM_DoRequest(benchmark::State &state) {
    Responder responder(temor::bench::empty_reply);
    for (auto _ : state) {
        if (TE_MOR_DoRequest(kRequest, sizeof kRequest) != 0) state.SkipWithError("exchange failed");
    }
}

// Hand-written: socket, autobind, two time-outs, the daemon's address from
// $TE_LIPC_DIR, connect, send, receive, close.
void BM_DoRequestBaseline(benchmark::State &state) {
    Responder responder(temor::bench::empty_reply);
    uint8_t reply[TE_MOR_MSG_MAX];
    for (auto _ : state) {
        const int fd = temor::bench::hand::open_socket();
        send(fd, kRequest, sizeof kRequest, MSG_NOSIGNAL);
        if (recv(fd, reply, sizeof reply, 0) < 8) state.SkipWithError("exchange failed");
        close(fd);
    }
}

void BM_SendMsgHeld(benchmark::State &state) {
    Responder responder(temor::bench::empty_reply);
    const int fd = TE_MOR_LIPCOpen();
    uint8_t reply[TE_MOR_MSG_MAX];
    for (auto _ : state) {
        if (TE_MOR_SendMsg(fd, kRequest, sizeof kRequest, reply) != 0)
            state.SkipWithError("exchange failed");
    }
    TE_MOR_LIPCClose(fd);
}

void BM_SendMsgHeldBaseline(benchmark::State &state) {
    Responder responder(temor::bench::empty_reply);
    const int fd = TE_MOR_LIPCOpen();
    uint8_t reply[TE_MOR_MSG_MAX];
    for (auto _ : state) {
        send(fd, kRequest, sizeof kRequest, 0);
        if (recv(fd, reply, sizeof reply, 0) < 8) state.SkipWithError("exchange failed");
    }
    TE_MOR_LIPCClose(fd);
}

BENCHMARK(BM_DoRequestBaseline)->UseRealTime();
BENCHMARK(BM_DoRequest)->UseRealTime();
BENCHMARK(BM_SendMsgHeldBaseline)->UseRealTime();
BENCHMARK(BM_SendMsgHeld)->UseRealTime();

}  // namespace

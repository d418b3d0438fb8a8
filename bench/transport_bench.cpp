// The transport against the same system calls made by hand: one whole
// transaction on a fresh socket, and one exchange on a held socket.
#include <benchmark/benchmark.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

#include "bench/bench_support.h"
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

// Hand-written: socket, autobind, two time-outs, connect, send, receive, close.
void BM_DoRequestBaseline(benchmark::State &state) {
    Responder responder(temor::bench::empty_reply);
    sockaddr_un daemon{};
    daemon.sun_family = AF_UNIX;
    std::snprintf(daemon.sun_path, sizeof daemon.sun_path, "%s", responder.path().c_str());
    uint8_t reply[TE_MOR_MSG_MAX];
    for (auto _ : state) {
        const int fd = socket(AF_UNIX, SOCK_DGRAM, 0);
        sa_family_t family = AF_UNIX;
        (void)bind(fd, reinterpret_cast<sockaddr *>(&family), sizeof family);
        const timeval tv{10, 0};
        setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &tv, sizeof tv);
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
        connect(fd, reinterpret_cast<sockaddr *>(&daemon), sizeof daemon);
        send(fd, kRequest, sizeof kRequest, 0);
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

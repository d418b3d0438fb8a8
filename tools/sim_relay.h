// te-simd --relay DIR: stands at the daemon's address in its own local-IPC
// directory and passes each request on to the daemon listening in DIR, and
// the daemon's reply back to the client that sent it, capturing both.
//
// Each client gets a socket of its own towards the daemon (an abstract name
// the kernel picks), so a reply goes back to the client whose request it
// answers. A client's socket is closed 30 s after its last datagram (three
// times what a client of the library waits for a reply); a later reply is
// lost. With more than kMaxClients clients the longest unused socket goes.
// When no daemon listens in DIR, requests go unanswered (the client times
// out as it would with a daemon that does not answer) and te-simd says so
// on standard error once, and once more when one answers again.
#pragma once

#include <csignal>
#include <functional>
#include <string>

#include "tools/sim_capture.h"

namespace sim {

struct Relay {
    static constexpr unsigned kMaxClients = 1024;
    static constexpr int kIdleSeconds = 30;

    std::string daemonPath;  // the daemon's socket in DIR
    // A line for the -v log.
    std::function<void(const std::string &)> log;
};

// The daemon's socket path in dir; what is wrong with dir (too long a path,
// te-simd's own directory), or "".
std::string relay_target(const std::string &dir, const char *ownDir, std::string &daemonPath);

// Forwards between the clients on fd and the daemon until stop is set (by a
// signal let through while waiting, as in serve).
void relay(int fd, const Relay &how, const sigset_t &waiting, const volatile std::sig_atomic_t &stop, Capture &capture);

}  // namespace sim

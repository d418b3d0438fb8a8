// The two threads' meeting point (Shared: the current snapshot, swapped
// under a mutex held only for the pointer, and the refresh status), and the
// net-snmp side of te-agentx (Agent: the main thread only).
#ifndef TEMOR_TOOLS_AGENTX_AGENT_H
#define TEMOR_TOOLS_AGENTX_AGENT_H

#include <atomic>
#include <chrono>
#include <memory>
#include <vector>
#include <mutex>
#include <string>

#include "tools/agentx/mib_model.h"
#include "tools/agentx/snapshot.h"

struct netsnmp_handler_registration_s;
typedef struct netsnmp_handler_registration_s netsnmp_handler_registration;

namespace agentx {

// An empty snapshot of the model's shape (before the first refresh).
Snapshot empty_snapshot(const Model &m);

class Shared {
public:
    explicit Shared(const Model &m) : current_(std::make_shared<const Snapshot>(empty_snapshot(m))) {}
    void swap(std::shared_ptr<const Snapshot> s) {
        {
            std::lock_guard lock(mutex_);
            current_.swap(s);
        }
        // the old snapshot is freed here, outside the lock
    }
    std::shared_ptr<const Snapshot> current() const {
        std::lock_guard lock(mutex_);
        return current_;
    }
    void note(const Refresh &r, uint32_t ms) {
        reachable_ = r.reachable;
        durationMs_ = ms;
        (r.ok ? refreshes_ : failed_)++;
    }
    Live live() const { return {reachable_, durationMs_, refreshes_, failed_}; }

private:
    mutable std::mutex mutex_;
    std::shared_ptr<const Snapshot> current_;
    std::atomic<bool> reachable_{false};
    std::atomic<uint32_t> durationMs_{0}, refreshes_{0}, failed_{0};
};

class Agent {
public:
    Agent(const Model &m, const Shared &s) : model_(m), shared_(s) {}
    // Starts net-snmp as a subagent of the master at address ("" for its
    // default) and registers every subtree; false when it cannot.
    bool start(const std::string &address, int readyFd);
    // Handles what arrives (or a timer) and reports connection changes.
    void poll();
    void stop();

    // For the handler.
    const Model &model() const { return model_; }
    const Shared &shared() const { return shared_; }
    std::atomic<int> connected{0};  // changes: +1 connected, -1 lost

private:
    bool register_all();
    void registered();
    void report();
    const Model &model_;
    const Shared &shared_;
    std::string address_;
    int readyFd_ = -1;
    bool up_ = false, saidWaiting_ = false, announced_ = false, retried_ = false;
    int refused_ = 0;
    std::chrono::steady_clock::time_point retryAt_ = std::chrono::steady_clock::time_point::max();
    std::vector<netsnmp_handler_registration *> registrations_;
};

}  // namespace agentx

#endif

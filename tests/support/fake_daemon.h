// Test support: a private platform state directory and local-IPC directory
// per test, and a fake TE daemon on a real Unix datagram socket that records
// every request and answers scripted replies.
#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace temor::test {

using Bytes = std::vector<uint8_t>;

struct Tlv {
    uint16_t tag;
    Bytes value;
    bool operator==(const Tlv &) const = default;
};

// Header plus items, encoded the way the platform codec does.
Bytes message(uint8_t msgClass, uint8_t op, uint32_t result, const std::vector<Tlv> &items);
// A reply of class 4 with the given result and items.
Bytes reply(uint32_t result, const std::vector<Tlv> &items = {});

Bytes be32(uint32_t v);
Bytes be16(uint16_t v);
Bytes cat(std::initializer_list<Bytes> parts);
Bytes pattern(size_t n, uint8_t start = 1);  // start, start+1, ... (mod 256)
// Leaves 0xEE in 64 KiB of stack below the caller, where the buffers of the
// next call will lie.
void dirty_stack();

// Private TE_LIPC_DIR and TE_PLATFORM_DIR for one test, removed afterwards.
class PlatformDirs {
public:
    PlatformDirs();
    ~PlatformDirs();
    const std::string &lipc() const { return lipc_; }
    const std::string &platform() const { return platform_; }

    // Files under the platform directory; write() creates directories.
    void write(const std::string &relative, const std::string &content) const;
    void remove(const std::string &relative) const;
    std::string read(const std::string &relative) const;
    bool exists(const std::string &relative) const;
    // The lines of calls.log so far; clear_calls() empties it.
    std::vector<std::string> calls() const;
    void clear_calls() const { remove("calls.log"); }
    // Status of service on node (services/NODE/NAME).
    void set_status(uint32_t node, const std::string &service, uint32_t status) const;
    // Master node 1 with "TE" running (status 1) or stopped (0), no standby.
    void set_te_enabled(bool enabled) const { set_status(1, "TE", enabled ? 1 : 0); }

private:
    std::string root_, lipc_, platform_;
};

// The TE daemon's side of local IPC, served by a thread.
class FakeDaemon {
public:
    using Responder = std::function<Bytes(const Bytes &request)>;
    explicit FakeDaemon(const std::string &lipcDir);
    ~FakeDaemon();

    // Scripts the answer to the next request without a scripted answer;
    // nullopt (stay_silent) leaves that request unanswered. Unscripted
    // requests get what the responder makes of them (result 0 by default).
    void answer(std::optional<Bytes> datagram);
    void answer_result(uint32_t result, const std::vector<Tlv> &items = {}) { answer(reply(result, items)); }
    void stay_silent() { answer(std::nullopt); }
    void respond_with(Responder responder);
    // Sends a datagram, unasked, to whoever sent the last request.
    void send_late(const Bytes &datagram);

    // Every request received so far, oldest first.
    std::vector<Bytes> requests() const;
    size_t request_count() const { return requests().size(); }

private:
    void serve();
    int fd_ = -1;
    std::string path_;
    std::atomic<bool> stopping_{false};
    mutable std::mutex mu_;
    std::deque<std::optional<Bytes>> script_;
    std::vector<Bytes> requests_;
    sockaddr_un peer_{};
    socklen_t peerLen_ = 0;
    Responder responder_ = [](const Bytes &) { return reply(0); };
    std::thread thread_;
};

// Number of open file descriptors of this process.
int open_fd_count();

// Fixture: private directories, MPLS-TE enabled, a fake daemon listening,
// and a check that no descriptor leaked during the test.
class DaemonTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    // Nobody listens from now on: opening a socket fails.
    void stop_daemon();
    PlatformDirs dirs;
    std::unique_ptr<FakeDaemon> daemon;
    int fdsBefore = 0;
};

// A DaemonTest that holds one socket from TE_MOR_LIPCOpen for the whole test.
class HeldSocketTest : public DaemonTest {
protected:
    void SetUp() override;
    void TearDown() override;
    int sock = -1;
};

}  // namespace temor::test

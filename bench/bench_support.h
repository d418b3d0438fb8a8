// Benchmark support: a responder on a real local-IPC socket in a private
// $TE_LIPC_DIR, served by a thread, answering each request with whatever a
// callback builds from it.
#pragma once

#include <poll.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <thread>

namespace temor::bench {

class Responder {
public:
    // Builds the reply to one request into reply (room 65536 bytes) and
    // returns its length; 0 sends nothing.
    using Build = std::function<size_t(const uint8_t *request, size_t length, uint8_t *reply)>;

    explicit Responder(Build build) : build_(std::move(build)) {
        char dir[] = "/tmp/temor-bench-XXXXXX";
        if (mkdtemp(dir) == nullptr) std::abort();
        dir_ = dir;
        setenv("TE_LIPC_DIR", dir_.c_str(), 1);
        path_ = dir_ + "/lipc-0a7280";
        fd_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_un addr{};
        addr.sun_family = AF_UNIX;
        std::snprintf(addr.sun_path, sizeof addr.sun_path, "%s", path_.c_str());
        if (fd_ < 0 || bind(fd_, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0 ||
            pipe(wake_) != 0)
            std::abort();
        thread_ = std::thread([this] { serve(); });
    }
    ~Responder() {
        (void)!write(wake_[1], "x", 1);
        thread_.join();
        close(fd_);
        close(wake_[0]);
        close(wake_[1]);
        unlink(path_.c_str());
        rmdir(dir_.c_str());
    }
    Responder(const Responder &) = delete;
    Responder &operator=(const Responder &) = delete;

    // The daemon's socket file, for hand-written clients.
    const std::string &path() const { return path_; }

private:
    void serve() {
        static thread_local uint8_t in[65536], out[65536];
        for (;;) {
            pollfd p[2] = {{fd_, POLLIN, 0}, {wake_[0], POLLIN, 0}};
            if (poll(p, 2, -1) < 0) continue;
            if (p[1].revents) return;
            sockaddr_un from{};
            socklen_t fromLen = sizeof from;
            const ssize_t n =
                recvfrom(fd_, in, sizeof in, 0, reinterpret_cast<sockaddr *>(&from), &fromLen);
            if (n < 0) continue;
            const size_t m = build_(in, size_t(n), out);
            if (m != 0)
                (void)sendto(fd_, out, m, 0, reinterpret_cast<sockaddr *>(&from), fromLen);
        }
    }

    Build build_;
    std::string dir_, path_;
    int fd_ = -1;
    int wake_[2] = {-1, -1};
    std::thread thread_;
};

// A reply with result 0 and no items, whatever the request.
inline size_t empty_reply(const uint8_t *, size_t, uint8_t *reply) {
    const uint8_t r[8] = {4, 0, 0, 0, 0, 0, 0, 0};
    std::memcpy(reply, r, sizeof r);
    return sizeof r;
}

}  // namespace temor::bench

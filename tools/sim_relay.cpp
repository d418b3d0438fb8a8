// te-simd --relay: see sim_relay.h.
#include "tools/sim_relay.h"

#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <map>
#include <string_view>
#include <vector>

#include "platform/host/lipc_host.h"

namespace sim {

namespace {

time_t now_s() {
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    return t.tv_sec;
}

// One client as the relay knows it: its address, and the socket its
// requests go to the daemon from (and the daemon's replies come back to).
struct Client {
    int sock = -1;
    sockaddr_un addr{};
    socklen_t len = 0;
    std::string peer;  // its name as the capture writes it
    time_t last = 0;   // its last datagram either way
};

// Whether the daemon can be reached, said on standard error when that
// changes (not once per request).
class DaemonState {
public:
    explicit DaemonState(const std::string &path) : path_(path) {}
    void sent() {
        if (failing_ != 0)
            std::fprintf(stderr, "te-simd: the daemon at %s takes requests again\n", path_.c_str());
        failing_ = 0;
    }
    void failed(int err) {
        if (err == failing_) return;
        failing_ = err;
        if (err == ENOENT || err == ECONNREFUSED)
            std::fprintf(stderr, "te-simd: no daemon listens on %s (%s): requests go unanswered until one does\n",
                         path_.c_str(), std::strerror(err));
        else
            std::fprintf(stderr, "te-simd: cannot pass requests to %s: %s\n", path_.c_str(), std::strerror(err));
    }

private:
    std::string path_;
    int failing_ = 0;  // the errno of the last failed send, 0 after one that worked
};

class Relayer {
public:
    Relayer(int fd, const Relay &how, Capture &capture) : fd_(fd), how_(how), capture_(capture), daemon_(how.daemonPath) {
        to_.sun_family = AF_UNIX;
        std::memcpy(to_.sun_path, how.daemonPath.c_str(), how.daemonPath.size() + 1);  // relay_target checked the size
        const int probe = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        if (connect(probe, reinterpret_cast<sockaddr *>(&to_), sizeof to_) != 0) daemon_.failed(errno);
        close(probe);
    }
    ~Relayer() {
        for (auto &[key, c] : clients_) close(c.sock);
    }

    void run(const sigset_t &waiting, const volatile std::sig_atomic_t &stop) {
        while (!stop) {
            capture_.flush_if_due();
            expire();
            std::vector<pollfd> fds{{fd_, POLLIN, 0}};
            std::vector<std::string> keys;
            for (const auto &[key, c] : clients_) {
                fds.push_back({c.sock, POLLIN, 0});
                keys.push_back(key);
            }
            // Wake for the capture's flush, and each second while clients
            // are held, to let idle ones go.
            int wait = capture_.flush_due_ms();
            if (!clients_.empty() && (wait < 0 || wait > 1000)) wait = 1000;
            const timespec timeout{wait / 1000, (wait % 1000) * 1000000L};
            if (ppoll(fds.data(), fds.size(), wait < 0 ? nullptr : &timeout, &waiting) <= 0) continue;
            if (fds[0].revents != 0 && !from_client()) return;
            for (size_t i = 1; i < fds.size(); ++i)
                if (fds[i].revents != 0) from_daemon(keys[i - 1]);
        }
    }

private:
    // A request: forwarded from the client's own socket. False when
    // receiving failed for good.
    bool from_client() {
        sockaddr_un from{};
        socklen_t fromLen = sizeof from;
        const ssize_t n = recvfrom(fd_, buf_.data(), buf_.size(), MSG_DONTWAIT | MSG_TRUNC,
                                   reinterpret_cast<sockaddr *>(&from), &fromLen);
        if (n < 0) {
            if (errno == EINTR || errno == EAGAIN) return true;
            std::fprintf(stderr, "te-simd: receive failed: %s\n", std::strerror(errno));
            return false;
        }
        const std::string peer = peer_name(from, fromLen);
        capture_.record(Capture::Direction::Inbound, peer, buf_.data(), std::min(buf_.size(), size_t(n)), size_t(n));
        if (size_t(n) > buf_.size()) {
            log("request of " + std::to_string(n) + " bytes from " + peer + " dropped: longer than any request");
            return true;
        }
        Client *c = client(from, fromLen, peer);
        if (c == nullptr) return true;
        c->last = now_s();
        if (sendto(c->sock, buf_.data(), static_cast<size_t>(n), MSG_DONTWAIT, reinterpret_cast<sockaddr *>(&to_),
                   sizeof to_) >= 0) {
            daemon_.sent();
            log("request of " + std::to_string(n) + " bytes from " + peer + " passed on");
        } else if (errno == EAGAIN || errno == ENOBUFS) {
            log("request from " + peer + " dropped: the daemon's queue is full");
        } else {
            daemon_.failed(errno);
        }
        return true;
    }

    // What came on a client's socket: a reply from the daemon goes back to
    // the client; anything from elsewhere is dropped.
    void from_daemon(const std::string &key) {
        // A request read just before may have made room for its client by
        // letting this one go.
        const auto it = clients_.find(key);
        if (it == clients_.end()) return;
        Client &c = it->second;
        for (;;) {
            sockaddr_un from{};
            socklen_t fromLen = sizeof from;
            const ssize_t n = recvfrom(c.sock, buf_.data(), buf_.size(), MSG_DONTWAIT | MSG_TRUNC,
                                       reinterpret_cast<sockaddr *>(&from), &fromLen);
            if (n < 0) return;  // nothing more (or an error the next datagram repeats)
            if (!from_daemon_path(from, fromLen)) {
                log("datagram from " + peer_name(from, fromLen) + " to the socket of " + c.peer +
                    " dropped: not the daemon");
                continue;
            }
            c.last = now_s();
            if (size_t(n) > buf_.size()) {
                capture_.record(Capture::Direction::Outbound, c.peer, buf_.data(), buf_.size(), size_t(n));
                log("reply of " + std::to_string(n) + " bytes to " + c.peer + " dropped: longer than any reply");
            } else if (c.len <= sizeof(sa_family_t)) {
                log("reply dropped: its client has no name to send it to");
            } else if (sendto(fd_, buf_.data(), static_cast<size_t>(n), MSG_DONTWAIT, reinterpret_cast<sockaddr *>(&c.addr),
                              c.len) >= 0) {
                capture_.record(Capture::Direction::Outbound, c.peer, buf_.data(), static_cast<size_t>(n));
                log("reply of " + std::to_string(n) + " bytes to " + c.peer);
            } else {
                log("reply to " + c.peer + " dropped: " + std::strerror(errno));
            }
        }
    }

    // Whether a datagram came from the daemon's socket (its path as bound,
    // not as the capture writes it).
    bool from_daemon_path(const sockaddr_un &from, socklen_t len) const {
        const size_t offset = offsetof(sockaddr_un, sun_path);
        if (len <= offset) return false;
        const size_t n = std::min<size_t>(len - offset, sizeof from.sun_path);
        return std::string_view(from.sun_path, strnlen(from.sun_path, n)) == how_.daemonPath;
    }

    // The client's entry, made (with its socket) when it is new; null when
    // no socket could be made.
    Client *client(const sockaddr_un &from, socklen_t len, const std::string &peer) {
        const std::string key(reinterpret_cast<const char *>(&from), len);
        if (auto it = clients_.find(key); it != clients_.end()) return &it->second;
        if (clients_.size() >= Relay::kMaxClients) {
            auto oldest = clients_.begin();
            for (auto it = clients_.begin(); it != clients_.end(); ++it)
                if (it->second.last < oldest->second.last) oldest = it;
            close(oldest->second.sock);
            clients_.erase(oldest);
        }
        Client c;
        c.sock = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_un self{};
        self.sun_family = AF_UNIX;
        // Autobind: an abstract name the kernel picks, for the daemon to answer to.
        if (c.sock < 0 || bind(c.sock, reinterpret_cast<sockaddr *>(&self), sizeof(sa_family_t)) != 0) {
            std::fprintf(stderr, "te-simd: no socket for the client %s: %s\n", peer.c_str(), std::strerror(errno));
            if (c.sock >= 0) close(c.sock);
            return nullptr;
        }
        c.addr = from;
        c.len = len;
        c.peer = peer;
        return &clients_.emplace(key, c).first->second;
    }

    void expire() {
        const time_t now = now_s();
        for (auto it = clients_.begin(); it != clients_.end();) {
            if (now - it->second.last < Relay::kIdleSeconds) {
                ++it;
                continue;
            }
            close(it->second.sock);
            it = clients_.erase(it);
        }
    }

    void log(const std::string &line) {
        if (how_.log) how_.log(line);
    }

    int fd_;
    const Relay &how_;
    Capture &capture_;
    DaemonState daemon_;
    sockaddr_un to_{};
    std::map<std::string, Client> clients_;  // by the client's address bytes
    std::vector<uint8_t> buf_ = std::vector<uint8_t>(kReceiveBuffer);
};

}  // namespace

std::string relay_target(const std::string &dir, const char *ownDir, std::string &daemonPath) {
    daemonPath = dir + "/" LIPC_TE_SOCKET_NAME;
    if (daemonPath.size() >= sizeof(sockaddr_un::sun_path)) return "--relay " + dir + ": the socket path is too long";
    struct stat there{}, own{};
    if (dir == ownDir) return "--relay " + dir + " is te-simd's own $TE_LIPC_DIR: it would pass requests to itself";
    if (stat(dir.c_str(), &there) == 0 && stat(ownDir, &own) == 0 && there.st_dev == own.st_dev &&
        there.st_ino == own.st_ino)
        return "--relay " + dir + " is te-simd's own $TE_LIPC_DIR: it would pass requests to itself";
    return {};
}

void relay(int fd, const Relay &how, const sigset_t &waiting, const volatile std::sig_atomic_t &stop, Capture &capture) {
    // A socket per client: the usual limit of 1024 open files would run out
    // before kMaxClients.
    rlimit files{};
    if (getrlimit(RLIMIT_NOFILE, &files) == 0 && files.rlim_cur < Relay::kMaxClients + 64) {
        files.rlim_cur = std::min<rlim_t>(files.rlim_max, Relay::kMaxClients + 64);
        (void)setrlimit(RLIMIT_NOFILE, &files);
    }
    Relayer(fd, how, capture).run(waiting, stop);
}

}  // namespace sim

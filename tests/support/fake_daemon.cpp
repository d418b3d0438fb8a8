#include "support/fake_daemon.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

namespace temor::test {

Bytes be32(uint32_t v) {
    return {uint8_t(v >> 24), uint8_t(v >> 16), uint8_t(v >> 8), uint8_t(v)};
}
Bytes be16(uint16_t v) { return {uint8_t(v >> 8), uint8_t(v)}; }

Bytes cat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes &p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

Bytes pattern(size_t n, uint8_t start) {
    Bytes out(n);
    for (size_t i = 0; i < n; ++i) out[i] = uint8_t(start + i);
    return out;
}

Bytes message(uint8_t msgClass, uint8_t op, uint32_t result, const std::vector<Tlv> &items) {
    Bytes payload;
    for (const Tlv &t : items)
        payload = cat({payload, be16(t.tag), be16(uint16_t(t.value.size())), t.value});
    return cat({{msgClass, op}, be16(uint16_t(payload.size())), be32(result), payload});
}

Bytes reply(uint32_t result, const std::vector<Tlv> &items) { return message(4, 0, result, items); }

Message parse(const Bytes &d) {
    Message m;
    if (d.size() < 8) return m;
    m.msgClass = d[0];
    m.op = d[1];
    m.payloadLength = uint16_t(d[2] << 8 | d[3]);
    m.result = uint32_t(d[4]) << 24 | uint32_t(d[5]) << 16 | uint32_t(d[6]) << 8 | d[7];
    size_t pos = 8;
    while (pos + 4 <= d.size()) {
        const uint16_t tag = uint16_t(d[pos] << 8 | d[pos + 1]);
        const uint16_t len = uint16_t(d[pos + 2] << 8 | d[pos + 3]);
        if (pos + 4 + len > d.size()) return m;
        m.items.push_back({tag, Bytes(d.begin() + long(pos) + 4, d.begin() + long(pos + 4 + len))});
        pos += 4 + len;
    }
    m.wellFormed = pos == d.size() && m.payloadLength == d.size() - 8;
    return m;
}

// ---- PlatformDirs -----------------------------------------------------------

PlatformDirs::PlatformDirs() {
    char tmpl[] = "/tmp/temor-test-XXXXXX";
    root_ = mkdtemp(tmpl);
    lipc_ = root_ + "/lipc";
    platform_ = root_ + "/platform";
    fs::create_directories(lipc_);
    fs::create_directories(platform_);
    setenv("TE_LIPC_DIR", lipc_.c_str(), 1);
    setenv("TE_PLATFORM_DIR", platform_.c_str(), 1);
    unsetenv("TE_SYSROOT");
}

PlatformDirs::~PlatformDirs() {
    std::error_code ec;
    fs::remove_all(root_, ec);
}

void PlatformDirs::write(const std::string &relative, const std::string &content) const {
    const fs::path p = fs::path(platform_) / relative;
    fs::create_directories(p.parent_path());
    std::ofstream(p) << content;
}

void PlatformDirs::remove(const std::string &relative) const {
    std::error_code ec;
    fs::remove(fs::path(platform_) / relative, ec);
}

std::string PlatformDirs::read(const std::string &relative) const {
    std::ifstream in(fs::path(platform_) / relative);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

bool PlatformDirs::exists(const std::string &relative) const {
    return fs::exists(fs::path(platform_) / relative);
}

std::vector<std::string> PlatformDirs::calls() const {
    std::vector<std::string> lines;
    std::istringstream in(read("calls.log"));
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

void PlatformDirs::clear_calls() const { remove("calls.log"); }

void PlatformDirs::set_status(uint32_t node, const std::string &service, uint32_t status) const {
    write("services/" + std::to_string(node) + "/" + service, std::to_string(status) + "\n");
}

void PlatformDirs::set_te_enabled(bool enabled) const { set_status(1, "TE", enabled ? 1 : 0); }

// ---- FakeDaemon ---------------------------------------------------------------

FakeDaemon::FakeDaemon(const std::string &lipcDir) {
    path_ = lipcDir + "/lipc-0a7280";
    fd_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::strncpy(addr.sun_path, path_.c_str(), sizeof addr.sun_path - 1);
    unlink(path_.c_str());
    if (bind(fd_, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0) {
        ADD_FAILURE() << "fake daemon cannot bind " << path_ << ": " << strerror(errno);
    }
    if (pipe2(wake_, O_CLOEXEC) != 0) ADD_FAILURE() << "pipe: " << strerror(errno);
    thread_ = std::thread([this] { serve(); });
}

FakeDaemon::~FakeDaemon() {
    const char c = 'q';
    (void)!::write(wake_[1], &c, 1);
    thread_.join();
    close(fd_);
    close(wake_[0]);
    close(wake_[1]);
    unlink(path_.c_str());
}

void FakeDaemon::answer(Bytes datagram) {
    std::lock_guard<std::mutex> lock(mu_);
    script_.emplace_back(false, std::move(datagram));
}

void FakeDaemon::answer_result(uint32_t result, const std::vector<Tlv> &items) {
    answer(reply(result, items));
}

void FakeDaemon::stay_silent() {
    std::lock_guard<std::mutex> lock(mu_);
    script_.emplace_back(true, Bytes{});
}

void FakeDaemon::respond_with(std::function<Bytes(const Bytes &)> responder) {
    std::lock_guard<std::mutex> lock(mu_);
    responder_ = std::move(responder);
}

std::vector<Bytes> FakeDaemon::requests() const {
    std::lock_guard<std::mutex> lock(mu_);
    return requests_;
}

size_t FakeDaemon::request_count() const {
    std::lock_guard<std::mutex> lock(mu_);
    return requests_.size();
}

Message FakeDaemon::last() const {
    std::lock_guard<std::mutex> lock(mu_);
    if (requests_.empty()) {
        ADD_FAILURE() << "the daemon received no request";
        return {};
    }
    return parse(requests_.back());
}

void FakeDaemon::serve() {
    for (;;) {
        pollfd p[2] = {{fd_, POLLIN, 0}, {wake_[0], POLLIN, 0}};
        if (poll(p, 2, -1) < 0) {
            if (errno == EINTR) continue;
            return;
        }
        if (p[1].revents) return;
        uint8_t buf[65536];
        sockaddr_un from{};
        socklen_t fromLen = sizeof from;
        const ssize_t n = recvfrom(fd_, buf, sizeof buf, 0, reinterpret_cast<sockaddr *>(&from), &fromLen);
        if (n < 0) continue;
        std::pair<bool, Bytes> next{false, {}};
        std::function<Bytes(const Bytes &)> responder;
        bool scripted = false;
        {
            std::lock_guard<std::mutex> lock(mu_);
            requests_.emplace_back(buf, buf + n);
            if (!script_.empty()) {
                next = std::move(script_.front());
                script_.pop_front();
                scripted = true;
            } else {
                responder = responder_;
            }
        }
        if (!scripted)
            next.second = responder ? responder(Bytes(buf, buf + n)) : reply(0);
        if (!next.first)
            (void)sendto(fd_, next.second.data(), next.second.size(), 0,
                         reinterpret_cast<sockaddr *>(&from), fromLen);
    }
}

int open_fd_count() {
    int n = 0;
    if (DIR *d = opendir("/proc/self/fd")) {
        while (readdir(d) != nullptr) ++n;
        closedir(d);
        n -= 3;  // ".", ".." and the directory's own descriptor
    }
    return n;
}

void DaemonTest::SetUp() {
    dirs.set_te_enabled(true);
    daemon = std::make_unique<FakeDaemon>(dirs.lipc());
    dirs.clear_calls();
    fdsBefore = open_fd_count();
}

void DaemonTest::TearDown() {
    EXPECT_EQ(open_fd_count(), fdsBefore) << "a descriptor leaked";
    daemon.reset();
}

}  // namespace temor::test

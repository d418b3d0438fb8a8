#include "support/fake_daemon.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "include/te_mor.h"

namespace fs = std::filesystem;

namespace temor::test {

Bytes be32(uint32_t v) { return cat({be16(uint16_t(v >> 16)), be16(uint16_t(v))}); }
Bytes be16(uint16_t v) { return {uint8_t(v >> 8), uint8_t(v)}; }

Bytes cat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes &p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

[[gnu::noinline]] void dirty_stack() {
    volatile uint8_t junk[65536];
    for (auto &b : junk) b = 0xEE;
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
    std::stringstream ss;
    ss << std::ifstream(fs::path(platform_) / relative).rdbuf();
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

void PlatformDirs::set_status(uint32_t node, const std::string &service, uint32_t status) const {
    write("services/" + std::to_string(node) + "/" + service, std::to_string(status) + "\n");
}

// ---- FakeDaemon ---------------------------------------------------------------

FakeDaemon::FakeDaemon(const std::string &lipcDir) : path_(lipcDir + "/lipc-0a7280") {
    fd_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::strncpy(addr.sun_path, path_.c_str(), sizeof addr.sun_path - 1);
    unlink(path_.c_str());
    if (bind(fd_, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0)
        ADD_FAILURE() << "fake daemon cannot bind " << path_ << ": " << strerror(errno);
    thread_ = std::thread([this] { serve(); });
}

FakeDaemon::~FakeDaemon() {
    stopping_ = true;
    shutdown(fd_, SHUT_RDWR);  // wakes the serving thread's receive
    thread_.join();
    close(fd_);
    unlink(path_.c_str());
}

void FakeDaemon::answer(std::optional<Bytes> datagram) {
    std::lock_guard<std::mutex> lock(mu_);
    script_.push_back(std::move(datagram));
}

void FakeDaemon::respond_with(Responder responder) {
    std::lock_guard<std::mutex> lock(mu_);
    responder_ = std::move(responder);
}

void FakeDaemon::send_late(const Bytes &datagram) {
    std::lock_guard<std::mutex> lock(mu_);
    (void)sendto(fd_, datagram.data(), datagram.size(), 0, reinterpret_cast<sockaddr *>(&peer_), peerLen_);
}

std::vector<Bytes> FakeDaemon::requests() const {
    std::lock_guard<std::mutex> lock(mu_);
    return requests_;
}

void FakeDaemon::serve() {
    while (!stopping_) {
        uint8_t buf[65536];
        sockaddr_un from{};
        socklen_t fromLen = sizeof from;
        const ssize_t n = recvfrom(fd_, buf, sizeof buf, 0, reinterpret_cast<sockaddr *>(&from), &fromLen);
        if (n <= 0) continue;
        const Bytes request(buf, buf + n);
        std::optional<Bytes> out;
        Responder responder;
        {
            std::lock_guard<std::mutex> lock(mu_);
            requests_.push_back(request);
            peer_ = from, peerLen_ = fromLen;
            if (script_.empty()) {
                responder = responder_;
            } else {
                out = std::move(script_.front());
                script_.pop_front();
            }
        }
        if (responder) out = responder(request);
        if (out) (void)sendto(fd_, out->data(), out->size(), 0, reinterpret_cast<sockaddr *>(&from), fromLen);
    }
}

int open_fd_count() {
    const auto entries = fs::directory_iterator("/proc/self/fd");
    return int(std::distance(fs::begin(entries), fs::end(entries))) - 1;  // less the iterator's own
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

void DaemonTest::stop_daemon() {
    const int open = open_fd_count();
    daemon.reset();
    fdsBefore -= open - open_fd_count();  // the daemon's own descriptors are gone
}

void HeldSocketTest::SetUp() {
    DaemonTest::SetUp();
    sock = TE_MOR_LIPCOpen();
    ASSERT_GE(sock, 0);
}

void HeldSocketTest::TearDown() {
    if (sock >= 0) TE_MOR_LIPCClose(sock);
    DaemonTest::TearDown();
}

}  // namespace temor::test

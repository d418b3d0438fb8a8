// te-simd: a stand-in for the TE daemon on a host. Listens on the daemon's
// local-IPC address, answers one reply per request from its model, and can
// be told to misbehave for front-end testing. See docs/tools.md.
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "platform/host/lipc_host.h"
#include "tools/field_kinds.h"
#include "tools/sim_model.h"

namespace {

volatile std::sig_atomic_t g_stop = 0;  // set by SIGINT/SIGTERM
void on_signal(int) { g_stop = 1; }

enum class Action { Refuse, Silent, Truncate, Oversize };

struct Fault {
    int cls = -1;  // -1: any class
    int tag = -1;  // -1: any tag
    Action action = Action::Refuse;
    uint32_t code = 0;

    bool matches(const sim::Request &r) const {
        if (cls >= 0 && cls != r.cls) return false;
        if (tag < 0) return true;
        for (const sim::Item &it : r.items)
            if (it.tag == tag) return true;
        return false;
    }
};

std::string usage() {
    return "usage: te-simd [-v] [--group] [--ready-fd N] [--max-rows N] [--tables FILE] [--state FILE] [--fault CLASS:TAG=ACTION]...\n"
           "  Simulates the TE daemon on $TE_LIPC_DIR/lipc-0a7280 (default /run/te).\n"
           "  -v, --verbose     log every request and reply on standard error, with\n"
           "                    timestamps, at most 50 lines a second\n"
           "  --ready-fd N      once listening, write the socket path and a newline to\n"
           "                    descriptor N and close it (for scripts: no sleeping)\n"
           "  --group           let the socket's group use it too (socket 0660, directory\n"
           "                    0750); by default only its owner (0600, 0700)\n"
           "  --max-rows N      hold at most N rows of each record kind (default 1000000);\n"
           "                    a file with more is refused, a request that would add\n"
           "                    more is answered SIM_FULL\n"
           "  --tables FILE     load table rows (below)\n"
           "  --state FILE      rewrite FILE with the configuration after each request\n"
           "  --fault CLASS:TAG=ACTION\n"
           "                    misbehave for requests of CLASS holding an item TAG\n"
           "                    (either may be '*'); ACTION is a result code to refuse\n"
           "                    with (e.g. 0x40010001), 'silent' (no reply), 'truncate'\n"
           "                    (reply shorter than its header announces) or 'oversize'\n"
           "                    (a 4096-byte reply)\n"
           "  --version         print the version\n"
           "  -h, --help        this text\n"
           "Table file: one row per line, '#' starts a comment. Numbers are decimal or\n"
           "0x hex; \"quoted\" fields take a double-quoted string, byte runs also 0x hex\n"
           "bytes; unset fields are 0.\n" +
           sim::table_rows_help();
}

bool parse_number(const std::string &s, long &out) {
    if (s.empty()) return false;
    char *end = nullptr;
    errno = 0;
    out = std::strtol(s.c_str(), &end, 0);
    return errno == 0 && *end == '\0' && out >= 0;
}

bool parse_fault(const std::string &text, Fault &f) {
    const size_t colon = text.find(':');
    const size_t eq = text.find('=');
    if (colon == std::string::npos || eq == std::string::npos || eq < colon) return false;
    const std::string cls = text.substr(0, colon), tag = text.substr(colon + 1, eq - colon - 1),
                      action = text.substr(eq + 1);
    long v = 0;
    if (cls != "*") {
        if (!parse_number(cls, v) || v > 255) return false;
        f.cls = static_cast<int>(v);
    }
    if (tag != "*") {
        if (!parse_number(tag, v) || v > 65535) return false;
        f.tag = static_cast<int>(v);
    }
    if (action == "silent") {
        f.action = Action::Silent;
    } else if (action == "truncate") {
        f.action = Action::Truncate;
    } else if (action == "oversize") {
        f.action = Action::Oversize;
    } else {
        char *end = nullptr;
        errno = 0;
        const unsigned long code = std::strtoul(action.c_str(), &end, 0);
        if (action.empty() || *end != '\0' || errno != 0 || code > 0xffffffffUL) return false;
        f.action = Action::Refuse;
        f.code = static_cast<uint32_t>(code);
    }
    return true;
}

std::string describe(const sim::Request &r) {
    std::string s = "class " + std::to_string(r.cls) + " op " + std::to_string(r.op);
    for (const sim::Item &it : r.items) {
        s += " [tag " + std::to_string(it.tag) + " len " + std::to_string(it.value.size());
        char hex[4];
        for (size_t i = 0; i < it.value.size() && i < 16; ++i) {
            std::snprintf(hex, sizeof hex, " %02x", it.value[i]);
            s += hex;
        }
        if (it.value.size() > 16) s += " ...";
        s += "]";
    }
    return s;
}

std::string hex(const sim::Bytes &b) {
    std::string s;
    char h[3];
    for (uint8_t v : b) {
        std::snprintf(h, sizeof h, "%02x", v);
        s += h;
    }
    return s.empty() ? "-" : s;
}

// One line per setting: "class C key HEX tag T value HEX (FAMILY NAME)" ("-"
// for no bytes), in key order; written to a temporary file and renamed into
// place. Returns what went wrong, if anything.
std::string write_state(const std::string &path, const sim::Model &model) {
    const std::string tmp = path + ".tmp";
    FILE *f = std::fopen(tmp.c_str(), "w");
    if (f == nullptr) return std::strerror(errno);
    for (const auto &[key, value] : model.settings())
        std::fprintf(f, "class %u key %s tag %u value %s (%s)\n", std::get<0>(key), hex(std::get<1>(key)).c_str(),
                     std::get<2>(key), hex(value).c_str(),
                     sim::Model::setter_name(std::get<0>(key), std::get<2>(key)).c_str());
    if (std::fclose(f) != 0 || std::rename(tmp.c_str(), path.c_str()) != 0) {
        const std::string why = std::strerror(errno);
        std::remove(tmp.c_str());
        return why;
    }
    return {};
}

// Makes sure the socket directory exists and only its owner (and, with
// --group, its group) can enter it. A directory of ours with looser
// permissions is tightened with a warning; one of another user's is refused.
bool secure_dir(const char *dir, bool group) {
    const mode_t want = group ? 0750 : 0700;
    if (mkdir(dir, want) != 0 && errno != EEXIST) {
        std::fprintf(stderr, "te-simd: cannot create %s: %s\n", dir, std::strerror(errno));
        return false;
    }
    struct stat st{};
    if (stat(dir, &st) != 0 || !S_ISDIR(st.st_mode)) {
        std::fprintf(stderr, "te-simd: %s is not a directory\n", dir);
        return false;
    }
    const mode_t loose = st.st_mode & 07777 & ~want;
    if (loose == 0) return true;
    if (st.st_uid != geteuid()) {
        std::fprintf(stderr, "te-simd: %s belongs to another user and is open to others (mode %04o); refusing it\n",
                     dir, static_cast<unsigned>(st.st_mode & 07777));
        return false;
    }
    if (chmod(dir, (st.st_mode & 07777) & want) != 0) {
        std::fprintf(stderr, "te-simd: cannot restrict %s: %s\n", dir, std::strerror(errno));
        return false;
    }
    std::fprintf(stderr, "te-simd: warning: %s was open to others (mode %04o); now %04o\n", dir,
                 static_cast<unsigned>(st.st_mode & 07777), static_cast<unsigned>((st.st_mode & 07777) & want));
    return true;
}

// Binds the daemon's address; refuses when another process answers there,
// and never removes anything but a socket that does not answer.
int bind_address(std::string &path, bool group) {
    const char *dir = LIPC_HostDir();
    if (!secure_dir(dir, group)) return -1;
    const uint8_t address[16] = LIPC_TE_ADDRESS_INIT;
    char buf[sizeof(sockaddr_un::sun_path)];
    if (LIPC_HostPath(address, buf, sizeof buf) != 0) {
        std::fprintf(stderr, "te-simd: socket path under %s is too long\n", dir);
        return -1;
    }
    path = buf;
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::memcpy(addr.sun_path, buf, std::strlen(buf) + 1);  // LIPC_HostPath checked the size
    struct stat st{};
    if (lstat(buf, &st) == 0) {
        if (!S_ISSOCK(st.st_mode)) {
            std::fprintf(stderr, "te-simd: %s exists and is not a socket; not removing it\n", buf);
            return -1;
        }
        const int probe = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        const bool alive = connect(probe, reinterpret_cast<sockaddr *>(&addr), sizeof addr) == 0;
        close(probe);
        if (alive) {
            std::fprintf(stderr, "te-simd: another daemon is already listening on %s\n", buf);
            return -1;
        }
        unlink(buf);  // a socket left behind by a process that is gone
    }
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return -1;
    // Replies queued at a client count against this socket's send buffer
    // until the client reads them; a client connected to us is not bounded
    // by its own queue, so a large buffer keeps one hoarder from using it
    // up soon. (Past it, replies are dropped and counted until it reads.)
    const int sendBuffer = 4 << 20;
    if (setsockopt(fd, SOL_SOCKET, SO_SNDBUFFORCE, &sendBuffer, sizeof sendBuffer) != 0)
        (void)setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &sendBuffer, sizeof sendBuffer);
    // The socket file is created with the umask's mode, then given its own.
    if (bind(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0 ||
        chmod(buf, group ? 0660 : 0600) != 0) {
        std::fprintf(stderr, "te-simd: cannot bind %s: %s\n", buf, std::strerror(errno));
        close(fd);
        return -1;
    }
    return fd;
}

// At most kLogPerSecond log lines a second under -v; what is held back is
// counted and reported with the next line that goes out.
class Log {
public:
    static constexpr int kLogPerSecond = 50;
    explicit Log(bool on) : on_(on) {}
    template <class... A>
    void line(const char *format, A... args) {
        if (!on_) return;
        const time_t now = time(nullptr);
        if (now != second_) second_ = now, used_ = 0;
        if (used_++ >= kLogPerSecond) {
            ++suppressed_;
            return;
        }
        write(now, format, args...);
    }
    // The last line, whatever the rate: with the count held back before it.
    void last(const char *text) {
        if (on_) write(time(nullptr), "%s", text);
    }

private:
    template <class... A>
    void write(time_t now, const char *format, A... args) {
        char stamp[32];
        tm local{};
        strftime(stamp, sizeof stamp, "%Y-%m-%dT%H:%M:%S", localtime_r(&now, &local));
        if (suppressed_ != 0) {
            std::fprintf(stderr, "%s te-simd: %lu log lines suppressed\n", stamp, suppressed_);
            suppressed_ = 0;
        }
        std::fprintf(stderr, "%s te-simd: ", stamp);
        std::fprintf(stderr, format, args...);
        std::fputc('\n', stderr);
    }

    bool on_;
    time_t second_ = 0;
    int used_ = 0;
    unsigned long suppressed_ = 0;
};

// What the command line asks for.
struct Options {
    bool verbose = false, group = false;
    int readyFd = -1;
    std::string statePath;
    std::vector<Fault> faults;
};

constexpr int kServe = -1;  // parse_command_line: go on and serve

// A descriptor a script passed for --ready-fd: a number from 3 up that is open.
bool parse_ready_fd(const std::string &v, int &fd) {
    char *end = nullptr;
    const long n = std::strtol(v.c_str(), &end, 10);
    if (v.empty() || *end != '\0' || !std::isdigit(static_cast<unsigned char>(v[0])) || n < 3 || n > 1023 ||
        fcntl(static_cast<int>(n), F_GETFD) < 0)
        return false;
    fd = static_cast<int>(n);
    return true;
}

// Reads the command line into opts, and the rows of --tables files into
// model, in the order given. Returns kServe, or the exit status when there
// is nothing more to do (help, version, a bad argument).
int parse_command_line(int argc, char **argv, Options &opts, sim::Model &model) {
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        const bool takesValue = a == "--tables" || a == "--state" || a == "--fault" || a == "--ready-fd" ||
                                a == "--max-rows";
        if (a == "-h" || a == "--help") {
            std::fputs(usage().c_str(), stdout);
            return 0;
        } else if (a == "--version") {
            std::puts("te-simd " TEMOR_VERSION);
            return 0;
        } else if (a == "-v" || a == "--verbose") {
            opts.verbose = true;
        } else if (a == "--group") {
            opts.group = true;
        } else if (takesValue && i + 1 == argc) {
            std::fprintf(stderr, "te-simd: option %s needs a value\n%s", a.c_str(), usage().c_str());
            return 2;
        } else if (a == "--ready-fd") {
            const std::string v = argv[++i];
            if (!parse_ready_fd(v, opts.readyFd)) {
                std::fprintf(stderr, "te-simd: --ready-fd needs an open descriptor number from 3 up, got '%s'\n",
                             v.c_str());
                return 2;
            }
        } else if (a == "--max-rows") {
            const std::string v = argv[++i];
            const auto n = fields::number(v);
            if (!n || *n == 0 || *n > UINT32_MAX) {
                std::fprintf(stderr, "te-simd: --max-rows needs a number from 1 to %u, got '%s'\n", UINT32_MAX,
                             v.c_str());
                return 2;
            }
            if (const char *full = model.set_max_rows(*n)) {
                std::fprintf(stderr, "te-simd: --max-rows %s: table %s already holds more rows\n", v.c_str(), full);
                return 2;
            }
        } else if (a == "--state") {
            opts.statePath = argv[++i];
        } else if (a == "--tables") {
            const std::string err = sim::load_tables(argv[++i], model);
            if (!err.empty()) {
                std::fprintf(stderr, "%s\n", err.c_str());
                return 2;
            }
        } else if (a == "--fault") {
            const std::string v = argv[++i];
            Fault f;
            if (!parse_fault(v, f)) {
                std::fprintf(stderr, "te-simd: bad fault '%s' (CLASS:TAG=ACTION)\n%s", v.c_str(), usage().c_str());
                return 2;
            }
            opts.faults.push_back(f);
        } else {
            std::fprintf(stderr, "te-simd: unknown argument '%s'\n%s", a.c_str(), usage().c_str());
            return 2;
        }
    }
    return kServe;
}

// Makes SIGINT and SIGTERM end the service. They are let through only while
// waiting for a request (ppoll with the mask returned), so one that comes
// just before the wait still ends it.
sigset_t catch_stop_signals() {
    struct sigaction sa {};
    sa.sa_handler = on_signal;  // no SA_RESTART: a signal ends the wait for a request
    sigaction(SIGINT, &sa, nullptr);
    sigaction(SIGTERM, &sa, nullptr);
    sigset_t stopSignals, waiting;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    sigprocmask(SIG_BLOCK, &stopSignals, &waiting);
    sigdelset(&waiting, SIGINT);
    sigdelset(&waiting, SIGTERM);
    return waiting;
}

// One request as te-simd takes it: the reply the model (or a refusing
// fault) gives, and the fault that applies, if any.
struct Answer {
    uint32_t parsed;  // sim::kOk, or why the datagram is no request
    sim::Request req;
    sim::Reply reply;
    const Fault *fault = nullptr;

    bool silent() const { return fault != nullptr && fault->action == Action::Silent; }
};

Answer answer(const uint8_t *data, size_t size, const std::vector<Fault> &faults, sim::Model &model) {
    Answer a;
    a.parsed = sim::parse(data, size, a.req);
    if (a.parsed != sim::kOk) {
        a.reply.result = a.parsed;
        return a;
    }
    for (const Fault &f : faults)
        if (f.matches(a.req)) a.fault = &f;
    if (a.fault != nullptr && a.fault->action == Action::Refuse)
        a.reply.result = a.fault->code;
    else if (!a.silent())
        a.reply = model.handle(a.req);
    return a;
}

// The reply datagram, spoilt the way a Truncate or Oversize fault says.
std::vector<uint8_t> reply_datagram(const Answer &a) {
    std::vector<uint8_t> out = sim::encode(a.req.cls, a.req.op, a.reply);
    if (a.fault != nullptr && a.fault->action == Action::Truncate) {
        out[2] = static_cast<uint8_t>((out.size() - 8 + 16) >> 8);  // announces 16 bytes it lacks
        out[3] = static_cast<uint8_t>(out.size() - 8 + 16);
    } else if (a.fault != nullptr && a.fault->action == Action::Oversize) {
        out.resize(4096, 0);
        out[2] = static_cast<uint8_t>((4096 - 8) >> 8);
        out[3] = static_cast<uint8_t>(4096 - 8);
    }
    return out;
}

// Answers requests on fd until a stop signal (or a failed receive); returns
// how many replies were dropped because their client's queue was full.
unsigned long serve(int fd, const Options &opts, sim::Model &model, const sigset_t &waiting, Log &log) {
    unsigned long dropped = 0;
    std::vector<uint8_t> buf(65536);
    while (!g_stop) {
        pollfd ready{fd, POLLIN, 0};
        if (ppoll(&ready, 1, nullptr, &waiting) < 0) continue;  // a signal: g_stop says whether to end
        sockaddr_un from{};
        socklen_t fromLen = sizeof from;
        const ssize_t n = recvfrom(fd, buf.data(), buf.size(), MSG_DONTWAIT, reinterpret_cast<sockaddr *>(&from), &fromLen);
        if (n < 0) {
            if (errno == EINTR || errno == EAGAIN) continue;
            std::fprintf(stderr, "te-simd: receive failed: %s\n", std::strerror(errno));
            break;
        }
        const Answer a = answer(buf.data(), static_cast<size_t>(n), opts.faults, model);
        if (opts.verbose) {
            log.line("%s -> 0x%08x%s",
                     a.parsed == sim::kOk ? describe(a.req).c_str() : ("malformed datagram of " + std::to_string(n) + " bytes").c_str(),
                     a.reply.result, a.fault == nullptr ? "" : " (fault)");
        }
        if (!opts.statePath.empty()) (void)write_state(opts.statePath, model);
        if (a.silent()) continue;
        const std::vector<uint8_t> out = reply_datagram(a);
        // Never wait for a client: a reply to one whose queue is full is
        // dropped (and counted), so one client that stops reading cannot
        // hold up the others.
        if (fromLen > sizeof(sa_family_t) &&
            sendto(fd, out.data(), out.size(), MSG_DONTWAIT, reinterpret_cast<sockaddr *>(&from), fromLen) < 0 &&
            (errno == EAGAIN || errno == EWOULDBLOCK || errno == ENOBUFS)) {
            ++dropped;
            log.line("reply dropped: the client's queue is full (%lu so far)", dropped);
        }
    }
    return dropped;
}

}  // namespace

int main(int argc, char **argv) {
    Options opts;
    sim::Model model;
    if (const int status = parse_command_line(argc, argv, opts, model); status != kServe) return status;
    if (!opts.statePath.empty()) {
        if (const std::string why = write_state(opts.statePath, model); !why.empty()) {
            std::fprintf(stderr, "te-simd: cannot write the state file %s: %s\n", opts.statePath.c_str(), why.c_str());
            return 2;
        }
    }

    std::string path;
    const int fd = bind_address(path, opts.group);
    if (fd < 0) return 1;
    Log log(opts.verbose);
    const sigset_t waiting = catch_stop_signals();
    std::fprintf(stderr, "te-simd: listening on %s\n", path.c_str());
    if (opts.readyFd >= 0) {  // tells a script that requests are answered from now on
        const std::string line = path + "\n";
        (void)!write(opts.readyFd, line.data(), line.size());
        close(opts.readyFd);
    }

    const unsigned long dropped = serve(fd, opts, model, waiting, log);
    close(fd);
    unlink(path.c_str());
    if (dropped != 0) std::fprintf(stderr, "te-simd: %lu replies dropped (clients not reading)\n", dropped);
    log.last("stopped");
    return 0;
}

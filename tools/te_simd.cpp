// te-simd: a stand-in for the TE daemon on a host. Listens on the daemon's
// local-IPC address, answers one reply per request from its model, and can
// be told to misbehave for front-end testing. See docs/tools.md.
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
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
#include "tools/sim_capture.h"
#include "tools/sim_model.h"
#include "tools/sim_relay.h"

namespace {

volatile std::sig_atomic_t g_stop = 0;    // set by SIGINT/SIGTERM
volatile std::sig_atomic_t g_reload = 0;  // set by SIGHUP
void on_signal(int sig) { (sig == SIGHUP ? g_reload : g_stop) = 1; }

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
    return "usage: te-simd [-v] [--group] [--ready-fd N] [--max-rows N] [--tables FILE]... [--state FILE] [--fault CLASS:TAG=ACTION]...\n"
           "               [--capture FILE]\n"
           "       te-simd --relay DIR [-v] [--group] [--ready-fd N] [--capture FILE]\n"
           "       te-simd --help | --version\n"
           "  Simulates the TE daemon on $TE_LIPC_DIR/lipc-0a7280 (default /run/te).\n"
           "  An option's value follows it as the next argument or after '='\n"
           "  (--tables=FILE). Numbers, here and in table files, are decimal or 0x hex;\n"
           "  a leading zero (010) is refused rather than read as octal or decimal.\n"
           "\n"
           "Options:\n"
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
           "  --state FILE      write FILE with the configuration at start and again,\n"
           "                    atomically, after each request that changes a setting\n"
           "  --fault CLASS:TAG=ACTION\n"
           "                    misbehave for requests of CLASS holding an item TAG\n"
           "                    (either may be '*'); ACTION is a result code to refuse\n"
           "                    with (e.g. 0x40010001), 'silent' (no reply), 'truncate'\n"
           "                    (reply shorter than its header announces) or 'oversize'\n"
           "                    (a 4096-byte reply)\n"
           "  --capture FILE    write every datagram received and sent to FILE as pcapng\n"
           "                    ('-': standard output, for `| tshark -i -`), written\n"
           "                    out at least once a second; see docs/wire.md\n"
           "  --relay DIR       answer nothing itself: pass each request on to the daemon\n"
           "                    listening in DIR (its local-IPC directory) and the reply\n"
           "                    back, capturing both with --capture; a client's reply\n"
           "                    is waited for 30 s at most\n"
           "  --version         print the version (no other arguments with it)\n"
           "  -h, --help        this text (no other arguments with it)\n"
           "\n"
           "SIGHUP loads the tables files again (keeping the settings and the rows and\n"
           "paths that requests made; a bad file keeps the old tables) and logs one line.\n"
           "SIGINT and SIGTERM stop it; it removes its socket file if that is still the\n"
           "one it bound.\n"
           "Table file: text, one row per line, '#' starts a comment. \"Quoted\" fields\n"
           "take a double-quoted string, byte runs also 0x hex bytes; unset fields are 0.\n" +
           sim::table_rows_help() +
           "\n"
           "Environment:\n"
           "  TE_LIPC_DIR  directory of the socket (default /run/te)\n"
           "\n"
           "Files:\n"
           "  $TE_LIPC_DIR/lipc-0a7280  the socket it listens on\n"
           "\n"
           "Exit status:\n"
           "  0  stopped by SIGINT or SIGTERM (or --help, --version)\n"
           "  1  the socket could not be bound\n"
           "  2  bad command line, tables file, state file or capture file\n";
}

// The number word gives, read as every tool reads numbers, at most max;
// what is wrong with it, after name, or "".
std::string read_number(const std::string &name, const std::string &word, uint64_t max, uint64_t &out) {
    const fields::Number n = fields::read_number(word, max);
    if (n.error != fields::Number::Error::None) return fields::number_problem(name, word, n, max);
    out = n.value;
    return {};
}

// CLASS:TAG=ACTION into f; what is wrong with it, or "".
std::string parse_fault(const std::string &text, Fault &f) {
    const size_t colon = text.find(':');
    const size_t eq = text.find('=');
    if (colon == std::string::npos || eq == std::string::npos || eq < colon) return "not CLASS:TAG=ACTION";
    const std::string cls = text.substr(0, colon), tag = text.substr(colon + 1, eq - colon - 1),
                      action = text.substr(eq + 1);
    uint64_t v = 0;
    if (cls != "*") {
        if (std::string why = read_number("CLASS", cls, 255, v); !why.empty()) return why;
        f.cls = static_cast<int>(v);
    }
    if (tag != "*") {
        if (std::string why = read_number("TAG", tag, 65535, v); !why.empty()) return why;
        f.tag = static_cast<int>(v);
    }
    if (action == "silent") {
        f.action = Action::Silent;
    } else if (action == "truncate") {
        f.action = Action::Truncate;
    } else if (action == "oversize") {
        f.action = Action::Oversize;
    } else if (action.empty() || !std::isdigit(static_cast<unsigned char>(action[0]))) {
        return "ACTION '" + action + "' is none of a result code, silent, truncate and oversize";
    } else {
        if (std::string why = read_number("ACTION", action, 0xffffffffu, v); !why.empty()) return why;
        f.action = Action::Refuse;
        f.code = static_cast<uint32_t>(v);
    }
    return {};
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

// Makes a rename into the directory of path last through a crash.
void sync_directory_of(const std::string &path) {
    const size_t slash = path.rfind('/');
    const std::string dir = slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
    const int fd = open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return;
    (void)fsync(fd);
    close(fd);
}

// One line per setting: "class C key HEX tag T value HEX (FAMILY NAME)" ("-"
// for no bytes), in key order. Written whole to a temporary file beside it,
// flushed to disk and renamed over it, so that the file always holds one
// complete state, the old or the new, whenever te-simd stops. Returns what
// went wrong, if anything.
std::string write_state(const std::string &path, const sim::Model &model) {
    const std::string tmp = path + ".tmp-" + std::to_string(getpid());  // one writer per name
    const int fd = open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0666);
    FILE *f = fd < 0 ? nullptr : fdopen(fd, "w");
    if (f == nullptr) {
        const std::string why = std::strerror(errno);
        if (fd >= 0) close(fd), unlink(tmp.c_str());
        return why;
    }
    for (const auto &[key, value] : model.settings())
        std::fprintf(f, "class %u key %s tag %u value %s (%s)\n", std::get<0>(key), hex(std::get<1>(key)).c_str(),
                     std::get<2>(key), hex(value).c_str(),
                     sim::Model::setter_name(std::get<0>(key), std::get<2>(key)).c_str());
    int err = std::fflush(f) == 0 && fsync(fd) == 0 ? 0 : errno;
    if (std::fclose(f) != 0 && err == 0) err = errno;
    if (err == 0 && std::rename(tmp.c_str(), path.c_str()) != 0) err = errno;
    if (err != 0) {
        unlink(tmp.c_str());
        return std::strerror(err);
    }
    sync_directory_of(path);
    return {};
}

// The state file as serve() keeps it: written again only when a setting has
// changed since it last was; a failure is reported once, until a write works.
struct StateFile {
    uint64_t written = 0;  // the model's settings version it holds
    bool failing = false;

    void update(const std::string &path, const sim::Model &model) {
        if (path.empty() || model.settings_version() == written) return;
        written = model.settings_version();
        const std::string why = write_state(path, model);
        if (!why.empty() && !failing)
            std::fprintf(stderr, "te-simd: cannot write the state file %s: %s\n", path.c_str(), why.c_str());
        failing = !why.empty();
    }
};

// Whether te-simd can create its socket in dir. It tries, with a file of its
// own that it removes again: mode bits alone say the wrong thing for root,
// under access lists and on read-only mounts.
bool can_create_in(const char *dir) {
    std::string probe = std::string(dir) + "/.te-simd-XXXXXX";
    const int fd = mkstemp(probe.data());
    if (fd < 0) {
        std::fprintf(stderr, "te-simd: cannot create its socket in %s: %s\n", dir, std::strerror(errno));
        return false;
    }
    close(fd);
    unlink(probe.c_str());
    return true;
}

// Makes sure the socket directory exists, te-simd can create its socket in
// it, and only its owner (and, with --group, its group) can enter it. A
// directory of ours with looser permissions is tightened with a warning;
// one of another user's is refused, and so is one te-simd cannot create its
// socket in, before its mode is changed.
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
    const mode_t mode = st.st_mode & 07777, loose = mode & ~want;
    if (loose != 0 && st.st_uid != geteuid()) {
        std::fprintf(stderr, "te-simd: %s belongs to another user and is open to others (mode %04o); refusing it\n",
                     dir, static_cast<unsigned>(mode));
        return false;
    }
    if (!can_create_in(dir)) return false;
    if (loose == 0) return true;
    if (chmod(dir, mode & want) != 0) {
        std::fprintf(stderr, "te-simd: cannot restrict %s: %s\n", dir, std::strerror(errno));
        return false;
    }
    std::fprintf(stderr, "te-simd: warning: %s was open to others (mode %04o); now %04o\n", dir,
                 static_cast<unsigned>(mode), static_cast<unsigned>(mode & want));
    return true;
}

// Binds the daemon's address; refuses when another process answers there,
// and never removes anything but a socket that does not answer.
int bind_address(std::string &path, bool group) {
    const char *dir = LIPC_HostDir();
    const uint8_t address[16] = LIPC_TE_ADDRESS_INIT;
    char buf[sizeof(sockaddr_un::sun_path)];
    if (LIPC_HostPath(address, buf, sizeof buf) != 0) {
        std::fprintf(stderr, "te-simd: socket path under %s is too long\n", dir);
        return -1;
    }
    if (!secure_dir(dir, group)) return -1;
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
    std::string capturePath;  // "-": standard output
    std::string relayDir;
    std::string modelOption;  // the first option that only the simulation uses (none with --relay)
    std::vector<std::string> tables;  // the --tables files, in order (SIGHUP loads them again)
    std::vector<Fault> faults;
};

constexpr int kServe = -1;  // parse_command_line: go on and serve

// A bad command line: one line, and where to read more; the exit status.
int usage_error(const std::string &what) {
    std::fprintf(stderr, "te-simd: %s ('te-simd --help' lists the options)\n", what.c_str());
    return 2;
}

// A descriptor a script passed for --ready-fd: a number from 3 up that is open.
std::string parse_ready_fd(const std::string &v, int &fd) {
    uint64_t n = 0;
    if (std::string why = read_number("--ready-fd", v, UINT64_MAX, n); !why.empty()) return why;
    if (n < 3 || n > 1023 || fcntl(static_cast<int>(n), F_GETFD) < 0)
        return "--ready-fd needs an open descriptor number from 3 up, got '" + v + "'";
    fd = static_cast<int>(n);
    return {};
}

// One option that takes a value; the exit status, or kServe.
int value_option(const std::string &option, const std::string &value, Options &opts, sim::Model &model) {
    if (opts.modelOption.empty() && option != "--ready-fd" && option != "--capture" && option != "--relay")
        opts.modelOption = option;
    if (option == "--ready-fd") {
        if (std::string why = parse_ready_fd(value, opts.readyFd); !why.empty()) return usage_error(why);
    } else if (option == "--max-rows") {
        uint64_t n = 0;
        if (std::string why = read_number("--max-rows", value, UINT32_MAX, n); !why.empty()) return usage_error(why);
        if (n == 0) return usage_error("--max-rows needs a number from 1 up, got '" + value + "'");
        if (const char *full = model.set_max_rows(n))
            return usage_error("--max-rows " + value + ": table " + full + " already holds more rows");
    } else if (option == "--state") {
        opts.statePath = value;
    } else if (option == "--capture") {
        opts.capturePath = value;
    } else if (option == "--relay") {
        opts.relayDir = value;
    } else if (option == "--tables") {
        opts.tables.push_back(value);
        const std::string err = sim::load_tables(value, model);
        if (!err.empty()) {
            std::fprintf(stderr, "%s\n", err.c_str());
            return 2;
        }
    } else if (option == "--fault") {
        Fault f;
        if (std::string why = parse_fault(value, f); !why.empty())
            return usage_error("bad fault '" + value + "': " + why);
        opts.faults.push_back(f);
    }
    return kServe;
}

// Reads the command line into opts, and the rows of --tables files into
// model, in the order given. An option's value is the next argument or
// follows '=' (--tables=FILE); --help and --version stand alone. Returns
// kServe, or the exit status when there is nothing more to do (help,
// version, a bad argument).
int parse_command_line(int argc, char **argv, Options &opts, sim::Model &model) {
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        const size_t eq = a.starts_with("--") ? a.find('=') : std::string::npos;
        const bool inline_value = eq != std::string::npos;
        const std::string value = inline_value ? a.substr(eq + 1) : "";
        if (inline_value) a.resize(eq);
        const bool takesValue = a == "--tables" || a == "--state" || a == "--fault" || a == "--ready-fd" ||
                                a == "--max-rows" || a == "--capture" || a == "--relay";
        const bool alone = a == "-h" || a == "--help" || a == "--version";
        const bool flag = alone || a == "-v" || a == "--verbose" || a == "--group";
        if (!takesValue && !flag)
            return usage_error(a.starts_with("-") ? "unknown option '" + a + "'"
                                                  : "unexpected argument '" + a + "': te-simd takes options only");
        if (flag && inline_value) return usage_error("option " + a + " takes no value");
        if (alone && argc != 2) return usage_error("option " + a + " takes no other arguments");
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
        } else if (inline_value ? value.empty() : i + 1 == argc) {
            return usage_error("option " + a + " needs a value");
        } else if (const int status = value_option(a, inline_value ? value : argv[++i], opts, model);
                   status != kServe) {
            return status;
        }
    }
    if (!opts.relayDir.empty() && !opts.modelOption.empty())
        return usage_error("option " + opts.modelOption + " has no use with --relay: the daemon answers");
    return kServe;
}

// Makes SIGINT and SIGTERM end the service and SIGHUP reload the tables.
// They are let through only while waiting for a request (ppoll with the mask
// returned), so one that comes just before the wait is still acted on, and
// never while a request changes the model.
sigset_t catch_signals() {
    struct sigaction sa {};
    sa.sa_handler = on_signal;  // no SA_RESTART: a signal ends the wait for a request
    sigset_t caught, waiting;
    sigemptyset(&caught);
    for (const int sig : {SIGINT, SIGTERM, SIGHUP}) {
        sigaction(sig, &sa, nullptr);
        sigaddset(&caught, sig);
    }
    sigprocmask(SIG_BLOCK, &caught, &waiting);
    for (const int sig : {SIGINT, SIGTERM, SIGHUP}) sigdelset(&waiting, sig);
    return waiting;
}

// Loads the tables files again into a fresh model and, when all of them
// load, puts it in place of the old one with what requests made there (the
// settings, created rows and paths). A bad file keeps the old tables. Either
// way it logs one line.
void reload(const Options &opts, sim::Model &model) {
    sim::Model fresh;
    fresh.set_max_rows(model.max_rows());
    for (const std::string &file : opts.tables) {
        if (const std::string why = sim::load_tables(file, fresh); !why.empty()) {
            std::fprintf(stderr, "te-simd: reload failed, the old tables kept: %s\n", why.c_str());
            return;
        }
    }
    const size_t lost = fresh.keep_requests_of(model);
    model = std::move(fresh);
    std::string note;
    if (lost != 0) note = "; " + std::to_string(lost) + " rows or paths made by requests no longer fit";
    std::fprintf(stderr, "te-simd: reloaded %zu tables files%s\n", opts.tables.size(), note.c_str());
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
unsigned long serve(int fd, const Options &opts, sim::Model &model, const sigset_t &waiting, Log &log,
                    sim::Capture &capture) {
    unsigned long dropped = 0;
    StateFile state{model.settings_version()};  // main wrote it
    std::vector<uint8_t> buf(sim::kReceiveBuffer);
    while (!g_stop) {
        if (g_reload) {
            g_reload = 0;
            reload(opts, model);
        }
        capture.flush_if_due();
        pollfd ready{fd, POLLIN, 0};
        const int due = capture.flush_due_ms();
        const timespec flushIn{due / 1000, (due % 1000) * 1000000L};
        const int polled = ppoll(&ready, 1, due < 0 ? nullptr : &flushIn, &waiting);
        if (polled <= 0) continue;  // a signal (g_stop, g_reload say what to do) or time to flush
        sockaddr_un from{};
        socklen_t fromLen = sizeof from;
        const ssize_t wire = recvfrom(fd, buf.data(), buf.size(), MSG_DONTWAIT | MSG_TRUNC,
                                      reinterpret_cast<sockaddr *>(&from), &fromLen);
        if (wire < 0) {
            if (errno == EINTR || errno == EAGAIN) continue;
            std::fprintf(stderr, "te-simd: receive failed: %s\n", std::strerror(errno));
            break;
        }
        // A datagram cut short fills the buffer, longer than any header
        // describes: answered as malformed.
        const size_t n = std::min(buf.size(), static_cast<size_t>(wire));
        const std::string peer = capture.active() ? sim::peer_name(from, fromLen) : std::string();
        capture.record(sim::Capture::Direction::Inbound, peer, buf.data(), n, static_cast<size_t>(wire));
        const Answer a = answer(buf.data(), n, opts.faults, model);
        if (opts.verbose) {
            log.line("%s -> 0x%08x%s",
                     a.parsed == sim::kOk ? describe(a.req).c_str() : ("malformed datagram of " + std::to_string(wire) + " bytes").c_str(),
                     a.reply.result, a.fault == nullptr ? "" : " (fault)");
        }
        state.update(opts.statePath, model);
        if (a.silent()) continue;
        const std::vector<uint8_t> out = reply_datagram(a);
        // Never wait for a client: a reply to one whose queue is full is
        // dropped (and counted), so one client that stops reading cannot
        // hold up the others.
        if (fromLen <= sizeof(sa_family_t)) continue;  // an unnamed client cannot be answered
        if (sendto(fd, out.data(), out.size(), MSG_DONTWAIT, reinterpret_cast<sockaddr *>(&from), fromLen) >= 0) {
            capture.record(sim::Capture::Direction::Outbound, peer, out.data(), out.size());
        } else if (errno == EAGAIN || errno == EWOULDBLOCK || errno == ENOBUFS) {
            ++dropped;
            log.line("reply dropped: the client's queue is full (%lu so far)", dropped);
        }
    }
    return dropped;
}

}  // namespace

int main(int argc, char **argv) {
    // A SIGHUP while the tables load waits for the service (a reload then)
    // rather than ending te-simd.
    sigset_t hangup;
    sigemptyset(&hangup);
    sigaddset(&hangup, SIGHUP);
    sigprocmask(SIG_BLOCK, &hangup, nullptr);
    Options opts;
    sim::Model model;
    if (const int status = parse_command_line(argc, argv, opts, model); status != kServe) return status;
    if (!opts.statePath.empty()) {
        if (const std::string why = write_state(opts.statePath, model); !why.empty()) {
            std::fprintf(stderr, "te-simd: cannot write the state file %s: %s\n", opts.statePath.c_str(), why.c_str());
            return 2;
        }
    }

    sim::Relay relay;
    if (!opts.relayDir.empty()) {
        if (const std::string why = sim::relay_target(opts.relayDir, LIPC_HostDir(), relay.daemonPath); !why.empty())
            return usage_error(why);
    }
    sim::Capture capture;
    if (!opts.capturePath.empty()) {
        // The interface is named after the daemon's socket: the one te-simd
        // binds, or the one it relays to.
        const uint8_t address[16] = LIPC_TE_ADDRESS_INIT;
        char socketPath[sizeof(sockaddr_un::sun_path)];
        if (LIPC_HostPath(address, socketPath, sizeof socketPath) != 0) socketPath[0] = '\0';  // bind_address says why
        const std::string interface = relay.daemonPath.empty() ? socketPath : relay.daemonPath;
        if (const std::string why = capture.open(opts.capturePath, interface); !why.empty()) {
            std::fprintf(stderr, "te-simd: cannot write the capture file %s: %s\n", opts.capturePath.c_str(), why.c_str());
            return 2;
        }
    }

    std::string path;
    const int fd = bind_address(path, opts.group);
    if (fd < 0) return 1;
    Log log(opts.verbose);
    struct stat bound{};  // the socket file this process made, told apart from a later one at that path
    (void)lstat(path.c_str(), &bound);
    const sigset_t waiting = catch_signals();
    if (relay.daemonPath.empty())
        std::fprintf(stderr, "te-simd: listening on %s\n", path.c_str());
    else
        std::fprintf(stderr, "te-simd: listening on %s, passing requests on to %s\n", path.c_str(),
                     relay.daemonPath.c_str());
    if (opts.readyFd >= 0) {  // tells a script that requests are answered from now on
        const std::string line = path + "\n";
        (void)!write(opts.readyFd, line.data(), line.size());
        close(opts.readyFd);
    }

    unsigned long dropped = 0;
    if (relay.daemonPath.empty()) {
        dropped = serve(fd, opts, model, waiting, log, capture);
    } else {
        relay.log = [&log](const std::string &line) { log.line("%s", line.c_str()); };
        sim::relay(fd, relay, waiting, g_stop, capture);
    }
    capture.finish();  // waits a second at most for a reader that stalled
    close(fd);
    // Another instance may have bound the path since (after the file was
    // removed): its socket file stays.
    struct stat now{};
    if (lstat(path.c_str(), &now) == 0 && now.st_dev == bound.st_dev && now.st_ino == bound.st_ino)
        unlink(path.c_str());
    if (dropped != 0) std::fprintf(stderr, "te-simd: %lu replies dropped (clients not reading)\n", dropped);
    log.last("stopped");
    return 0;
}

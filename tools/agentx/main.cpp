// te-agentx: an AgentX subagent serving the TE daemon's tables. A worker
// thread makes every library call: it walks every table each --refresh
// seconds into a new snapshot and swaps it in whole. The main thread runs
// net-snmp alone and answers GET, GETNEXT and GETBULK from the current
// snapshot (tools/agentx/snapshot.h); it never waits on the daemon.
#include <fcntl.h>
#include <pthread.h>
#include <malloc.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include <CLI/CLI.hpp>

#include "tools/agentx/agent.h"
#include "tools/agentx/mib_model.h"
#include "tools/agentx/snapshot.h"
#include "tools/field_kinds.h"

namespace agentx {
namespace {

constexpr size_t kRowCap = 1000000;

struct Options {
    std::string master;  // -x: the master's AgentX address ("" net-snmp's default)
    Oid base = kDefaultBase;
    double refresh = 10;
    int readyFd = -1;
    bool verbose = false;
};

std::atomic<bool> g_stop{false};
void on_signal(int) { g_stop = true; }

// Bytes malloc has handed out and not taken back: from its arenas, and the
// large blocks it maps apart (a big snapshot's vectors).
size_t heap_in_use() {
    const struct mallinfo2 m = mallinfo2();
    return m.uordblks + m.hblkhd;
}

// The worker: a refresh now and then every `refresh` seconds until stopped.
class Worker {
public:
    Worker(const Model &m, Shared &shared, const Options &o) : model_(m), shared_(shared), options_(o) {}
    void run() {
        uint64_t n = 0;
        bool failing = false;
        while (!g_stop) {
            const auto start = std::chrono::steady_clock::now();
            refresh(++n, failing);
            std::unique_lock lock(sleep_);
            wake_.wait_until(lock, start + std::chrono::duration<double>(options_.refresh), [] { return g_stop.load(); });
        }
    }
    void stop() {
        std::lock_guard lock(sleep_);
        wake_.notify_all();
    }

private:
    void refresh(uint64_t n, bool &failing) {
        Refresh r;
        const auto start = std::chrono::steady_clock::now();
        std::optional<Snapshot> s = take(model_, r, kRowCap, shared_.current().get());
        const auto ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
        size_t bytes = 0, recordBytes = 0;
        if (s) {
            bytes = s->bytes();
            recordBytes = s->recordBytes;
            shared_.swap(std::make_shared<const Snapshot>(std::move(*s)));
        }
        shared_.note(r, static_cast<uint32_t>(ms));
        if (!r.ok && !failing)
            std::fprintf(stderr, "te-agentx: refresh failed%s (%s); serving the previous snapshot\n",
                         r.reachable ? "" : ": the TE daemon is not running or does not answer", r.problem.c_str());
        if (r.ok && failing) std::fprintf(stderr, "te-agentx: refresh succeeded again\n");
        failing = !r.ok;
        if (options_.verbose)
            std::fprintf(stderr,
                         "te-agentx: refresh=%llu ok=%d rows=%llu calls=%llu ms=%.1f snapshot_bytes=%zu "
                         "record_bytes=%zu heap=%zu\n",
                         static_cast<unsigned long long>(n), r.ok ? 1 : 0, static_cast<unsigned long long>(r.rows),
                         static_cast<unsigned long long>(r.calls), ms, bytes, recordBytes,
                         heap_in_use());
    }

    const Model &model_;
    Shared &shared_;
    const Options &options_;
    std::mutex sleep_;
    std::condition_variable wake_;
};

int usage_error(const std::string &what) {
    std::fprintf(stderr, "te-agentx: %s ('te-agentx --help' tells more)\n", what.c_str());
    return 2;
}

std::string check_number(const std::string &name, const std::string &v, uint64_t max, uint64_t &out) {
    const fields::Number n = fields::read_number(v, max);
    if (n.error != fields::Number::Error::None) return fields::number_problem(name, v, n, max);
    out = n.value;
    return "";
}

// "2.5": whole seconds as every tool reads numbers, then optional decimals.
std::string check_seconds(const std::string &v, double &out) {
    const size_t dot = v.find('.');
    uint64_t whole = 0;
    if (std::string why = check_number("--refresh", v.substr(0, dot), 86400, whole); !why.empty()) return why;
    double fraction = 0, scale = 0.1;
    for (size_t i = dot == std::string::npos ? v.size() : dot + 1; i < v.size(); ++i, scale /= 10) {
        if (v[i] < '0' || v[i] > '9') return "--refresh: '" + v + "' is not a number of seconds";
        fraction += (v[i] - '0') * scale;
    }
    if (dot != std::string::npos && dot + 1 == v.size()) return "--refresh: '" + v + "' is not a number of seconds";
    out = static_cast<double>(whole) + fraction;
    if (out < 0.01) return "--refresh: at least 0.01 seconds";
    return "";
}

const char *const kHelpFooter =
    "Serves every table of the TE daemon under BASE (default .1.3.6.1.4.1.32473.1, under the\n"
    "enterprise number reserved for documentation: a vendor puts its own number there),\n"
    "read-only, from a snapshot taken every S seconds. Writes are refused (notWritable).\n"
    "The MIB module TEMOR-MIB describes the tree (te-agentx --print-mib writes it).\n"
    "\n"
    "With -v each refresh logs one line of key=value words: refresh (its number), ok (1 or\n"
    "0), rows, calls (library calls), ms (duration), snapshot_bytes (what the snapshot\n"
    "holds), record_bytes (rows times their record size) and heap (bytes malloc has in use).\n"
    "\n"
    "Environment:\n"
    "  TE_LIPC_DIR, TE_PLATFORM_DIR  as for tectl: where the daemon is found\n"
    "\n"
    "Exit status:\n"
    "  0 stopped by SIGTERM or SIGINT, 1 the agent could not start, 2 bad options\n";

const char *const kUsage =
    "usage: te-agentx [-x AGENTX-ADDRESS] [--base-oid OID] [--refresh S] [--ready-fd N] [-v]\n"
    "       te-agentx --help | --version | --print-mib [--base-oid OID] | --list-oids [--base-oid OID]\n";

class Usage : public CLI::Formatter {
public:
    std::string make_usage(const CLI::App *, std::string) const override { return kUsage; }
};

struct Parsed {
    Options options;
    enum Output { None, Mib, Oids } output = None;
};

// Reads the command line; returns an exit status when there is nothing more
// to do.
std::optional<int> parse(int argc, char **argv, Parsed &p) {
    CLI::App app{"te-agentx: AgentX subagent serving the TE daemon's tables\n", "te-agentx"};
    app.set_version_flag("--version", "te-agentx " TEMOR_VERSION);
    app.footer(kHelpFooter);
    app.formatter(std::make_shared<Usage>());
    std::string base, refresh, readyFd;
    bool mib = false, oids = false;
    app.add_option("-x", p.options.master, "the master's AgentX address (default net-snmp's, /var/agentx/master)")
        ->option_text("ADDRESS")
        ->check(CLI::Validator([](std::string &v) { return v.empty() ? "an empty address" : ""; }, "", "ADDRESS"));
    app.add_option("--base-oid", base, "the OID the tree is served under")->option_text("OID");
    app.add_option("--refresh", refresh, "seconds between refreshes, fractions allowed (default 10)")->option_text("S");
    app.add_option("--ready-fd", readyFd, "once registered with the master, write a byte to descriptor N and close it")
        ->option_text("N");
    app.add_flag("-v,--verbose", p.options.verbose, "log each refresh on one line (key=value words)");
    app.add_flag("--print-mib", mib, "write the TEMOR-MIB module for --base-oid and exit");
    app.add_flag("--list-oids", oids, "write every object's OID and name and exit");
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp &) {
        std::fputs(app.help().c_str(), stdout);
        return 0;
    } catch (const CLI::CallForVersion &) {
        std::puts("te-agentx " TEMOR_VERSION);
        return 0;
    } catch (const CLI::ParseError &e) {
        return usage_error(e.what());
    }
    if (mib && oids) return usage_error("--print-mib and --list-oids: one of them at a time");
    if (!base.empty() && (p.options.base = parse_oid(base)).size() < 2)
        return usage_error("--base-oid: '" + base + "' is not an OID of two arcs or more, each from 0 to " +
                           std::to_string(UINT32_MAX) + " (1.3.6.1.4.1.N...)");
    if (const size_t n = longest_instance(build(p.options.base)); n > kOidArcs)
        return usage_error("--base-oid: '" + base + "' is too long: the longest object under it would have " +
                           std::to_string(n) + " arcs, more than an OID's " + std::to_string(kOidArcs) +
                           " (a base of at most " + std::to_string(kOidArcs - (n - p.options.base.size())) +
                           " arcs)");
    if (!refresh.empty())
        if (std::string why = check_seconds(refresh, p.options.refresh); !why.empty()) return usage_error(why);
    uint64_t fd = 0;
    if (!readyFd.empty()) {
        if (std::string why = check_number("--ready-fd", readyFd, INT32_MAX, fd); !why.empty()) return usage_error(why);
        if (fd < 3 || fcntl(static_cast<int>(fd), F_GETFD) < 0)
            return usage_error("--ready-fd needs an open descriptor number from 3 up, got '" + readyFd + "'");
        p.options.readyFd = static_cast<int>(fd);
    }
    p.output = mib ? Parsed::Mib : oids ? Parsed::Oids : Parsed::None;
    return std::nullopt;
}

int serve(const Options &o, const Model &model) {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGTERM, on_signal);
    std::signal(SIGINT, on_signal);
    Shared shared(model);
    Agent agent(model, shared);
    if (!agent.start(o.master, o.readyFd)) return 1;
    Worker worker(model, shared, o);
    std::promise<void> done;
    std::future<void> finished = done.get_future();
    // The signals reach the main thread only (its wait for the network ends).
    sigset_t stops, before;
    sigemptyset(&stops);
    sigaddset(&stops, SIGTERM);
    sigaddset(&stops, SIGINT);
    pthread_sigmask(SIG_BLOCK, &stops, &before);
    std::thread refresher([&] {
        worker.run();
        done.set_value();
    });
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    while (!g_stop) agent.poll();
    agent.stop();
    worker.stop();
    // A library call waiting on a silent daemon is not waited for.
    if (finished.wait_for(std::chrono::seconds(1)) != std::future_status::ready) std::_Exit(0);
    refresher.join();
    return 0;
}

}  // namespace
}  // namespace agentx

int main(int argc, char **argv) {
    agentx::Parsed p;
    if (const auto status = agentx::parse(argc, argv, p)) return *status;
    const agentx::Model model = agentx::build(p.options.base);
    if (p.output == agentx::Parsed::Mib) return std::fputs(agentx::mib_text(model).c_str(), stdout) < 0;
    if (p.output == agentx::Parsed::Oids) return std::fputs(agentx::oid_list(model).c_str(), stdout) < 0;
    return agentx::serve(p.options, model);
}

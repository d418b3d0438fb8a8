// net-snmp as an AgentX subagent: one handler per subtree (each table and
// each group of single objects), answering from the current snapshot.
#include "tools/agentx/agent.h"

#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>
#include <net-snmp/agent/agent_callbacks.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace agentx {
namespace {

constexpr int kPingSeconds = 2;    // how often the master is pinged, or looked for again
constexpr int kRetrySeconds = 10;  // how soon refused registrations are tried again

Oid to_oid(const oid *name, size_t len) { return Oid(name, name + len); }

void answer(netsnmp_variable_list *vb, const Value &v) {
    if (v.type == ASN_OCTET_STR) {
        snmp_set_var_typed_value(vb, v.type, v.octets.data(), v.octets.size());
        return;
    }
    if (v.type == ASN_INTEGER) {
        const long n = v.number;
        snmp_set_var_typed_value(vb, v.type, &n, sizeof n);
        return;
    }
    const u_long n = v.number;
    snmp_set_var_typed_value(vb, v.type, &n, sizeof n);
}

void get_one(const Agent &a, const Snapshot &s, const Live &l, const Oid &root, netsnmp_agent_request_info *info,
             netsnmp_request_info *r) {
    Value v{};
    switch (get(a.model(), s, l, root, to_oid(r->requestvb->name, r->requestvb->name_length), v)) {
    case Miss::None:
        answer(r->requestvb, v);
        break;
    case Miss::NoObject:
        netsnmp_set_request_error(info, r, SNMP_NOSUCHOBJECT);
        break;
    case Miss::NoInstance:
        netsnmp_set_request_error(info, r, SNMP_NOSUCHINSTANCE);
        break;
    }
}

void next_one(const Agent &a, const Snapshot &s, const Live &l, const Oid &root, netsnmp_request_info *r) {
    const auto i = next(a.model(), s, l, root, to_oid(r->requestvb->name, r->requestvb->name_length));
    if (!i) return;  // nothing after it here: net-snmp goes on to the next subtree
    std::vector<oid> name(i->name.begin(), i->name.end());
    snmp_set_var_objid(r->requestvb, name.data(), name.size());
    answer(r->requestvb, i->value);
}

int handle(netsnmp_mib_handler *handler, netsnmp_handler_registration *reg, netsnmp_agent_request_info *info,
           netsnmp_request_info *requests) {
    const auto &a = *static_cast<const Agent *>(handler->myvoid);
    const std::shared_ptr<const Snapshot> s = a.shared().current();
    const Live l = a.shared().live();
    const Oid root = to_oid(reg->rootoid, reg->rootoid_len);
    for (netsnmp_request_info *r = requests; r != nullptr; r = r->next) {
        if (r->processed) continue;
        switch (info->mode) {
        case MODE_GET:
            get_one(a, *s, l, root, info, r);
            break;
        case MODE_GETNEXT:
            next_one(a, *s, l, root, r);
            break;
        default:  // every write
            netsnmp_set_request_error(info, r, SNMP_ERR_NOTWRITABLE);
        }
    }
    return SNMP_ERR_NOERROR;
}

int on_session(int, int minor, void *, void *clientarg) {
    static_cast<Agent *>(clientarg)->connected += minor == SNMPD_CALLBACK_INDEX_START ? 1 : -1;
    return 0;
}

// Registrations the master refused since the last report, and the last
// AgentX error it gave.
std::atomic<int> g_refused{0};
std::string g_refusal;

// net-snmp's log lines, as te-agentx's own: refused registrations are
// counted (Agent::report says so once), the others passed on.
int on_log(int, int, void *serverarg, void *) {
    const auto *m = static_cast<const snmp_log_message *>(serverarg);
    std::string_view text = m->msg;
    while (!text.empty() && (text.back() == '\n' || text.back() == '!')) text.remove_suffix(1);
    constexpr std::string_view kRefused = "registering pdu failed: ";
    if (text.substr(0, kRefused.size()) == kRefused) {
        g_refusal = text.substr(kRefused.size());
        ++g_refused;
    } else if (!text.empty()) {
        std::fprintf(stderr, "te-agentx: net-snmp: %.*s\n", static_cast<int>(text.size()), text.data());
    }
    return 0;
}

netsnmp_handler_registration *register_subtree(Agent &a, const std::string &name, const Oid &root) {
    const std::vector<oid> o(root.begin(), root.end());
    netsnmp_handler_registration *reg =
        netsnmp_create_handler_registration(name.c_str(), handle, o.data(), o.size(), HANDLER_CAN_RONLY);
    if (reg == nullptr) return nullptr;
    reg->handler->myvoid = &a;
    return netsnmp_register_handler(reg) == MIB_REGISTERED_OK ? reg : nullptr;
}

// The subtrees: each group of single objects and each table.
std::vector<std::pair<std::string, Oid>> subtrees(const Model &m) {
    std::vector<std::pair<std::string, Oid>> out;
    for (const auto &[name, arc] : {std::pair{"temorStatus", 1u}, {"temorCounters", 2u}, {"temorRecords", 3u}}) {
        Oid root = m.base;
        root.push_back(arc);
        out.emplace_back(name, root);
    }
    for (const Table &t : m.tables) out.emplace_back(t.name + "Table", t.oid);
    return out;
}

}  // namespace

Snapshot empty_snapshot(const Model &m) {
    Snapshot s;
    s.taken = std::chrono::steady_clock::now();
    s.tables.resize(m.tables.size());
    s.counters.assign(std::size(temor::tables::kScalars), 0);
    for (const Record &r : m.records) s.records.emplace_back(r.source->recordSize, 0);
    return s;
}

// Why a master may not answer at address: a socket path that names
// something else is a wrong -x rather than a master not started yet.
static const char *waiting_hint(const std::string &address) {
    struct stat st {};
    if (!address.empty() && address[0] == '/' && stat(address.c_str(), &st) == 0 && !S_ISSOCK(st.st_mode))
        return "that is no socket: -x takes the path of snmpd's agentXSocket";
    return "is snmpd running with 'master agentx'?";
}

bool Agent::start(const std::string &address, int readyFd) {
    address_ = address.empty() ? "the default address" : address;
    readyFd_ = readyFd;
    setenv("MIBS", "", 1);  // the agent names objects by number only
    snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_LOGGING, on_log, nullptr);
    netsnmp_register_loghandler(NETSNMP_LOGHANDLER_CALLBACK, LOG_INFO);
    netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_ROLE, 1);
    netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_NO_CONNECTION_WARNINGS, 1);
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_PERSIST_STATE, 1);
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DISABLE_PERSISTENT_LOAD, 1);
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DISABLE_PERSISTENT_SAVE, 1);
    if (!address.empty()) netsnmp_ds_set_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_X_SOCKET, address.c_str());
    snmp_register_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_INDEX_START, on_session, this);
    snmp_register_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_INDEX_STOP, on_session, this);
    if (init_agent("te-agentx") != 0) {
        std::fprintf(stderr, "te-agentx: net-snmp's agent library did not start\n");
        return false;
    }
    // Only after init_agent does the ping interval take effect.
    netsnmp_ds_set_int(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_AGENTX_PING_INTERVAL, kPingSeconds);
    if (!register_all()) return false;
    init_snmp("te-agentx");
    report();
    return true;
}

bool Agent::register_all() {
    registrations_.clear();
    for (const auto &[name, root] : subtrees(model_)) {
        registrations_.push_back(register_subtree(*this, name, root));
        if (registrations_.back() == nullptr) {
            std::fprintf(stderr, "te-agentx: could not register %s (%s)\n", name.c_str(), oid_text(root).c_str());
            return false;
        }
    }
    return true;
}

// What the last registration round with the master gave: every subtree
// registered (ready), some or all refused (said once per change; tried
// again later).
void Agent::registered() {
    const int refused = g_refused.exchange(0);
    const int total = static_cast<int>(registrations_.size());
    if (refused > 0 && refused != refused_)
        std::fprintf(stderr,
                     "te-agentx: the AgentX master at %s refused %d of %d subtrees (AgentX error %s%s); "
                     "trying again every %d s\n",
                     address_.c_str(), refused, total, g_refusal.c_str(),
                     g_refusal == "263" ? ": another subagent serves them already" : "", kRetrySeconds);
    refused_ = refused;
    retryAt_ = refused > 0 ? std::chrono::steady_clock::now() + std::chrono::seconds(kRetrySeconds)
                           : std::chrono::steady_clock::time_point::max();
    if (refused == total || announced_) return;
    announced_ = true;
    std::fprintf(stderr, "te-agentx: registered with the AgentX master at %s\n", address_.c_str());
    if (readyFd_ >= 0) {
        (void)!write(readyFd_, "1", 1);
        close(readyFd_);
        readyFd_ = -1;
    }
}

void Agent::report() {
    const bool up = connected.load() > 0;
    if (up && (!up_ || retried_)) registered();
    retried_ = false;
    if (!up && up_) {
        announced_ = false;
        std::fprintf(stderr, "te-agentx: lost the AgentX master at %s; retrying every %d s\n", address_.c_str(),
                     kPingSeconds);
    } else if (!up && !saidWaiting_) {
        std::fprintf(stderr, "te-agentx: no AgentX master answers at %s (%s); retrying every %d s\n",
                     address_.c_str(), waiting_hint(address_), kPingSeconds);
    }
    saidWaiting_ = saidWaiting_ || !up;
    up_ = up;
}

void Agent::poll() {
    agent_check_and_process(1);
    if (connected.load() > 0 && std::chrono::steady_clock::now() >= retryAt_) {
        // Registering anew: the master is asked for every subtree again.
        for (netsnmp_handler_registration *reg : registrations_) netsnmp_unregister_handler(reg);
        g_refused = 0;
        if (!register_all()) std::fprintf(stderr, "te-agentx: registering again failed\n");
        retried_ = true;
    }
    report();
}

void Agent::stop() {
    // Callbacks still registered at shutdown have their argument freed.
    snmp_unregister_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_INDEX_START, on_session, this, 1);
    snmp_unregister_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_INDEX_STOP, on_session, this, 1);
    snmp_shutdown("te-agentx");
}

}  // namespace agentx

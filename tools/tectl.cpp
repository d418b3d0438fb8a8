// tectl: command-line front end of the TE management library. Every command
// is one row of kCommands: its words, its arguments, one line of help and an
// adapter that calls the library. See docs/tools.md.
#include <te_mor.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace {

// ---- result codes -----------------------------------------------------------

struct CodeName {
    uint32_t code;
    const char *name;
    const char *hint;  // nullptr when the cause is not clear from the code
};

// Library codes, then the simulator's own (a real daemon's codes print as
// "daemon code").
const CodeName kCodes[] = {
    {TE_MOR_OK, "TE_MOR_OK", nullptr},
    {TE_MOR_ERR_FAIL, "TE_MOR_ERR_FAIL", nullptr},
    {TE_MOR_ERR_IPC_OPEN, "TE_MOR_ERR_IPC_OPEN",
     "no daemon is listening (is te-simd running with the same TE_LIPC_DIR?)"},
    {TE_MOR_ERR_TE_DISABLED, "TE_MOR_ERR_TE_DISABLED", "MPLS-TE is disabled: run 'tectl mpls-te on'"},
    {TE_MOR_ERR_NOT_FOUND, "TE_MOR_ERR_NOT_FOUND", "no such row"},
    {TE_MOR_ERR_BYPASS_REFUSED, "TE_MOR_ERR_BYPASS_REFUSED", nullptr},
    {0x40010006u, "SIM_END_OF_TABLE", nullptr},
    {0x40010007u, "SIM_UNSUPPORTED", "the daemon does not know this request"},
    {0x40010008u, "SIM_MALFORMED", nullptr},
};

const CodeName *lookup(uint32_t code) {
    for (const CodeName &c : kCodes)
        if (c.code == code) return &c;
    return nullptr;
}

std::string code_text(uint32_t code) {
    char hex[16];
    std::snprintf(hex, sizeof hex, "0x%08" PRIx32, code);
    const CodeName *c = lookup(code);
    return std::string(c != nullptr ? c->name : "daemon code") + " (" + hex + ")";
}

// Codes that end a table walk rather than fail it.
bool end_of_table(uint32_t rc) { return rc == TE_MOR_ERR_NOT_FOUND || rc == 0x40010006u; }

// ---- output -----------------------------------------------------------------

bool g_json = false;
bool g_printed = false;  // a command printed its own output

std::string num(uint64_t v) { return std::to_string(v); }

bool numeric(const std::string &s) {
    return !s.empty() && s.find_first_not_of("0123456789") == std::string::npos && (s == "0" || s[0] != '0');
}

std::string json_string(const std::string &s) {
    std::string out = "\"";
    for (char ch : s) {
        if (ch == '"' || ch == '\\') out += '\\';
        if (static_cast<unsigned char>(ch) < 0x20) continue;
        out += ch;
    }
    return out + "\"";
}

std::string json_value(const std::string &s) { return numeric(s) ? s : json_string(s); }

// Rows of cells under a header, printed aligned or as a JSON array.
struct Grid {
    std::vector<std::string> head;
    std::vector<std::vector<std::string>> rows;

    void print() const {
        g_printed = true;
        if (g_json) {
            std::printf("[");
            for (size_t r = 0; r < rows.size(); ++r) {
                std::printf("%s{", r ? ",\n " : "");
                for (size_t c = 0; c < head.size(); ++c)
                    std::printf("%s%s: %s", c ? ", " : "", json_string(head[c]).c_str(), json_value(rows[r][c]).c_str());
                std::printf("}");
            }
            std::printf("]\n");
            return;
        }
        std::vector<size_t> width(head.size());
        for (size_t c = 0; c < head.size(); ++c) {
            width[c] = head[c].size();
            for (const auto &row : rows) width[c] = std::max(width[c], row[c].size());
        }
        auto line = [&](const std::vector<std::string> &cells) {
            std::string out;
            for (size_t c = 0; c < cells.size(); ++c) {
                out += cells[c];
                if (c + 1 < cells.size()) out += std::string(width[c] - cells[c].size() + 2, ' ');
            }
            std::printf("%s\n", out.c_str());
        };
        line(head);
        for (const auto &row : rows) line(row);
    }
};

// Walks a table: first(), then next(last row) until a code ends it. The end
// codes stop the walk quietly; any other code is the walk's failure.
template <class Row>
uint32_t walk(const std::function<uint32_t(Row &)> &first,
              const std::function<uint32_t(const Row &, Row &)> &next,
              const std::function<void(const Row &)> &add) {
    Row row{};
    uint32_t rc = first(row);
    for (int n = 0; rc == TE_MOR_OK && n < 1000000; ++n) {
        add(row);
        Row following{};
        rc = next(row, following);
        row = following;
    }
    return end_of_table(rc) ? TE_MOR_OK : rc;
}

std::string text(const void *p, size_t size) {
    const char *s = static_cast<const char *>(p);
    return std::string(s, strnlen(s, size));
}

// ---- arguments --------------------------------------------------------------

enum class Kind { U8, U16, U32, U64, Bytes4, Text };

struct Arg {
    const char *name;
    Kind kind;
    bool optional = false;
};

struct Call {
    uint32_t op = TE_MOR_OP_SET;  // 1 with --undo
    std::vector<uint64_t> n;       // numbers, in argument order
    std::vector<std::string> s;    // the words as given
    std::vector<std::array<uint8_t, 4>> raw;
    uint32_t u32(size_t i) const { return static_cast<uint32_t>(n[i]); }
    uint16_t u16(size_t i) const { return static_cast<uint16_t>(n[i]); }
    bool given(size_t i) const { return i < s.size(); }
};

bool parse_arg(const Arg &a, const std::string &word, Call &c) {
    c.s.push_back(word);
    c.raw.push_back({});
    c.n.push_back(0);
    if (a.kind == Kind::Text) return true;
    if (word.empty() || word[0] == '-') return false;
    char *end = nullptr;
    errno = 0;
    const unsigned long long v = std::strtoull(word.c_str(), &end, 0);
    if (errno != 0 || *end != '\0') return false;
    const unsigned long long max = a.kind == Kind::U8    ? 0xff
                                   : a.kind == Kind::U16 ? 0xffff
                                   : a.kind == Kind::U64 ? ~0ull
                                                         : 0xffffffffull;
    if (v > max) return false;
    c.n.back() = v;
    // Four raw bytes are given as one number, most significant byte first.
    for (int i = 0; i < 4; ++i) c.raw.back()[i] = static_cast<uint8_t>(v >> (24 - 8 * i));
    return true;
}

// ---- commands ---------------------------------------------------------------

using Adapter = uint32_t (*)(const Call &);

struct Command {
    const char *path;  // words, space separated
    std::vector<Arg> args;
    bool undo;         // accepts --undo (op 1)
    const char *help;
    Adapter run;
};

uint32_t show_tunnels(const Call &);
uint32_t show_bw(const Call &);
uint32_t show_dste(const Call &);
uint32_t show_counters(const Call &);
uint32_t show_status(const Call &);
uint32_t show_debug(const Call &);
uint32_t show_traps(const Call &);

TeTunnelPathOption path_option(const Call &c) {
    TeTunnelPathOption o{};
    o.half0 = c.u16(1);
    if (c.given(2)) std::strncpy(reinterpret_cast<char *>(o.rawBlock0), c.s[2].c_str(), sizeof o.rawBlock0 - 1);
    return o;
}

constexpr Kind U8 = Kind::U8, U16 = Kind::U16, U32 = Kind::U32, U64 = Kind::U64, B4 = Kind::Bytes4,
               TXT = Kind::Text;

// One row per command. A later family adds its rows here.
const std::vector<Command> kCommands = {
    {"mpls-te on", {}, false, "switch MPLS-TE on (starts the TE and PCE services)",
     [](const Call &) { return TE_MOR_SetMplsTe(0); }},
    {"mpls-te off", {}, false, "switch MPLS-TE off (daemon teardown, then stops TE)",
     [](const Call &) {
         const uint32_t rc = TE_MOR_SetMplsTe(1);
         if (rc == TE_MOR_OK) std::printf("\n");  // ends the library's progress message
         return rc;
     }},
    {"status", {}, false, "MPLS-TE state, daemon reachability, tunnel count", show_status},
    {"service start", {}, false, "start the TE service where it is needed",
     [](const Call &) { return TE_MOR_StartService(); }},
    {"service stop", {{"NAME", TXT}}, false, "stop a service on every node",
     [](const Call &c) { return TE_MOR_StopService(c.s[0].c_str()); }},
    {"debug set", {{"FLAGS", U32}, {"ITEM", U16}}, true, "set (or undo) the daemon's debug switches",
     [](const Call &c) {
         TeDebugInfo d{};
         d.debugFlags = c.u32(0);
         d.debugItem = c.u16(1);
         return TE_MOR_SetDebug(c.op, &d);
     }},
    {"debug show", {}, false, "read the daemon's debug switches", show_debug},
    {"global reoptimize", {}, false, "start a reoptimization",
     [](const Call &) { return TE_MOR_SetReoptimization(); }},
    {"global reset-auto-bw", {}, true, "reset automatic bandwidth",
     [](const Call &c) { return TE_MOR_ResetAutoBw(c.op); }},
    {"global auto-bw", {{"VALUE", U32}}, true, "automatic bandwidth value",
     [](const Call &c) { return TE_MOR_SetTeAutoBw(c.op, c.u32(0)); }},
    {"global auto-tunnel", {}, true, "automatic tunnels",
     [](const Call &c) { return TE_MOR_SetTeAutoTunn(c.op); }},
    {"global metric-type", {}, true, "global metric type",
     [](const Call &c) { return TE_MOR_SetGlobalMetricType(c.op); }},
    {"global flooding-timer", {{"SECONDS", U16}}, true, "priority flooding timer",
     [](const Call &c) { return TE_MOR_SetTimerPriFlooding(c.op, c.u16(0)); }},
    {"global frr-timer", {{"SECONDS", U32}}, false, "FRR timer",
     [](const Call &c) { return TE_MOR_SetFrrTimer(c.u32(0)); }},
    {"global ietf-te-class", {{"BYTES", B4}}, true, "IETF TE-class mapping (4 bytes as one number)",
     [](const Call &c) { return TE_MOR_SetIetfTeClass(c.op, c.raw[0].data()); }},
    {"global ds-te-mode", {{"MODE", U8}}, true, "DS-TE mode",
     [](const Call &c) {
         const uint8_t mode = static_cast<uint8_t>(c.n[0]);
         return TE_MOR_SetDsTeMode(c.op, &mode);
     }},
    {"global bc-mode", {{"BYTES", B4}}, true, "DS-TE bandwidth-constraint model (4 bytes as one number)",
     [](const Call &c) { return TE_MOR_SetDsteBcMode(c.op, c.raw[0].data()); }},
    {"auto-backup nhop-only", {}, true, "next-hop-only automatic backup tunnels",
     [](const Call &c) { return TE_MOR_SetAutoBkpNhopOnly(c.op); }},
    {"auto-backup tunnel-id", {{"LOW", U16}, {"HIGH", U16}}, false, "automatic backup tunnel id range",
     [](const Call &c) {
         const TeAutoBkpTunnelIdRange r{c.u16(0), c.u16(1)};
         return TE_MOR_SetAutoBkpTunnelId(&r);
     }},
    {"auto-backup removal-timer", {{"SECONDS", U32}}, true, "automatic backup tunnel removal timer",
     [](const Call &c) { return TE_MOR_SetAutoBkpRemovalTimer(c.u32(0), c.op); }},
    {"interface frr-bypass", {{"IFINDEX", U32}, {"TUNNEL", U16}}, true, "FRR bypass tunnel of an interface",
     [](const Call &c) { return TE_MOR_SetFrrBypassTunnel(c.op, c.u32(0), c.u16(1)); }},
    {"trap on", {}, false, "traps on", [](const Call &) { return TE_MOR_SetTrap(0); }},
    {"trap off", {}, false, "traps off", [](const Call &) { return TE_MOR_SetTrap(1); }},
    {"trap private", {{"MASK", U64}}, true, "private trap mask",
     [](const Call &c) { return TE_MOR_SetPrivateTrap(c.op, c.n[0]); }},
    {"trap show", {}, false, "tunnel notification state and trap capability", show_traps},
    {"tunnel create", {{"TNLID", U32}, {"NAME", TXT, true}}, false, "create a tunnel (word0 = tunnel id, text = name)",
     [](const Call &c) {
         TeTunnelConfig t{};
         t.word0 = c.u32(0);
         if (c.given(1)) std::strncpy(t.text, c.s[1].c_str(), sizeof t.text - 1);
         return TE_MOR_SetTunnel(&t);
     }},
    {"tunnel path", {{"TNLID", U32}, {"INDEX", U16}, {"NAME", TXT, true}}, true, "primary path option of a tunnel",
     [](const Call &c) {
         TeTunnelPathOption o = path_option(c);
         return TE_MOR_SetTunnelPath(c.op, c.u32(0), &o);
     }},
    {"tunnel backup-path", {{"TNLID", U32}, {"INDEX", U16}, {"NAME", TXT, true}}, true,
     "backup path option of a tunnel",
     [](const Call &c) {
         TeTunnelPathOption o = path_option(c);
         return TE_MOR_SetTunnelBackupPath(c.op, c.u32(0), &o);
     }},
    {"show tunnels", {}, false, "walk the tunnel table", show_tunnels},
    {"show bw-alloc", {}, false, "walk the bandwidth allocation table", show_bw},
    {"show dste", {}, false, "the DS-TE record", show_dste},
    {"show counters", {}, false, "tunnel counters and next free indexes", show_counters},
};

// ---- show adapters ----------------------------------------------------------

uint32_t show_tunnels(const Call &) {
    Grid g{{"INDEX-SET", "TNL-ID", "NAME", "ADMIN", "OPER", "WORD5", "WORD6", "WORD7"}, {}};
    const uint32_t rc = walk<TeTunnelInfo>(
        [](TeTunnelInfo &r) { return TE_MOR_GetFirstTunnel(&r); },
        [](const TeTunnelInfo &last, TeTunnelInfo &r) {
            const TeTunnelIndexSet key{{last.word0, last.word1, last.word2, last.word3}};
            return TE_MOR_GetNextTunnel(&key, &r);
        },
        [&g](const TeTunnelInfo &r) {
            g.rows.push_back({num(r.word0) + "." + num(r.word1) + "." + num(r.word2) + "." + num(r.word3),
                              num(r.word4), text(r.rawBlock, sizeof r.rawBlock), num(r.half2), num(r.half3),
                              num(r.word5), num(r.word6), num(r.word7)});
        });
    g.print();
    return rc;
}

// Runs fn on a socket held for the whole walk.
uint32_t on_socket(const std::function<uint32_t(int)> &fn) {
    const int sock = TE_MOR_LIPCOpen();
    if (sock < 0) return TE_MOR_ERR_IPC_OPEN;
    const uint32_t rc = fn(sock);
    TE_MOR_LIPCClose(sock);
    return rc;
}

uint32_t show_bw(const Call &) {
    Grid g{{"KEY", "WORD1", "WORD2", "WORD3", "WORD4", "WORD5", "ENTRIES"}, {}};
    const uint32_t rc = on_socket([&g](int sock) {
        return walk<TeBwAllocationInfo>(
            [sock](TeBwAllocationInfo &r) { return TE_MOR_GetFirstBwAllocationInfo(sock, &r); },
            [sock](const TeBwAllocationInfo &last, TeBwAllocationInfo &r) {
                return TE_MOR_GetNextBwAllocationInfo(sock, last.word0, &r);
            },
            [&g](const TeBwAllocationInfo &r) {
                std::string entries;
                for (unsigned i = 0; i < r.entryCount && i < 16; ++i)
                    entries += (i ? "," : "") + num(r.entries[i].entryValueA) + "/" + num(r.entries[i].entryValueB);
                g.rows.push_back({num(r.word0), num(r.word1), num(r.word2), num(r.word3), num(r.word4), num(r.word5),
                                  entries.empty() ? "-" : entries});
            });
    });
    g.print();
    return rc;
}

uint32_t show_dste(const Call &) {
    TeDsteInfo d{};
    const uint32_t rc = on_socket([&d](int sock) { return TE_MOR_GetDsteInfo(sock, &d); });
    if (rc == TE_MOR_OK) Grid{{"WORD0", "WORD1", "WORD2"}, {{num(d.dsteWord0), num(d.dsteWord1), num(d.dsteWord2)}}}.print();
    return rc;
}

uint32_t show_counters(const Call &) {
    const struct {
        const char *name;
        uint32_t (*get)(uint32_t *);
    } counters[] = {
        {"configured", TE_MOR_GetTunnelConfigured},     {"active", TE_MOR_GetTeActiveTunnels},
        {"primary", TE_MOR_GetTePrimaryTunnels},        {"bypass", TE_GetBypassTunnelNum},
        {"next-path-hop-index", TE_MOR_GetNextPathHopIndex},
        {"next-hop-list-index", TE_MOR_GetNextTunnelHopListIndex},
    };
    Grid g{{"COUNTER", "VALUE"}, {}};
    uint32_t first = TE_MOR_OK;
    for (const auto &c : counters) {
        uint32_t v = 0;
        const uint32_t rc = c.get(&v);
        g.rows.push_back({c.name, rc == TE_MOR_OK ? num(v) : code_text(rc)});
        if (first == TE_MOR_OK) first = rc;
    }
    g.print();
    return first;
}

uint32_t show_status(const Call &) {
    const bool on = TE_MOR_IsTeGlobalEnable() == 1;
    uint32_t tunnels = 0;
    const uint32_t rc = TE_MOR_GetTunnelConfigured(&tunnels);
    Grid{{"MPLS-TE", "DAEMON", "TUNNELS"},
         {{on ? "on" : "off", rc == TE_MOR_OK ? "answering" : code_text(rc), rc == TE_MOR_OK ? num(tunnels) : "-"}}}
        .print();
    return rc;
}

uint32_t show_debug(const Call &) {
    TeDebugInfo d{};
    const uint32_t rc = TE_MOR_GetTeDebug(&d);
    if (rc == TE_MOR_OK) Grid{{"FLAGS", "ITEM"}, {{num(d.debugFlags), num(d.debugItem)}}}.print();
    return rc;
}

uint32_t show_traps(const Call &) {
    uint32_t state = 0;
    uint16_t capability = 0;
    uint32_t rc = TE_MOR_GetTunnelNotifyEnable(&state);
    if (rc == TE_MOR_OK) rc = TE_GetTrapCapability(&capability);
    if (rc == TE_MOR_OK) Grid{{"NOTIFY", "CAPABILITY"}, {{num(state), num(capability)}}}.print();
    return rc;
}

// ---- command line -------------------------------------------------------------

std::vector<std::string> words(const char *path) {
    std::vector<std::string> out;
    std::string w;
    for (const char *p = path;; ++p) {
        if (*p == ' ' || *p == '\0') {
            if (!w.empty()) out.push_back(w);
            w.clear();
            if (*p == '\0') return out;
        } else {
            w += *p;
        }
    }
}

// True when the first words of `all` are `prefix`.
bool starts_with(const std::vector<std::string> &all, const std::vector<std::string> &prefix) {
    if (prefix.size() > all.size()) return false;
    for (size_t i = 0; i < prefix.size(); ++i)
        if (all[i] != prefix[i]) return false;
    return true;
}

std::string synopsis(const Command &c) {
    std::string s = std::string("tectl ") + c.path;
    for (const Arg &a : c.args) s += a.optional ? std::string(" [") + a.name + "]" : std::string(" ") + a.name;
    if (c.undo) s += " [--undo]";
    return s;
}

// Lists every command whose words start with prefix.
void list(FILE *out, const std::vector<std::string> &prefix) {
    std::fprintf(out, "usage: tectl [--json] COMMAND [ARGS] [--undo]\ncommands:\n");
    for (const Command &c : kCommands) {
        const auto w = words(c.path);
        if (starts_with(w, prefix))
            std::fprintf(out, "  %-52s %s\n", synopsis(c).c_str(), c.help);
    }
    std::fprintf(out, "numbers may be decimal or 0x-hex; --undo sends op 1; --json prints JSON\n");
}

int report(const Command &c, uint32_t rc) {
    if (g_json && !g_printed) {
        std::printf("{\"command\": %s, \"result\": %" PRIu32 ", \"name\": %s}\n", json_string(c.path).c_str(), rc,
                    json_string(code_text(rc)).c_str());
    } else if (!g_printed && rc == TE_MOR_OK) {
        std::printf("%s\n", code_text(rc).c_str());
    }
    if (rc != TE_MOR_OK) {
        std::fprintf(stderr, "tectl %s: %s\n", c.path, code_text(rc).c_str());
    }
    const CodeName *name = lookup(rc);
    if (rc != TE_MOR_OK && name != nullptr && name->hint != nullptr) std::fprintf(stderr, "hint: %s\n", name->hint);
    return rc == TE_MOR_OK ? 0 : 1;
}

}  // namespace

int main(int argc, char **argv) {
    std::vector<std::string> pos;
    bool help = false, undo = false;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--help" || a == "-h") {
            help = true;
        } else if (a == "--json") {
            g_json = true;
        } else if (a == "--undo") {
            undo = true;
        } else if (a.size() > 1 && a[0] == '-' && a.find_first_not_of("0123456789", 1) != std::string::npos) {
            std::fprintf(stderr, "tectl: unknown option '%s'\n", a.c_str());
            list(stderr, {});
            return 2;
        } else {
            pos.push_back(a);
        }
    }
    // The command with the longest path that the words start with.
    const Command *cmd = nullptr;
    size_t used = 0;
    for (const Command &c : kCommands) {
        const auto w = words(c.path);
        if (w.size() > used && starts_with(pos, w)) {
            cmd = &c;
            used = w.size();
        }
    }
    if (cmd == nullptr) {
        // A level with no command of its own lists what lies below it.
        std::vector<std::string> prefix = pos;
        while (!prefix.empty()) {
            bool any = false;
            for (const Command &c : kCommands) {
                const auto w = words(c.path);
                any = any || (w.size() > prefix.size() && starts_with(w, prefix));
            }
            if (any) break;
            prefix.pop_back();
        }
        if (help && prefix.size() == pos.size()) {
            list(stdout, prefix);
            return 0;
        }
        if (prefix.size() < pos.size())
            std::fprintf(stderr, "tectl: unknown command '%s'\n", pos[prefix.size()].c_str());
        else if (!pos.empty())
            std::fprintf(stderr, "tectl: '%s' needs a subcommand\n", pos.back().c_str());
        list(stderr, prefix);
        return 2;
    }
    if (help) {
        std::printf("usage: %s\n  %s\n", synopsis(*cmd).c_str(), cmd->help);
        return 0;
    }
    const size_t given = pos.size() - used;
    size_t required = 0;
    for (const Arg &a : cmd->args) required += a.optional ? 0 : 1;
    Call call;
    call.op = undo ? TE_MOR_OP_UNDO : TE_MOR_OP_SET;
    std::string problem;
    if (undo && !cmd->undo) problem = "does not take --undo";
    else if (given < required || given > cmd->args.size()) problem = "takes " + std::to_string(required) + (required == cmd->args.size() ? "" : " to " + std::to_string(cmd->args.size())) + " argument(s), got " + std::to_string(given);
    for (size_t i = 0; problem.empty() && i < given; ++i)
        if (!parse_arg(cmd->args[i], pos[used + i], call))
            problem = "bad " + std::string(cmd->args[i].name) + " '" + pos[used + i] + "'";
    if (!problem.empty()) {
        std::fprintf(stderr, "tectl %s: %s\nusage: %s\n", cmd->path, problem.c_str(), synopsis(*cmd).c_str());
        return 2;
    }
    return report(*cmd, cmd->run(call));
}

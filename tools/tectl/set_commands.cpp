// The set commands. Each setter row of the library's families is a command,
// `tectl FAMILY NAME [KEY] [VALUE...] [--undo]`, its arguments read off the
// row: the key of a keyed row, then the value as the row encodes it. A row
// whose value is a record (or an item the setter builds itself) gets a small
// adapter here that builds it from the command's arguments; a record of
// plain numbers needs none, its fields are the arguments. Then the commands
// that are not rows: mpls-te on|off, service start|stop, trap on|off.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <span>
#include <string_view>

#include "config/setters.h"
#include "query/tables.h"
#include "tools/field_kinds.h"
#include "tools/tectl/tectl.h"

namespace tectl {
namespace {

using temor::Field;
using temor::Layout;
using temor::OpAt;
using temor::SetArgs;
using temor::SetterRow;
using temor::Value;
using temor::setters::kFamilies;

// ---- names and help --------------------------------------------------------

// The key of a keyed family, as the usage names it.
struct KeyName {
    const char *family;
    const char *name;
    const char *help;
};
constexpr KeyName kKeyNames[] = {
    {"interface", "IFINDEX", "interface index"},
    {"tunnel", "TNLID", "tunnel id"},
    {"bundle", "BUNDLE", "bundle id"},
};

// The name of a row's value and one line of help. A row without an entry
// still is a command: its value is VALUE and its help names class and tag.
struct RowText {
    const char *family;
    const char *name;
    const char *value;
    const char *help;
};
constexpr RowText kRowText[] = {
    {"global", "reoptimize", "", "start a reoptimization"},
    {"global", "reset-auto-bw", "", "reset automatic bandwidth"},
    {"global", "auto-bw", "VALUE", "automatic bandwidth value"},
    {"global", "bc-mode", "BYTES", "DS-TE bandwidth-constraint model"},
    {"global", "ds-te-mode", "MODE", "DS-TE mode"},
    {"global", "ietf-te-class", "BYTES", "IETF TE-class mapping"},
    {"global", "metric-type", "", "global metric type"},
    {"global", "flooding-timer", "SECONDS", "priority flooding timer"},
    {"global", "frr-timer", "SECONDS", "FRR timer"},
    {"global", "auto-tunnel", "", "automatic tunnels"},
    {"auto-backup", "removal-timer", "SECONDS", "removal timer of automatic backup tunnels"},
    {"auto-backup", "tunnel-id", "", "id range of automatic backup tunnels"},
    {"auto-backup", "nhop-only", "", "next-hop-only automatic backup tunnels"},
    {"interface", "te", "", "MPLS-TE on an interface"},
    {"interface", "admin-group", "GROUP", "administrative group of an interface"},
    {"interface", "max-bandwidth", "BANDWIDTH", "maximum link bandwidth"},
    {"interface", "max-reservable", "", "maximum reservable bandwidth"},
    {"interface", "mam", "", "MAM bandwidth constraints"},
    {"interface", "rdm", "", "RDM bandwidth constraints"},
    {"interface", "bw-thresholds", "BYTES", "bandwidth change thresholds"},
    {"interface", "metric", "METRIC", "TE metric of an interface"},
    {"interface", "frr-bypass", "TUNNEL", "FRR bypass tunnel of an interface"},
    {"interface", "auto-tunnel", "", "automatic tunnels on an interface"},
    {"interface", "max-bandwidth-percent", "PERCENT", "maximum link bandwidth in percent"},
    {"interface", "max-reservable-percent", "", "maximum reservable bandwidth in percent"},
    {"interface", "mam-percent", "", "MAM bandwidth constraints in percent"},
    {"interface", "rdm-percent", "", "RDM bandwidth constraints in percent"},
    {"bundle", "igp-advertise", "", "IGP advertising of a bundle"},
    {"bundle", "igp-metric", "", "IGP metric of a bundle"},
    {"bundle", "igp-shortcut", "VALUE", "IGP shortcut of a bundle (sent in this host's byte order)"},
    {"trap", "enable", "", "traps on (off with --undo)"},
    {"trap", "private", "MASK", "private trap mask"},
    {"debug", "set", "", "set (or undo) the daemon's debug switches"},
    {"tunnel", "create", "", "create a tunnel (word0 = TNLID, text = NAME)"},
    {"tunnel", "path", "", "primary path option of a tunnel (half0 = INDEX, rawBlock0 = NAME)"},
    {"tunnel", "backup-path", "", "backup path option of a tunnel (half0 = INDEX, rawBlock0 = NAME)"},
    {"tunnel", "reoptimize", "VALUE", "reoptimization of a tunnel"},
    {"tunnel", "backup", "MODE", "backup mode of a tunnel"},
    {"tunnel", "auto-bw", "", "automatic bandwidth (ENABLE 0 removes it)"},
    {"tunnel", "priority", "", "setup and holding priorities"},
    {"tunnel", "bandwidth", "", "bandwidth of a tunnel, with its selector"},
    {"tunnel", "resv-style", "STYLE", "reservation style (--undo only decides the check)"},
    {"tunnel", "signal-protocol", "PROTOCOL", "signalling protocol (--undo only decides the check)"},
    {"tunnel", "retry-times", "COUNT", "retry count (--undo only decides the check)"},
    {"tunnel", "retry-interval", "SECONDS", "retry interval (--undo only decides the check)"},
    {"tunnel", "affinity", "", "affinity (--undo only decides the check)"},
    {"tunnel", "frr", "VALUE", "fast reroute"},
    {"tunnel", "backup-bw", "", "backup bandwidth (ENABLE 1 sets, 0 removes)"},
    {"tunnel", "record-route", "VALUE", "record route"},
    {"tunnel", "loop-detection", "VALUE", "loop detection"},
    {"tunnel", "bidirectional", "", "bidirectional operation"},
    {"tunnel", "scrlsp", "BYTES", "Scrlsp record (16 bytes, given as text)"},
    {"tunnel", "route-pinning", "", "route pinning"},
    {"tunnel", "igp-advertise", "VALUE", "IGP advertising"},
    {"tunnel", "igp-metric", "", "IGP metric of a tunnel"},
    {"tunnel", "igp-shortcut", "VALUE", "IGP shortcut"},
    {"tunnel", "path-metric", "VALUE", "path metric"},
    {"tunnel", "ssrlsp", "", "Ssrlsp record"},
    {"tunnel", "service-class", "CLASS", "service class"},
    {"path", "create", "", "create an explicit path (delete with --undo)"},
    {"path", "disable", "", "disable an explicit path (enable again with --undo)"},
    {"path", "hop add", "", "add a hop to an explicit path (remove it with --undo)"},
    {"mib", "path-hop", "", "write a row of the explicit path hop table (remove with --undo)"},
    {"mib", "new-hop", "", "write a row of the new-hop table (remove with --undo)"},
};

// ---- adapters of record values ------------------------------------------------

// Room for any record a setter takes.
struct Record {
    alignas(8) uint8_t bytes[512] = {};
};
static_assert(sizeof(TeTunnelConfig) <= sizeof(Record));

struct AdapterArg {
    const char *name;
    ArgKind kind;
    uint16_t size;
    bool optional = false;
    const char *help = "";
};

// Builds the value from the adapter's own arguments (those after the key).
using Fill = void (*)(std::span<const Given>, SetArgs &, Record &);

struct Adapter {
    const char *family;
    const char *name;
    AdapterArg args[4];
    uint8_t count;
    Fill fill;
};

void copy_text(char *to, const Given &g) { std::memcpy(to, g.text.data(), g.text.size()); }

void tunnel_id_range(std::span<const Given> g, SetArgs &a, Record &r) {
    a.record = new (r.bytes) TeAutoBkpTunnelIdRange{static_cast<uint16_t>(g[0].number),
                                                    static_cast<uint16_t>(g[1].number)};
}

void debug_switches(std::span<const Given> g, SetArgs &a, Record &r) {
    auto *d = new (r.bytes) TeDebugInfo{};
    d->debugFlags = static_cast<uint32_t>(g[0].number);
    d->debugItem = static_cast<uint16_t>(g[1].number);
    a.record = d;
}

void tunnel_config(std::span<const Given> g, SetArgs &a, Record &r) {
    auto *t = new (r.bytes) TeTunnelConfig{};
    t->word0 = static_cast<uint32_t>(g[0].number);
    copy_text(t->text, g[1]);
    a.record = t;
}

void path_option(std::span<const Given> g, SetArgs &a, Record &r) {
    auto *o = new (r.bytes) TeTunnelPathOption{};
    o->half0 = static_cast<uint16_t>(g[0].number);
    copy_text(reinterpret_cast<char *>(o->rawBlock0), g[1]);
    a.record = o;
}

void igp_metric(std::span<const Given> g, SetArgs &a, Record &) {
    a.value = g[0].number;  // the selector (its low octet is sent)
    a.value2 = g[1].number;
}

// A hop table row: its three index words and its text; the rest zero.
void hop_row(std::span<const Given> g, SetArgs &a, Record &r) {
    auto *h = new (r.bytes) TeHopInfo{};
    h->index0 = static_cast<uint32_t>(g[0].number);
    h->index1 = static_cast<uint32_t>(g[1].number);
    h->index2 = static_cast<uint32_t>(g[2].number);
    if (g[3].present) copy_text(h->hopText, g[3]);
    a.record = h;
}

constexpr AdapterArg kHopRowArgs[] = {
    {"INDEX0", ArgKind::Number, 4, false, "first index word"},
    {"INDEX1", ArgKind::Number, 4, false, "second index word"},
    {"INDEX2", ArgKind::Number, 4, false, "third index word"},
    {"TEXT", ArgKind::Text, sizeof(TeHopInfo::hopText) - 1, true, "hop text (hopText)"},
};

constexpr AdapterArg kPathArgs[] = {
    {"INDEX", ArgKind::Number, 2, false, "path option index (half0)"},
    {"NAME", ArgKind::Text, sizeof(TeTunnelPathOption::rawBlock0) - 1, true, "path name (rawBlock0)"},
};

constexpr AdapterArg kMetricArgs[] = {
    {"SELECTOR", ArgKind::Number, 1, false, "selector (its octet is sent after the metric)"},
    {"METRIC", ArgKind::Number, 4, false, "IGP metric"},
};

constexpr Adapter kAdapters[] = {
    {"auto-backup", "tunnel-id",
     {{"LOW", ArgKind::Number, 2, false, "lowest id"}, {"HIGH", ArgKind::Number, 2, false, "highest id"}},
     2, tunnel_id_range},
    {"debug", "set",
     {{"FLAGS", ArgKind::Number, 4, false, "debugFlags"}, {"ITEM", ArgKind::Number, 2, false, "debugItem"}},
     2, debug_switches},
    {"tunnel", "create",
     {{"TNLID", ArgKind::Number, 4, false, "tunnel id (word0)"},
      {"NAME", ArgKind::Text, sizeof(TeTunnelConfig::text) - 1, true, "tunnel name (text)"}},
     2, tunnel_config},
    {"tunnel", "path", {kPathArgs[0], kPathArgs[1]}, 2, path_option},
    {"tunnel", "backup-path", {kPathArgs[0], kPathArgs[1]}, 2, path_option},
    {"bundle", "igp-metric", {kMetricArgs[0], kMetricArgs[1]}, 2, igp_metric},
    {"tunnel", "igp-metric", {kMetricArgs[0], kMetricArgs[1]}, 2, igp_metric},
    {"mib", "path-hop", {kHopRowArgs[0], kHopRowArgs[1], kHopRowArgs[2], kHopRowArgs[3]}, 4, hop_row},
    {"mib", "new-hop", {kHopRowArgs[0], kHopRowArgs[1], kHopRowArgs[2], kHopRowArgs[3]}, 4, hop_row},
};

constexpr const Adapter *adapter_of(std::string_view family, std::string_view name) {
    for (const Adapter &a : kAdapters)
        if (family == a.family && name == a.name) return &a;
    return nullptr;
}

constexpr bool has_adapter(std::string_view family, std::string_view name) {
    for (const Adapter &a : kAdapters)
        if (family == a.family && name == a.name) return true;
    return false;
}

// ---- values read off the row -----------------------------------------------------

// A record the command line can fill field by field: every field an argument
// of its own or left zero (fields::arg_shape), none of them text.
constexpr bool numeric(const Layout &l) {
    for (uint16_t f = 0; f < l.fieldCount; ++f)
        if (fields::arg_shape(l.fields[f]).input == fields::Input::Text) return false;
    return true;
}

// Whether the row's arguments follow from the row alone.
constexpr bool derived(const SetterRow &r) {
    switch (r.value) {
    case Value::Flag:
    case Value::Word:
    case Value::Half:
    case Value::Octet:
    case Value::OctetAt:
        return true;
    case Value::Raw:
        return r.length >= 1;
    case Value::HostOrder:
        return r.length == 1 || r.length == 2 || r.length == 4 || r.length == 8;
    case Value::Copy:
    case Value::InPlace:
        return numeric(*r.layout);
    default:
        return false;
    }
}

// (Rows without a call, which are no commands, pass as well. No pointer is
// compared with null here: some sanitizer builds cannot do that at compile
// time.)
consteval bool every_row_is_a_command() {
    for (const auto &family : kFamilies)
        for (const SetterRow &r : family.rows)
            if (!derived(r) && !has_adapter(family.word, r.name.view())) return false;
    return true;
}
static_assert(every_row_is_a_command(),
              "a setter row whose value is neither a number nor a record of numbers needs an "
              "adapter in kAdapters");

// One element of a numeric layout that an argument gives: its name, its
// field and where it lies.
struct Element {
    std::string name;
    const Field *field;
    uint16_t offset;
};

std::vector<Element> elements(const Layout &l) {
    std::vector<Element> out;
    for (uint16_t f = 0; f < l.fieldCount; ++f) {
        const Field &fd = l.fields[f];
        if (fields::arg_shape(fd).input == fields::Input::None) continue;
        for (uint16_t i = 0; i < fd.count; ++i)
            out.push_back({fields::element_name(fd, i), &fd, static_cast<uint16_t>(fd.offset + i * fd.stride)});
    }
    return out;
}

// The argument kind of an element given as in.
ArgKind arg_kind(fields::Input in) {
    switch (in) {
    case fields::Input::Bytes:
        return ArgKind::Bytes;
    case fields::Input::Text:
        return ArgKind::Text;
    case fields::Input::Number:
    case fields::Input::None:
        break;
    }
    return ArgKind::Number;
}

std::string upper(std::string_view camel) {
    std::string out;
    for (const char ch : camel) {
        if (ch >= 'A' && ch <= 'Z' && !out.empty()) out += '_';
        out += static_cast<char>(ch >= 'a' && ch <= 'z' ? ch - 'a' + 'A' : ch);
    }
    return out;
}

Arg arg(const AdapterArg &s) { return {s.name, s.kind, s.size, s.optional, s.help}; }

// The value's arguments of a row without an adapter.
std::vector<Arg> value_args(const SetterRow &r, const char *name, const std::string &help) {
    switch (r.value) {
    case Value::Flag:
        return {};
    case Value::Word:
        return {{name, ArgKind::Number, 4, false, help}};
    case Value::Half:
        return {{name, ArgKind::Number, 2, false, help}};
    case Value::Octet:
    case Value::OctetAt:
        return {{name, ArgKind::Number, 1, false, help}};
    case Value::Raw:  // up to 8 bytes as one number; a longer run as text
        return {{name, r.length <= 8 ? ArgKind::Bytes : ArgKind::Text, r.length, false, help}};
    case Value::HostOrder:
        return {{name, ArgKind::Number, r.length, false, help}};
    default: {
        std::vector<Arg> out;
        for (const Element &e : elements(*r.layout)) {
            const fields::ArgShape shape = fields::arg_shape(*e.field);
            out.push_back({upper(e.name), arg_kind(shape.input), shape.size, false, e.name});
        }
        return out;
    }
    }
}

// Puts the value's arguments where the row's call takes them.
void fill_value(const SetterRow &r, std::span<const Given> g, SetArgs &a, Record &rec) {
    switch (r.value) {
    case Value::Flag:
        break;
    case Value::OctetAt:
        rec.bytes[0] = static_cast<uint8_t>(g[0].number);
        a.record = rec.bytes;
        break;
    case Value::Raw:
        if (r.length <= 8)
            std::memcpy(rec.bytes, g[0].bytes, r.length);
        else
            std::memcpy(rec.bytes, g[0].text.data(), std::min<size_t>(g[0].text.size(), r.length));
        a.record = rec.bytes;
        break;
    case Value::Copy:
    case Value::InPlace: {
        size_t i = 0;
        for (const Element &e : elements(*r.layout)) {
            const Given &given = g[i++];
            const fields::ArgShape shape = fields::arg_shape(*e.field);
            if (shape.input == fields::Input::Bytes)
                std::memcpy(rec.bytes + e.offset, given.bytes, shape.size);
            else
                fields::put_number(*e.field, rec.bytes + e.offset, given.number, fields::Image::Record);
        }
        a.record = rec.bytes;
        break;
    }
    default:
        a.value = g[0].number;
    }
}

Command row_command(const char *family, const SetterRow &r) {
    const std::string_view name = r.name.view();
    const Adapter *adapter = adapter_of(family, name);
    const RowText *text = nullptr;
    for (const RowText &t : kRowText)
        if (std::string_view(family) == t.family && name == t.name) text = &t;

    Command c;
    // A row keyed by a path name is `FAMILY NAME WORDS...`, its name's words
    // split at blanks ("hop add").
    const bool named = r.keyed && (r.keyItem == temor::KeyItem::Name || r.keyItem == temor::KeyItem::NamePrefix);
    c.words = {family};
    if (named) c.words.push_back("NAME");
    for (size_t at = 0; at <= name.size();) {
        const size_t blank = std::min(name.find(' ', at), name.size());
        c.words.emplace_back(name.substr(at, blank - at));
        at = blank + 1;
    }
    c.undo = r.opAt != OpAt::None;
    if (text != nullptr) {
        c.help = text->help;
    } else {
        char help[64];
        std::snprintf(help, sizeof help, "setting of class %u, tag %u", r.cls, r.tag);
        c.help = help;
    }
    if (named) {
        c.args.push_back({"NAME", ArgKind::Text, temor::tables::kPathNameSize - 1, false, "path name"});
    } else if (r.keyed && r.keyItem == temor::KeyItem::Id) {
        Arg key{"KEY", ArgKind::Number, 4, false, "key of the object"};
        for (const KeyName &k : kKeyNames)
            if (std::string_view(family) == k.family) key = {k.name, ArgKind::Number, 4, false, k.help};
        c.args.push_back(key);
    }
    if (adapter != nullptr) {
        for (uint8_t i = 0; i < adapter->count; ++i) c.args.push_back(arg(adapter->args[i]));
    } else {
        const char *value = text != nullptr && *text->value ? text->value : "VALUE";
        for (Arg &a : value_args(r, value, c.help)) c.args.push_back(std::move(a));
    }
    c.run = [&r, adapter, named](const Call &call) {
        SetArgs a;
        a.op = call.op;
        std::span<const Given> g(call.args);
        if (named) {
            a.name = g[0].text.c_str();
            g = g.subspan(1);
        } else if (r.keyed && r.keyItem == temor::KeyItem::Id) {
            a.key = static_cast<uint32_t>(g[0].number);
            g = g.subspan(1);
        }
        Record rec;
        if (adapter != nullptr) adapter->fill(g, a, rec);
        else fill_value(r, g, a, rec);
        return Outcome{timed([&] { return r.call(r, a); })};
    };
    return c;
}

// The row of a family by name; a misspelt name does not compile.
consteval const SetterRow &row_of(std::string_view family, std::string_view name) {
    for (const auto &f : kFamilies)
        for (const SetterRow &r : f.rows)
            if (family == f.word && name == r.name.view()) return r;
    throw "no such setter row";
}

// Runs call with standard output sent to standard error, so that what the
// library prints there stays out of a JSON document.
uint32_t with_stdout_on_stderr(uint32_t (*call)(uint32_t), uint32_t arg) {
    std::fflush(stdout);
    const int saved = dup(STDOUT_FILENO);
    if (saved < 0 || dup2(STDERR_FILENO, STDOUT_FILENO) < 0) {
        if (saved >= 0) close(saved);
        return timed([&] { return call(arg); });
    }
    const uint32_t rc = timed([&] { return call(arg); });
    std::fflush(stdout);
    dup2(saved, STDOUT_FILENO);
    close(saved);
    return rc;
}

Outcome mpls_te_off(const Call &) {
    // The library says "Stopping service, please wait..." (no line end) on
    // standard output once the teardown is done.
    if (g_json) {
        const uint32_t rc = with_stdout_on_stderr(TE_MOR_SetMplsTe, 1);
        if (rc == TE_MOR_OK) std::fputc('\n', stderr);
        return {rc};
    }
    const uint32_t rc = timed([] { return TE_MOR_SetMplsTe(1); });
    if (rc == TE_MOR_OK) std::printf("\n");
    return {rc};
}

// trap on / trap off: the 'enable' row with op 0 or 1.
Command trap_switch(const char *word, uint32_t op) {
    const SetterRow &r = row_of("trap", "enable");
    static_assert(row_of("trap", "enable").opAt != OpAt::None);
    return {{"trap", word}, {}, false, true, std::string("traps ") + word + " (trap enable" +
                                                   (op ? " --undo)" : ")"),
            [&r, op](const Call &) {
                SetArgs a;
                a.op = op;
                return Outcome{timed([&] { return r.call(r, a); })};
            }};
}

}  // namespace

std::vector<Command> set_commands() {
    std::vector<Command> out = {
        {{"mpls-te", "on"}, {}, false, false, "switch MPLS-TE on (starts the TE and PCE services)",
         [](const Call &) { return Outcome{TE_MOR_SetMplsTe(0)}; }},
        {{"mpls-te", "off"}, {}, false, true, "switch MPLS-TE off (daemon teardown, then stops TE)",
         mpls_te_off},
        {{"service", "start"}, {}, false, false, "start the TE service where it is needed",
         [](const Call &) { return Outcome{TE_MOR_StartService()}; }},
        {{"service", "stop"}, {{"NAME", ArgKind::Text, 255, false, "service name"}}, false, false,
         "stop a service on every node",
         [](const Call &c) { return Outcome{TE_MOR_StopService(c.args[0].text.c_str())}; }},
    };
    for (const auto &family : kFamilies)
        for (const SetterRow &r : family.rows)
            if (r.call != nullptr) out.push_back(row_command(family.word, r));
    out.push_back(trap_switch("on", TE_MOR_OP_SET));
    out.push_back(trap_switch("off", TE_MOR_OP_UNDO));
    // path NAME delete: the create row with op 1.
    for (const Command &c : out) {
        if (c.words != std::vector<std::string>{"path", "NAME", "create"}) continue;
        Command del = c;
        del.words.back() = "delete";
        del.undo = false;
        del.help = "delete an explicit path (path NAME create --undo)";
        del.run = [create = c.run](const Call &call) {
            Call undo = call;
            undo.op = TE_MOR_OP_UNDO;
            return create(undo);
        };
        out.push_back(std::move(del));
        break;
    }
    return out;
}

}  // namespace tectl

// The reading commands. Each table of tables::kEntryPoints is walked with
// its first and next functions (kShows); the descriptor gives the record's
// fields (the columns), the key of the next request and the socket, and
// kExtras what a table shows differently. Then the counters, status, and the
// debug and trap state.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <string_view>
#include <unordered_set>

#include "config/setters.h"
#include "messaging/bytes.h"
#include "query/tables.h"
#include "tools/field_kinds.h"
#include "tools/p2mp_image.h"
#include "tools/sim_report.h"
#include "tools/tectl/tectl.h"

namespace tectl {
namespace {

using temor::Field;
using temor::Layout;
using temor::tables::Table;

// A walk that has not ended after this many rows is stopped.
constexpr size_t kRowCap = 1000000;

// ---- records as JSON objects ---------------------------------------------------

using fields::hex;
using fields::Place;
using fields::place;

// Elements of f that hold values: a count read from the record bounds them.
uint16_t valid(const Field &f, const uint8_t *rec) {
    return f.countAt >= 0 && rec[f.countAt] < f.count ? rec[f.countAt] : f.count;
}

Json element(const Field &f, const uint8_t *p, bool asText) {
    const fields::Printed v = fields::print(f, p, fields::Image::Record, asText);
    if (v.isNumber) return v.number;
    return v.text;
}

// A host-order record as an object, field by field. Byte runs print as hex
// unless named in text; an array of objects holds only the elements every
// member of it has values for.
Json decode(const Layout &l, const uint8_t *rec, const std::vector<std::string_view> &text) {
    Json out = Json::object();
    std::vector<std::pair<std::string, uint16_t>> limits;  // array of objects -> elements
    for (uint16_t f = 0; f < l.fieldCount; ++f) {
        const Place p = place(l.fields[f]);
        if (p.member.empty()) continue;
        auto it = std::find_if(limits.begin(), limits.end(), [&](auto &e) { return e.first == p.key; });
        const uint16_t n = valid(l.fields[f], rec);
        if (it == limits.end()) limits.emplace_back(p.key, n);
        else it->second = std::min(it->second, n);
    }
    for (uint16_t f = 0; f < l.fieldCount; ++f) {
        const Field &fd = l.fields[f];
        if (!fields::is_named(fd.kind)) continue;  // padding, not a field
        const Place p = place(fd);
        bool asText = false;
        for (std::string_view t : text) asText = asText || t == fd.name;
        auto at = [&](uint16_t i) { return element(fd, rec + fd.offset + i * fd.stride, asText); };
        if (p.numbered) {
            for (uint16_t i = 0; i < fd.count; ++i) out[p.key + std::to_string(fd.first + i)] = at(i);
        } else if (!p.array) {
            out[p.key] = at(0);
        } else if (p.member.empty()) {
            Json a = Json::array();
            for (uint16_t i = 0; i < valid(fd, rec); ++i) a.push_back(at(i));
            out[p.key] = a;
        } else {
            uint16_t n = 0;
            for (const auto &e : limits)
                if (e.first == p.key) n = e.second;
            Json &a = out[p.key];
            if (a.is_null()) a = Json::array();
            for (uint16_t i = 0; i < n; ++i) {
                if (a.size() <= i) a.push_back(Json::object());
                a[i][p.member] = at(i);
            }
        }
    }
    return out;
}

// ---- table walks -------------------------------------------------------------------

// A table with a list (Table::list): the list of a record just read as an
// array of objects, the library's array then freed.
using TakeList = Json (*)(void *record);

// What a table's walk shows beyond its record's fields, where it differs
// from every field as its layout names it.
struct Extras {
    std::vector<std::string_view> text;  // byte runs that hold text
    std::vector<std::string> columns;    // text output: the keys shown (none: every key)
    TakeList list = nullptr;
};

struct Show {
    const Table &table;
    temor::tables::Call first;
    temor::tables::Call next;  // nullptr: a table of one record
    const char *help;
    Extras extras;
};

// The list of record R (entries: its member pointing to the array), whose
// count lies where T's list says; each entry decoded by the list's layout.
template <const Table &T, class R, auto Entries>
Json take_list(void *record) {
    R &r = *static_cast<R *>(record);
    uint32_t count;
    std::memcpy(&count, static_cast<const uint8_t *>(record) + T.list->countAt, sizeof count);
    Json a = Json::array();
    const auto *entry = reinterpret_cast<const uint8_t *>(r.*Entries);
    for (uint32_t i = 0; entry != nullptr && i < count; ++i)
        a.push_back(decode(*T.list->entry, entry + size_t{i} * sizeof *(r.*Entries), {}));
    std::free(r.*Entries);
    r.*Entries = nullptr;
    return a;
}

// A walk ends at these codes rather than failing.
bool end_of_table(uint32_t rc) { return rc == TE_MOR_ERR_NOT_FOUND || rc == 0x40010006u; }

// "7.0.0.0": a key as its 32-bit words (a 16-bit key as its number).
std::string key_text(const std::string &key) {
    if (key.size() == 2) {
        uint16_t h;
        std::memcpy(&h, key.data(), 2);
        return std::to_string(h);
    }
    std::string out;
    for (size_t i = 0; i + 4 <= key.size(); i += 4) {
        uint32_t w;
        std::memcpy(&w, key.data() + i, 4);
        out += (i ? "." : "") + std::to_string(w);
    }
    return out;
}

Outcome walk(const Show &s) {
    const Table &t = s.table;
    int sock = -1;
    if (t.socket == temor::tables::Socket::Held) {
        sock = TE_MOR_LIPCOpen();
        if (sock < 0) return {TE_MOR_ERR_IPC_OPEN};
    }
    auto records = std::make_shared<std::vector<uint8_t>>();  // the rows' records, in order
    auto lists = std::make_shared<std::vector<Json>>();       // and their lists
    std::vector<uint64_t> current((t.recordSize + 7) / 8), previous(current.size());
    auto *cur = reinterpret_cast<uint8_t *>(current.data());
    std::unordered_set<std::string> keys;
    Outcome o;
    size_t n = 0;
    uint32_t rc = timed([&] { return s.first(sock, nullptr, cur); });
    while (rc == TE_MOR_OK) {
        if (s.extras.list != nullptr) lists->push_back(s.extras.list(cur));
        uint8_t keyBytes[16];
        const std::string key(reinterpret_cast<const char *>(keyBytes), temor::tables::row_key(t, cur, keyBytes));
        if (s.next != nullptr && !keys.insert(key).second) {
            o.problem = "the daemon answered key " + key_text(key) + " a second time (row " +
                        std::to_string(n + 1) + "); the walk is stopped";
            rc = TE_MOR_ERR_FAIL;
            break;
        }
        if (n == kRowCap) {
            o.problem = "more than " + std::to_string(kRowCap) + " rows; the walk is stopped";
            rc = TE_MOR_ERR_FAIL;
            break;
        }
        records->insert(records->end(), cur, cur + t.recordSize);
        ++n;
        if (s.next == nullptr) break;
        std::swap(current, previous);
        cur = reinterpret_cast<uint8_t *>(current.data());
        std::fill(current.begin(), current.end(), 0);
        rc = timed([&] { return s.next(sock, reinterpret_cast<uint8_t *>(previous.data()), cur); });
    }
    if (sock >= 0) TE_MOR_LIPCClose(sock);
    o.rc = s.next != nullptr && end_of_table(rc) ? TE_MOR_OK : rc;
    const Layout &layout = *t.record;
    const size_t size = t.recordSize;
    o.rows = Rows{n,
                  [records, lists, &layout, size, text = s.extras.text, list = t.list](size_t i) {
                      Json row = decode(layout, records->data() + i * size, text);
                      if (i < lists->size()) row[list->name] = (*lists)[i];
                      return row;
                  },
                  s.extras.columns};
    return o;
}

using namespace temor::tables;

const std::vector<std::string> kTunnelColumns = {"word0", "word1", "word2",     "word3",
                                                 "word4", "raw_block", "half2", "half3"};

// What the walks of the tables show beyond every field of the record.
const std::pair<const Table *, Extras> kExtras[] = {
    {&kTunnels, {{"rawBlock"}, kTunnelColumns}},
    {&kTunnelsById, {{"rawBlock"}, kTunnelColumns}},
    {&kBwAlloc,
     {{},
      {"word0", "word1", "word2", "word3", "word4", "word5", "entry_count", "entries.entry_value_a",
       "entries.entry_value_b"}}},
    {&kDsteTable, {{}, {"dste_word0", "dste_word1", "dste_word2"}}},
    {&kIfConfigTable, {{}, {"if_index", "config_value"}}},
    {&kSrMappings,
     {{},
      {"word0", "half0", "entry_count", "entries.half0", "entries.half1"},
      take_list<kSrMappings, TeSrMappingList, &TeSrMappingList::entries>}},
    {&kTunIntfs, {{}, {"half0", "half1", "word0", "word1", "word2", "word3", "word4"}}},
    {&kTePaths, {{"rawBlock"}, {"word0", "word1", "word2", "half0", "raw_block"}}},
    {&kPathHops, {{}, {"index0", "index1", "hop_half0", "hop_byte0", "hop_text"}}},
    {&kNewHops, {{}, {"index0", "index1", "index2", "hop_byte0", "hop_text"}}},
};

// Tables read by commands of their own (below) rather than walked.
const Table *const kOwnCommand[] = {&kP2mpIntfs, &kP2mpDests};

// A walk for each table of kEntryPoints, with its first and next functions
// and its help: a new table needs nothing here.
const std::vector<Show> kShows = [] {
    std::vector<Show> out;
    for (const EntryPoints &e : kEntryPoints) {
        if (std::find(std::begin(kOwnCommand), std::end(kOwnCommand), e.table) != std::end(kOwnCommand))
            continue;
        Extras extras;
        for (const auto &[table, x] : kExtras)
            if (table == e.table) extras = x;
        out.push_back({*e.table, e.first.call, e.next.call, e.help, std::move(extras)});
    }
    return out;
}();

// The help line of a table's command.
const char *help_of(const Table &t) {
    for (const EntryPoints &e : kEntryPoints)
        if (e.table == &t) return e.help;
    return "";
}

// ---- P2MP tunnel interfaces and destination lists ------------------------------------

// The destinations a call wrote, as objects.
Json dest_rows(const TeP2mpDest *dests, size_t n) {
    Json out = Json::array();
    for (size_t i = 0; i < n; ++i)
        out.push_back(decode(kP2mpDest, reinterpret_cast<const uint8_t *>(&dests[i]), {}));
    return out;
}

// A P2MP tunnel interface row: the first item's fields as its layout names
// them, then destsReturned and the destinations.
Json p2mp_row(const TeP2mpTunIntfInfo &r, const TeP2mpDest *dests) {
    uint8_t image[kP2mpIntfImageSize];
    tools::p2mp_image(r, image);
    Json row = decode(kP2mpIntf, image, {});
    row["dests_returned"] = r.destsReturned;
    row["dests"] = dest_rows(dests, r.destCount == 0 ? 0 : r.destsReturned);
    return row;
}

// Walks the P2MP tunnel interfaces on one socket by half0, each row with the
// destinations its reply listed.
Outcome p2mp_interfaces(const Call &) {
    const int sock = TE_MOR_LIPCOpen();
    if (sock < 0) return {TE_MOR_ERR_IPC_OPEN};
    std::vector<Json> rows;
    std::unordered_set<uint16_t> keys;
    auto dests = std::make_unique<TeP2mpDest[]>(TE_MOR_P2MP_DEST_MAX);
    TeP2mpTunIntfInfo r{};
    r.dests = dests.get();
    Outcome o;
    uint32_t rc = timed([&] { return TE_MOR_GetFirstP2mpTunIntf(sock, &r); });
    while (rc == TE_MOR_OK) {
        if (!keys.insert(r.half0).second) {
            o.problem = "the daemon answered key " + std::to_string(r.half0) + " a second time (row " +
                        std::to_string(rows.size() + 1) + "); the walk is stopped";
            rc = TE_MOR_ERR_FAIL;
            break;
        }
        rows.push_back(p2mp_row(r, dests.get()));
        const uint16_t key = r.half0;
        r = TeP2mpTunIntfInfo{};
        r.dests = dests.get();
        rc = timed([&] { return TE_MOR_GetNextP2mpTunIntf(sock, key, &r); });
    }
    TE_MOR_LIPCClose(sock);
    o.rc = end_of_table(rc) ? TE_MOR_OK : rc;
    o.rows = rows_of(std::move(rows), {"word0", "word1", "half0", "half1", "dest_count", "dests.dest_word"});
    return o;
}

// The destination list of one interface key and selector.
Outcome p2mp_dests(const Call &c) {
    const auto key = static_cast<uint16_t>(c.args[0].number);
    const auto selector = static_cast<uint32_t>(c.args[1].number);
    const int sock = TE_MOR_LIPCOpen();
    if (sock < 0) return {TE_MOR_ERR_IPC_OPEN};
    auto dests = std::make_unique<TeP2mpDest[]>(TE_MOR_P2MP_DEST_MAX);
    uint32_t count = 0;
    const uint32_t rc = timed([&] { return TE_MOR_GetP2mpTunDestAddr(sock, key, selector, &count, dests.get()); });
    TE_MOR_LIPCClose(sock);
    if (rc != TE_MOR_OK) return {rc};
    std::vector<Json> rows;
    for (const Json &d : dest_rows(dests.get(), count)) rows.push_back(d);
    return {rc, "", rows_of(std::move(rows), {"dest_word", "dest_bytes"})};
}


// ---- explicit paths ------------------------------------------------------------------

// An explicit path as a row: its name, flag, hop count and hops. half0
// arrives in network byte order and is shown as its number.
Json path_row(const TeExpathReply &r) {
    Json hops = Json::array();
    for (uint16_t i = 0; r.hops != nullptr && i < r.hopCount; ++i) {
        const TeExpathHop &h = r.hops[i];
        hops.push_back({{"word0", h.word0}, {"word1", h.word1}, {"byte0", h.byte0}, {"word2", h.word2},
                        {"byte1", h.byte1}, {"half0", temor::get_be16(reinterpret_cast<const uint8_t *>(&h.half0))}});
    }
    return {{"name", r.name != nullptr ? r.name : ""}, {"path_flag", r.pathFlag}, {"hop_count", r.hopCount},
            {"hops", hops}};
}

const std::vector<std::string> kPathColumns = {"name",       "path_flag",  "hop_count",  "hops.word0", "hops.word1",
                                               "hops.byte0", "hops.word2", "hops.byte1", "hops.half0"};

// One explicit path by name, or every path in the daemon's order, on one
// socket. Each reply is released once its row is made.
Outcome paths(const std::string *name) {
    const int sock = TE_MOR_LIPCOpen();
    if (sock < 0) return {TE_MOR_ERR_IPC_OPEN};
    std::vector<Json> rows;
    std::unordered_set<std::string> seen;
    Outcome o;
    std::string last;
    uint32_t rc = TE_MOR_OK;
    while (rc == TE_MOR_OK) {
        TeExpathReply r{};
        rc = timed([&] {
            return name != nullptr ? TE_MOR_GetExpath(sock, name->c_str(), &r)
                   : rows.empty()  ? TE_MOR_GetFirstExpath(sock, &r)
                                   : TE_MOR_GetNextExpath(sock, last.c_str(), &r);
        });
        if (rc != TE_MOR_OK) break;
        rows.push_back(path_row(r));
        last = r.name != nullptr ? r.name : "";
        TE_MOR_FreeExpathReply(&r);
        if (name != nullptr) break;
        if (!seen.insert(last).second || last.empty() || last.size() >= temor::tables::kPathNameSize) {
            o.problem = "the daemon answered path '" + last + "', which cannot lead to the next one; the walk is stopped";
            rc = TE_MOR_ERR_FAIL;
        }
    }
    TE_MOR_LIPCClose(sock);
    o.rc = name == nullptr && end_of_table(rc) ? TE_MOR_OK : rc;
    o.rows = rows_of(std::move(rows), kPathColumns);
    return o;
}

// ---- the other reading commands -------------------------------------------------------

// The counters one after another; a failed exchange ends the command there
// (the next one would most likely wait as long again).
Outcome counters(const Call &) {
    std::vector<Json> rows;
    Outcome o;
    for (const Scalar &s : kScalars) {
        uint32_t v = 0;
        const uint32_t rc = timed([&] { return s.read(&v); });
        if (o.rc == TE_MOR_OK) o.rc = rc;
        if (rc == TE_MOR_ERR_IPC_OPEN || rc == TE_MOR_ERR_FAIL) break;
        rows.push_back({{"counter", s.name}, {"value", rc == TE_MOR_OK ? Json(v) : Json(code_text(rc))}});
    }
    o.rows = rows_of(std::move(rows));
    return o;
}

Outcome status(const Call &) {
    const bool on = TE_MOR_IsTeGlobalEnable() == 1;
    uint32_t tunnels = 0;
    const uint32_t rc = timed([&] { return TE_MOR_GetTunnelConfigured(&tunnels); });
    const char *name = code_name(rc);
    Json row = {{"mpls_te", on ? "on" : "off"},
                {"daemon", rc == TE_MOR_OK ? "answering" : name ? name : code_text(rc)},
                {"tunnels", rc == TE_MOR_OK ? Json(tunnels) : Json()}};
    return {rc, "", rows_of({row})};
}

Outcome debug_show(const Call &) {
    // Without a socket the library reports success and leaves the record as
    // it was: find that out first.
    if (!daemon_listening()) return {TE_MOR_ERR_IPC_OPEN};
    TeDebugInfo d{};
    const uint32_t rc = timed([&] { return TE_MOR_GetTeDebug(&d); });
    if (rc != TE_MOR_OK) return {rc};
    Json row = decode(kDebug, reinterpret_cast<const uint8_t *>(&d), {});
    return {rc, "", rows_of({row}, {"debug_flags", "debug_item"})};
}

Outcome trap_show(const Call &) {
    uint32_t state = 0;
    uint16_t capability = 0;
    uint32_t rc = timed([&] { return TE_MOR_GetTunnelNotifyEnable(&state); });
    if (rc == TE_MOR_OK) rc = timed([&] { return TE_GetTrapCapability(&capability); });
    if (rc != TE_MOR_OK) return {rc};
    return {rc, "", rows_of({{{"notify", state}, {"capability", capability}}})};
}

// ---- the simulator's settings ------------------------------------------------------

// Byte runs of the settings' records that the command line fills from text
// (tunnel path NAME).
const std::vector<std::string_view> kSettingText = {"rawBlock0"};

// A setting's value as its row sent it: numbers big-endian, records as their
// wire image.
Json setting_value(const temor::SetterRow &r, const uint8_t *v, size_t n) {
    using temor::Value;
    switch (r.value) {
    case Value::Flag:
        return "on";
    case Value::Word:
        if (n >= 4) return temor::get_be32(v);
        break;
    case Value::Half:
        if (n >= 2) return temor::get_be16(v);
        break;
    case Value::Octet:
    case Value::OctetAt:
        if (n >= 1) return v[0];
        break;
    case Value::Copy:
    case Value::InPlace:
    case Value::Raw:     // by field where the row describes them
    case Value::Custom:
        if (r.layout != nullptr && n == r.layout->size) {
            std::vector<uint8_t> rec(v, v + n);
            temor::swap_fields(rec.data(), *r.layout);
            return decode(*r.layout, rec.data(), kSettingText);
        }
        break;
    default:
        break;
    }
    return hex(v, n);
}

// The object a keyed setting belongs to: a 32-bit number, or a name.
Json setting_key(const uint8_t *k, size_t n) {
    if (n == 0) return nullptr;
    if (n == 4) return temor::get_be32(k);
    return std::string(reinterpret_cast<const char *>(k), strnlen(reinterpret_cast<const char *>(k), n));
}

// Whether a setting's key is the KEY given: the same number (5 or 0x5), or
// the same name.
bool key_matches(const Json &key, const std::string &given) {
    if (key.is_string()) return key.get<std::string>() == given;
    const fields::Number n = fields::read_number(given, ~0ull);
    return key.is_number() && n.error == fields::Number::Error::None && key.get<uint64_t>() == n.value;
}

// FAMILY names a family of setters, and KEY is that family's kind of key:
// a number for the families keyed by an id, a name for paths.
std::string settings_check(const Given &family, const Given &key) {
    if (!family.present) return "";
    using temor::KeyItem;
    std::string families;  // ", global, auto-backup..."
    bool known = false, byId = false, byName = false;
    for (const temor::Family &f : temor::setters::kFamilies) {
        const std::string listed = std::string(", ") + f.word;
        if ((families + ",").find(listed + ",") == std::string::npos) families += listed;
        if (family.text != f.word) continue;
        known = true;
        for (const temor::SetterRow &r : f.rows) {
            byId = byId || (r.keyed && r.keyItem == KeyItem::Id);
            byName = byName || (r.keyed && (r.keyItem == KeyItem::Name || r.keyItem == KeyItem::NamePrefix));
        }
    }
    if (!known) return "FAMILY must be one of " + families.substr(2) + " (not '" + family.text + "')";
    if (!key.present) return "";
    if (!byId && !byName) return "the " + family.text + " settings have no KEY";
    if (key.text.empty()) return "KEY must not be empty";
    if (!byName && fields::read_number(key.text, 0xffffffffu).error != fields::Number::Error::None)
        return "KEY of " + family.text + " settings must be a number 0..4294967295, decimal or 0x hex (not '" +
               key.text + "')";
    return "";
}

// What te-simd holds, asked for page by page (tools/sim_report.h).
Outcome settings_show(const Call &call) {
    const Given &family = call.args[0], object = call.args[1];
    namespace rp = sim::report;
    std::vector<Json> rows;
    size_t asked = 0;  // settings received so far
    const int sock = TE_MOR_LIPCOpen();
    if (sock < 0) return {TE_MOR_ERR_IPC_OPEN};
    uint32_t rc = TE_MOR_OK;
    for (;;) {
        uint8_t req[16] = {rp::kSettingsClass, rp::kSettingsOp, 0, 8, 0, 0, 0, 0,
                           rp::kSettingTag >> 8, rp::kSettingTag & 0xff, 0, 4};
        temor::put_be32(req + 12, static_cast<uint32_t>(asked));
        uint8_t reply[TE_MOR_MSG_MAX];
        rc = timed([&] { return TE_MOR_SendMsg(sock, req, sizeof req, reply); });
        if (rc != TE_MOR_OK) break;
        const size_t payload = temor::get_be16(reply + 2);
        size_t at = 8, found = 0;
        while (at + 4 <= 8 + payload) {
            const size_t len = temor::get_be16(reply + at + 2);
            const uint8_t *e = reply + at + 4;
            at += 4 + len;
            if (at > 8 + payload || len < rp::kEntryHead || rp::kEntryHead + e[3] > len) break;
            ++found;
            const uint16_t tag = temor::get_be16(e + 1);
            const uint8_t *value = e + rp::kEntryHead + e[3];
            const size_t valueLength = len - rp::kEntryHead - e[3];
            Json row = {{"setter", nullptr}, {"key", setting_key(e + rp::kEntryHead, e[3])}, {"value", nullptr}};
            for (const temor::Family &f : temor::setters::kFamilies)
                for (const temor::SetterRow &r : f.rows)
                    if (r.cls == e[0] && r.tag == tag) {
                        row["setter"] = std::string(f.word) + " " + std::string(r.name.view());
                        row["value"] = setting_value(r, value, valueLength);
                    }
            if (row["setter"].is_null()) {
                row["setter"] = "class " + std::to_string(e[0]) + " tag " + std::to_string(tag);
                row["value"] = hex(value, valueLength);
            }
            const std::string setter = row["setter"];
            if (family.present && setter.substr(0, setter.find(' ')) != family.text) continue;
            if (object.present && !key_matches(row["key"], object.text)) continue;
            rows.push_back(std::move(row));
        }
        if (found == 0) break;
        asked += found;
    }
    TE_MOR_LIPCClose(sock);
    if (rc != TE_MOR_OK && rc != TE_MOR_ERR_FAIL)
        return {rc, "the daemon does not report its settings (te-simd does)"};
    if (rc != TE_MOR_OK) return {rc};
    return {rc, "", rows_of(std::move(rows), {"setter", "key", "value"})};
}

}  // namespace

std::vector<Command> show_commands() {
    std::vector<Command> out = {
        {{"status"}, {}, false, true, "MPLS-TE state, daemon reachability, tunnel count", status},
        {{"debug", "show"}, {}, false, true, "read the daemon's debug switches", debug_show},
        {{"trap", "show"}, {}, false, true, "tunnel notification state and trap capability", trap_show},
    };
    for (const Show &s : kShows)
        out.push_back({{"show", s.table.name}, {}, false, true, s.help,
                       [&s](const Call &) { return walk(s); }});
    out.push_back({{"show", kP2mpIntfs.name}, {}, false, true, help_of(kP2mpIntfs), p2mp_interfaces});
    out.push_back({{"show", kP2mpDests.name},
                   {{"KEY", ArgKind::Number, 2, false, "interface key (not 0xffff)"},
                    {"SELECTOR", ArgKind::Number, 4, false, "selector (not 0)"}},
                   false, true, help_of(kP2mpDests), p2mp_dests, [](const Call &c) -> std::string {
                       if (c.args[0].number == kP2mpIntfs.refusedKey) return "KEY cannot be 0xffff";
                       return c.args[1].number == 0 ? "SELECTOR cannot be 0" : "";
                   }});
    out.push_back({{"show", "counters"}, {}, false, true, "tunnel counters and next free indexes", counters});
    // `tectl interface show [3]`: the same, for one keyed family.
    for (const char *family : {"interface", "tunnel", "bundle"})
        out.push_back({{family, "show"},
                       {{"KEY", ArgKind::Text, 32, true, std::string("only this ") + family + "'s settings"}},
                       false, true, std::string("what te-simd holds for each ") + family + " (te-simd only)",
                       [family](const Call &c) {
                           Call all = c;
                           all.args.insert(all.args.begin(), Given{true, family});
                           return settings_show(all);
                       },
                       [family](const Call &c) { return settings_check({true, family}, c.args[0]); }});
    out.push_back({{"show", "settings"},
                   {{"FAMILY", ArgKind::Text, 16, true, "only this family's settings (global, interface, tunnel...)"},
                    {"KEY", ArgKind::Text, 32, true, "only those of this interface, tunnel, bundle or path"}},
                   false, true, "what te-simd holds of every setter (te-simd only)", settings_show,
                   [](const Call &c) { return settings_check(c.args[0], c.args[1]); }});
    out.push_back({{"show", "paths"}, {}, false, true, "every explicit path with its hops (on one socket)",
                   [](const Call &) { return paths(nullptr); }});
    out.push_back({{"show", "path"},
                   {{"NAME", ArgKind::Text, temor::tables::kPathNameSize - 1, false, "path name"}},
                   false, true, "one explicit path with its hops",
                   [](const Call &c) { return paths(&c.args[0].text); }});
    return out;
}

}  // namespace tectl

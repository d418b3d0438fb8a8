#include "tools/sim_model.h"

#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "config/setters.h"
#include "messaging/bytes.h"
#include "tools/sim_fields.h"
#include "tools/sim_report.h"

namespace sim {

namespace tables = temor::tables;
using temor::put_be16;
using temor::put_be32;

void no_such_setter();  // never defined: calling it stops a constant evaluation

namespace {

// ---- the setter rows, as far as the simulator needs them ---------------------

// A setter row without the library's function (the simulator links only the
// platform stand-ins, so nothing here may refer to an exported function).
struct Setter {
    const char *family;
    temor::RowName name = "";
    uint8_t cls;
    uint16_t tag;
    bool keyed;
    uint16_t length;  // of the value item
    uint16_t keyLength;  // of the key item of a keyed row
    const temor::Layout *layout;
    uint8_t fixedOp;  // a header op of the row's own besides 0 and 1, else 0
};

inline constexpr auto kSetters =
    temor::setters::each_setter_row([](const temor::Family &f, const temor::SetterRow &r) {
        return Setter{f.word, r.name, r.cls, r.tag, r.keyed, temor::value_length(r),
                      temor::key_length(r), r.layout,
                      static_cast<uint8_t>(!r.headerOp && r.fixedOp > 1 ? r.fixedOp : 0)};
    });

consteval const Setter &setter(std::string_view family, std::string_view name) {
    for (const Setter &s : kSetters)
        if (family == s.family && name == s.name.view()) return s;
    no_such_setter();
    return kSetters[0];
}

// A request is told apart by its class and its value item's tag, and a
// class either starts every request with a key or none.
consteval bool setters_distinct() {
    for (const Setter &a : kSetters)
        for (const Setter &b : kSetters)
            if (&a != &b && a.cls == b.cls && (a.tag == b.tag || a.keyed != b.keyed)) return false;
    return true;
}
static_assert(setters_distinct());

constexpr const Setter &kTeardown = setter("global", "teardown");  // op 1: MPLS-TE switched off
constexpr const Setter &kCreate = setter("tunnel", "create");
constexpr const Setter &kTrapEnable = setter("trap", "enable");      // notify is 1 while set
constexpr const Setter &kDebugSet = setter("debug", "set");          // read back by the debug query
constexpr const Setter &kIfTe = setter("interface", "te");            // configValue 1 in if-config rows
static_assert(kCreate.length == kCreate.layout->size);
// Explicit paths and the MIB hop rows live in a model of their own.
constexpr const Setter &kPathCreate = setter("path", "create");
constexpr const Setter &kPathDisable = setter("path", "disable");
constexpr const Setter &kPathHop = setter("path", "hop add");
constexpr const Setter &kMibPathHop = setter("mib", "path-hop");
constexpr const Setter &kMibNewHop = setter("mib", "new-hop");
static_assert(kPathHop.length == sizeof(TeExpathHop) && kMibPathHop.layout == tables::kPathHops.record &&
              kMibNewHop.layout == tables::kNewHops.record);
// The row store keeps a kind's rows at its image's width: a hop row set by
// request is one.
static_assert(kMibPathHop.length == tables::kPathHops.record->size &&
              kMibNewHop.length == tables::kNewHops.record->size);

const Setter *find_setter(uint8_t cls, uint16_t tag) {
    for (const Setter &s : kSetters)
        if (s.cls == cls && s.tag == tag) return &s;
    return nullptr;
}

// 0: no setter of the class, 1: unkeyed, 2: keyed.
int class_form(uint8_t cls) {
    for (const Setter &s : kSetters)
        if (s.cls == cls) return s.keyed ? 2 : 1;
    return 0;
}

// Whether some keyed setter of the class has a key of this length.
bool key_length_known(uint8_t cls, size_t length) {
    for (const Setter &s : kSetters)
        if (s.cls == cls && s.keyed && s.keyLength == length) return true;
    return false;
}

// A path name as it travels: the bytes up to the first zero.
std::string name_of(const Bytes &b) {
    const auto end = std::find(b.begin(), b.end(), 0);
    return std::string(b.begin(), end);
}

// ---- queries -------------------------------------------------------------------

constexpr uint8_t kClassQuery = 4;

// Every query tag names one thing.
consteval bool query_tags_distinct() {
    std::array<uint16_t, std::size(tables::kAll) + std::size(tables::kScalars) + 3> tags{};
    size_t n = 0;
    for (const tables::Table *t : tables::kAll) tags[n++] = t->tag;
    for (const tables::Scalar &s : tables::kScalars) tags[n++] = s.tag;
    tags[n++] = tables::kNotifyTag;
    tags[n++] = tables::kDebugTag;
    tags[n++] = tables::kExpathTag;
    for (size_t i = 0; i < n; ++i)
        for (size_t j = i + 1; j < n; ++j)
            if (tags[i] == tags[j]) return false;
    return true;
}
static_assert(query_tags_distinct());

// The tunnel row a configuration produces: the tunnel table's record filled
// from the create request's record, field by field (see docs/tools.md).
constexpr const temor::Layout &kRowLayout = *tables::kTunnels.record;
constexpr const temor::Layout &kConfigLayout = *kCreate.layout;
struct Copy {
    Element to, from;
};
consteval Copy copy(std::string_view to, std::string_view from) {
    return {at(kRowLayout, to), at(kConfigLayout, from)};
}
constexpr Copy kFromConfig[] = {
    copy("word0", "word0"), copy("word1", "word1"), copy("word2", "word2"),  // the index set
    copy("word3", "word3"), copy("word4", "word0"),                          // the tunnel id
    copy("word5", "word4"), copy("word6", "word5"), copy("word7", "word6"),
    copy("half0", "half0"), copy("half1", "half1"),
    copy("word15", "byte0"),  // byte0..byte3 as one word
};
constexpr Element kAdminState = at(kRowLayout, "half2"), kOperState = at(kRowLayout, "half3");
constexpr Element kName = at(kRowLayout, "rawBlock"), kConfigName = at(kConfigLayout, "text");
consteval bool copies_fit() {
    for (const Copy &c : kFromConfig)
        if (c.from.offset + c.to.width > kConfigLayout.size) return false;
    return at(kConfigLayout, "byte3").offset == at(kConfigLayout, "byte0").offset + 3 &&
           kName.width <= kConfigName.width;
}
static_assert(copies_fit());

Bytes be32(uint32_t v) {
    Bytes b(4);
    put_be32(b.data(), v);
    return b;
}

Reply one(uint16_t tag, Bytes value) { return Reply{kOk, {Item{tag, std::move(value)}}}; }

// The tag a table's reply item carries: the one the library demands, else
// the request's.
uint16_t reply_tag(const tables::Table &t) {
    return t.expect.tag >= 0 ? static_cast<uint16_t>(t.expect.tag) : t.tag;
}

// A row as a reply: one item of the record, and for a table with a list a
// second item of the entries stored behind the record.
Reply row_reply(const tables::Table &t, const Bytes &row) {
    if (t.list == nullptr) return one(reply_tag(t), row);
    const auto split = row.begin() + t.record->size;
    return Reply{kOk, {Item{reply_tag(t), Bytes(row.begin(), split)}, Item{t.list->tag, Bytes(split, row.end())}}};
}
Reply fail(uint32_t code) { return Reply{code, {}}; }

Bytes key_of(const tables::Table &t, const Bytes &row) {
    uint8_t key[16];
    return Bytes(key, key + tables::row_key(t, row.data(), key));
}

}  // namespace

// ---- datagrams -------------------------------------------------------------------

uint32_t parse(const uint8_t *data, size_t size, Request &out) {
    if (size < 8) return kMalformed;
    out.cls = data[0];
    out.op = data[1];
    const size_t payload = static_cast<size_t>(data[2]) << 8 | data[3];
    if (payload != size - 8) return kMalformed;
    size_t at = 8;
    while (at < size) {
        if (size - at < 4) return kMalformed;
        const uint16_t tag = static_cast<uint16_t>(data[at] << 8 | data[at + 1]);
        const size_t len = static_cast<size_t>(data[at + 2]) << 8 | data[at + 3];
        if (len > size - at - 4) return kMalformed;
        out.items.push_back(Item{tag, Bytes(data + at + 4, data + at + 4 + len)});
        at += 4 + len;
    }
    return kOk;
}

Bytes encode(uint8_t cls, uint8_t op, const Reply &reply) {
    Bytes out(8, 0);
    out[0] = cls;
    out[1] = op;
    for (const Item &it : reply.items) {
        const size_t at = out.size();
        out.resize(at + 4 + it.value.size());
        put_be16(&out[at], it.tag);
        put_be16(&out[at + 2], static_cast<uint16_t>(it.value.size()));
        if (!it.value.empty()) std::memcpy(&out[at + 4], it.value.data(), it.value.size());
    }
    put_be16(&out[2], static_cast<uint16_t>(out.size() - 8));
    put_be32(&out[4], reply.result);
    return out;
}

// ---- the model ---------------------------------------------------------------------

std::string Model::setter_name(uint8_t cls, uint16_t tag) {
    const Setter *s = find_setter(cls, tag);
    return s == nullptr ? "?" : std::string(s->family) + " " + std::string(s->name.view());
}

bool Model::add_row(const tables::Table &table, Bytes image) {
    return rows_.try_emplace(table.record, table.record).first->second.add(image, maxRows_);
}

const char *Model::set_max_rows(size_t max) {
    maxRows_ = max;
    for (const auto &[record, rows] : rows_)
        if (rows.size() > max)
            for (const tables::Table *t : tables::kAll)
                if (t->record == record) return t->name;
    return nullptr;
}

void Model::shrink_rows() {
    for (auto &[record, rows] : rows_) rows.shrink();
#if defined(__GLIBC__)
    malloc_trim(0);  // what loading freed (lines, buffers outgrown) goes back to the system
#endif
}

void Model::set_counter(const Scalar &s, uint32_t value) { counters_[s.tag] = value; }

// Unless fixed by the table file: the tunnel counts are the number of
// tunnels, bypass tunnels 0, the next free indexes 1.
uint32_t Model::scalar(const Scalar &s) const {
    constexpr uint16_t kTunnelCounts[] = {tables::scalar("configured").tag,
                                          tables::scalar("active").tag,
                                          tables::scalar("primary").tag};
    constexpr uint16_t kBypass = tables::scalar("bypass").tag;
    if (const auto fixed = counters_.find(s.tag); fixed != counters_.end()) return fixed->second;
    if (s.tag == kBypass) return 0;
    if (std::find(std::begin(kTunnelCounts), std::end(kTunnelCounts), s.tag) != std::end(kTunnelCounts)) {
        const auto tunnels = rows_.find(tables::kTunnels.record);
        return tunnels == rows_.end() ? 0 : static_cast<uint32_t>(tunnels->second.size());
    }
    return 1;
}

// op 3 the row with the key, 4 the first row (key ignored), 5 the row after
// the key; keys compare as byte strings, which for big-endian numbers is
// numeric order. A table without a key has one row, read with op 3.
Reply Model::answer(const tables::Table &t, uint8_t op, const Bytes &asked) const {
    const RowStore *rows = rows_of(t);
    if (t.key == tables::Key::None) {  // every row has the one (empty) key: the last given stays
        if (op != 3) return fail(kUnsupported);
        const Row only = rows == nullptr ? Row{} : rows->find(t, 4, {});
        return only.empty() ? fail(kNotFound) : row_reply(t, Bytes(only.begin(), only.end()));
    }
    if (t.countedList) {
        if (op != 3) return fail(kUnsupported);
        if (asked.size() != t.keyLayout->size) return fail(kMalformed);
        return one(reply_tag(t), list(t, asked));
    }
    // The key is the leading bytes of the request's value (a 16-bit key
    // travels in a 4-byte slot); a key of the record's words is all of it.
    const size_t keySize = t.key == tables::Key::InRecord ? 4u * t.keyWords->count : t.nextKeySize;
    const Bytes key(asked.begin(), asked.begin() + std::min<size_t>(asked.size(), keySize));
    if (&t == &tables::kIfConfigTable) return if_config(op, key);
    const Row found = rows == nullptr ? Row{} : rows->find(t, op, key);
    if (found.empty()) return fail(op == 3 ? kNotFound : kEndOfTable);
    const Bytes best(found.begin(), found.end());
    Reply r = row_reply(t, best);
    if (t.listed != nullptr) r.items.push_back(Item{reply_tag(*t.listed), list(*t.listed, key_of(t, best))});
    return r;
}

// The if-config rows: those of the table file, and one per interface that
// an interface setter configured (replacing a file row with its index):
// ifIndex the interface, configValue 1 while TE is enabled on it (the
// `interface te` setting is stored), else 0. The settings of interfaces are
// ordered by class, then index: the one asked for is found as a file row is.
Reply Model::if_config(uint8_t op, const Bytes &key) const {
    constexpr Element kIndex = at(tables::kIfConfig, "ifIndex"), kValue = at(tables::kIfConfig, "configValue");
    const tables::Table &t = tables::kIfConfigTable;
    const RowStore *rows = rows_of(t);
    const Row file = rows == nullptr ? Row{} : rows->find(t, op, key);
    auto s = op == 4 ? settings_.lower_bound({kIfTe.cls, Bytes{}, 0})
             : op == 5 ? settings_.upper_bound({kIfTe.cls, key, 0xffff})
                       : settings_.lower_bound({kIfTe.cls, key, 0});
    while (s != settings_.end() && std::get<0>(s->first) == kIfTe.cls &&
           (std::get<1>(s->first).size() != kIndex.width || (op == 5 && !(key < std::get<1>(s->first)))))
        ++s;
    const bool set = s != settings_.end() && std::get<0>(s->first) == kIfTe.cls && (op != 3 || std::get<1>(s->first) == key);
    const Bytes ifIndex = set ? std::get<1>(s->first) : Bytes{};
    const Bytes fileKey = file.empty() ? Bytes{} : Bytes(file.begin() + kIndex.offset, file.begin() + kIndex.offset + 4);
    if (!set || (!file.empty() && fileKey < ifIndex)) {
        if (file.empty()) return fail(op == 3 ? kNotFound : kEndOfTable);
        return row_reply(t, Bytes(file.begin(), file.end()));
    }
    Bytes row(tables::kIfConfig.size, 0);
    std::memcpy(&row[kIndex.offset], ifIndex.data(), kIndex.width);
    fields::put_number(*kValue.field, &row[kValue.offset], settings_.contains({kIfTe.cls, ifIndex, kIfTe.tag}) ? 1 : 0,
                       fields::Image::Wire);
    return row_reply(t, row);
}

const RowStore *Model::rows_of(const tables::Table &t) const {
    const auto found = rows_.find(t.record);
    return found == rows_.end() ? nullptr : &found->second;
}

// A list: the count, then the entry of each row of the list table whose key
// begins with prefix, in the order the rows were given; at most as many as
// fit a reply beside a row of 16 bytes (kMaxListEntries).
Bytes Model::list(const tables::Table &t, const Bytes &prefix) const {
    const size_t entryAt = t.keyLayout->size;
    const RowStore *rows = rows_of(t);
    const std::vector<Row> found = rows == nullptr ? std::vector<Row>{} : rows->with_prefix(t, prefix, kMaxListEntries);
    Bytes out = be32(static_cast<uint32_t>(found.size()));
    for (const Row &r : found) out.insert(out.end(), r.begin() + static_cast<ptrdiff_t>(entryAt), r.end());
    return out;
}

Reply Model::query(const Request &req) const {
    if (req.op < 3 || req.op > 5) return fail(kUnsupported);
    if (req.items.empty()) return fail(kMalformed);
    const Item &asked = req.items.front();
    for (const tables::Table *t : tables::kAll)
        if (t->tag == asked.tag) return answer(*t, req.op, asked.value);
    for (const Scalar &s : kScalars)
        if (s.tag == asked.tag) return one(s.tag, be32(scalar(s)));
    if (asked.tag == tables::kExpathTag) return expath(req.op, asked.value);
    if (asked.tag == tables::kNotifyTag)
        return one(asked.tag, be32(settings_.count({kTrapEnable.cls, Bytes{}, kTrapEnable.tag}) ? 1 : 0));
    if (asked.tag == tables::kDebugTag) {
        // The debug setter's value: the flags, then the item in a slot of its own.
        constexpr Element flags = at(tables::kDebug, "debugFlags"), item = at(tables::kDebug, "debugItem");
        static_assert(flags.width + item.width <= kDebugSet.length);
        Bytes v(tables::kDebugImageSize, 0);
        const auto set = settings_.find({kDebugSet.cls, Bytes{}, kDebugSet.tag});
        if (set != settings_.end()) {
            std::memcpy(&v[flags.offset], set->second.data(), flags.width);
            std::memcpy(&v[item.offset], set->second.data() + flags.width, item.width);
        }
        return one(tables::kDebugReplyTag, v);
    }
    return fail(kUnsupported);
}

bool Model::create_tunnel(const Bytes &config) {
    Bytes row(kRowLayout.size, 0);
    for (const Copy &c : kFromConfig) std::memcpy(&row[c.to.offset], &config[c.from.offset], c.to.width);
    fields::put_number(*kAdminState.field, &row[kAdminState.offset], 1, fields::Image::Wire);
    fields::put_number(*kOperState.field, &row[kOperState.offset], 1, fields::Image::Wire);
    const uint8_t *name = &config[kConfigName.offset];
    const size_t len = strnlen(reinterpret_cast<const char *>(name), kName.width - 1u);
    std::memcpy(&row[kName.offset], name, len);  // terminated: the row is zero beyond
    if (!add_row(tables::kTunnels, row)) return false;
    remember_row(tables::kTunnels, row, true);
    return true;
}

// Notes a row a request added (kept) or removed, for a reload of the tables
// files; like the tables, the list holds one row per key.
void Model::remember_row(const tables::Table &table, const Bytes &row, bool kept) {
    for (const tables::Table *t : tables::kAll)
        if (t->record == table.record)
            std::erase_if(requestRows_, [&](const auto &made) {
                return made.first->record == t->record && key_of(*t, made.second) == key_of(*t, row);
            });
    if (kept) requestRows_.emplace_back(&table, row);
}

// Notes a path a request created or changed; one it deleted comes back
// from the tables files at a reload, if they have it.
void Model::remember_path(const std::string &name) {
    if (paths_.contains(name))
        requestPaths_.insert(name);
    else
        requestPaths_.erase(name);
}

// A setter request: the key item first for a keyed class, then one value
// item whose tag names the setter and whose length is the setter's. Op 0
// sets, op 1 removes; a row that always sends an op of its own (backup
// bandwidth) sets with it.
Reply Model::set(const Request &req) {
    const int form = class_form(req.cls);
    if (form == 0) return fail(kUnsupported);
    const bool keyed = form == 2;
    if (req.items.size() < (keyed ? 2u : 1u)) return fail(kMalformed);
    if (keyed && (req.items[0].tag != 0 || !key_length_known(req.cls, req.items[0].value.size())))
        return fail(kMalformed);
    const Item &value = req.items[keyed ? 1 : 0];
    const Setter *s = find_setter(req.cls, value.tag);
    if (s == nullptr || (req.op > 1 && req.op != s->fixedOp)) return fail(kUnsupported);
    if (value.value.size() != s->length || req.items.size() != (keyed ? 2u : 1u) ||
        (keyed && req.items[0].value.size() != s->keyLength))
        return fail(kMalformed);

    if (s == &kPathCreate || s == &kPathDisable || s == &kPathHop) {
        Reply r = set_path(req, s->tag);
        if (r.result == kOk) remember_path(name_of(req.items[0].value));
        return r;
    }
    if (s == &kMibPathHop || s == &kMibNewHop) {
        const tables::Table &t = s == &kMibPathHop ? tables::kPathHops : tables::kNewHops;
        Reply r = set_hop_row(t, req.op, value.value);
        if (r.result == kOk) remember_row(t, value.value, req.op == 0);
        return r;
    }

    if (s == &kCreate) {
        if (req.op != 0) return fail(kUnsupported);
        return create_tunnel(value.value) ? Reply{} : fail(kFull);
    }
    if (s == &kTeardown && req.op == 1) {
        if (!settings_.empty()) ++settingsVersion_;
        std::erase_if(requestRows_, [](const auto &made) { return made.first->record == tables::kTunnels.record; });
        requestPaths_.clear();
        settings_.clear();
        rows_.erase(tables::kTunnels.record);
        paths_.clear();
        return {};
    }
    const SettingKey k{req.cls, keyed ? req.items[0].value : Bytes{}, value.tag};
    if (req.op == 1) {
        settingsVersion_ += settings_.erase(k);
    } else {
        if (settings_.size() >= kMaxSettings && !settings_.contains(k)) return fail(kFull);
        const auto [stored, added] = settings_.try_emplace(k, value.value);
        if (!added && stored->second == value.value) return {};  // the same value again: nothing changed
        stored->second = value.value;
        ++settingsVersion_;
    }
    return {};
}

bool Model::add_path(const std::string &name, uint8_t flag) {
    if (!paths_.contains(name) && paths_.size() >= kMaxPaths) return false;
    paths_[name].flag = flag;
    return true;
}

bool Model::add_path_hop(const std::string &name, Bytes hop) {
    const auto p = paths_.find(name);
    if (p == paths_.end() || p->second.hops.size() >= kMaxHopsPerPath) return false;
    p->second.hops.push_back(std::move(hop));
    return true;
}

// Op 0 creates a path (an existing one stays as it is), disables it, or
// appends a hop; op 1 deletes the path, enables it again, or removes the
// first hop equal to the one given. A path that does not exist is not found.
Reply Model::set_path(const Request &req, uint16_t tag) {
    const std::string name = name_of(req.items[0].value);
    const auto p = paths_.find(name);
    const bool remove = req.op == 1;
    if (tag == kPathCreate.tag && !remove) return p != paths_.end() || add_path(name, 0) ? Reply{} : fail(kFull);
    if (p == paths_.end()) return fail(kNotFound);
    if (tag == kPathCreate.tag) {
        paths_.erase(p);
    } else if (tag == kPathDisable.tag) {
        p->second.flag = remove ? 0 : 1;
    } else if (!remove) {
        if (!add_path_hop(name, req.items[1].value)) return fail(kFull);
    } else {
        auto &hops = p->second.hops;
        const auto h = std::find(hops.begin(), hops.end(), req.items[1].value);
        if (h == hops.end()) return fail(kNotFound);
        hops.erase(h);
    }
    return {};
}

// Op 0 writes a row of a hop table (replacing the row with its key), op 1
// removes the row with the key of the row given.
Reply Model::set_hop_row(const tables::Table &table, uint8_t op, const Bytes &image) {
    if (op == 0) return add_row(table, image) ? Reply{} : fail(kFull);
    const auto rows = rows_.find(table.record);
    return rows != rows_.end() && rows->second.remove(table, key_of(table, image)) ? Reply{} : fail(kNotFound);
}

// An explicit path: op 4 the first by name, op 5 the one after the name, op
// 3 the one with the name; the reply is its header, its name and its hops.
Reply Model::expath(uint8_t op, const Bytes &key) const {
    const std::string name = name_of(key);
    auto p = op == 4 ? paths_.begin() : op == 5 ? paths_.upper_bound(name) : paths_.find(name);
    if (p == paths_.end()) return fail(op == 3 ? kNotFound : kEndOfTable);
    Bytes header(tables::kExpathHeaderSize, 0);
    header[0] = p->second.flag;
    put_be16(&header[2], static_cast<uint16_t>(p->second.hops.size()));
    Bytes text(p->first.begin(), p->first.end());
    text.push_back(0);
    Reply r{kOk, {Item{tables::kExpathHeaderTag, header}, Item{tables::kExpathNameTag, text}}};
    for (const Bytes &h : p->second.hops) r.items.push_back(Item{tables::kExpathHopTag, h});
    return r;
}

// The settings from the asked index on, as many as one datagram holds.
Reply Model::report(const Request &req) const {
    if (req.op != report::kSettingsOp || req.items.size() != 1 || req.items[0].value.size() != 4)
        return fail(kMalformed);
    const Bytes &from = req.items[0].value;
    size_t skip = static_cast<size_t>(from[0]) << 24 | from[1] << 16 | from[2] << 8 | from[3];
    Reply out;
    size_t room = 2048 - 8;
    for (const auto &[key, value] : settings_) {
        if (skip > 0) {
            --skip;
            continue;
        }
        const auto &[cls, object, tag] = key;
        const size_t size = report::kEntryHead + object.size() + value.size();
        if (4 + size > room) break;
        room -= 4 + size;
        Bytes entry{cls, static_cast<uint8_t>(tag >> 8), static_cast<uint8_t>(tag),
                    static_cast<uint8_t>(object.size())};
        entry.insert(entry.end(), object.begin(), object.end());
        entry.insert(entry.end(), value.begin(), value.end());
        out.items.push_back(Item{report::kSettingTag, std::move(entry)});
    }
    return out;
}

size_t Model::keep_requests_of(const Model &old) {
    settings_ = old.settings_;
    settingsVersion_ = old.settingsVersion_;
    size_t lost = 0;
    for (const auto &[table, row] : old.requestRows_) {
        if (add_row(*table, row))
            requestRows_.emplace_back(table, row);
        else
            ++lost;
    }
    for (const std::string &name : old.requestPaths_) {
        if (!paths_.contains(name) && paths_.size() >= kMaxPaths) {
            ++lost;
            continue;
        }
        paths_[name] = old.paths_.at(name);
        requestPaths_.insert(name);
    }
    return lost;
}

Reply Model::handle(const Request &req) {
    if (req.cls == report::kSettingsClass) return report(req);
    return req.cls == kClassQuery ? query(req) : set(req);
}

}  // namespace sim

// The MIB tree from the table descriptions (see the header).
#include "tools/agentx/mib_model.h"

#include <algorithm>
#include <utility>

#include "tools/agentx/records.h"
#include "tools/field_kinds.h"

namespace agentx {
namespace {

namespace tb = temor::tables;

// A key's bytes in the record: [offset, offset + size) spans in key order.
std::vector<std::pair<uint16_t, uint16_t>> key_spans(const tb::Table &t) {
    std::vector<std::pair<uint16_t, uint16_t>> out;
    if (t.key == tb::Key::InRecord) {
        for (uint8_t i = 0; i < t.keyWords->count; ++i)
            if (t.keyWords->at[i] != tb::kZeroWord) out.emplace_back(t.keyWords->at[i], 4);
    } else if (t.nextKeySize > 0) {
        out.emplace_back(t.nextKeyAt, t.nextKeySize);
    }
    return out;
}

uint16_t offset_of(const Column &c) { return c.field->offset + c.element * c.field->stride; }

// The columns whose bytes lie in the key, in the key's order.
std::vector<Column> key_columns(const tb::Table &t, const std::vector<Column> &columns) {
    std::vector<Column> out;
    for (const auto &[at, size] : key_spans(t))
        for (const Column &c : columns) {
            const uint16_t o = offset_of(c);
            if (o >= at && o + c.field->width <= at + size) out.push_back(c);
        }
    return out;
}

bool in_list(const tb::Table &t, const temor::Field *f) {
    return t.list != nullptr && f >= t.list->entry->fields &&
           f < t.list->entry->fields + t.list->entry->fieldCount;
}

// The key that groups a name's field into a list table, or "" for a
// column of the row itself.
std::string list_key(const tb::Table &t, const fields::Name &n) {
    if (in_list(t, n.field)) return fields::snake(t.list->name);
    const fields::Place p = fields::place(*n.field);
    return p.array ? p.key : "";
}

std::string prefix_of(const tb::Table &t) { return "temor" + fields::camel(t.name); }

// The lists of table number `parent` (a main table): one per array key,
// then the list that follows the row.
void add_lists(Model &m, int parent, const std::vector<fields::Name> &names) {
    const Table p = m.tables[static_cast<size_t>(parent)];  // a copy: m.tables grows below
    const uint32_t t = p.oid.back();
    std::vector<std::string> keys;
    for (const fields::Name &n : names)
        if (const std::string k = list_key(*p.source, n); !k.empty() && std::find(keys.begin(), keys.end(), k) == keys.end())
            keys.push_back(k);
    for (size_t i = 0; i < keys.size(); ++i) {
        Table l;
        l.name = prefix_of(*p.source) + fields::camel(keys[i]);
        l.oid = m.base;
        l.oid.insert(l.oid.end(), {5, t, static_cast<uint32_t>(i + 1)});
        l.source = p.source;
        l.origin = p.origin;
        l.parent = parent;
        const bool list = p.source->list != nullptr && keys[i] == fields::snake(p.source->list->name);
        l.from = list ? Source::List : Source::Array;
        l.arrayKey = keys[i];
        l.columns.push_back({1, l.name + "Position", nullptr, 0, ""});
        for (const fields::Name &n : names)
            if (list_key(*p.source, n) == keys[i])
                l.columns.push_back({static_cast<uint32_t>(l.columns.size() + 1), n.mib, n.field, n.index, n.json});
        m.tables.push_back(std::move(l));
    }
}

void add_table(Model &m, const tb::EntryPoints &e, uint32_t arc) {
    Table t;
    t.name = prefix_of(*e.table);
    t.oid = m.base;
    t.oid.insert(t.oid.end(), {4, arc});
    t.source = &served_table(*e.table);
    t.origin = e.table;
    t.first = e.first.call;
    t.next = e.next.call;
    const std::vector<fields::Name> names = fields::names(*t.source);
    for (const fields::Name &n : names)
        if (list_key(*t.source, n).empty())
            t.columns.push_back({static_cast<uint32_t>(t.columns.size() + 1), n.mib, n.field, n.index, n.json});
    t.index = key_columns(*t.source, t.columns);
    m.tables.push_back(std::move(t));
    m.scalars.push_back({m.tables.back().name + "Rows", {}, ScalarKind::Rows,
                         static_cast<int>(m.tables.size() - 1), nullptr, 0, ""});
    m.scalars.back().oid = m.base;
    m.scalars.back().oid.insert(m.scalars.back().oid.end(), {1, 7, arc});
    add_lists(m, static_cast<int>(m.tables.size() - 1), names);
}

void add_record(Model &m, const tb::EntryPoints &e, uint32_t arc) {
    m.records.push_back({prefix_of(*e.table), e.table, e.first.call});
    uint32_t c = 0;
    for (const fields::Name &n : fields::names(*e.table)) {
        if (!list_key(*e.table, n).empty()) continue;  // a single record's arrays are not served
        Scalar s{n.mib, m.base, ScalarKind::RecordField, static_cast<int>(m.records.size() - 1), n.field, n.index,
                 n.json};
        s.oid.insert(s.oid.end(), {3, arc, ++c});
        m.scalars.push_back(std::move(s));
    }
}

const char *const kStatusNames[] = {"", "temorStatusDaemonReachable", "temorStatusTeEnabled",
                                    "temorStatusSnapshotAge", "temorStatusRefreshDuration",
                                    "temorStatusRefreshes", "temorStatusRefreshesFailed"};

void add_status_and_counters(Model &m) {
    for (int k = 1; k <= static_cast<int>(Status::Failed); ++k) {
        Scalar s{kStatusNames[k], m.base, ScalarKind::Status, k, nullptr, 0, ""};
        s.oid.insert(s.oid.end(), {1, static_cast<uint32_t>(k)});
        m.scalars.push_back(std::move(s));
    }
    for (size_t i = 0; i < std::size(tb::kScalars); ++i) {
        Scalar s{"temorCounters" + fields::camel(tb::kScalars[i].name), m.base, ScalarKind::Counter,
                 static_cast<int>(i), nullptr, 0, ""};
        s.oid.insert(s.oid.end(), {2, static_cast<uint32_t>(i + 1)});
        m.scalars.push_back(std::move(s));
    }
}

// Whether the walk of e reads the record the layout describes, and its
// record has not been served by an earlier table.
bool served(const tb::EntryPoints &e, const std::vector<const temor::Layout *> &seen) {
    if (e.first.call == nullptr) return false;  // read only with its parent's rows
    // A record decoded apart from its image, unless records.h keeps its rows.
    if (e.table->listed != nullptr && &served_table(*e.table) == e.table) return false;
    return std::find(seen.begin(), seen.end(), e.table->record) == seen.end();
}

}  // namespace

Oid parse_oid(const std::string &text) {
    Oid out;
    std::string_view s = text;
    if (!s.empty() && s[0] == '.') s.remove_prefix(1);
    while (!s.empty()) {
        const size_t dot = s.find('.');
        const fields::Number n = fields::read_number(s.substr(0, dot), UINT32_MAX);
        if (n.error != fields::Number::Error::None) return {};
        out.push_back(static_cast<uint32_t>(n.value));
        if (dot == std::string_view::npos) break;
        s.remove_prefix(dot + 1);
        if (s.empty()) return {};
    }
    return out;
}

size_t longest_instance(const Model &m) {
    size_t longest = 0;
    for (const Table &t : m.tables) {
        const Table &owner = t.parent >= 0 ? m.tables[static_cast<size_t>(t.parent)] : t;
        size_t n = t.oid.size() + 2 + (t.parent >= 0 ? 1 : 0);  // entry, column, a list's position
        for (const Column &c : owner.index)  // as snapshot.cpp's add_index writes a key
            n += is_number(*c.field) ? 1 : c.field->width + (c.field->kind == temor::FieldKind::Text ? 1 : 0);
        longest = std::max(longest, n);
    }
    for (const Scalar &sc : m.scalars) longest = std::max(longest, sc.oid.size() + 1);
    return longest;
}

std::string oid_text(const Oid &oid) {
    std::string out;
    for (const uint32_t a : oid) out += "." + std::to_string(a);
    return out;
}

Model build(const Oid &base) {
    Model m;
    m.base = base;
    add_status_and_counters(m);
    std::vector<const temor::Layout *> seen;
    for (size_t i = 0; i < std::size(tb::kEntryPoints); ++i) {
        const tb::EntryPoints &e = tb::kEntryPoints[i];
        if (!served(e, seen)) continue;
        seen.push_back(e.table->record);
        if (e.next.call == nullptr)
            add_record(m, e, static_cast<uint32_t>(i + 1));
        else
            add_table(m, e, static_cast<uint32_t>(i + 1));
    }
    for (const Extra &x : kExtras) add_table(m, {x.table, {"", x.first}, {"", x.next}, {}, ""}, x.arc);
    std::sort(m.scalars.begin(), m.scalars.end(), [](const Scalar &a, const Scalar &b) { return a.oid < b.oid; });
    return m;
}

bool is_number(const temor::Field &f) { return fields::max_number(f) != 0 && f.width <= 4; }

std::string syntax_of(const temor::Field &f) { return fields::smi_syntax(f); }

}  // namespace agentx

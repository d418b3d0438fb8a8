// Taking a snapshot (the worker thread) and answering from one (the agent's
// thread). See the header.
#include "tools/agentx/snapshot.h"

#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "tools/agentx/records.h"
#include "tools/field_kinds.h"
#include "tools/result_names.h"

namespace agentx {
namespace {

namespace tb = temor::tables;
using temor::Field;

bool end_of_table(uint32_t rc) { return rc == TE_MOR_ERR_NOT_FOUND || rc == 0x40010006u; }
bool answered(uint32_t rc) { return rc != TE_MOR_ERR_IPC_OPEN && rc != TE_MOR_ERR_FAIL; }

// Elements of f that hold values: a count in the record bounds them.
uint16_t valid(const Field &f, const uint8_t *rec) {
    return f.countAt >= 0 && rec[f.countAt] < f.count ? rec[f.countAt] : f.count;
}

// A key element as index arcs: a number, a byte run's bytes, or text's
// characters after their count (without the count: the daemon's order).
void add_index(Oid &out, const Field &f, const uint8_t *at, bool counted) {
    if (const auto n = fields::get_number(f, at, fields::Image::Record); n && f.width <= 4) {
        out.push_back(static_cast<uint32_t>(*n));
        return;
    }
    const size_t n = f.kind == temor::FieldKind::Text ? strnlen(reinterpret_cast<const char *>(at), f.width) : f.width;
    if (f.kind == temor::FieldKind::Text && counted) out.push_back(static_cast<uint32_t>(n));
    out.insert(out.end(), at, at + n);
}

Oid record_index(const Table &t, const uint8_t *rec, bool counted = true) {
    Oid out;
    for (const Column &c : t.index)
        add_index(out, *c.field, rec + c.field->offset + c.element * c.field->stride, counted);
    return out;
}

struct Walk {
    Rows rows;
    std::vector<uint32_t> listAt{0};  // entries before each row
};

// Room for n more bytes at the end of v: an eighth more than it holds when
// full, not double, so that a table a little larger than last time costs a
// little more and the vector stays close to its size.
void grow(std::vector<uint8_t> &v, size_t n) {
    if (v.size() + n > v.capacity()) v.reserve(std::max(v.size() + n, v.capacity() + v.capacity() / 8 + 4096));
}

// Gives back the room a vector has left over when it is more than a
// quarter of what it holds (a table that shrank, or the first steps of
// grow): a copy, of the smaller size. Otherwise the vector stays as it is.
template <typename T>
void fit(std::vector<T> &v) {
    if (v.capacity() - v.size() > v.size() / 4) v.shrink_to_fit();
}

// Walks table t on one socket; returns what went wrong, or "".
// The vectors are sized at the start from the last snapshot's table (last).
std::string walk(const Table &t, Walk &w, Refresh &r, size_t cap, const Rows *last_rows) {
    const tb::Table &d = *t.source;
    if (last_rows != nullptr) {
        w.rows.records.reserve(last_rows->records.size());
        w.rows.list.reserve(last_rows->list.size());
        w.listAt.reserve(size_t{last_rows->count} + 1);
    }
    const int sock = d.socket == tb::Socket::Held ? TE_MOR_LIPCOpen() : -1;
    if (d.socket == tb::Socket::Held && sock < 0) return "cannot open a socket to the daemon";
    std::vector<uint64_t> current((std::max(d.recordSize, t.origin->recordSize) + 7) / 8), previous(current.size());
    auto *cur = reinterpret_cast<uint8_t *>(current.data());
    std::string problem;
    Oid last;
    ++r.calls;
    uint32_t rc = read_row(*t.origin, t.first, sock, nullptr, cur, w.rows.list);
    while (rc == TE_MOR_OK) {
        Oid key = record_index(t, cur, false);
        if (w.rows.count > 0 && !(last < key)) {
            problem = "table " + std::string(d.name) + ": key " + oid_text(key) + " after " + oid_text(last) + " does not increase";
            break;
        }
        if (w.rows.count == cap) {
            problem = "table " + std::string(d.name) + ": more than " + std::to_string(cap) + " rows";
            break;
        }
        grow(w.rows.records, d.recordSize);
        w.rows.records.insert(w.rows.records.end(), cur, cur + d.recordSize);
        w.listAt.push_back(static_cast<uint32_t>(w.rows.list.size() / (d.list ? d.list->entry->size : 1)));
        ++w.rows.count;
        last = std::move(key);
        std::swap(current, previous);
        cur = reinterpret_cast<uint8_t *>(current.data());
        std::fill(current.begin(), current.end(), 0);
        ++r.calls;
        rc = read_row(*t.origin, t.next, sock, reinterpret_cast<uint8_t *>(previous.data()), cur, w.rows.list);
    }
    if (sock >= 0) TE_MOR_LIPCClose(sock);
    r.reachable = r.reachable || answered(rc);
    if (problem.empty() && rc != TE_MOR_OK && !end_of_table(rc))
        problem = "table " + std::string(d.name) + ": " + tools::code_text(rc);
    return problem;
}

// Puts the rows in index order where the daemon's order differs (text
// keys: the index counts the characters first).
void sort_rows(const Table &t, Walk &w) {
    const size_t size = t.source->recordSize, entry = t.source->list ? t.source->list->entry->size : 0;
    bool sorted_already = true;  // each row's index against the one before, with no list of them kept
    Oid before, index;
    for (uint32_t i = 0; i < w.rows.count && sorted_already; ++i, std::swap(before, index)) {
        index = record_index(t, w.rows.records.data() + i * size);
        sorted_already = i == 0 || before < index;
    }
    if (sorted_already) return;
    std::vector<std::pair<Oid, uint32_t>> order;
    order.reserve(w.rows.count);
    for (uint32_t i = 0; i < w.rows.count; ++i) order.emplace_back(record_index(t, w.rows.records.data() + i * size), i);
    std::sort(order.begin(), order.end());
    Walk sorted;
    sorted.rows.count = w.rows.count;
    sorted.rows.records.reserve(w.rows.records.size());
    sorted.rows.list.reserve(w.rows.list.size());
    for (const auto &[index, i] : order) {
        const uint8_t *rec = w.rows.records.data() + i * size;
        sorted.rows.records.insert(sorted.rows.records.end(), rec, rec + size);
        const uint8_t *list = w.rows.list.data();
        sorted.rows.list.insert(sorted.rows.list.end(), list + w.listAt[i] * entry, list + w.listAt[i + 1] * entry);
        sorted.listAt.push_back(sorted.listAt.back() + w.listAt[i + 1] - w.listAt[i]);
    }
    w = std::move(sorted);
}

// The rows of list l over the rows of its parent.
void count_list(const Table &l, const Rows &parent, const std::vector<uint32_t> &listAt, Rows &out) {
    out.before.assign(1, 0);
    const size_t size = l.source->recordSize;
    for (uint32_t i = 0; i < parent.count; ++i) {
        uint32_t n = UINT32_MAX;
        if (l.from == Source::List) {
            n = listAt[i + 1] - listAt[i];
        } else {
            for (size_t c = 1; c < l.columns.size(); ++c)
                n = std::min<uint32_t>(n, valid(*l.columns[c].field, parent.records.data() + i * size));
        }
        out.before.push_back(out.before.back() + n);
    }
    out.count = out.before.back();
}

std::string read_singles(const Model &m, Snapshot &s, Refresh &r) {
    for (const tb::Scalar &c : tb::kScalars) {
        uint32_t v = 0;
        ++r.calls;
        const uint32_t rc = c.read(&v);
        r.reachable = r.reachable || answered(rc);
        if (rc != TE_MOR_OK) return "counter " + std::string(c.name) + ": " + tools::code_text(rc);
        s.counters.push_back(v);
    }
    for (const Record &rec : m.records) {
        const int sock = rec.source->socket == tb::Socket::Held ? TE_MOR_LIPCOpen() : -1;
        std::vector<uint8_t> bytes(rec.source->recordSize);
        ++r.calls;
        const uint32_t rc = rec.first(sock, nullptr, bytes.data());
        if (sock >= 0) TE_MOR_LIPCClose(sock);
        r.reachable = r.reachable || answered(rc);
        if (end_of_table(rc)) std::fill(bytes.begin(), bytes.end(), 0);  // no record: zeros
        else if (rc != TE_MOR_OK) return "table " + std::string(rec.source->name) + ": " + tools::code_text(rc);
        s.records.push_back(std::move(bytes));
    }
    return "";
}

std::string read_tables(const Model &m, Snapshot &s, Refresh &r, size_t cap, const Snapshot *last) {
    std::vector<uint32_t> listAt;
    for (size_t i = 0; i < m.tables.size(); ++i) {
        const Table &t = m.tables[i];
        if (t.parent >= 0) {
            count_list(t, s.tables[static_cast<size_t>(t.parent)], listAt, s.tables[i]);
            continue;
        }
        Walk w;
        const Rows *last_rows = last != nullptr && last->tables.size() == m.tables.size() ? &last->tables[i] : nullptr;
        if (std::string p = walk(t, w, r, cap, last_rows); !p.empty()) return p;
        sort_rows(t, w);
        r.rows += w.rows.count;
        s.recordBytes += w.rows.records.size() + w.rows.list.size();
        fit(w.rows.records);
        fit(w.rows.list);
        s.tables[i] = std::move(w.rows);
        listAt = std::move(w.listAt);
    }
    return "";
}

}  // namespace

size_t Snapshot::bytes() const {
    size_t n = sizeof *this + counters.capacity() * 4;
    for (const Rows &r : tables)
        n += sizeof r + r.records.capacity() + r.list.capacity() + r.before.capacity() * 4;
    for (const auto &rec : records) n += sizeof rec + rec.capacity();
    return n;
}

std::optional<Snapshot> take(const Model &m, Refresh &r, size_t rowCap, const Snapshot *last) {
    Snapshot s;
    s.tables.resize(m.tables.size());
    s.teEnabled = TE_MOR_IsTeGlobalEnable() == 1;
    ++r.calls;
    r.problem = read_singles(m, s, r);
    if (r.problem.empty()) r.problem = read_tables(m, s, r, rowCap, last);
    s.taken = std::chrono::steady_clock::now();
    r.ok = r.problem.empty();
    if (!r.ok) return std::nullopt;
    return s;
}

// ---- answering ---------------------------------------------------------------------

namespace {

bool has_prefix(const Oid &name, const Oid &prefix) {
    return name.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), name.begin());
}

Value field_value(const Field &f, const uint8_t *at) {
    if (is_number(f)) return {ASN_UNSIGNED, static_cast<uint32_t>(*fields::get_number(f, at, fields::Image::Record)), {}};
    if (const auto n = fields::get_number(f, at, fields::Image::Record)) {
        std::string be(8, '\0');
        for (int i = 0; i < 8; ++i) be[static_cast<size_t>(i)] = static_cast<char>(*n >> (56 - 8 * i));
        return {ASN_OCTET_STR, 0, be};
    }
    const auto *chars = reinterpret_cast<const char *>(at);
    const size_t n = f.kind == temor::FieldKind::Text ? strnlen(chars, f.width) : f.width;
    return {ASN_OCTET_STR, 0, std::string(chars, n)};
}

// Row j of table t: the parent row and the position (0 for a main table).
struct RowAt {
    uint32_t parent, position;
};
RowAt locate(const Rows &rows, uint32_t j) {
    if (rows.before.empty()) return {j, 0};
    const auto it = std::upper_bound(rows.before.begin(), rows.before.end(), j) - 1;
    const auto p = static_cast<uint32_t>(it - rows.before.begin());
    return {p, j - *it + 1};
}

const Table &main_of(const Model &m, const Table &t) {
    return t.parent >= 0 ? m.tables[static_cast<size_t>(t.parent)] : t;
}
size_t main_index(const Model &m, const Table &t) {
    return t.parent >= 0 ? static_cast<size_t>(t.parent) : static_cast<size_t>(&t - m.tables.data());
}

Oid row_index(const Model &m, const Snapshot &s, const Table &t, uint32_t j) {
    const Table &owner = main_of(m, t);
    const RowAt at = locate(s.tables[static_cast<size_t>(&t - m.tables.data())], j);
    Oid out = record_index(owner, s.tables[main_index(m, t)].records.data() + size_t{at.parent} * t.source->recordSize);
    if (t.parent >= 0) out.push_back(at.position);
    return out;
}

Value column_value(const Model &m, const Snapshot &s, const Table &t, const Column &c, uint32_t j) {
    const Rows &own = s.tables[static_cast<size_t>(&t - m.tables.data())];
    const Rows &main = s.tables[main_index(m, t)];
    const RowAt at = locate(own, j);
    const uint8_t *rec = main.records.data() + size_t{at.parent} * t.source->recordSize;
    const Field &f = *c.field;
    switch (t.from) {
    case Source::Record:
        return field_value(f, rec + f.offset + c.element * f.stride);
    case Source::Array:
        return field_value(f, rec + f.offset + (at.position - 1) * f.stride);
    case Source::List:
        break;
    }
    const size_t entry = own.before[at.parent] + at.position - 1;
    return field_value(f, main.list.data() + entry * t.source->list->entry->size + f.offset + c.element * f.stride);
}

Value scalar_value(const Snapshot &s, const Live &l, const Scalar &sc) {
    switch (sc.kind) {
    case ScalarKind::Status:
        break;
    case ScalarKind::Rows:
        return {ASN_GAUGE, s.tables[static_cast<size_t>(sc.which)].count, {}};
    case ScalarKind::Counter:
        return {ASN_UNSIGNED, s.counters[static_cast<size_t>(sc.which)], {}};
    case ScalarKind::RecordField:
        return field_value(*sc.field, s.records[static_cast<size_t>(sc.which)].data() + sc.field->offset +
                                          sc.element * sc.field->stride);
    }
    const auto age = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - s.taken);
    switch (static_cast<Status>(sc.which)) {
    case Status::Reachable:
        return {ASN_INTEGER, l.reachable ? 1u : 2u, {}};
    case Status::Enabled:
        return {ASN_INTEGER, s.teEnabled ? 1u : 2u, {}};
    case Status::Age:
        return {ASN_UNSIGNED, static_cast<uint32_t>(std::min<int64_t>(age.count(), UINT32_MAX)), {}};
    case Status::Duration:
        return {ASN_UNSIGNED, l.durationMs, {}};
    case Status::Refreshes:
        return {ASN_COUNTER, l.refreshes, {}};
    case Status::Failed:
        return {ASN_COUNTER, l.failed, {}};
    }
    return {ASN_NULL, 0, {}};
}

// The first row of t whose index is greater than after.
uint32_t first_after(const Model &m, const Snapshot &s, const Table &t, const Oid &after) {
    const uint32_t n = s.tables[static_cast<size_t>(&t - m.tables.data())].count;
    uint32_t lo = 0, hi = n;
    while (lo < hi) {
        const uint32_t mid = lo + (hi - lo) / 2;
        if (after < row_index(m, s, t, mid)) hi = mid;
        else lo = mid + 1;
    }
    return lo;
}

std::optional<Instance> next_in_table(const Model &m, const Snapshot &s, const Table &t, const Oid &name) {
    Oid entry = t.oid;
    entry.push_back(1);
    if (!has_prefix(name, entry) && !(name < entry)) return std::nullopt;
    size_t ci = 0;
    Oid after;
    bool strict = false;
    if (has_prefix(name, entry) && name.size() > entry.size()) {
        const uint32_t arc = name[entry.size()];
        while (ci < t.columns.size() && t.columns[ci].arc < arc) ++ci;
        if (ci < t.columns.size() && t.columns[ci].arc == arc) {
            after.assign(name.begin() + static_cast<long>(entry.size()) + 1, name.end());
            strict = true;
        }
    }
    const uint32_t rows = s.tables[static_cast<size_t>(&t - m.tables.data())].count;
    for (; ci < t.columns.size(); ++ci, strict = false) {
        if (t.columns[ci].field == nullptr) continue;
        const uint32_t j = strict ? first_after(m, s, t, after) : 0;
        if (j >= rows) continue;
        Instance out{entry, column_value(m, s, t, t.columns[ci], j)};
        out.name.push_back(t.columns[ci].arc);
        const Oid index = row_index(m, s, t, j);
        out.name.insert(out.name.end(), index.begin(), index.end());
        return out;
    }
    return std::nullopt;
}

Miss get_in_table(const Model &m, const Snapshot &s, const Table &t, const Oid &name, Value &out) {
    Oid entry = t.oid;
    entry.push_back(1);
    if (!has_prefix(name, entry) || name.size() == entry.size()) return Miss::NoObject;
    const uint32_t arc = name[entry.size()];
    const auto c = std::find_if(t.columns.begin(), t.columns.end(), [&](const Column &x) { return x.arc == arc; });
    if (c == t.columns.end() || c->field == nullptr) return Miss::NoObject;
    const Oid want(name.begin() + static_cast<long>(entry.size()) + 1, name.end());
    const uint32_t rows = s.tables[static_cast<size_t>(&t - m.tables.data())].count;
    uint32_t lo = 0, hi = rows;
    while (lo < hi) {  // the first row not below want
        const uint32_t mid = lo + (hi - lo) / 2;
        if (row_index(m, s, t, mid) < want) lo = mid + 1;
        else hi = mid;
    }
    if (lo == rows || row_index(m, s, t, lo) != want) return Miss::NoInstance;
    out = column_value(m, s, t, *c, lo);
    return Miss::None;
}

}  // namespace

Miss get(const Model &m, const Snapshot &s, const Live &l, const Oid &root, const Oid &name, Value &out) {
    for (const Scalar &sc : m.scalars) {
        if (!has_prefix(sc.oid, root) || !has_prefix(name, sc.oid)) continue;
        if (name.size() != sc.oid.size() + 1 || name.back() != 0) return Miss::NoInstance;
        out = scalar_value(s, l, sc);
        return Miss::None;
    }
    for (const Table &t : m.tables)
        if (has_prefix(t.oid, root) && has_prefix(name, t.oid)) return get_in_table(m, s, t, name, out);
    return Miss::NoObject;
}

std::optional<Instance> next(const Model &m, const Snapshot &s, const Live &l, const Oid &root, const Oid &name) {
    std::optional<Instance> best;
    for (const Scalar &sc : m.scalars) {
        if (!has_prefix(sc.oid, root)) continue;
        Oid instance = sc.oid;
        instance.push_back(0);
        if (name < instance && (!best || instance < best->name)) best = Instance{instance, scalar_value(s, l, sc)};
    }
    for (const Table &t : m.tables) {
        if (!has_prefix(t.oid, root)) continue;
        if (auto i = next_in_table(m, s, t, name); i && (!best || i->name < best->name)) best = std::move(i);
    }
    return best;
}

}  // namespace agentx

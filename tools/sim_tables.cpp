// The table file: rows the simulator answers from the start. One row per
// line, "#" starts a comment outside quotes:
//
//   counter NAME VALUE           a single number, NAME as in query/tables.h
//   TABLE FIELD=VALUE ...        a row of a table, FIELD a field of its record
//
// A row kind per record: tables that read the same record (tunnels and
// tunnels-by-id) share their rows, which are written under the first such
// table's name. Values are written as tools/field_kinds.h says (numbers
// decimal or 0x hex and fitting their field; text and byte runs a
// double-quoted string, byte runs also 0x hex bytes); unset fields are zero.
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "messaging/bytes.h"
#include "tools/sim_fields.h"
#include "tools/sim_model.h"

namespace sim {

namespace tables = temor::tables;

namespace {

// The table whose name is the row kind of t's record.
const tables::Table &row_kind(const tables::Table &t) {
    for (const tables::Table *k : tables::kAll)
        if (k->record == t.record) return *k;
    return t;
}

const tables::Table *find_table(std::string_view name) {
    for (const tables::Table *t : tables::kAll)
        if (name == t->name) return t;
    return nullptr;
}

// "word0" or "word0..word3": the fields a table's key is made of (a list
// table's: the fields of its key record).
std::string key_fields(const tables::Table &t) {
    const uint16_t at = t.countedList ? 0 : t.nextKeyAt;
    const uint16_t size = t.countedList ? t.keyLayout->size : t.nextKeySize;
    const std::string first = name_at(*t.record, at);
    const std::string last = name_at(*t.record, static_cast<uint16_t>(at + size - 1));
    return first == last ? first : first + ".." + last;
}

// Splits a line into words, a double-quoted part (which may hold blanks and
// "#") staying within its word; false (with why) on a quote left open.
bool split(const std::string &line, std::vector<std::string> &words, std::string &why) {
    size_t i = 0;
    while (i < line.size()) {
        if (line[i] == ' ' || line[i] == '\t' || line[i] == '\r') {
            ++i;
            continue;
        }
        if (line[i] == '#') break;
        std::string w;
        bool quoted = false;
        for (; i < line.size(); ++i) {
            const char c = line[i];
            if (!quoted && (c == ' ' || c == '\t' || c == '\r' || c == '#')) break;
            if (quoted && c == '\\' && i + 1 < line.size()) {
                w += c;
                w += line[++i];
                continue;
            }
            if (c == '"') quoted = !quoted;
            w += c;
        }
        if (quoted) {
            why = "string left open: " + w;
            return false;
        }
        words.push_back(std::move(w));
    }
    return true;
}

using fields::quoted;

// Writes one FIELD=VALUE into a row's wire image; returns what is wrong, if anything.
std::string put(const Element &e, const std::string &name, std::string_view value, uint8_t *row) {
    return fields::parse(*e.field, name, value, row + e.offset, fields::Image::Wire);
}

std::string counter_row(const std::vector<std::string> &w, Model &model) {
    if (w.size() != 3) return "a counter row is 'counter NAME VALUE'";
    for (const Scalar &s : kScalars) {
        if (w[1] != s.name) continue;
        const fields::Number v = fields::read_number(w[2], 0xffffffffu);
        if (v.error != fields::Number::Error::None)
            return fields::number_problem("counter " + w[1], w[2], v, 0xffffffffu);
        model.set_counter(s, static_cast<uint32_t>(v.value));
        return {};
    }
    std::string names;
    for (const Scalar &s : kScalars) names += std::string(names.empty() ? "" : ", ") + s.name;
    return "no counter '" + w[1] + "' (" + names + ")";
}

// "entries[3].half1" of a table whose list is named entries: the entry's
// number and its element; no element when name is not of that form.
std::pair<size_t, Element> list_element(const tables::List &list, const std::string &name) {
    const std::string head = std::string(list.name) + "[";
    const size_t close = name.find("].");
    if (!name.starts_with(head) || close == std::string::npos || close == head.size() || close - head.size() > 5)
        return {};
    const std::string digits = name.substr(head.size(), close - head.size());
    if ((digits.size() > 1 && digits[0] == '0') || digits.find_first_not_of("0123456789") != std::string::npos)
        return {};
    return {std::stoul(digits), find(*list.entry, std::string_view(name).substr(close + 2))};
}

// A list's entries given in a row (FIELD=VALUE with entries[N].FIELD names):
// written behind the record, as many entries as the record's count says.
struct ListRows {
    std::map<size_t, Bytes> entries;  // by number, wire images
    std::set<std::pair<size_t, uint16_t>> given;  // (entry, element offset)
};

std::string list_row(const tables::Table &t, const std::string &name, std::string_view value, ListRows &out) {
    const auto [index, e] = list_element(*t.list, name);
    if (!e) return std::string(t.name) + " rows have no field '" + name + "'";
    if (!out.given.insert({index, e.offset}).second) return name + " is given twice";
    Bytes &entry = out.entries[index];
    entry.resize(t.list->entry->size);
    return put(e, name, value, entry.data());
}

// Appends the list to the row; what is wrong with it, if anything.
std::string append_list(const tables::Table &t, const ListRows &list, Bytes &row) {
    const uint32_t count = temor::get_be32(&row[t.list->countAt]);
    const std::string countName = name_at(*t.record, t.list->countAt);
    if (count > max_list_entries(t))
        return countName + ": at most " + std::to_string(max_list_entries(t)) + " entries fit a reply";
    if (!list.entries.empty() && list.entries.rbegin()->first >= count)
        return std::string(t.list->name) + "[" + std::to_string(list.entries.rbegin()->first) + "] lies beyond " +
               countName + " (" + std::to_string(count) + ")";
    const size_t size = t.list->entry->size;
    row.resize(row.size() + size_t{count} * size, 0);
    for (const auto &[index, entry] : list.entries)
        std::copy(entry.begin(), entry.end(), row.begin() + static_cast<ptrdiff_t>(t.record->size + index * size));
    return {};
}

std::string table_row(const tables::Table &t, const std::vector<std::string> &w, Model &model) {
    const temor::Layout &l = *t.record;
    Bytes row(l.size, 0);
    std::set<std::pair<const temor::Field *, uint16_t>> given;
    ListRows list;
    for (size_t i = 1; i < w.size(); ++i) {
        const size_t eq = w[i].find('=');
        if (eq == std::string::npos || eq == 0) return "'" + w[i] + "' is not FIELD=VALUE";
        const std::string name = w[i].substr(0, eq);
        if (t.list != nullptr && name.starts_with(std::string(t.list->name) + "[")) {
            if (std::string why = list_row(t, name, std::string_view(w[i]).substr(eq + 1), list); !why.empty())
                return why;
            continue;
        }
        const Element e = find(l, name);
        if (!e) return std::string(t.name) + " rows have no field '" + name + "'";
        if (!given.insert({e.field, e.index}).second) return name + " is given twice";
        if (std::string why = put(e, name, std::string_view(w[i]).substr(eq + 1), row.data()); !why.empty())
            return why;
    }
    // Elements beyond their count are never read: setting one is a mistake.
    for (const auto &[field, index] : given)
        if (field->countAt >= 0 && index >= row[field->countAt])
            return element_name(*field, index) + " lies beyond " + name_at(l, field->countAt) + " (" +
                   std::to_string(row[field->countAt]) + ")";
    for (const tables::Table *other : tables::kAll) {
        if (other->record != t.record || !other->zeroKeyReserved) continue;
        const Bytes key(row.begin() + other->nextKeyAt, row.begin() + other->nextKeyAt + other->nextKeySize);
        if (std::all_of(key.begin(), key.end(), [](uint8_t b) { return b == 0; }))
            return std::string(other->name) + ": key " + key_fields(*other) +
                   " = 0 is reserved (it asks for the first row)";
    }
    for (const tables::Table *other : tables::kAll) {
        if (other->record != t.record || other->key != tables::Key::Half || other->refusedKey < 0) continue;
        if (temor::get_be16(&row[other->nextKeyAt]) == other->refusedKey)
            return std::string(other->name) + ": key " + key_fields(*other) + " = " +
                   std::to_string(other->refusedKey) + " cannot be asked for";
    }
    if (t.list != nullptr)
        if (std::string why = append_list(t, list, row); !why.empty()) return why;
    if (!model.add_row(t, std::move(row)))
        return std::string(t.name) + ": more than " + std::to_string(model.max_rows()) + " rows (--max-rows)";
    return {};
}

// Writes the FIELD=VALUE words from w[from] on into row, a wire image of l.
std::string fill(const temor::Layout &l, const char *kind, const std::vector<std::string> &w, size_t from,
                 Bytes &row) {
    std::set<const uint8_t *> given;
    for (size_t i = from; i < w.size(); ++i) {
        const size_t eq = w[i].find('=');
        if (eq == std::string::npos || eq == 0) return "'" + w[i] + "' is not FIELD=VALUE";
        const std::string name = w[i].substr(0, eq);
        const Element e = find(l, name);
        if (!e) return std::string(kind) + " rows have no field '" + name + "'";
        if (!given.insert(row.data() + e.offset).second) return name + " is given twice";
        if (std::string why = put(e, name, std::string_view(w[i]).substr(eq + 1), row.data()); !why.empty())
            return why;
    }
    return {};
}


// "expath NAME [pathFlag=N]" and "expath-hop NAME FIELD=VALUE...": an
// explicit path and one hop of it (in the order given), NAME a word or a
// double-quoted string of 1 to 31 characters.
constexpr const char *kExpathKind = "expath";
constexpr const char *kExpathHopKind = "expath-hop";
inline constexpr temor::Field kExpathRowFields[] = {temor::octets("pathFlag", 0)};
inline constexpr temor::Layout kExpathRow = temor::layout(1, kExpathRowFields);

std::string expath_row(const std::vector<std::string> &w, Model &model) {
    const bool hop = w[0] == kExpathHopKind;
    if (w.size() < 2) return std::string(w[0]) + " rows begin with the path's NAME";
    const std::string name = quoted(w[1]).value_or(w[1]);
    if (name.empty() || name.size() >= tables::kPathNameSize || name.find('\0') != std::string::npos)
        return "path name '" + name + "': 1 to " + std::to_string(tables::kPathNameSize - 1) + " characters";
    const temor::Layout &l = hop ? tables::kExpathHop : kExpathRow;
    Bytes row(l.size, 0);
    if (std::string why = fill(l, w[0].c_str(), w, 2, row); !why.empty()) return why;
    if (!hop) return model.add_path(name, row[0]) ? "" : "more than " + std::to_string(kMaxPaths) + " paths";
    if (!model.paths().contains(name)) return "no path '" + name + "' above (an expath row comes first)";
    return model.add_path_hop(name, std::move(row))
               ? ""
               : "path '" + name + "': more than " + std::to_string(kMaxHopsPerPath) + " hops";
}

std::string row(const std::vector<std::string> &w, Model &model) {
    if (w[0] == "counter") return counter_row(w, model);
    if (w[0] == kExpathKind || w[0] == kExpathHopKind) return expath_row(w, model);
    const tables::Table *t = find_table(w[0]);
    if (t != nullptr && &row_kind(*t) == t) return table_row(*t, w, model);
    if (t != nullptr)
        return std::string(t->name) + " reads the rows of " + row_kind(*t).name + ": write them as '" +
               row_kind(*t).name + " ...'";
    std::string kinds = std::string("counter, ") + kExpathKind + ", " + kExpathHopKind;
    for (const tables::Table *k : tables::kAll)
        if (&row_kind(*k) == k) kinds += std::string(", ") + k->name;
    return "unknown row kind '" + w[0] + "' (" + kinds + ")";
}

// A table file is text: a control character other than a tab (or the
// carriage return of a CRLF line end) is binary content, such as a NUL.
std::string binary_content(const std::string &line) {
    for (size_t i = 0; i < line.size(); ++i) {
        const auto c = static_cast<unsigned char>(line[i]);
        if ((c < 0x20 && c != '\t' && c != '\r') || c == 0x7f) {
            return "byte 0x" + fields::hex(&c, 1) + " at column " + std::to_string(i + 1) +
                   ": a table file holds text only";
        }
    }
    return {};
}

}  // namespace

std::string load_tables(const std::string &path, Model &model) {
    struct stat st {};
    if (stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) return path + ": is a directory";
    std::ifstream in(path);
    if (!in) return path + ": cannot read: " + std::strerror(errno);
    std::string line;
    for (int n = 1; std::getline(in, line); ++n) {
        std::vector<std::string> words;
        std::string why = binary_content(line);
        if (why.empty() && split(line, words, why) && !words.empty()) why = row(words, model);
        if (!why.empty()) return path + ":" + std::to_string(n) + ": " + why;
    }
    if (in.bad()) return path + ": cannot read: " + std::strerror(errno);
    model.shrink_rows();
    return {};
}

std::string table_rows_help() {
    std::string out = "  counter NAME VALUE, NAME one of:\n     ";
    for (const Scalar &s : kScalars) out += std::string(" ") + s.name;
    out += "\n";
    for (const tables::Table *t : tables::kAll) {
        if (&row_kind(*t) != t) continue;
        out += std::string("  ") + t->name + " FIELD=VALUE...:";
        for (const tables::Table *u : tables::kAll) {
            if (u->record != t->record) continue;
            out += u == t ? " " : ", ";
            if (u != t) out += std::string(u->name) + " ";
            out += u->key == tables::Key::None ? "one row"
                   : u->countedList                 ? "list entries by " + key_fields(*u) + ", one a row"
                                               : "by " + key_fields(*u) + (u->zeroKeyReserved ? " (not 0)" : "");
            if (u->listed != nullptr) out += std::string(", with its ") + u->listed->name;
        }
        std::string line = "     ";
        for (uint16_t f = 0; f < t->record->fieldCount; ++f) {
            const temor::Field &fd = t->record->fields[f];
            if (!fields::is_named(fd.kind)) continue;  // padding: not a field of its own
            const std::string name = fields::takes_string(fd.kind) ? "\"" + element_name(fd, -1) + "\"" : element_name(fd, -1);
            if (line.size() + 1 + name.size() > 78) {
                out += "\n" + line;
                line = "     ";
            }
            line += " " + name;
        }
        if (t->list != nullptr) {
            const std::string count = name_at(*t->record, t->list->countAt);
            out += "\n" + line;
            line = "      and for entries 0.." + count + "-1 (" + count + " at most " +
                   std::to_string(max_list_entries(*t)) + "):";
            for (uint16_t f = 0; f < t->list->entry->fieldCount; ++f)
                line += std::string(" ") + t->list->name + "[N]." + element_name(t->list->entry->fields[f], -1);
        }
        out += "\n" + line + "\n";
    }
    out += std::string("  ") + kExpathKind + " NAME [pathFlag=VALUE]: an explicit path\n";
    out += std::string("  ") + kExpathHopKind + " NAME FIELD=VALUE...: a hop of it, in order\n     ";
    for (uint16_t f = 0; f < tables::kExpathHop.fieldCount; ++f)
        if (fields::is_named(tables::kExpathHop.fields[f].kind))
            out += " " + element_name(tables::kExpathHop.fields[f], -1);
    return out + "\n";
}

}  // namespace sim

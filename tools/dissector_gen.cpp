// Writes temor.lua, the packet dissector for tshark and Wireshark: the
// header's classes, ops and result codes, every query the daemon answers
// and every setter request, each field named and typed, all taken from the
// library's descriptions (query/tables.h, the setter families of
// config/setters.h, messaging/frame.h) and the tools' field kinds
// (tools/field_kinds.h). The decoding itself is the fixed Lua behind the
// generated tables (tools/share/dissector.lua).
//
// usage: dissector_gen RUNTIME.lua OUT.lua     write the dissector
//        dissector_gen --names                 list every filter name it registers
//        dissector_gen --expect                list what the descriptions hold, for the
//                                              tests: each table's field names (by the
//                                              field kinds' rule), classes, setter and
//                                              query tags
#include <array>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "config/setters.h"
#include "messaging/frame.h"
#include "query/tables.h"
#include "tools/field_kinds.h"
#include "tools/result_names.h"
#include "tools/sim_report.h"

namespace {

namespace tables = temor::tables;
using temor::Field;
using temor::FieldKind;
using temor::Layout;

// ---- the setter rows without the library's functions -----------------------------
// (the generator links none of the library: rows are copied at compile time)

struct Setter {
    const char *family;
    temor::RowName name = "";
    uint8_t cls;
    uint16_t tag;
    temor::Value value;
    bool keyed;
    temor::KeyItem keyItem;
    uint16_t length;
    const Layout *layout;
};

constexpr auto kSetters =
    temor::setters::each_setter_row([](const temor::Family &f, const temor::SetterRow &r) {
        return Setter{f.word, r.name, r.cls, r.tag, r.value, r.keyed, r.keyItem,
                      temor::value_length(r), r.layout};
    });

struct Scalar {
    const char *name;
    uint16_t tag;
};
constexpr auto kScalars = [] {
    std::array<Scalar, std::size(tables::kScalars)> out{};
    for (size_t i = 0; i < out.size(); ++i) out[i] = {tables::kScalars[i].name, tables::kScalars[i].tag};
    return out;
}();

// ---- output ------------------------------------------------------------------------

std::string filter_word(std::string_view s) {
    std::string out(s);
    for (char &c : out)
        if (!((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'))) c = '_';
    return out;
}

std::string quote(std::string_view s) {
    std::string out = "\"";
    for (const char c : s) {
        if (c == '"' || c == '\\') out += '\\';
        out += c;
    }
    return out + "\"";
}

// One element of a layout as the Lua decodes it: the field's filter name,
// where it lies, how wide it is, its kind (n: number big-endian, h: number
// in the sender's byte order, b: bytes, t: text) and the offset of the byte
// that bounds its count (-1: none).
struct Element {
    std::string filter;
    uint32_t offset;
    uint16_t width;
    char kind;
    int countAt;
    uint16_t index;
};

char kind_letter(FieldKind k) {
    switch (k) {
    case FieldKind::U64:
    case FieldKind::U32:
    case FieldKind::U16:
    case FieldKind::U8:
        return 'n';
    case FieldKind::Host:
        return 'h';
    case FieldKind::Bytes:
        return 'b';
    case FieldKind::Text:
        return 't';
    case FieldKind::Pad:
        break;
    }
    return '?';
}

class Writer {
public:
    // Registers a field once (the same filter name may be used by several
    // layouts, e.g. a table's key and its record).
    void field(const std::string &filter, const std::string &label, const std::string &type) {
        if (!seen_.insert(filter).second) return;
        fields_ << "  {" << quote(filter) << ", " << quote(label) << ", " << type << "},\n";
        names_.push_back(filter);
    }

    // The elements of l named by the rule of the field kinds, under base
    // (temor.<table>) and prefix (a list's key and a dot), offsets moved by
    // shift; only bytes in [from, to) of the image.
    std::vector<Element> elements(const Layout &l, const std::string &base, const std::string &prefix = "",
                                  int shift = 0, uint32_t from = 0, uint32_t to = 0xffff) {
        // Members of one array of objects end where the first bounded one does.
        std::map<std::string, int> bound;
        for (uint16_t f = 0; f < l.fieldCount; ++f) {
            const fields::Place p = fields::place(l.fields[f]);
            if (!p.member.empty() && l.fields[f].countAt >= 0) bound[p.key] = l.fields[f].countAt;
        }
        std::vector<Element> out;
        for (uint16_t f = 0; f < l.fieldCount; ++f) {
            const Field &fd = l.fields[f];
            if (!fields::is_named(fd.kind)) continue;
            const fields::Place p = fields::place(fd);
            int countAt = fd.countAt;
            if (!p.member.empty() && bound.contains(p.key)) countAt = bound[p.key];
            for (uint16_t i = 0; i < fd.count; ++i) {
                const uint32_t at = fd.offset + uint32_t{i} * fd.stride;
                if (at < from || at >= to) continue;
                std::string json = prefix + p.key;
                if (p.numbered) json += std::to_string(fd.first + i);
                if (!p.member.empty()) json += "." + p.member;
                const std::string filter = base + "." + json;
                field(filter, json, fields::dissector_type(fd));
                out.push_back({filter, static_cast<uint32_t>(static_cast<int>(at) + shift), fd.width,
                               kind_letter(fd.kind), countAt >= 0 ? countAt + shift : -1,
                               static_cast<uint16_t>(p.numbered ? 0 : i)});
            }
        }
        return out;
    }

    // A layout's elements as a Lua table, named name.
    void layout(const std::string &name, uint32_t size, const std::vector<Element> &els) {
        layouts_ << "L[" << quote(name) << "] = {size = " << size << ",\n";
        for (const Element &e : els)
            layouts_ << "  {" << quote(e.filter) << ", " << e.offset << ", " << e.width << ", \"" << e.kind
                     << "\", " << e.countAt << ", " << e.index << "},\n";
        layouts_ << "}\n";
    }

    std::ostringstream fields_, layouts_, data_;
    std::vector<std::string> names_;

private:
    std::set<std::string> seen_;
};

const char *number_type(uint16_t width) {
    switch (width) {
    case 8:
        return "ftypes.UINT64";
    case 2:
        return "ftypes.UINT16";
    case 1:
        return "ftypes.UINT8";
    default:
        return "ftypes.UINT32";
    }
}

const char *key_kind(tables::Key k) {
    switch (k) {
    case tables::Key::None:
        return "none";
    case tables::Key::Word:
        return "word";
    case tables::Key::Record:
        return "record";
    case tables::Key::Half:
        return "half";
    case tables::Key::InRecord:
        return "words";
    }
    return "none";
}

void describe_tables(Writer &w) {
    std::ostringstream &d = w.data_;
    d << "local TABLES = {}\n";
    for (const tables::Table *t : tables::kAll) {
        const std::string base = "temor." + filter_word(t->name);
        const std::string id = filter_word(t->name);
        const uint16_t replyTag = t->expect.tag >= 0 ? static_cast<uint16_t>(t->expect.tag) : t->tag;
        d << "TABLES[" << t->tag << "] = {name = " << quote(t->name) << ", reply = " << replyTag
          << ", key = \"" << key_kind(t->key) << "\"";
        // The record, or for a counted list its entries (the row's bytes
        // behind the key) and the key.
        if (t->countedList) {
            const uint16_t keySize = t->keyLayout->size;
            w.layout(id + ".key", keySize, w.elements(*t->record, base, "", 0, 0, keySize));
            w.layout(id + ".entry", t->record->size - keySize,
                     w.elements(*t->record, base, "", -keySize, keySize));
            d << ", counted = true, keylayout = L[" << quote(id + ".key") << "], entry = L["
              << quote(id + ".entry") << "]";
        } else {
            w.layout(id, t->record->size, w.elements(*t->record, base));
            d << ", record = L[" << quote(id) << "]";
        }
        if (t->list != nullptr) {
            const std::string listId = id + "." + t->list->name;
            w.layout(listId, t->list->entry->size,
                     w.elements(*t->list->entry, base, fields::snake(t->list->name) + "."));
            d << ", list = {tag = " << t->list->tag << ", entry = L[" << quote(listId)
              << "], countAt = " << t->list->countAt << "}";
        }
        if (t->listed != nullptr) d << ", listed = " << t->listed->tag;
        switch (t->key) {
        case tables::Key::Word:
        case tables::Key::Half:
            w.field(base + ".key", "key", t->key == tables::Key::Word ? "ftypes.UINT32" : "ftypes.UINT16");
            d << ", keyfield = " << quote(base + ".key");
            break;
        case tables::Key::Record:
            if (!t->countedList) {
                // A key of the record's own layout has its fields' names;
                // another layout's fields are the key's.
                const bool own = t->keyLayout == t->record;
                w.layout(id + ".key", t->keyLayout->size,
                         own ? w.elements(*t->keyLayout, base) : w.elements(*t->keyLayout, base + ".key"));
                d << ", keylayout = L[" << quote(id + ".key") << "]";
            }
            break;
        case tables::Key::InRecord: {
            // Each key word is the record's word at its offset.
            std::vector<Element> key;
            const std::vector<Element> rec = w.elements(*t->record, base);
            for (uint8_t i = 0; i < t->keyWords->count; ++i) {
                if (t->keyWords->at[i] == tables::kZeroWord) continue;
                for (const Element &e : rec)
                    if (e.offset == t->keyWords->at[i]) key.push_back({e.filter, 4u * i, 4, 'n', -1, 0});
            }
            w.layout(id + ".key", 4u * t->keyWords->count, key);
            d << ", keylayout = L[" << quote(id + ".key") << "]";
            break;
        }
        case tables::Key::None:
            break;
        }
        d << "}\n";
    }

    // Single numbers, the notification state, the debug switches and the
    // explicit paths: the other things a query asks for.
    d << "local OTHER = {}\n";
    for (const Scalar &s : kScalars) {
        const std::string filter = "temor.scalar." + filter_word(s.name);
        w.field(filter, s.name, "ftypes.UINT32");
        d << "OTHER[" << s.tag << "] = {kind = \"scalar\", name = " << quote(s.name)
          << ", field = " << quote(filter) << "}\n";
    }
    w.field("temor.notify", "notify", "ftypes.UINT32");
    d << "OTHER[" << tables::kNotifyTag << "] = {kind = \"scalar\", name = \"notify\", field = \"temor.notify\"}\n";
    w.layout("debug", tables::kDebug.size, w.elements(tables::kDebug, "temor.debug"));
    d << "OTHER[" << tables::kDebugTag << "] = {kind = \"debug\", name = \"debug\", reply = "
      << tables::kDebugReplyTag << ", record = L[\"debug\"]}\n";
    w.layout("expath.hop", tables::kExpathHop.size, w.elements(tables::kExpathHop, "temor.expath.hop"));
    w.layout("expath.header", tables::kExpathHeader.size, w.elements(tables::kExpathHeader, "temor.expath"));
    w.field("temor.expath.name", "name", "ftypes.STRING");
    d << "OTHER[" << tables::kExpathTag << "] = {kind = \"expath\", name = \"explicit path\", header = "
      << tables::kExpathHeaderTag << ", headerlayout = L[\"expath.header\"]"
      << ", hop = " << tables::kExpathHopTag << ", nametag = " << tables::kExpathNameTag
      << ", hoplayout = L[\"expath.hop\"]}\n";
}

const char *value_kind(temor::Value v) {
    using temor::Value;
    switch (v) {
    case Value::Flag:
        return "flag";
    case Value::Word:
        return "word";
    case Value::Half:
        return "half";
    case Value::Octet:
    case Value::OctetAt:
        return "octet";
    case Value::HostOrder:
        return "host";
    case Value::Copy:
    case Value::InPlace:
        return "record";
    case Value::MetricSelector:
        return "metric";
    case Value::Raw:
    case Value::Custom:
        return "bytes";
    }
    return "bytes";
}

// How the dissector shows a row's value: bytes become a record where the
// row describes their fields.
const char *value_kind(const Setter &s) {
    const bool described = s.layout != nullptr;
    if ((s.value == temor::Value::Raw || s.value == temor::Value::Custom) && described) return "record";
    return value_kind(s.value);
}

void describe_setters(Writer &w) {
    std::ostringstream &d = w.data_;
    w.field("temor.key.id", "key", "ftypes.UINT32");
    w.field("temor.key.name", "key", "ftypes.STRING");
    d << "local SETTERS = {}\n";
    std::set<uint8_t> classes;
    for (const Setter &s : kSetters) {
        if (classes.insert(s.cls).second)
            d << "SETTERS[" << int{s.cls} << "] = {keyed = " << (s.keyed ? "true" : "false") << ", tags = {}}\n";
        const std::string name = std::string(s.family) + " " + std::string(s.name.view());
        const std::string filter = "temor." + filter_word(s.family) + "." + filter_word(s.name.view());
        const char *kind = value_kind(s);
        d << "SETTERS[" << int{s.cls} << "].tags[" << s.tag << "] = {name = " << quote(name)
          << ", value = \"" << kind << "\", length = " << s.length << ", field = " << quote(filter);
        switch (s.value) {
        case temor::Value::Flag:
            break;
        case temor::Value::Word:
            w.field(filter, name, "ftypes.UINT32");
            break;
        case temor::Value::Half:
            w.field(filter, name, "ftypes.UINT16");
            break;
        case temor::Value::Octet:
        case temor::Value::OctetAt:
            w.field(filter, name, "ftypes.UINT8");
            break;
        case temor::Value::HostOrder:
            w.field(filter, name, number_type(s.length));
            break;
        case temor::Value::MetricSelector:
            w.field(filter + ".metric", "metric", "ftypes.UINT32");
            w.field(filter + ".selector", "selector", "ftypes.UINT8");
            break;
        case temor::Value::Copy:
        case temor::Value::InPlace: {
            const std::string id = filter.substr(6);
            w.layout(id, s.layout->size, w.elements(*s.layout, filter));
            d << ", record = L[" << quote(id) << "]";
            break;
        }
        case temor::Value::Raw:
        case temor::Value::Custom:
            // Bytes, unless the row describes their fields.
            if (s.layout == nullptr) {
                w.field(filter, name, "ftypes.BYTES");
            } else {
                const std::string id = filter.substr(6);
                w.layout(id, s.layout->size, w.elements(*s.layout, filter));
                d << ", record = L[" << quote(id) << "]";
            }
            break;
        }
        d << "}\n";
    }
}

void describe_header(Writer &w) {
    std::ostringstream &d = w.data_;
    d << "local CLASSES = {\n";
    for (const temor::HeaderName &c : temor::kClassNames) d << "  [" << int{c.value} << "] = " << quote(c.name) << ",\n";
    d << "  [" << int{sim::report::kSettingsClass} << "] = " << quote(sim::report::kSettingsClassName) << ",\n}\n";
    d << "local OPS = {\n";
    for (const temor::HeaderName &o : temor::kOpNames) d << "  [" << int{o.value} << "] = " << quote(o.name) << ",\n";
    d << "}\n";
    d << "local RESULTS = {\n";
    for (const tools::CodeName &c : tools::kCodes) d << "  [" << c.code << "] = " << quote(c.name) << ",\n";
    d << "}\n";
    d << "local HEADER_SIZE = " << temor::kHeaderSize << "\n";
    d << "local QUERY_CLASS = " << int{TE_MOR_CLASS_QUERY} << "\n";
    d << "local REPORT = {class = " << int{sim::report::kSettingsClass} << ", op = " << int{sim::report::kSettingsOp}
      << ", tag = " << sim::report::kSettingTag << ", head = " << sim::report::kEntryHead << "}\n";
    w.field("temor.setting.class", "class", "ftypes.UINT8");
    w.field("temor.setting.tag", "tag", "ftypes.UINT16");
    w.field("temor.setting.key_length", "key length", "ftypes.UINT8");
    w.field("temor.setting.index", "first setting", "ftypes.UINT32");
}

// What the dissector must name, straight from the descriptions.
void expect() {
    for (const tables::Table *t : tables::kAll) {
        std::cout << "query " << t->tag << ' ' << t->name << '\n';
        for (const fields::Name &n : fields::names(*t)) std::cout << "field " << n.filter << '\n';
    }
    for (const Scalar &s : kScalars) std::cout << "query " << s.tag << ' ' << s.name << '\n';
    std::cout << "query " << tables::kNotifyTag << " notify\nquery " << tables::kDebugTag << " debug\nquery "
              << tables::kExpathTag << " explicit path\n";
    for (const temor::HeaderName &c : temor::kClassNames) std::cout << "class " << int{c.value} << ' ' << c.name << '\n';
    std::cout << "class " << int{sim::report::kSettingsClass} << ' ' << sim::report::kSettingsClassName << '\n';
    for (const Setter &s : kSetters)
        std::cout << "setter " << int{s.cls} << ' ' << s.tag << ' ' << (s.keyed ? temor::key_length(temor::SetterRow{
                         .name = "", .cls = 0, .tag = 0, .value = temor::Value::Flag, .keyItem = s.keyItem}) : -1)
                  << ' ' << s.length << ' ' << s.family << ' ' << s.name.view() << '\n';
}

}  // namespace

int main(int argc, char **argv) {
    Writer w;
    describe_header(w);
    describe_tables(w);
    describe_setters(w);
    if (argc == 2 && std::string(argv[1]) == "--expect") {
        expect();
        return 0;
    }
    if (argc == 2 && std::string(argv[1]) == "--names") {
        for (const std::string &n : w.names_) std::cout << n << '\n';
        return 0;
    }
    if (argc != 3) {
        std::cerr << "usage: dissector_gen RUNTIME.lua OUT.lua | --names | --expect\n";
        return 2;
    }
    std::ifstream runtime(argv[1]);
    if (!runtime) {
        std::cerr << "dissector_gen: cannot read " << argv[1] << '\n';
        return 1;
    }
    std::ostringstream body;
    body << runtime.rdbuf();
    std::ofstream out(argv[2]);
    out << "-- temor.lua: the temor packet dissector for tshark and Wireshark (Lua 5.2).\n"
        << "-- Generated at build time by dissector_gen from the library's descriptions;\n"
        << "-- edit those or tools/share/dissector.lua, not this file.\n\n"
        << "local FIELD_LIST = {\n" << w.fields_.str() << "}\n\nlocal L = {}\n" << w.layouts_.str() << '\n'
        << w.data_.str() << '\n' << body.str();
    out.close();
    if (!out) {
        std::cerr << "dissector_gen: cannot write " << argv[2] << '\n';
        return 1;
    }
    return 0;
}

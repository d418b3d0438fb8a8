// The tools' part of each field kind, and the naming rule (see the header).
#include "tools/field_kinds.h"

#include <algorithm>
#include <cstring>

#include "messaging/bytes.h"

namespace fields {

namespace {

// Whether elements of the kind are numbers (held in the caller's order, or
// big-endian on the wire as the library's traits say).
bool is_number(FieldKind k) {
    switch (k) {
    case FieldKind::U64:
    case FieldKind::U32:
    case FieldKind::U16:
    case FieldKind::U8:
    case FieldKind::Host:
        return true;
    case FieldKind::Bytes:
    case FieldKind::Text:
    case FieldKind::Pad:
        return false;
    }
    return false;
}

// Whether the element's number lies big-endian in image.
bool big_endian(const Field &f, Image image) {
    return image == Image::Wire && temor::traits(f.kind).conversion == temor::Conversion::BigEndian;
}

template <class T>
T load(const uint8_t *at) {
    T v;
    std::memcpy(&v, at, sizeof v);
    return v;
}

template <class T>
void store(uint8_t *at, uint64_t v) {
    const auto n = static_cast<T>(v);
    std::memcpy(at, &n, sizeof n);
}

uint64_t load_number(const uint8_t *at, uint16_t width, bool bigEndian) {
    switch (width) {
    case 8:
        return bigEndian ? temor::get_be64(at) : load<uint64_t>(at);
    case 4:
        return bigEndian ? temor::get_be32(at) : load<uint32_t>(at);
    case 2:
        return bigEndian ? temor::get_be16(at) : load<uint16_t>(at);
    default:
        return *at;
    }
}

void store_number(uint8_t *at, uint16_t width, bool bigEndian, uint64_t v) {
    switch (width) {
    case 8:
        return bigEndian ? temor::put_be64(at, v) : store<uint64_t>(at, v);
    case 4:
        return bigEndian ? temor::put_be32(at, static_cast<uint32_t>(v)) : store<uint32_t>(at, v);
    case 2:
        return bigEndian ? temor::put_be16(at, static_cast<uint16_t>(v)) : store<uint16_t>(at, v);
    default:
        *at = static_cast<uint8_t>(v);
    }
}

std::string parse_number(const Field &f, std::string_view name, std::string_view value, uint8_t *at,
                         Image image) {
    const Number n = read_number(value, max_number(f));
    if (n.error != Number::Error::None) return number_problem(name, value, n, max_number(f));
    put_number(f, at, n.value, image);
    return {};
}

// A byte run (a double-quoted string or 0x hex bytes) or text (a
// double-quoted string, with room left for its terminator).
std::string parse_run(const Field &f, std::string_view name, std::string_view value, uint8_t *at, bool text) {
    const size_t room = text ? f.width - 1u : f.width;
    std::optional<std::vector<uint8_t>> bytes;
    if (const auto s = quoted(value)) {
        bytes = std::vector<uint8_t>(s->begin(), s->end());
    } else if (!text) {
        bytes = hex_bytes(value);
    }
    if (!bytes)
        return std::string(name) + ": '" + std::string(value) + "' is not " +
               (text ? "a double-quoted string" : "a double-quoted string or 0x hex bytes");
    if (bytes->size() > room)
        return std::string(name) + ": at most " + std::to_string(room) + (text ? " characters" : " bytes");
    std::memcpy(at, bytes->data(), bytes->size());
    return {};
}

// The syntax of a number of width bytes: Unsigned32, bounded when narrower.
std::string smi_number(uint16_t width) {
    if (width >= 8) return "OCTET STRING (SIZE (8))";  // beyond Unsigned32
    if (width == 4) return "Unsigned32";
    return "Unsigned32 (0.." + std::to_string((uint64_t{1} << (8 * width)) - 1) + ")";
}

const char *dissector_number(uint16_t width) {
    switch (width) {
    case 8:
        return "ftypes.UINT64";
    case 4:
        return "ftypes.UINT32";
    case 2:
        return "ftypes.UINT16";
    default:
        return "ftypes.UINT8";
    }
}

}  // namespace

// ---- values --------------------------------------------------------------------

std::string hex(const uint8_t *p, size_t n) {
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (size_t i = 0; i < n; ++i) {
        out += digits[p[i] >> 4];
        out += digits[p[i] & 15];
    }
    return out;
}

Number read_number(std::string_view s, uint64_t max) {
    const bool hexadecimal = s.size() > 2 && s[0] == '0' && (s[1] == 'x' || s[1] == 'X');
    if (hexadecimal) s.remove_prefix(2);
    const char *allowed = hexadecimal ? "0123456789abcdefABCDEF" : "0123456789";
    if (s.empty() || s.find_first_not_of(allowed) != std::string_view::npos) return {Number::Error::NotNumber};
    if (!hexadecimal && s.size() > 1 && s[0] == '0') return {Number::Error::LeadingZero};
    const uint64_t base = hexadecimal ? 16 : 10;
    uint64_t v = 0;
    for (const char c : s) {
        const uint64_t d = c <= '9' ? static_cast<uint64_t>(c - '0') : static_cast<uint64_t>((c | 0x20) - 'a' + 10);
        if (d > max || v > (max - d) / base) return {Number::Error::TooLarge};
        v = v * base + d;
    }
    return {Number::Error::None, v};
}

std::optional<uint64_t> number(std::string_view s) {
    const Number n = read_number(s);
    if (n.error != Number::Error::None) return std::nullopt;
    return n.value;
}

std::string without_leading_zeros(std::string_view s) {
    const size_t lead = std::min(s.find_first_not_of('0'), s.empty() ? 0 : s.size() - 1);
    return std::string(s.substr(lead));
}

std::string number_problem(std::string_view name, std::string_view word, const Number &n, uint64_t max) {
    const std::string head = std::string(name) + ": ";
    switch (n.error) {
    case Number::Error::LeadingZero:
        return head + "'" + std::string(word) + "' has a leading zero (octal or decimal?): write " +
               without_leading_zeros(word) + " for decimal, or 0x hex";
    case Number::Error::TooLarge:
        return head + std::string(word) + " does not fit (at most " + std::to_string(max) + ")";
    case Number::Error::NotNumber:
    case Number::Error::None:
        break;
    }
    return head + "'" + std::string(word) + "' is not a number (decimal or 0x hex)";
}

std::optional<std::string> quoted(std::string_view s) {
    if (s.size() < 2 || s.front() != '"' || s.back() != '"') return std::nullopt;
    std::string out;
    for (size_t i = 1; i + 1 < s.size(); ++i) {
        if (s[i] == '"') return std::nullopt;
        if (s[i] == '\\') {
            if (i + 2 >= s.size() || (s[i + 1] != '"' && s[i + 1] != '\\')) return std::nullopt;
            ++i;
        }
        out += s[i];
    }
    return out;
}

std::optional<std::vector<uint8_t>> hex_bytes(std::string_view s) {
    if (s.size() < 4 || s[0] != '0' || (s[1] != 'x' && s[1] != 'X') || s.size() % 2 != 0)
        return std::nullopt;
    std::vector<uint8_t> out;
    for (size_t i = 2; i < s.size(); i += 2) {
        const auto b = number(std::string("0x") + std::string(s.substr(i, 2)));
        if (!b) return std::nullopt;
        out.push_back(static_cast<uint8_t>(*b));
    }
    return out;
}

uint64_t max_number(const Field &f) {
    if (!is_number(f.kind)) return 0;
    return f.width >= 8 ? UINT64_MAX : (uint64_t{1} << (8 * f.width)) - 1;
}

std::optional<uint64_t> get_number(const Field &f, const uint8_t *at, Image image) {
    if (!is_number(f.kind)) return std::nullopt;
    return load_number(at, f.width, big_endian(f, image));
}

bool put_number(const Field &f, uint8_t *at, uint64_t v, Image image) {
    if (!is_number(f.kind)) return false;
    store_number(at, f.width, big_endian(f, image), v);
    return true;
}

std::string parse(const Field &f, std::string_view name, std::string_view value, uint8_t *at, Image image) {
    switch (f.kind) {
    case FieldKind::U64:
    case FieldKind::U32:
    case FieldKind::U16:
    case FieldKind::U8:
    case FieldKind::Host:
        return parse_number(f, name, value, at, image);
    case FieldKind::Bytes:
        return parse_run(f, name, value, at, false);
    case FieldKind::Text:
        return parse_run(f, name, value, at, true);
    case FieldKind::Pad:
        break;
    }
    return std::string(name) + ": padding takes no value";
}

Printed print(const Field &f, const uint8_t *at, Image image, bool asText) {
    switch (f.kind) {
    case FieldKind::U64:
    case FieldKind::U32:
    case FieldKind::U16:
    case FieldKind::U8:
    case FieldKind::Host:
        return {true, *get_number(f, at, image), {}};
    case FieldKind::Text:
        asText = true;
        break;
    case FieldKind::Bytes:
    case FieldKind::Pad:
        break;
    }
    const auto *chars = reinterpret_cast<const char *>(at);
    if (asText) return {false, 0, std::string(chars, strnlen(chars, f.width))};
    return {false, 0, hex(at, f.width)};
}

std::string text_of(const Printed &p) { return p.isNumber ? std::to_string(p.number) : p.text; }

// ---- descriptions ---------------------------------------------------------------

bool is_named(FieldKind k) { return k != FieldKind::Pad; }

bool takes_string(FieldKind k) {
    switch (k) {
    case FieldKind::Bytes:
    case FieldKind::Text:
        return true;
    case FieldKind::U64:
    case FieldKind::U32:
    case FieldKind::U16:
    case FieldKind::U8:
    case FieldKind::Host:
    case FieldKind::Pad:
        return false;
    }
    return false;
}

const char *json_type(FieldKind k) {
    switch (k) {
    case FieldKind::U64:
    case FieldKind::U32:
    case FieldKind::U16:
    case FieldKind::U8:
    case FieldKind::Host:
        return "integer";
    case FieldKind::Bytes:
    case FieldKind::Text:
        return "string";
    case FieldKind::Pad:
        break;
    }
    return "";
}

// The library gives fields no meaning, so no number is a counter or a gauge;
// numbers wider than Unsigned32 are their eight bytes.
std::string smi_syntax(const Field &f) {
    switch (f.kind) {
    case FieldKind::U64:
    case FieldKind::U32:
    case FieldKind::U16:
    case FieldKind::U8:
    case FieldKind::Host:
        return smi_number(f.width);
    case FieldKind::Bytes:
        return "OCTET STRING (SIZE (" + std::to_string(f.width) + "))";
    case FieldKind::Text:
        return "OCTET STRING (SIZE (0.." + std::to_string(f.width - 1) + "))";
    case FieldKind::Pad:
        break;
    }
    return {};
}

const char *dissector_type(const Field &f) {
    switch (f.kind) {
    case FieldKind::U64:
    case FieldKind::U32:
    case FieldKind::U16:
    case FieldKind::U8:
    case FieldKind::Host:
        return dissector_number(f.width);
    case FieldKind::Bytes:
        return "ftypes.BYTES";
    case FieldKind::Text:
        // Not STRINGZ: text may fill its field without a terminator, which
        // tshark 4.0 refuses for a STRINGZ field (the dissector passes the
        // text up to the first zero as the value).
        return "ftypes.STRING";
    case FieldKind::Pad:
        break;
    }
    return "";
}

// ---- names -------------------------------------------------------------------------

std::string snake(std::string_view camelCase) {
    std::string out;
    for (const char ch : camelCase) {
        if (ch >= 'A' && ch <= 'Z') {
            if (!out.empty()) out += '_';
            out += static_cast<char>(ch - 'A' + 'a');
        } else {
            out += ch;
        }
    }
    return out;
}

std::string camel(std::string_view name) {
    std::string out;
    bool up = true;
    for (const char ch : name) {
        if (ch == '-' || ch == '_' || ch == '.') {
            up = true;
            continue;
        }
        out += up && ch >= 'a' && ch <= 'z' ? static_cast<char>(ch - 'a' + 'A') : ch;
        up = false;
    }
    return out;
}

std::string element_name(const Field &f, int i) {
    const std::string pattern(f.name);
    const size_t hole = pattern.find("%u");
    if (hole == std::string::npos) return pattern;
    std::string n = std::to_string(f.first + (i < 0 ? 0 : i));
    if (i < 0 && f.count > 1) n += ".." + std::to_string(f.first + f.count - 1);
    return pattern.substr(0, hole) + n + pattern.substr(hole + 2);
}

Place place(const Field &f) {
    const std::string_view name = f.name;
    Place p;
    if (const size_t at = name.find("[%u]"); at != std::string_view::npos) {
        p.key = snake(name.substr(0, at));
        p.array = true;
        if (at + 4 < name.size() && name[at + 4] == '.') p.member = snake(name.substr(at + 5));
    } else if (const size_t n = name.find("%u"); n != std::string_view::npos) {
        p.key = snake(name.substr(0, n));
        p.numbered = true;
    } else {
        p.key = snake(name);
    }
    return p;
}

namespace {

// The names of l's fields, under prefix (a list's key and a dot) when given.
void add_names(std::vector<Name> &out, std::string_view table, const temor::Layout &l,
               const std::string &prefix) {
    std::string filterTable(table);
    for (char &c : filterTable) c = c == '-' ? '_' : c;
    for (uint16_t f = 0; f < l.fieldCount; ++f) {
        const Field &fd = l.fields[f];
        if (!is_named(fd.kind)) continue;
        const Place p = place(fd);
        const uint16_t n = p.numbered ? fd.count : 1;
        for (uint16_t i = 0; i < n; ++i) {
            std::string json = prefix + p.key;
            if (p.numbered) json += std::to_string(fd.first + i);
            if (!p.member.empty()) json += "." + p.member;
            out.push_back({&fd, i, json, "temor" + camel(table) + camel(json),
                           "temor." + filterTable + "." + json});
        }
    }
}

}  // namespace

std::vector<Name> names(const temor::tables::Table &t) {
    std::vector<Name> out;
    add_names(out, t.name, *t.record, "");
    if (t.list != nullptr) add_names(out, t.name, *t.list->entry, snake(t.list->name) + ".");
    return out;
}

}  // namespace fields

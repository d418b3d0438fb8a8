// What the tools do with each kind of record field, and the one rule that
// names every field. The library's part of a kind (width, byte order,
// conversion) is in messaging/layout.h; here each kind gets, by a switch
// with a case per kind, how a value of it is written as text (te-simd's
// table file, tectl's arguments), how it is printed (text and JSON), and how
// a MIB object and a packet dissector field describe it. te-simd and tectl
// take all of this from here and nothing of it from anywhere else.
//
// Names. A field of a table has one name per element of a numbered field
// ("word%u": word0, word1...) and one name for the other fields, an array
// ("valuesA[%u]") or a member of an array of objects
// ("entries[%u].entryValueA") alike:
//   JSON key    snake case, a member after a dot:  word3, values_a, entries.entry_value_a
//   MIB object  temor + CamelCase table + field:  temorTunnelsByIdWord3, temorBwAllocEntriesEntryValueA
//   filter      temor.<table>.<JSON key>, lower case, a hyphen of a table's name written _:
//               temor.tunnels_by_id.word3
// The table file and tectl's arguments use the layout's own names ("word3",
// "entries[2].entryValueA"; element_name).
#ifndef TEMOR_TOOLS_FIELD_KINDS_H
#define TEMOR_TOOLS_FIELD_KINDS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "messaging/layout.h"
#include "query/tables.h"

namespace fields {

using temor::Field;
using temor::FieldKind;

// ---- values --------------------------------------------------------------------

// Which image an element's bytes lie in: a wire image (big-endian numbers) or
// a caller's record (host order). Host-order numbers are alike in both.
enum class Image : uint8_t { Wire, Record };

// A number as every tool reads one (table files, te-simd's options, tectl's
// arguments): decimal digits, or 0x and hex digits, at most max. A leading
// zero before more decimal digits is refused (is 010 ten or eight?), and so
// are signs, blanks and anything else.
struct Number {
    enum class Error : uint8_t { None, NotNumber, LeadingZero, TooLarge };
    Error error = Error::None;
    uint64_t value = 0;
};
Number read_number(std::string_view s, uint64_t max = UINT64_MAX);
// The value of a number that read_number takes, or nothing.
std::optional<uint64_t> number(std::string_view s);
// The decimal digits of s without its leading zeros ("010" -> "10", "00" ->
// "0"): what to write instead.
std::string without_leading_zeros(std::string_view s);
// What te-simd says of a word that read_number refused, after name (a field
// or an option): "NAME: 'x' is not a number (decimal or 0x hex)".
std::string number_problem(std::string_view name, std::string_view word, const Number &n, uint64_t max);
// The text of a double-quoted string ("\"" and "\\" stand for " and \).
std::optional<std::string> quoted(std::string_view s);
// 0x followed by an even number of hex digits: those bytes in order.
std::optional<std::vector<uint8_t>> hex_bytes(std::string_view s);

// Two lower-case hex digits per byte.
std::string hex(const uint8_t *p, size_t n);

// The largest number an element of f holds (0 for kinds that are not numbers).
uint64_t max_number(const Field &f);
// The number an element holds, or nothing for kinds that are not numbers.
std::optional<uint64_t> get_number(const Field &f, const uint8_t *at, Image image);
// Writes v (which fits) into an element of a number kind; false for the others.
bool put_number(const Field &f, uint8_t *at, uint64_t v, Image image);

// Reads value as the table file writes an element of f (numbers decimal or
// 0x hex; byte runs a double-quoted string or 0x hex bytes; text a
// double-quoted string) into the element at at; what is wrong, after name,
// or "".
std::string parse(const Field &f, std::string_view name, std::string_view value, uint8_t *at, Image image);

// An element as tectl prints it: a number, or a string (text, byte runs in
// hex or, when asText, as the text they hold).
struct Printed {
    bool isNumber = false;
    uint64_t number = 0;
    std::string text;
};
Printed print(const Field &f, const uint8_t *at, Image image, bool asText = false);
// As text output shows it: the number in decimal, or the string. (JSON
// output holds a number as a number, a string as a string: json_type.)
std::string text_of(const Printed &p);

// ---- descriptions ---------------------------------------------------------------

// Whether the kind is a field of its own (padding is not: it is never named,
// set or shown).
bool is_named(FieldKind k);
// Whether the table file writes a value of it as a double-quoted string.
bool takes_string(FieldKind k);
// "integer" or "string" ("" for padding).
const char *json_type(FieldKind k);
// The SMIv2 syntax of an object for one element of f ("" for padding).
std::string smi_syntax(const Field &f);
// The Lua dissector's field type of an element of f ("" for padding).
const char *dissector_type(const Field &f);

// How a command-line argument gives an element: a number of size bytes, size
// bytes given as one number, at most size bytes of text, or not at all (the
// element is left zero).
enum class Input : uint8_t { None, Number, Bytes, Text };
struct ArgShape {
    Input input;
    uint16_t size;
};
constexpr ArgShape arg_shape(const Field &f) {
    switch (f.kind) {
    case FieldKind::U64:
    case FieldKind::U32:
    case FieldKind::U16:
    case FieldKind::U8:
    case FieldKind::Host:
        return {Input::Number, f.width};
    case FieldKind::Bytes:  // a longer run than a number holds is left zero
        return f.width <= 8 ? ArgShape{Input::Bytes, f.width} : ArgShape{Input::None, 0};
    case FieldKind::Text:
        return {Input::Text, static_cast<uint16_t>(f.width - 1)};
    case FieldKind::Pad:
        return {Input::None, 0};
    }
    return {Input::None, 0};  // not reached: every kind has its case
}

// ---- names -------------------------------------------------------------------------

// "entryValueA" -> "entry_value_a".
std::string snake(std::string_view camel);
// "entryValueA" -> "EntryValueA", "tunnels-by-id" -> "TunnelsById".
std::string camel(std::string_view name);

// The name of element i of f as the table file and tectl's arguments write
// it ("word4"), or of all its elements when i is negative ("word0..14",
// "entries[0..15].entryBytes").
std::string element_name(const Field &f, int i);

// How a field's name places it in a JSON object: "word%u" one key per
// element (word0, word1...), "valuesA[%u]" an array, "entries[%u].entryValueA"
// a member of each object of an array, otherwise one key.
struct Place {
    std::string key;     // the key, or the array's key
    std::string member;  // member of the array's objects, or empty
    bool numbered = false;
    bool array = false;
};
Place place(const Field &f);

// One named element of a table (or every element of an array field).
struct Name {
    const Field *field;
    uint16_t index;    // the element (0 for a field named once)
    std::string json;  // word3, values_a, entries.entry_value_a
    std::string mib;
    std::string filter;
};
// Every name of a table's record, and of its list's entries (as members of
// the list's array).
std::vector<Name> names(const temor::tables::Table &t);

}  // namespace fields

#endif

// The tools' part of each field kind and the names of the fields: every
// kind read from its table-file text into a wire image, turned into a record
// by the library and printed back; every field of every table named once.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "messaging/layout.h"
#include "query/tables.h"
#include "tools/field_kinds.h"

namespace {

using namespace temor;
using Bytes = std::vector<uint8_t>;

template <class T>
Bytes host_bytes(T v) {
    Bytes b(sizeof v);
    std::memcpy(b.data(), &v, sizeof v);
    return b;
}

struct KindRow {
    Field field;
    const char *value;  // as the table file writes it
    Bytes wire;
    const char *printed;  // as text output shows it
    const char *json;
    const char *smi;
    const char *dissector;
    fields::ArgShape arg;
};

const KindRow kKinds[] = {
    {quads("q", 0), "0x0102030405060708", {1, 2, 3, 4, 5, 6, 7, 8}, "72623859790382856", "integer",
     "OCTET STRING (SIZE (8))", "ftypes.UINT64", {fields::Input::Number, 8}},
    {quads("q", 0), "18446744073709551615", Bytes(8, 0xff), "18446744073709551615", "integer",
     "OCTET STRING (SIZE (8))", "ftypes.UINT64", {fields::Input::Number, 8}},
    {words("w", 0), "4294967295", Bytes(4, 0xff), "4294967295", "integer", "Unsigned32", "ftypes.UINT32",
     {fields::Input::Number, 4}},
    {halves("h", 0), "0x1234", {0x12, 0x34}, "4660", "integer", "Unsigned32 (0..65535)", "ftypes.UINT16",
     {fields::Input::Number, 2}},
    {octets("o", 0), "200", {200}, "200", "integer", "Unsigned32 (0..255)", "ftypes.UINT8",
     {fields::Input::Number, 1}},
    {host_numbers("n", 0, 2), "0x1234", host_bytes<uint16_t>(0x1234), "4660", "integer",
     "Unsigned32 (0..65535)", "ftypes.UINT16", {fields::Input::Number, 2}},
    {host_numbers("n", 0, 8), "0x0102030405060708", host_bytes<uint64_t>(0x0102030405060708), "72623859790382856",
     "integer", "OCTET STRING (SIZE (8))", "ftypes.UINT64", {fields::Input::Number, 8}},
    {bytes("b", 0, 4), "0xdeadBEEF", {0xde, 0xad, 0xbe, 0xef}, "deadbeef", "string", "OCTET STRING (SIZE (4))",
     "ftypes.BYTES", {fields::Input::Bytes, 4}},
    {bytes("b", 0, 4), "\"a\\\"\"", {'a', '"', 0, 0}, "61220000", "string", "OCTET STRING (SIZE (4))",
     "ftypes.BYTES", {fields::Input::Bytes, 4}},
    {bytes("b", 0, 12), "\"twelve bytes\"", Bytes{'t', 'w', 'e', 'l', 'v', 'e', ' ', 'b', 'y', 't', 'e', 's'},
     "7477656c7665206279746573", "string", "OCTET STRING (SIZE (12))", "ftypes.BYTES", {fields::Input::None, 0}},
    {text("t", 0, 10), "\"tunnel 7\"", Bytes{'t', 'u', 'n', 'n', 'e', 'l', ' ', '7', 0, 0}, "tunnel 7", "string",
     "OCTET STRING (SIZE (0..9))", "ftypes.STRING", {fields::Input::Text, 9}},
};

// Table-file text -> wire image -> the library's decoding -> printed; and
// the kind's descriptions.
TEST(FieldKinds, RoundTripEveryKind) {
    for (const KindRow &r : kKinds) {
        SCOPED_TRACE(std::string(r.field.name) + "=" + r.value);
        Bytes wire(r.field.width, 0);
        ASSERT_EQ(fields::parse(r.field, "x", r.value, wire.data(), fields::Image::Wire), "");
        EXPECT_EQ(wire, r.wire);
        const Layout l{static_cast<uint16_t>(wire.size()), &r.field, 1};
        Bytes record = wire;
        swap_fields(record.data(), l);
        EXPECT_EQ(fields::text_of(fields::print(r.field, record.data(), fields::Image::Record)), r.printed);
        EXPECT_EQ(fields::text_of(fields::print(r.field, wire.data(), fields::Image::Wire)), r.printed);
        EXPECT_STREQ(fields::json_type(r.field.kind), r.json);
        EXPECT_EQ(fields::smi_syntax(r.field), r.smi);
        EXPECT_STREQ(fields::dissector_type(r.field), r.dissector);
        EXPECT_EQ(fields::arg_shape(r.field).input, r.arg.input);
        EXPECT_EQ(fields::arg_shape(r.field).size, r.arg.size);
        // A number written into the record reads back from its wire image.
        if (const auto n = fields::get_number(r.field, record.data(), fields::Image::Record)) {
            Bytes again(wire.size(), 0), image(wire.size());
            ASSERT_TRUE(fields::put_number(r.field, again.data(), *n, fields::Image::Record));
            wire_image(again.data(), l, image.data());
            EXPECT_EQ(image, wire);
        }
    }
}

TEST(FieldKinds, RefusesValuesThatDoNotFitTheirKind) {
    const struct {
        Field field;
        const char *value;
        const char *why;
    } rows[] = {
        {words("w", 0), "4294967296", "x: 4294967296 does not fit (at most 4294967295)"},
        {quads("q", 0), "18446744073709551616", "x: 18446744073709551616 does not fit (at most 18446744073709551615)"},
        {quads("q", 0), "0x10000000000000000", "x: 0x10000000000000000 does not fit (at most 18446744073709551615)"},
        // Is 010 ten or eight? Neither: a leading zero is refused, as tectl refuses it.
        {halves("h", 0), "010", "x: '010' has a leading zero (octal or decimal?): write 10 for decimal, or 0x hex"},
        {octets("o", 0), "00", "x: '00' has a leading zero (octal or decimal?): write 0 for decimal, or 0x hex"},
        {halves("h", 0), "0x", "x: '0x' is not a number (decimal or 0x hex)"},
        {halves("h", 0), "1 ", "x: '1 ' is not a number (decimal or 0x hex)"},
        {host_numbers("n", 0, 1), "256", "x: 256 does not fit (at most 255)"},
        {halves("h", 0), "-1", "x: '-1' is not a number (decimal or 0x hex)"},
        {bytes("b", 0, 2), "0x010203", "x: at most 2 bytes"},
        {bytes("b", 0, 2), "abc", "x: 'abc' is not a double-quoted string or 0x hex bytes"},
        {text("t", 0, 4), "\"four\"", "x: at most 3 characters"},
        {text("t", 0, 4), "0x41", "x: '0x41' is not a double-quoted string"},
        {pad(0, 4), "0", "x: padding takes no value"},
    };
    for (const auto &r : rows) {
        Bytes image(8, 0);
        EXPECT_EQ(fields::parse(r.field, "x", r.value, image.data(), fields::Image::Wire), r.why) << r.value;
        EXPECT_EQ(image, Bytes(8, 0)) << r.value;
    }
}

// A 64-bit and a host-order field through the compile-time decoder, the
// run-time one and the wire image of a record.
struct Wide {
    uint64_t quad[2];
    uint32_t word;
    uint16_t host;
    uint8_t pad[2];
};
constexpr Field kWideFields[] = {quads("quad%u", 0, 2), words("word", 16), host_numbers("host", 20, 2),
                                 pad(22, 2)};
constexpr Layout kWide = layout(sizeof(Wide), kWideFields);
static_assert(covers_exactly(kWide));
// A host-order number is 1, 2, 4 or 8 bytes; a number of a fixed kind has its width.
constexpr Field kOddHost[] = {host_numbers("n", 0, 3)};
static_assert(!covers_exactly(layout(3, kOddHost)));
constexpr Field kWideWord[] = {{"w", 0, FieldKind::U32, 1, 0, 8, -1, 0}};
static_assert(!covers_exactly(layout(8, kWideWord)));

TEST(FieldKinds, SixtyFourBitNumbersDecodeAndEncode) {
    const Bytes wire = {1, 2, 3, 4, 5, 6, 7, 8, 0xf0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 9, 0x34, 0x12, 0, 0};
    Wide a, b;
    std::memcpy(&a, wire.data(), sizeof a);
    std::memcpy(&b, wire.data(), sizeof b);
    swap_fields<kWide>(reinterpret_cast<uint8_t *>(&a));
    swap_fields(reinterpret_cast<uint8_t *>(&b), kWide);
    for (const Wide &w : {a, b}) {
        EXPECT_EQ(w.quad[0], 0x0102030405060708u);
        EXPECT_EQ(w.quad[1], 0xf000000000000001u);
        EXPECT_EQ(w.word, 9u);
        EXPECT_EQ(std::memcmp(&w.host, &wire[20], 2), 0);  // not converted
    }
    a.pad[0] = 0xee;
    Bytes back(sizeof a);
    wire_image(&a, kWide, back.data());
    EXPECT_EQ(back, wire);

    // The tools read and print the same field by its name.
    uint8_t image[sizeof(Wide)] = {};
    ASSERT_EQ(fields::parse(kWideFields[0], "quad1", "0xf000000000000001", image + 8, fields::Image::Wire), "");
    EXPECT_TRUE(std::equal(image + 8, image + 16, wire.begin() + 8));
    EXPECT_EQ(fields::text_of(fields::print(kWideFields[0], reinterpret_cast<const uint8_t *>(&a.quad[1]),
                                            fields::Image::Record)),
              "17293822569102704641");
}

bool well_formed(const std::string &s, const char *allowed) {
    return !s.empty() && s.find_first_not_of(allowed) == std::string::npos;
}

// Names are unique where they must be: MIB objects in the module, filters
// in the protocol, JSON keys within a table; and made only of what each
// allows.
TEST(FieldKinds, EveryFieldOfEveryTableHasItsOwnNames) {
    std::set<std::string> mib, filters;
    for (const tables::Table *t : tables::kAll) {
        std::set<std::string> json;
        for (const fields::Name &n : fields::names(*t)) {
            SCOPED_TRACE(std::string(t->name) + " " + n.json);
            EXPECT_TRUE(json.insert(n.json).second);
            EXPECT_TRUE(mib.insert(n.mib).second);
            EXPECT_TRUE(filters.insert(n.filter).second);
            EXPECT_TRUE(well_formed(n.json, "abcdefghijklmnopqrstuvwxyz0123456789_."));
            EXPECT_TRUE(n.mib.starts_with("temor") && n.mib.size() <= 64);
            EXPECT_TRUE(well_formed(n.mib, "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"));
            EXPECT_TRUE(n.filter.starts_with("temor.") &&
                        well_formed(n.filter, "abcdefghijklmnopqrstuvwxyz0123456789_."));
        }
    }
    // The rule itself, on a few fields of each form.
    const std::map<std::string, std::pair<std::string, std::string>> expected = {
        {"word3", {"temorTunnelsByIdWord3", "temor.tunnels_by_id.word3"}},
        {"raw_block", {"temorTunnelsByIdRawBlock", "temor.tunnels_by_id.raw_block"}},
    };
    for (const fields::Name &n : fields::names(tables::kTunnelsById)) {
        if (const auto e = expected.find(n.json); e != expected.end()) {
            EXPECT_EQ(std::make_pair(n.mib, n.filter), e->second);
        }
    }
    std::set<std::string> bw, sr;
    for (const fields::Name &n : fields::names(tables::kBwAlloc)) bw.insert(n.mib + " " + n.filter);
    for (const fields::Name &n : fields::names(tables::kSrMappings)) sr.insert(n.json + " " + n.mib);
    EXPECT_TRUE(bw.contains("temorBwAllocEntriesEntryValueA temor.bw_alloc.entries.entry_value_a"));
    EXPECT_TRUE(bw.contains("temorBwAllocValuesA temor.bw_alloc.values_a"));
    EXPECT_TRUE(sr.contains("entries.half1 temorSrMappingsEntriesHalf1"));
}

}  // namespace

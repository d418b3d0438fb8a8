// Tunnel creation (the configuration's wire image) and the path options
// (converted in the caller's record), as setter rows.
#include <cstring>

#include "include/te_mor.h"
#include "support/tables.h"

using namespace temor::test;

namespace {

// The fixed part of the configuration's image (numbers big-endian); the
// text follows at 36.
const Bytes kFixed = cat({be32(1), Bytes(20, 0), be32(0x0A0B0C0D), {5, 6, 1, 2, 0xB0, 0xB1, 0xB2, 0xB3}});

// Sent whatever the TE state and left as it was: text holds the record's
// text field, sent what goes out (up to the terminator and at most 255 bytes,
// zero-padded to 256).
SetterRow config(const char *name, const Bytes &text, const Bytes &sent) {
    static_assert(sizeof(TeTunnelConfig) == 292);
    const Bytes record = host_image(cat({kFixed, text}), {{0, 4, 7}, {28, 2, 2}});
    return {name, [](uint32_t, Rec r) { return TE_MOR_SetTunnel(r); }, Form::None, 6, false,
            {{24, cat({kFixed, sent})}}, {0}, record, record};
}

// 256 bytes of text: s, then zeros, with byte at set to v.
Bytes text(const char *s, size_t at = 0, uint8_t v = 0) {
    Bytes t(256, 0);
    std::memcpy(t.data(), s, std::strlen(s));
    if (v) t[at] = v;
    return t;
}

// The option in network order: what is sent, and what the caller gets back.
const Bytes kOptionWire = cat({pattern(34, 1), be16(0x0A0B), be32(258), be32(0x01020304), pattern(32, 0x80)});

// Converted in place exactly when sent, whatever the daemon answers.
SetterRow path_option(const char *name, uint32_t (*set)(uint32_t, uint32_t, TeTunnelPathOption *), uint16_t tag) {
    static_assert(sizeof(TeTunnelPathOption) == 76);
    return {name, [set](uint32_t op, Rec r) { return set(op, 7, r); }, Form::U, 3, true,
            {{0, be32(7)}, {tag, kOptionWire}}, {0, 1}, host_image(kOptionWire, {{34, 2}, {36, 4, 2}}), kOptionWire};
}

const SetterRow kSetters[] = {
    config("TE_MOR_SetTunnel", text(""), text("")),
    config("TE_MOR_SetTunnel_TextAfterTerminator", text("tunnel-one", 20, 'Z'), text("tunnel-one")),
    config("TE_MOR_SetTunnel_UnterminatedText", Bytes(256, 'x'), cat({Bytes(255, 'x'), {0}})),
    path_option(NAMED(TE_MOR_SetTunnelPath), 2),
    path_option(NAMED(TE_MOR_SetTunnelBackupPath), 3),
};
SETTER_TABLE(Tunnel, kSetters);

}  // namespace

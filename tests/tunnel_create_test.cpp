// Tunnel creation (the configuration record's wire image) and the path
// option setters (conversion of the caller's record).
#include <cstring>
#include <functional>
#include <memory>

#include "include/te_mor.h"
#include "support/fake_daemon.h"
#include "support/records.h"

using namespace temor::test;

namespace {

// The fixed part of the configuration's image (numbers big-endian); the
// text follows at 36.
const Bytes kFixed = cat({be32(1), Bytes(20, 0), be32(0x0A0B0C0D), {5, 6, 1, 2, 0xB0, 0xB1, 0xB2, 0xB3}});

// Allocated on its own so that any read past the record is an overflow.
std::unique_ptr<TeTunnelConfig> config() {
    static_assert(sizeof(TeTunnelConfig) == 292);
    auto c = std::make_unique<TeTunnelConfig>();
    set_bytes(*c, host_image(cat({kFixed, Bytes(256, 0)}), {{0, 4, 7}, {28, 2, 2}}));
    return c;
}

class TunnelCreate : public DaemonTest {};

// The image: numbers big-endian at their offsets, the text up to its
// terminator and at most 255 bytes, zero-padded to 256; the caller's record
// is left as it was.
TEST_F(TunnelCreate, ImageOffsetsAndTextBounds) {
    Bytes named(256, 0), unterminated(256, 'x');
    std::memcpy(named.data(), "tunnel-one", 10);
    unterminated[255] = 0;
    const std::pair<std::function<void(char *)>, Bytes> cases[] = {
        {[](char *t) { std::strcpy(t, "tunnel-one"), t[20] = 'Z'; }, named},  // Z is not sent
        {[](char *t) { std::memset(t, 'x', sizeof TeTunnelConfig::text); }, unterminated},
        {[](char *) {}, Bytes(256, 0)},
    };
    for (const auto &[fill, text] : cases) {
        auto c = config();
        fill(c->text);
        const Bytes before = bytes_of(*c);
        EXPECT_EQ(TE_MOR_SetTunnel(c.get()), 0u);
        EXPECT_EQ(last_sent(*daemon), message(6, 0, 0, {{24, cat({kFixed, text})}}));
        EXPECT_EQ(bytes_of(*c), before);
    }
}

// Sent whatever the TE state, the daemon's code passed through.
TEST_F(TunnelCreate, NoCheckNullConfigAndNoSocket) {
    dirs.set_te_enabled(false);
    daemon->answer_result(0x250C0042);
    auto c = config();
    EXPECT_EQ(TE_MOR_SetTunnel(c.get()), 0x250C0042u);
    expect_refused(*daemon, {[] { return TE_MOR_SetTunnel(nullptr); }});
    daemon.reset();
    fdsBefore = open_fd_count();
    EXPECT_EQ(TE_MOR_SetTunnel(c.get()), TE_MOR_ERR_IPC_OPEN);
}

// Path options -------------------------------------------------------------

const std::pair<uint32_t (*)(uint32_t, uint32_t, TeTunnelPathOption *), uint16_t> kPathRows[] = {
    {TE_MOR_SetTunnelPath, 2}, {TE_MOR_SetTunnelBackupPath, 3}};

// The option in network order: what is sent, and what the caller gets back.
Bytes option_wire() {
    return cat({pattern(34, 1), be16(0x0A0B), be32(258), be32(0x01020304), pattern(32, 0x80)});
}

TeTunnelPathOption option() {
    static_assert(sizeof(TeTunnelPathOption) == 76);
    TeTunnelPathOption o;
    set_bytes(o, host_image(option_wire(), {{34, 2}, {36, 4, 2}}));
    return o;
}

class PathOptions : public DaemonTest {};

// Sent and left in network order whatever the daemon answers; untouched when
// the check refuses.
TEST_F(PathOptions, ConvertedInPlaceOnlyWhenSent) {
    for (const auto &[call, tag] : kPathRows) {
        for (uint32_t answer : {0u, 0x250C0099u}) {
            TeTunnelPathOption o = option();
            daemon->answer_result(answer);
            EXPECT_EQ(call(1, 7, &o), answer);
            EXPECT_EQ(last_sent(*daemon), message(3, 1, 0, {{0, be32(7)}, {tag, option_wire()}}));
            EXPECT_EQ(bytes_of(o), option_wire());
        }
        dirs.set_te_enabled(false);
        TeTunnelPathOption o = option();
        const Bytes before = bytes_of(o);
        expect_refused(*daemon, {[&] { return call(1, 7, &o); }}, 0);
        expect_refused(*daemon, {[&] { return call(0, 7, &o); }}, TE_MOR_ERR_TE_DISABLED);
        EXPECT_EQ(bytes_of(o), before);
        dirs.set_te_enabled(true);
    }
}

}  // namespace

// Tunnel creation (the configuration record's wire image) and the path
// option setters (conversion of the caller's record).
#include <cstring>
#include <memory>

#include "include/te_mor.h"
#include "support/fake_daemon.h"

using namespace temor::test;

namespace {

// Allocated on its own so that any read past the record is an overflow.
std::unique_ptr<TeTunnelConfig> config() {
    auto c = std::make_unique<TeTunnelConfig>();
    std::memset(c.get(), 0, sizeof *c);
    c->word0 = 1;
    c->word6 = 0x0A0B0C0D;
    c->half0 = 0x0506;
    c->half1 = 0x0102;
    c->byte0 = 0xB0;
    c->byte1 = 0xB1;
    c->byte2 = 0xB2;
    c->byte3 = 0xB3;
    return c;
}

class TunnelCreate : public DaemonTest {
protected:
    // Sends config and returns the value of the one item sent.
    Bytes sent_image(const TeTunnelConfig &c) {
        EXPECT_EQ(TE_MOR_SetTunnel(&c), 0u);
        const Message m = daemon->last();
        EXPECT_EQ(m.msgClass, 6);
        EXPECT_EQ(m.op, 0);
        EXPECT_EQ(m.items.size(), 1u);
        if (m.items.size() != 1) return {};
        EXPECT_EQ(m.items[0].tag, 24);
        EXPECT_EQ(m.items[0].value.size(), 292u);
        return m.items[0].value;
    }
};

TEST_F(TunnelCreate, FieldsAtTheirOffsetsAndTheCallersRecordUntouched) {
    auto c = config();
    std::strcpy(c->text, "tunnel-one");
    c->text[20] = 'Z';  // behind the terminator: not sent
    TeTunnelConfig before;
    std::memcpy(&before, c.get(), sizeof before);

    const Bytes v = sent_image(*c);
    ASSERT_EQ(v.size(), 292u);
    EXPECT_EQ(Bytes(v.begin(), v.begin() + 4), be32(1));
    EXPECT_EQ(Bytes(v.begin() + 4, v.begin() + 24), Bytes(20, 0));
    EXPECT_EQ(Bytes(v.begin() + 24, v.begin() + 28), be32(0x0A0B0C0D));
    EXPECT_EQ(Bytes(v.begin() + 28, v.begin() + 36),
              (Bytes{0x05, 0x06, 0x01, 0x02, 0xB0, 0xB1, 0xB2, 0xB3}));
    Bytes text(256, 0);
    std::memcpy(text.data(), "tunnel-one", 10);
    EXPECT_EQ(Bytes(v.begin() + 36, v.end()), text);
    EXPECT_EQ(std::memcmp(c.get(), &before, sizeof before), 0);
}

TEST_F(TunnelCreate, TextBounds) {
    auto c = config();
    std::memset(c->text, 'x', sizeof c->text);  // no terminator at all
    Bytes v = sent_image(*c);
    ASSERT_EQ(v.size(), 292u);
    EXPECT_EQ(Bytes(v.begin() + 36, v.begin() + 291), Bytes(255, 'x'));
    EXPECT_EQ(v[291], 0);

    c = config();  // empty text
    v = sent_image(*c);
    ASSERT_EQ(v.size(), 292u);
    EXPECT_EQ(Bytes(v.begin() + 36, v.end()), Bytes(256, 0));
}

TEST_F(TunnelCreate, SentWhateverTheTeState) {
    dirs.set_te_enabled(false);
    daemon->answer_result(0x250C0042);
    auto c = config();
    EXPECT_EQ(TE_MOR_SetTunnel(c.get()), 0x250C0042u);
    EXPECT_EQ(daemon->request_count(), 1u);
}

TEST_F(TunnelCreate, NullConfigAndNoSocket) {
    EXPECT_EQ(TE_MOR_SetTunnel(nullptr), TE_MOR_ERR_FAIL);
    EXPECT_EQ(daemon->request_count(), 0u);
    daemon.reset();
    fdsBefore = open_fd_count();
    auto c = config();
    EXPECT_EQ(TE_MOR_SetTunnel(c.get()), TE_MOR_ERR_IPC_OPEN);
}

// Path options -------------------------------------------------------------

using PathSetter = uint32_t (*)(uint32_t, uint32_t, TeTunnelPathOption *);
struct PathRow {
    const char *name;
    PathSetter call;
    uint16_t tag;
};
const PathRow kPathRows[] = {
    {"primary", TE_MOR_SetTunnelPath, 2},
    {"backup", TE_MOR_SetTunnelBackupPath, 3},
};

TeTunnelPathOption option() {
    TeTunnelPathOption o;
    const Bytes raw0 = pattern(34, 1), raw1 = pattern(32, 0x80);
    std::memcpy(o.rawBlock0, raw0.data(), 34);
    std::memcpy(o.rawBlock1, raw1.data(), 32);
    o.half0 = 0x0A0B;
    o.word0 = 258;
    o.word1 = 0x01020304;
    return o;
}

// The option in network order: what is sent, and what the caller gets back.
Bytes option_wire() {
    return cat({pattern(34, 1), be16(0x0A0B), be32(258), be32(0x01020304), pattern(32, 0x80)});
}

Bytes bytes_of(const TeTunnelPathOption &o) {
    const auto *p = reinterpret_cast<const uint8_t *>(&o);
    return Bytes(p, p + sizeof o);
}

class PathOptions : public DaemonTest {};

TEST_F(PathOptions, SentAndLeftInNetworkOrderWhateverTheDaemonAnswers) {
    for (const PathRow &row : kPathRows) {
        for (uint32_t answer : {0u, 0x250C0099u}) {
            SCOPED_TRACE(std::string(row.name) + " answer " + std::to_string(answer));
            TeTunnelPathOption o = option();
            daemon->answer_result(answer);
            EXPECT_EQ(row.call(1, 7, &o), answer);
            const Message m = daemon->last();
            EXPECT_EQ(m.msgClass, 3);
            EXPECT_EQ(m.op, 1);
            EXPECT_EQ(m.items, (std::vector<Tlv>{{0, be32(7)}, {row.tag, option_wire()}}));
            EXPECT_EQ(bytes_of(o), option_wire());
        }
    }
}

TEST_F(PathOptions, UntouchedWhenTheCheckRefuses) {
    dirs.set_te_enabled(false);
    for (const PathRow &row : kPathRows) {
        SCOPED_TRACE(row.name);
        TeTunnelPathOption o = option();
        const Bytes before = bytes_of(o);
        EXPECT_EQ(row.call(1, 7, &o), 0u);
        EXPECT_EQ(row.call(0, 7, &o), TE_MOR_ERR_TE_DISABLED);
        EXPECT_EQ(bytes_of(o), before);
    }
    EXPECT_EQ(daemon->request_count(), 0u);
}

}  // namespace

// Explicit path reads: requests and refusals, and the reply decoder's
// ownership: what a good reply hands over, and that every malformed reply
// leaves nothing allocated (the sanitizer build reports a leak or a double
// release).
#include <string>

#include "include/te_mor.h"
#include "support/fake_daemon.h"
#include "support/records.h"

using namespace temor::test;

namespace {

class ExpathTest : public HeldSocketTest {
protected:
    // Answers items to GetExpath(sock, "p1") and returns the result.
    uint32_t read(const std::vector<Tlv> &items) {
        daemon->answer_result(0, items);
        return TE_MOR_GetExpath(sock, "p1", &r);
    }
    void TearDown() override {
        TE_MOR_FreeExpathReply(&r);  // a no-op after a failed read
        HeldSocketTest::TearDown();
    }
    // After a failed read the library has released everything: clear the
    // reply so that TearDown's release does nothing.
    void forget() { r = {}; }
    TeExpathReply r{};
};

Tlv header(uint8_t flag, uint16_t count) { return {0, cat({{flag, 0}, be16(count)})}; }
Tlv name(const std::string &s) { return {2, cat({Bytes(s.begin(), s.end()), {0}})}; }
Tlv hop(uint32_t w0, uint16_t half0, size_t length = 20) {
    Bytes v = cat({be32(w0), be32(w0 + 1), {7, 0xA1, 0xA2, 0xA3}, be32(w0 + 2), {8, 0xA4}, be16(half0)});
    v.resize(length);
    return {1, v};
}

TEST_F(ExpathTest, RequestsAndRefusals) {
    const std::string n31(31, 'x'), n32(32, 'y');
    daemon->answer_result(0x250C00BF);
    EXPECT_EQ(TE_MOR_GetFirstExpath(sock, &r), 0x250C00BFu);
    EXPECT_EQ(last_sent(*daemon), message(4, 4, 0, {{0, {}}}));
    daemon->answer_result(0x250C00BF);
    EXPECT_EQ(TE_MOR_GetExpath(sock, n31.c_str(), &r), 0x250C00BFu);
    EXPECT_EQ(last_sent(*daemon), message(4, 3, 0, {{0, name(n31).value}}));
    daemon->answer_result(0x250C00BF);
    EXPECT_EQ(TE_MOR_GetNextExpath(sock, "p1", &r), 0x250C00BFu);
    EXPECT_EQ(last_sent(*daemon), message(4, 5, 0, {{0, name("p1").value}}));
    EXPECT_EQ(r.name, nullptr);  // untouched by the daemon's code
    for (const char *bad : {"", n32.c_str(), static_cast<const char *>(nullptr)}) {
        EXPECT_EQ(TE_MOR_GetExpath(sock, bad, &r), TE_MOR_ERR_FAIL);
        EXPECT_EQ(TE_MOR_GetNextExpath(sock, bad, &r), TE_MOR_ERR_FAIL);
    }
    EXPECT_EQ(TE_MOR_GetExpath(-1, "p1", &r), TE_MOR_ERR_FAIL);
    EXPECT_EQ(TE_MOR_GetFirstExpath(-1, &r), TE_MOR_ERR_FAIL);
    EXPECT_EQ(TE_MOR_GetFirstExpath(sock, nullptr), TE_MOR_ERR_FAIL);
    EXPECT_EQ(TE_MOR_GetNextExpath(sock, "p1", nullptr), TE_MOR_ERR_FAIL);
    EXPECT_EQ(daemon->request_count(), 3u);
}

// Header, name and hops: words in host order, half0, bytes and padding as
// received; a short hop fills only its own bytes; hops beyond the count
// and before the header are ignored.
TEST_F(ExpathTest, DecodesAPath) {
    ASSERT_EQ(read({hop(99, 1), header(5, 3), name("to-pe2"), hop(10, 0x0102), hop(20, 2, 12), hop(30, 3),
                    hop(40, 4), {9, {1, 2}}}),
              0u);
    EXPECT_STREQ(r.name, "to-pe2");
    EXPECT_EQ(r.pathFlag, 5);
    ASSERT_EQ(r.hopCount, 3);
    ASSERT_NE(r.hops, nullptr);
    EXPECT_EQ(bytes_of(r.hops[0]), cat({host32(10), host32(11), {7, 0xA1, 0xA2, 0xA3}, host32(12), {8, 0xA4}, be16(0x0102)}));
    EXPECT_EQ(bytes_of(r.hops[1]), cat({host32(20), host32(21), {7, 0xA1, 0xA2, 0xA3}, Bytes(8, 0)}));
    EXPECT_EQ(r.hops[2].word0, 30u);
}

// No hops: the hop list stays null (and TearDown's release takes the name
// alone). A name without a terminator in its item ends with the item.
TEST_F(ExpathTest, PathWithoutHops) {
    TE_MOR_FreeExpathReply(nullptr);
    ASSERT_EQ(read({header(0, 0), {2, {'a', 'b'}}, hop(1, 1)}), 0u);
    EXPECT_EQ(r.hopCount, 0);
    EXPECT_EQ(r.hops, nullptr);
    EXPECT_STREQ(r.name, "ab");
}

// Every malformed reply fails and leaves nothing allocated, whatever had
// been allocated before the fault.
TEST_F(ExpathTest, MalformedRepliesReleaseEverything) {
    const std::vector<std::vector<Tlv>> cases = {
        {header(0, 2), name("p"), {2, {0, 'x'}}},  // empty name (second name too)
        {header(0, 2), name("p"), {1, {}}},        // empty hop
        {name("p"), {0, {}}},                      // empty header
        {header(0, 2), header(0, 4), name("p")},   // a second header
        {header(0, 2), name("p"), name("q")},      // a second name
        {header(0, 65535), name("p"), hop(1, 1)},
    };
    for (size_t i = 0; i + 1 < cases.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(read(cases[i]), TE_MOR_ERR_FAIL);
        forget();
    }
    ASSERT_EQ(read(cases.back()), 0u);  // a large count is only an allocation
    TE_MOR_FreeExpathReply(&r);
    forget();
    // Bytes behind the last item that hold no item.
    Bytes trailing = reply(0, {header(0, 1), name("p")});
    trailing.insert(trailing.end(), {0, 1, 0});
    trailing[3] = uint8_t(trailing.size() - 8);
    daemon->answer(trailing);
    EXPECT_EQ(TE_MOR_GetFirstExpath(sock, &r), TE_MOR_ERR_FAIL);
    forget();
}

}  // namespace

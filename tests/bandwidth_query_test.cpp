// Bandwidth and DS-TE queries on a socket the caller holds open.
#include <algorithm>

#include "include/te_mor.h"
#include "support/fake_daemon.h"
#include "support/records.h"

using namespace temor::test;

namespace {

// TeBwAllocationInfo's numbers with the first n entries valid.
Bytes bw_image(const Bytes &wire, size_t n) {
    return host_image(wire, {{0, 4, 6}, {24, 4, 4}, {56, 4, 4}, {92, 4, 2}, {104, 4, n, 12},
                             {108, 4, n, 12}});
}

Bytes dste_image(const Bytes &wire) { return host_image(wire, {{0, 4, 2}, {56, 4, 1}}); }

}  // namespace

class BandwidthQueryTest : public DaemonTest {
protected:
    void SetUp() override {
        DaemonTest::SetUp();
        sock = TE_MOR_LIPCOpen();
        ASSERT_GE(sock, 0);
    }
    void TearDown() override {
        TE_MOR_LIPCClose(sock);
        DaemonTest::TearDown();
    }
    int sock = -1;
};

TEST_F(BandwidthQueryTest, RequestsFailuresAndRefusals) {
    TeBwAllocationInfo bw{};
    TeDsteInfo dste{};
    const std::pair<Call, Bytes> cases[] = {
        {[&] { return TE_MOR_GetFirstBwAllocationInfo(sock, &bw); }, message(4, 4, 0, {{3, be32(0)}})},
        {[&] { return TE_MOR_GetNextBwAllocationInfo(sock, 7, &bw); }, message(4, 5, 0, {{3, be32(7)}})},
        {[&] { return TE_MOR_GetBwAllocationInfo(sock, 0xFFFFFFFF, &bw); },
         message(4, 3, 0, {{3, be32(0xFFFFFFFF)}})},
        {[&] { return TE_MOR_GetDsteInfo(sock, &dste); }, message(4, 3, 0, {{2, {}}})},
    };
    for (const auto &[call, expected] : cases) {
        daemon->answer_result(0, {{1, pattern(8)}});
        EXPECT_EQ(call(), TE_MOR_OK);
        EXPECT_EQ(last_sent(*daemon), expected);
        const Bytes before = cat({bytes_of(bw), bytes_of(dste)});  // failures leave it
        daemon->answer_result(0x250C0033, {{3, pattern(292, 7)}});
        EXPECT_EQ(call(), 0x250C0033u);
        daemon->answer_result(0);
        EXPECT_EQ(call(), TE_MOR_ERR_FAIL);
        EXPECT_EQ(cat({bytes_of(bw), bytes_of(dste)}), before);
    }
    expect_refused(*daemon, {
        [&] { return TE_MOR_GetFirstBwAllocationInfo(-1, &bw); },
        [&] { return TE_MOR_GetNextBwAllocationInfo(-1, 7, &bw); },
        [&] { return TE_MOR_GetBwAllocationInfo(-1, 7, &bw); },
        [&] { return TE_MOR_GetDsteInfo(-1, &dste); },
        [&] { return TE_MOR_GetFirstBwAllocationInfo(sock, nullptr); },
        [&] { return TE_MOR_GetNextBwAllocationInfo(sock, 7, nullptr); },
        [&] { return TE_MOR_GetBwAllocationInfo(sock, 7, nullptr); },
        [&] { return TE_MOR_GetDsteInfo(sock, nullptr); },
        [&] { return TE_MOR_GetNextBwAllocationInfo(sock, 0, &bw); },  // key 0 is refused
        [&] { return TE_MOR_GetBwAllocationInfo(sock, 0, &bw); },
    });
}

// An item replaces only its own bytes, at most the record's. Only the first
// entryCount entries (as the record then holds it) are converted, never more
// than the 16 slots, and nothing behind the record is written, a hostile
// count of 200 included.
TEST_F(BandwidthQueryTest, EntryCountBoundsTheEntriesConverted) {
    Bytes before = pattern(292, 0x80);
    before[88] = 2;
    const std::pair<size_t, uint8_t> cases[] = {{0, 0},    {50, 0},    {95, 89},   {292, 0},   {292, 2},
                                                {292, 16}, {292, 17}, {400, 200}, {1000, 255}};
    for (const auto &[length, count] : cases) {
        SCOPED_TRACE(testing::Message() << length << " " << int(count));
        Bytes value = pattern(length);
        if (length > 88) value[88] = count;
        daemon->answer_result(0, {{9, value}});
        Guarded<TeBwAllocationInfo> g;
        set_bytes(g.rec, before);
        ASSERT_EQ(TE_MOR_GetFirstBwAllocationInfo(sock, &g.rec), TE_MOR_OK);
        Bytes wire = before;
        std::copy_n(value.begin(), std::min<size_t>(length, 292), wire.begin());
        EXPECT_EQ(bytes_of(g.rec), bw_image(wire, std::min<size_t>(wire[88], 16)));
        EXPECT_TRUE(g.guard_intact());
        if (length != 292 || count != 2) continue;
        // Field kinds, independently of the image helper.
        EXPECT_EQ(g.rec.valuesA[0], 0x191A1B1Cu);
        EXPECT_EQ(g.rec.bytesB[15], 0x58);
        EXPECT_EQ(g.rec.entries[1].entryValueB, 0x797A7B7Cu);
        EXPECT_EQ(bytes_of(g.rec.entries[2].entryValueA), (Bytes{0x81, 0x82, 0x83, 0x84}));
    }
    // DS-TE: the second item is ignored, words converted, byte runs kept.
    daemon->answer_result(0, {{9, pattern(100)}, {9, pattern(60, 0x40)}});
    Guarded<TeDsteInfo> d;
    ASSERT_EQ(TE_MOR_GetDsteInfo(sock, &d.rec), TE_MOR_OK);
    EXPECT_EQ(d.rec.dsteWord2, 0x393A3B3Cu);
    EXPECT_EQ(bytes_of(d.rec), dste_image(pattern(60)));
    EXPECT_TRUE(d.guard_intact());
}

// A whole walk on the one socket: no call opens a descriptor of its own.
TEST_F(BandwidthQueryTest, WalkOnOneSocketEndsOnTheDaemonCode) {
    for (uint32_t key : {4u, 8u, 15u}) daemon->answer_result(0, {{3, cat({be32(key), Bytes(288, 0)})}});
    daemon->answer_result(0x250C0050);
    const int fds = open_fd_count();
    std::vector<uint32_t> keys;
    TeBwAllocationInfo bw{};
    uint32_t rc = TE_MOR_GetFirstBwAllocationInfo(sock, &bw);
    for (; rc == TE_MOR_OK; rc = TE_MOR_GetNextBwAllocationInfo(sock, bw.word0, &bw)) {
        EXPECT_EQ(open_fd_count(), fds);
        keys.push_back(bw.word0);
    }
    EXPECT_EQ(rc, 0x250C0050u);
    EXPECT_EQ(keys, (std::vector<uint32_t>{4, 8, 15}));
    EXPECT_EQ(last_sent(*daemon), message(4, 5, 0, {{3, be32(15)}}));
}

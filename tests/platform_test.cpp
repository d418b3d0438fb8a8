// The host stand-ins' observable behaviour that the library's tests do not
// reach: codec bounds, numbers as written by hand, status faults, long option
// lines. (The
// calls.log journal is what the service, MPLS-TE and option tests compare
// line by line.)
#include <cstdlib>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "platform/platform.h"
#include "support/fake_daemon.h"

using namespace temor::test;

namespace {

TEST(CodecTest, SetWritesOnlyWhatFits) {
    const uint8_t value[6] = {1, 2, 3, 4, 5, 6};
    struct Case {
        const char *name;
        uint16_t room, length;
        const void *value;
        uint32_t expected;
    } cases[] = {
        {"exact fit", 10, 6, value, 10},
        {"one byte short", 9, 6, value, 0},
        {"room below header", 3, 0, nullptr, 0},
        {"empty value, null pointer", 4, 0, nullptr, 4},
        {"null value with length", 100, 6, nullptr, 0},
    };
    for (const auto &c : cases) {
        uint8_t buf[16];
        std::memset(buf, 0xAB, sizeof buf);
        EXPECT_EQ(STLV_Set(buf, c.room, 0x1234, c.length, c.value), c.expected) << c.name;
        const Bytes item = cat({{0x12, 0x34, 0, uint8_t(c.length)}, Bytes(value, value + c.length)});
        Bytes expected = c.expected ? item : Bytes{};
        expected.resize(sizeof buf, 0xAB);  // nothing written past the item
        EXPECT_EQ(Bytes(buf, buf + sizeof buf), expected) << c.name;
    }
}

TEST(CodecTest, GetReadsOnlyWholeItems) {
    const Bytes item = {0x00, 0x07, 0x00, 0x03, 9, 8, 7, 0xFF};
    struct Case {
        const char *name;
        Bytes src;
        uint16_t avail;
        uint32_t expected;
    } cases[] = {
        {"whole item", item, 8, 7},
        {"exactly the item", item, 7, 7},
        {"value cut short", item, 6, 0},
        {"header cut short", item, 3, 0},
        {"empty item", {0, 5, 0, 0}, 4, 4},
        {"length beyond everything", {0, 5, 0xFF, 0xFF, 1}, 5, 0},
    };
    for (const auto &c : cases) {
        uint16_t tag = 0xEEEE, length = 0xEEEE;
        const uint8_t *const untouched = reinterpret_cast<const uint8_t *>(&tag), *value = untouched;
        EXPECT_EQ(STLV_Get(c.src.data(), c.avail, &tag, &length, &value), c.expected) << c.name;
        // A refused item leaves the outputs alone; an empty one has no value pointer.
        const auto want = c.expected == 0 ? std::tuple(uint16_t(0xEEEE), uint16_t(0xEEEE), untouched)
                                          : std::tuple(uint16_t(c.src[0] << 8 | c.src[1]),
                                                       uint16_t(c.expected - 4),
                                                       c.expected > 4 ? c.src.data() + 4 : nullptr);
        EXPECT_EQ(std::tuple(tag, length, value), want) << c.name;
    }
}

class HostPlatformTest : public ::testing::Test {
protected:
    PlatformDirs dirs;
};

// A status written as hex or as decimal with a leading zero (not octal); a
// missing file or a forced result leaves the status untouched. (Status files,
// forced results, batches and standby lists as the service and MPLS-TE tests
// write them are driven through the library there.)
TEST_F(HostPlatformTest, ServiceStatusAndFaults) {
    const auto status = [] {
        uint32_t s = 77;
        const uint32_t rc = SERVICE_GetStatus(1, "TE", -1, &s);
        return std::pair(rc, s);
    };
    EXPECT_EQ(status(), std::pair(0x40010005u, 77u));
    dirs.write("services/1/TE", "0x1\n");
    EXPECT_EQ(status(), std::pair(0u, 1u));
    dirs.write("services/1/TE", "010");
    EXPECT_EQ(status(), std::pair(0u, 10u));
    dirs.write("services/1/TE.result", "0x40010009");
    EXPECT_EQ(status(), std::pair(0x40010009u, 77u));
}

// Node numbers in hex or decimal, a list separated by any blanks; no list
// file, no list.
TEST_F(HostPlatformTest, Nodes) {
    dirs.write("nodes/master", "0x10");
    EXPECT_EQ(DEV_GetSystemMaster(), 16u);
    uint32_t count = 0;
    EXPECT_EQ(DEV_GetAllStandbyNodes(&count), nullptr);
    dirs.write("nodes/standby", "2 3\n0x10\t09");
    uint16_t *ids = DEV_GetAllStandbyNodes(&count);
    ASSERT_NE(ids, nullptr);
    EXPECT_EQ(std::vector<uint16_t>(ids, ids + count), (std::vector<uint16_t>{2, 3, 16, 9}));
    std::free(ids);
}

// Lines longer than any line buffer, with the interesting part at the end,
// and a block name cut to the caller's buffer; without $TE_SYSROOT the
// absolute path is taken as it stands. (Blocks, comments and options are
// driven through TE_Opt_Parse by the option tests.)
TEST_F(HostPlatformTest, PluginOptionFiles) {
    setenv("TE_SYSROOT", (dirs.platform() + "/sysroot").c_str(), 1);
    dirs.write("sysroot/etc/te.conf", "[a]\n" + std::string(5000, ' ') + "k = v\n" + std::string(5000, ' ') +
                                          "[b]\nx = y\n[" + std::string(300, 'n') + "]\n");
    void *handle = PLUGIN_OptInit("/etc/te.conf");
    char name[128];
    uint32_t count = 0;
    std::vector<std::string> blocks;
    while (PLUGIN_GetNextPlugOpt(handle, name, &count)) {
        EXPECT_LT(std::strlen(name), sizeof name);
        blocks.push_back(std::string(name, 1) + "/" + std::to_string(count));
    }
    PLUGIN_OptFini(handle);
    EXPECT_EQ(blocks, (std::vector<std::string>{"a/1", "b/1", "n/0"}));
    unsetenv("TE_SYSROOT");
    EXPECT_EQ(PLUGIN_OptInit("/etc/te.conf"), nullptr);
}

}  // namespace

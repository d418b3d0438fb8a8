// The host stand-ins' observable behaviour: codec bounds, state files, fault
// files and plug-in option files. (The calls.log journal is what the service,
// MPLS-TE and option tests compare line by line.)
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

TEST_F(HostPlatformTest, ServiceStatusAndFaults) {
    const auto status = [] {
        uint32_t s = 77;
        const uint32_t rc = SERVICE_GetStatus(1, "TE", -1, &s);
        return std::pair(rc, s);
    };
    EXPECT_EQ(status(), std::pair(0x40010005u, 77u));  // missing file: status untouched
    dirs.write("services/1/TE", "0x1\n");
    EXPECT_EQ(status(), std::pair(0u, 1u));
    dirs.write("services/1/TE", "010");  // decimal, not octal
    EXPECT_EQ(status(), std::pair(0u, 10u));
    dirs.write("services/1/TE.result", "0x40010009");
    EXPECT_EQ(status(), std::pair(0x40010009u, 77u));

    // Start and stop write the status node by node; a forced result changes
    // nothing there, and a batch carries on and reports it.
    const auto states = [this] {
        return dirs.read("services/6/TE") + "|" + dirs.read("services/7/TE") + "|" +
               dirs.read("services/8/TE");
    };
    dirs.write("services/7/TE.start-result", "9");
    dirs.write("services/8/TE.stop-result", "5");
    const uint16_t nodes[] = {6, 7, 8};
    EXPECT_EQ(SERVICE_BatchStart(nodes, 3, "TE", 0, 0), 9u);
    EXPECT_EQ(states(), "1\n||1\n");
    EXPECT_EQ(SERVICE_BatchStop(nodes, 3, "TE", 0, 0), 5u);
    EXPECT_EQ(states(), "0\n|0\n|1\n");
}

TEST_F(HostPlatformTest, Nodes) {
    EXPECT_EQ(DEV_GetSystemMaster(), 1u);
    dirs.write("nodes/master", "0x10");
    EXPECT_EQ(DEV_GetSystemMaster(), 16u);

    uint32_t count = 99;
    EXPECT_EQ(DEV_GetAllStandbyNodes(&count), nullptr);
    struct Case {
        const char *text;
        std::vector<uint16_t> ids;
    } cases[] = {
        {"", {}},
        {"  \n", {}},
        {"2", {2}},
        {"2 3\n0x10\t09", {2, 3, 16, 9}},
    };
    for (const auto &c : cases) {
        dirs.write("nodes/standby", c.text);
        uint16_t *ids = DEV_GetAllStandbyNodes(&count);
        ASSERT_NE(ids, nullptr) << '"' << c.text << '"';
        EXPECT_EQ(std::vector<uint16_t>(ids, ids + count), c.ids) << '"' << c.text << '"';
        std::free(ids);
    }
}

// The blocks of an option file under $TE_SYSROOT as "name/count" (the
// handle stays open; the blocks live until PLUGIN_OptFini).
struct OptionFile {
    void *handle = nullptr;
    std::vector<std::string> names;
    std::vector<void *> blocks;
    explicit OptionFile(const char *path) : handle(PLUGIN_OptInit(path)) {
        char name[128];
        uint32_t value = 0;
        while (void *b = PLUGIN_GetNextPlugOpt(handle, name, &value)) {
            EXPECT_LT(std::strlen(name), sizeof name);
            names.push_back(std::string(name) + "/" + std::to_string(value));
            blocks.push_back(b);
        }
    }
    ~OptionFile() { PLUGIN_OptFini(handle); }
};

// Collects a block's options as "key=value" (a failing callback's code is
// covered with TE_Opt_Parse).
int collect(const char *key, const char *value, void *seen) {
    static_cast<std::vector<std::string> *>(seen)->push_back(std::string(key) + "=" + value);
    return 0;
}

TEST_F(HostPlatformTest, PluginOptionFiles) {
    setenv("TE_SYSROOT", (dirs.platform() + "/sysroot").c_str(), 1);
    dirs.write("sysroot/etc/te.conf",
               "# leading comment\n"
               "ignored = before any block\n"
               "[ first ]\n"
               "  alpha = 1   # trailing comment\n"
               "\n"
               "beta=two words\n"
               "not an option\n"
               "[second]\n"
               "[third]\n"
               "gamma = 3");
    // Lines longer than any line buffer, with the interesting part at the end.
    dirs.write("sysroot/long.conf", "[a]\n" + std::string(5000, ' ') + "k = v\n" +
                                        std::string(5000, ' ') + "[b]\nx = y\n" + "[" +
                                        std::string(300, 'n') + "]\n");
    {
        const OptionFile f("/etc/te.conf");
        ASSERT_EQ(f.names, (std::vector<std::string>{"first/2", "second/0", "third/1"}));
        std::vector<std::string> seen;
        EXPECT_EQ(OPT_ParseEx(2, f.blocks[0], reinterpret_cast<uintptr_t>(&seen),
                              reinterpret_cast<uintptr_t>(&collect)),
                  0u);
        EXPECT_EQ(seen, (std::vector<std::string>{"alpha=1", "beta=two words"}));
        EXPECT_EQ(OPT_ParseEx(2, f.blocks[0], 0, 0), 0x40010001u);
    }
    EXPECT_EQ(OptionFile("/long.conf").blocks.size(), 3u);
    // Without the sysroot the absolute path is taken as it stands.
    unsetenv("TE_SYSROOT");
    EXPECT_EQ(PLUGIN_OptInit("/etc/te.conf"), nullptr);
}

}  // namespace

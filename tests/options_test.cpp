// Plug-in option parsing of /etc/te.conf (looked up under $TE_SYSROOT).
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "include/te_mor.h"
#include "support/fake_daemon.h"

using namespace temor::test;
using Lines = std::vector<std::string>;

namespace {

struct Seen {
    std::vector<std::pair<std::string, std::string>> options;
    int answer = 0;
};

int collect(const char *key, const char *value, void *context) {
    auto *seen = static_cast<Seen *>(context);
    seen->options.emplace_back(key, value);
    return seen->answer;
}

}  // namespace

class OptParse : public testing::Test {
protected:
    void SetUp() override { setenv("TE_SYSROOT", (dirs.platform() + "/root").c_str(), 1); }
    void TearDown() override { unsetenv("TE_SYSROOT"); }

    void config(const std::string &text) {
        dirs.write("root/etc/te.conf", text);
        dirs.clear_calls();
    }
    uint32_t parse(Seen *seen) {
        return TE_Opt_Parse(reinterpret_cast<uintptr_t>(&collect),
                            reinterpret_cast<uintptr_t>(seen));
    }

    PlatformDirs dirs;
};

TEST_F(OptParse, OnlyTheFirstBlockIsParsed) {
    config("# TE\n[te]\nalpha = 1\nbeta = two\n\n[other]\ngamma = 3\n");
    Seen seen;
    EXPECT_EQ(parse(&seen), 0u);
    EXPECT_EQ(seen.options, (std::vector<std::pair<std::string, std::string>>{
                                {"alpha", "1"}, {"beta", "two"}}));
    EXPECT_EQ(dirs.calls(), (Lines{"PLUGIN_OptInit /etc/te.conf", "PLUGIN_GetNextPlugOpt",
                                   "OPT_ParseEx 2", "PLUGIN_OptFini"}));
}

TEST_F(OptParse, ParserCodeIsPassedThrough) {
    config("[te]\nalpha = 1\nbeta = 2\n");
    Seen seen;
    seen.answer = 0x1234;
    EXPECT_EQ(parse(&seen), 0x1234u);
    EXPECT_EQ(seen.options.size(), 1u);
    EXPECT_EQ(dirs.calls().back(), "PLUGIN_OptFini");
}

TEST_F(OptParse, FileWithoutBlockFailsAndReleasesOnce) {
    config("# nothing here\n");
    Seen seen;
    EXPECT_EQ(parse(&seen), TE_MOR_ERR_FAIL);
    EXPECT_EQ(dirs.calls(),
              (Lines{"PLUGIN_OptInit /etc/te.conf", "PLUGIN_GetNextPlugOpt", "PLUGIN_OptFini"}));
}

TEST_F(OptParse, MissingFileIsNotFound) {
    dirs.clear_calls();
    Seen seen;
    EXPECT_EQ(parse(&seen), TE_MOR_ERR_NOT_FOUND);
    EXPECT_EQ(dirs.calls(), (Lines{"PLUGIN_OptInit /etc/te.conf"}));
}

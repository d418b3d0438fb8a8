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

    PlatformDirs dirs;
};

// Only the first block is parsed, the parser's code is passed through, and the
// options are released exactly once on every path after a successful init.
TEST_F(OptParse, FirstBlockOnlyAndReleasedOnce) {
    using Options = std::vector<std::pair<std::string, std::string>>;
    const std::string init = "PLUGIN_OptInit /etc/te.conf", next = "PLUGIN_GetNextPlugOpt";
    const std::tuple<const char *, int, uint32_t, Options, Lines> cases[] = {
        {"# TE\nignored = before any block\n[ te ]\nalpha = 1  # comment\nnot an option\nbeta=two words\n\n"
         "[other]\ngamma = 3", 0, 0, {{"alpha", "1"}, {"beta", "two words"}},
         {init, next, "OPT_ParseEx 2", "PLUGIN_OptFini"}},
        {"[te]\nalpha = 1\nbeta = 2\n", 0x1234, 0x1234, {{"alpha", "1"}},
         {init, next, "OPT_ParseEx 2", "PLUGIN_OptFini"}},
        {"# nothing here\n", 0, TE_MOR_ERR_FAIL, {}, {init, next, "PLUGIN_OptFini"}},
        {nullptr, 0, TE_MOR_ERR_NOT_FOUND, {}, {init}},  // no file
    };
    for (const auto &[text, answer, result, options, calls] : cases) {
        if (text) dirs.write("root/etc/te.conf", text);
        else dirs.remove("root/etc/te.conf");
        dirs.clear_calls();
        Seen seen;
        seen.answer = answer;
        EXPECT_EQ(TE_Opt_Parse(reinterpret_cast<uintptr_t>(&collect), reinterpret_cast<uintptr_t>(&seen)),
                  result);
        EXPECT_EQ(seen.options, options);
        EXPECT_EQ(dirs.calls(), calls);
    }
}

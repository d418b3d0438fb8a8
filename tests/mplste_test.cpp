// Switching MPLS-TE on and off: service starts, the daemon teardown, the
// configuration database probe and the console message.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "include/te_mor.h"
#include "support/fake_daemon.h"

using namespace temor::test;
using Lines = std::vector<std::string>;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

namespace {

constexpr const char *kMessage = "Stopping service, please wait...";
const Lines kProbe = {"DBM_Open eTE TE 1 1,0,1,0,0,0,0,0"};

bool logged(const Lines &calls, const std::string &prefix) {
    return std::any_of(calls.begin(), calls.end(),
                       [&](const std::string &l) { return l.rfind(prefix, 0) == 0; });
}

Lines database_calls(const Lines &calls) {
    Lines out;
    for (const std::string &l : calls)
        if (l.rfind("DBM_", 0) == 0) out.push_back(l);
    return out;
}

}  // namespace

TEST(MplsTeOn, StartsBothServicesEvenWhenOneFails) {
    struct Case {
        const char *name;
        uint32_t teStart, pceStart;
        uint32_t result;
    } cases[] = {
        {"both start", 0, 0, 0},
        {"TE fails, PCE still started", 0x123, 0, TE_MOR_ERR_FAIL},
        {"PCE fails, TE stays started", 0, 0x456, TE_MOR_ERR_FAIL},
    };
    for (const Case &c : cases) {
        PlatformDirs dirs;
        dirs.set_status(1, "TE", 0);
        dirs.set_status(1, "PCE", 0);
        if (c.teStart) dirs.write("services/1/TE.start-result", std::to_string(c.teStart));
        if (c.pceStart) dirs.write("services/1/PCE.start-result", std::to_string(c.pceStart));
        dirs.clear_calls();
        EXPECT_EQ(TE_MOR_SetMplsTe(0), c.result) << c.name;
        const Lines calls = dirs.calls();
        EXPECT_TRUE(logged(calls, "SERVICE_Start 1 TE 0 0")) << c.name;
        EXPECT_TRUE(logged(calls, "SERVICE_Start 1 PCE 0 0")) << c.name;
        EXPECT_EQ(dirs.read("services/1/TE"), c.teStart ? "0\n" : "1\n") << c.name;
        EXPECT_EQ(dirs.read("services/1/PCE"), c.pceStart ? "0\n" : "1\n") << c.name;
    }
}

class MplsTeOff : public DaemonTest {
protected:
    // Runs TE_MOR_SetMplsTe(op) and returns what it printed.
    std::string switch_off(uint32_t op, uint32_t *result) {
        CaptureStdout();
        *result = TE_MOR_SetMplsTe(op);
        return GetCapturedStdout();
    }
};

TEST_F(MplsTeOff, ConfirmedTeardownStopsTe) {
    for (uint32_t op : {1u, 2u, 0xffffffffu}) {
        dirs.set_status(1, "TE", 1);
        dirs.clear_calls();
        uint32_t result = 1;
        EXPECT_EQ(switch_off(op, &result), kMessage) << op;
        EXPECT_EQ(result, 0u) << op;
        const Message req = daemon->last();
        EXPECT_EQ(req.msgClass, 0);
        EXPECT_EQ(req.op, 1);
        EXPECT_EQ(req.items, (std::vector<Tlv>{{12, {}}}));
        EXPECT_TRUE(database_calls(dirs.calls()).empty()) << op;
        EXPECT_TRUE(logged(dirs.calls(), "SERVICE_Stop 1 TE 0 3")) << op;
        EXPECT_EQ(dirs.read("services/1/TE"), "0\n") << op;
    }
}

TEST_F(MplsTeOff, RefusedTeardownWithExistingConfigurationStopsNothing) {
    dirs.write("dbm/eTE/TE", "");
    daemon->answer_result(0x250C0001);
    uint32_t result = 0;
    EXPECT_EQ(switch_off(1, &result), "");
    EXPECT_EQ(result, TE_MOR_ERR_FAIL);
    // Opened only to learn that it exists, and closed again at once.
    EXPECT_EQ(database_calls(dirs.calls()), (Lines{kProbe[0], "DBM_Close"}));
    EXPECT_FALSE(logged(dirs.calls(), "SERVICE_"));
    EXPECT_EQ(dirs.read("services/1/TE"), "1\n");
}

TEST_F(MplsTeOff, RefusedTeardownWithoutConfigurationCountsAsDone) {
    daemon->answer_result(0x250C0001);
    uint32_t result = 1;
    EXPECT_EQ(switch_off(1, &result), kMessage);
    EXPECT_EQ(result, 0u);
    EXPECT_EQ(database_calls(dirs.calls()), kProbe);
    EXPECT_FALSE(dirs.exists("dbm/eTE"));
    EXPECT_EQ(dirs.read("services/1/TE"), "0\n");
}

TEST_F(MplsTeOff, FailingStopIsNotReported) {
    dirs.write("services/1/TE.stop-result", "0x999");
    uint32_t result = 1;
    EXPECT_EQ(switch_off(1, &result), kMessage);
    EXPECT_EQ(result, 0u);
}

TEST(MplsTeOffNoDaemon, UnreachableDaemonWithoutConfigurationStopsTe) {
    PlatformDirs dirs;
    dirs.set_status(1, "TE", 1);
    dirs.clear_calls();
    CaptureStdout();
    EXPECT_EQ(TE_MOR_SetMplsTe(1), 0u);
    EXPECT_EQ(GetCapturedStdout(), kMessage);
    EXPECT_EQ(database_calls(dirs.calls()), kProbe);
    EXPECT_EQ(dirs.read("services/1/TE"), "0\n");
}

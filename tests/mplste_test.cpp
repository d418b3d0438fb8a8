// Switching MPLS-TE on and off: service starts, the daemon teardown, the
// configuration database probe and the console message.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "include/te_mor.h"
#include "support/fake_daemon.h"
#include "support/records.h"

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
    // Forced start answers of TE and PCE, and the result.
    const std::tuple<uint32_t, uint32_t, uint32_t> cases[] = {
        {0, 0, 0}, {0x123, 0, TE_MOR_ERR_FAIL}, {0, 0x456, TE_MOR_ERR_FAIL}};
    for (const auto &[teStart, pceStart, result] : cases) {
        SCOPED_TRACE(testing::Message() << teStart << " " << pceStart);
        PlatformDirs dirs;
        dirs.set_status(1, "TE", 0);
        dirs.set_status(1, "PCE", 0);
        if (teStart) dirs.write("services/1/TE.start-result", std::to_string(teStart));
        if (pceStart) dirs.write("services/1/PCE.start-result", std::to_string(pceStart));
        dirs.clear_calls();
        EXPECT_EQ(TE_MOR_SetMplsTe(0), result);
        EXPECT_TRUE(logged(dirs.calls(), "SERVICE_Start 1 TE 0 0"));
        EXPECT_TRUE(logged(dirs.calls(), "SERVICE_Start 1 PCE 0 0"));
        EXPECT_EQ(dirs.read("services/1/TE"), teStart ? "0\n" : "1\n");
        EXPECT_EQ(dirs.read("services/1/PCE"), pceStart ? "0\n" : "1\n");
    }
}

class MplsTeOff : public DaemonTest {};

// The daemon's teardown decides: confirmed (or unreachable, or refused with no
// configuration in the database) stops TE and prints the message; refused
// with a configuration leaves everything running. The database is only
// probed when the teardown was not confirmed, and a failing stop is not
// reported.
TEST_F(MplsTeOff, TeardownDecides) {
    enum Daemon { Confirms, Refuses, Absent };
    const std::tuple<uint32_t, Daemon, bool, bool, uint32_t, Lines> cases[] = {
        // op, daemon, configuration exists, stop fails, result, database calls
        {1, Confirms, false, false, 0, {}},
        {2, Confirms, false, false, 0, {}},
        {0xffffffff, Confirms, true, false, 0, {}},
        {1, Confirms, false, true, 0, {}},
        {1, Refuses, true, false, TE_MOR_ERR_FAIL, {kProbe[0], "DBM_Close"}},
        {1, Refuses, false, false, 0, kProbe},
        {1, Absent, false, false, 0, kProbe},
    };
    for (const auto &[op, answer, configured, stopFails, result, dbCalls] : cases) {
        SCOPED_TRACE(testing::Message() << op << " " << answer << configured << stopFails);
        dirs.set_status(1, "TE", 1);
        dirs.remove("dbm/eTE/TE");
        dirs.remove("dbm/eTE");
        if (configured) dirs.write("dbm/eTE/TE", "");
        if (stopFails) dirs.write("services/1/TE.stop-result", "0x999");
        else dirs.remove("services/1/TE.stop-result");
        if (answer == Refuses) daemon->answer_result(0x250C0001);
        if (answer == Absent) stop_daemon();
        dirs.clear_calls();
        const size_t sent = answer == Absent ? 0 : daemon->request_count();
        CaptureStdout();
        EXPECT_EQ(TE_MOR_SetMplsTe(op), result);
        const bool stops = result == 0;
        EXPECT_EQ(GetCapturedStdout(), stops ? kMessage : "");
        if (answer != Absent) {
            EXPECT_EQ(daemon->request_count(), sent + 1);
            EXPECT_EQ(last_sent(*daemon), message(0, 1, 0, {{12, {}}}));
        }
        const Lines calls = dirs.calls();
        EXPECT_EQ(database_calls(calls), dbCalls);
        EXPECT_EQ(logged(calls, "SERVICE_"), stops);
        EXPECT_EQ(logged(calls, "SERVICE_Stop 1 TE 0 3"), stops);
        EXPECT_EQ(dirs.read("services/1/TE"), stops && !stopFails ? "0\n" : "1\n");
        EXPECT_EQ(dirs.exists("dbm/eTE"), configured);  // never created by the probe
    }
}

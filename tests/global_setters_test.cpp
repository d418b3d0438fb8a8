// Global settings: every setter's request for a set and an undo, its
// behaviour while MPLS-TE is off, and the bypass-tunnel code translation.
#include <functional>

#include "include/te_mor.h"
#include "support/fake_daemon.h"
#include "support/records.h"

using namespace temor::test;

namespace {

enum class Form { None, U, S };  // TE-enabled check the setter makes

struct Row {
    std::function<uint32_t(uint32_t op)> call;  // op ignored by setters without one
    Form form;
    uint8_t msgClass;
    bool callerOp;  // header op is the caller's op (else always 0)
    std::vector<Tlv> items;
};

const TeAutoBkpTunnelIdRange kRange{0x0102, 0x0304};
const uint8_t kTeClass[4] = {0xA1, 0xA2, 0xA3, 0xA4}, kDsTeMode = 0x7F, kBcMode[4] = {4, 3, 2, 1};
using enum Form;

const std::vector<Row> kRows = {
    {TE_MOR_SetAutoBkpNhopOnly, U, 8, true, {{2, {}}}},
    {[](uint32_t) { return TE_MOR_SetAutoBkpTunnelId(&kRange); }, None, 8, false, {{1, {1, 2, 3, 4}}}},
    {[](uint32_t op) { return TE_MOR_SetAutoBkpRemovalTimer(0x01020304, op); }, U, 8, false, {{0, {1, 2, 3, 4}}}},
    {[](uint32_t) { return TE_MOR_SetFrrTimer(0x0A0B0C0D); }, None, 0, false, {{8, {10, 11, 12, 13}}}},
    {[](uint32_t op) { return TE_MOR_SetTimerPriFlooding(op, 258); }, None, 0, true, {{7, {1, 2, 0, 0}}}},
    {TE_MOR_SetGlobalMetricType, None, 0, true, {{6, {}}}},
    {[](uint32_t op) { return TE_MOR_SetIetfTeClass(op, kTeClass); }, None, 0, true, {{5, {0xA1, 0xA2, 0xA3, 0xA4}}}},
    {[](uint32_t op) { return TE_MOR_SetDsTeMode(op, &kDsTeMode); }, None, 0, true, {{4, {0x7F, 0, 0, 0}}}},
    {[](uint32_t op) { return TE_MOR_SetDsteBcMode(op, kBcMode); }, None, 0, true, {{3, {4, 3, 2, 1}}}},
    {[](uint32_t op) { return TE_MOR_SetFrrBypassTunnel(op, 0x0A0B0C0D, 0x0102); }, U, 1, true,
     {{0, {10, 11, 12, 13}}, {9, {1, 2, 0, 0}}}},
    {[](uint32_t) { return TE_MOR_SetReoptimization(); }, S, 0, false, {{0, {}}}},
    {TE_MOR_ResetAutoBw, U, 0, true, {{1, {}}}},
    {TE_MOR_SetTeAutoTunn, None, 0, true, {{11, {}}}},
    {[](uint32_t op) { return TE_MOR_SetTeAutoBw(op, 0x01020304); }, None, 0, true, {{2, {1, 2, 3, 4}}}},
};

class GlobalSetters : public DaemonTest {};

// With MPLS-TE on every row sends its request (any daemon code comes back
// unchanged). With it off, unchecked setters are sent regardless (the daemon
// answers 0), and an undo through check U passes without sending anything.
TEST_F(GlobalSetters, EveryRowOnTheWireAndWhileOff) {
    for (size_t i = 0; i < kRows.size(); ++i) {
        const Row &row = kRows[i];
        for (const auto &[on, op] : {std::pair{true, 0u}, {true, 1u}, {false, 0u}, {false, 1u}, {false, 2u}}) {
            SCOPED_TRACE(testing::Message() << "row " << i << " on " << on << " op " << op);
            dirs.set_te_enabled(on);
            const size_t before = daemon->request_count();
            if (on) {
                daemon->answer_result(0x250C00BF);
                EXPECT_EQ(row.call(op), 0x250C00BFu);
                EXPECT_EQ(daemon->request_count(), before + 1);
                EXPECT_EQ(last_sent(*daemon), message(row.msgClass, row.callerOp ? op : 0, 0, row.items));
                continue;
            }
            const bool refused = row.form == S || (row.form == U && op != 1);
            EXPECT_EQ(row.call(op), refused ? TE_MOR_ERR_TE_DISABLED : 0u);
            EXPECT_EQ(daemon->request_count(), before + (row.form == None));
        }
    }
}

// The wrapper maps enable to op and translates exactly the two bypass codes.
TEST_F(GlobalSetters, BypassWrapper) {
    for (const auto &[enable, op] : {std::pair{1u, 0}, {0u, 1}, {2u, 1}, {0xFFFFFFFFu, 1}}) {
        EXPECT_EQ(TE_SetFrrBypassTunnel(enable, 3, 4), 0u);
        EXPECT_EQ(last_sent(*daemon), message(1, op, 0, {{0, be32(3)}, {9, {0, 4, 0, 0}}}));
    }
    const std::pair<uint32_t, uint32_t> cases[] = {
        {0x250C00BF, TE_MOR_ERR_BYPASS_REFUSED}, {0x250C00C0, TE_MOR_ERR_BYPASS_REFUSED},
        {0x250C00C1, 0x250C00C1}, {0x250C00BE, 0x250C00BE}, {0, 0}};
    for (const auto &[code, wrapped] : cases) {
        SCOPED_TRACE(code);
        daemon->answer_result(code);
        EXPECT_EQ(TE_SetFrrBypassTunnel(1, 3, 4), wrapped);
        daemon->answer_result(code);
        EXPECT_EQ(TE_MOR_SetFrrBypassTunnel(0, 3, 4), code);
    }
    daemon.reset();  // nobody listens: the open fails
    fdsBefore = open_fd_count();
    EXPECT_EQ(TE_MOR_SetFrrBypassTunnel(0, 1, 2), TE_MOR_ERR_IPC_OPEN);
}

// A record pointer the library cannot use is refused once any TE check has
// passed; an undo while MPLS-TE is off still succeeds without reading it.
TEST_F(GlobalSetters, NullRecordsRefused) {
    expect_refused(*daemon, {
        [] { return TE_MOR_SetAutoBkpTunnelId(nullptr); },
        [] { return TE_MOR_SetIetfTeClass(0, nullptr); },
        [] { return TE_MOR_SetDsTeMode(0, nullptr); },
        [] { return TE_MOR_SetDsteBcMode(0, nullptr); },
        [] { return TE_MOR_SetDebug(0, nullptr); },
        [] { return TE_MOR_SetTunnelPath(0, 1, nullptr); },
        [] { return TE_MOR_SetTunnelBackupPath(0, 1, nullptr); },
    });
    dirs.set_te_enabled(false);
    expect_refused(*daemon, {[] { return TE_MOR_SetTunnelPath(1, 1, nullptr); },
                             [] { return TE_MOR_SetDebug(1, nullptr); }},
                   TE_MOR_OK);
}

}  // namespace

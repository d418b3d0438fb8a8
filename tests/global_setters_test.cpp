// Global settings as setter rows, and the bypass-tunnel wrapper.
#include "include/te_mor.h"
#include "support/tables.h"

using namespace temor::test;

namespace {

using enum Form;
const Bytes kRange = host_image({1, 2, 3, 4}, {{0, 2, 2}}), kTeClass = {0xA1, 0xA2, 0xA3, 0xA4},
            kDsTeMode = {0x7F}, kBcMode = {4, 3, 2, 1};

// Pointer arguments are the caller's record, only read.
const SetterRow kRows[] = {
    {SETTER_ROW(TE_MOR_SetAutoBkpNhopOnly, op), U, 8, true, {{2, {}}}},
    {SETTER_ROW(TE_MOR_SetAutoBkpTunnelId, r), None, 8, false, {{1, {1, 2, 3, 4}}}, {0}, kRange, kRange},
    {SETTER_ROW(TE_MOR_SetAutoBkpRemovalTimer, 0x01020304, op), U, 8, false, {{0, {1, 2, 3, 4}}}},
    {SETTER_ROW(TE_MOR_SetFrrTimer, 0x0A0B0C0D), None, 0, false, {{8, {10, 11, 12, 13}}}},
    {SETTER_ROW(TE_MOR_SetTimerPriFlooding, op, 258), None, 0, true, {{7, {1, 2, 0, 0}}}},
    {SETTER_ROW(TE_MOR_SetGlobalMetricType, op), None, 0, true, {{6, {}}}},
    {SETTER_ROW(TE_MOR_SetIetfTeClass, op, r), None, 0, true, {{5, kTeClass}}, {0, 1}, kTeClass, kTeClass},
    {SETTER_ROW(TE_MOR_SetDsTeMode, op, r), None, 0, true, {{4, {0x7F, 0, 0, 0}}}, {0, 1}, kDsTeMode, kDsTeMode},
    {SETTER_ROW(TE_MOR_SetDsteBcMode, op, r), None, 0, true, {{3, kBcMode}}, {0, 1}, kBcMode, kBcMode},
    {SETTER_ROW(TE_MOR_SetFrrBypassTunnel, op, 0x0A0B0C0D, 0x0102), U, 1, true,
     {{0, {10, 11, 12, 13}}, {9, {1, 2, 0, 0}}}},
    {SETTER_ROW(TE_MOR_SetReoptimization), S, 0, false, {{0, {}}}},
    {SETTER_ROW(TE_MOR_ResetAutoBw, op), U, 0, true, {{1, {}}}},
    {SETTER_ROW(TE_MOR_SetTeAutoTunn, op), None, 0, true, {{11, {}}}},
    {SETTER_ROW(TE_MOR_SetTeAutoBw, op, 0x01020304), None, 0, true, {{2, {1, 2, 3, 4}}}},
};
SETTER_TABLE(Global, kRows);

class GlobalSetters : public DaemonTest {};

// The wrapper maps enable 1 to op 0 and anything else to op 1, and renames
// exactly the two bypass codes, which the setter itself returns unchanged.
TEST_F(GlobalSetters, BypassWrapper) {
    for (const auto &[enable, op] : {std::pair{1u, 0}, {0u, 1}, {2u, 1}, {0xFFFFFFFFu, 1}}) {
        EXPECT_EQ(TE_SetFrrBypassTunnel(enable, 3, 4), 0u);
        EXPECT_EQ(last_sent(*daemon), message(1, op, 0, {{0, be32(3)}, {9, {0, 4, 0, 0}}}));
    }
    const std::pair<uint32_t, uint32_t> cases[] = {{0x250C00BF, TE_MOR_ERR_BYPASS_REFUSED},
                                                   {0x250C00C0, TE_MOR_ERR_BYPASS_REFUSED},
                                                   {0x250C00C1, 0x250C00C1}, {0x250C00BE, 0x250C00BE}, {0, 0}};
    for (const auto &[code, wrapped] : cases) {
        daemon->answer_result(code);
        EXPECT_EQ(TE_SetFrrBypassTunnel(1, 3, 4), wrapped) << code;
        daemon->answer_result(code);
        EXPECT_EQ(TE_MOR_SetFrrBypassTunnel(0, 3, 4), code);
    }
}

}  // namespace

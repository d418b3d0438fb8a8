// The TE-enabled check forms and the setter composition built on them.
#include <gtest/gtest.h>

#include "include/te_mor.h"
#include "service/te_check.h"
#include "support/fake_daemon.h"
#include "support/records.h"

using namespace temor;
using namespace temor::test;

namespace {

struct Case {
    const char *name;
    Check check;
    uint32_t whileOff;  // result with MPLS-TE off: nothing is sent
    uint32_t whileOn;   // result with MPLS-TE on (the daemon answers 0): sent if 0
};

const Case kCases[] = {
    {"U op 0", rule_u(0), TE_MOR_ERR_TE_DISABLED, 0},
    {"U op 1", rule_u(1), 0, 0},
    {"U op 2", rule_u(2), TE_MOR_ERR_TE_DISABLED, 0},
    {"N op 0", rule_n(0), TE_MOR_ERR_TE_DISABLED, 0},
    {"N op 1", rule_n(1), 0, 0},
    {"N op 2", rule_n(2), 0, 0},
    {"F enable 0", rule_f(0), 0, 0},
    {"F enable 1", rule_f(1), TE_MOR_ERR_TE_DISABLED, 0},
    {"F enable 0xff", rule_f(0xff), TE_MOR_ERR_TE_DISABLED, 0},
    {"S", rule_s(), TE_MOR_ERR_TE_DISABLED, 0},
    {"U undo, bad arguments", rule_u(1).or_invalid_if(true), 0, TE_MOR_ERR_FAIL},
    {"S, bad arguments", rule_s().or_invalid_if(true), TE_MOR_ERR_TE_DISABLED, TE_MOR_ERR_FAIL},
    {"S, good arguments", rule_s().or_invalid_if(false), TE_MOR_ERR_TE_DISABLED, 0},
};

}  // namespace

class TeCheck : public DaemonTest {};

// With MPLS-TE off nothing is ever sent; with it on, a bad-argument verdict
// after a passing probe sends nothing either.
TEST_F(TeCheck, FormsWhileOffAndOn) {
    for (const Case &c : kCases) {
        for (bool on : {false, true}) {
            dirs.set_te_enabled(on);
            const size_t before = daemon->request_count();
            EXPECT_EQ(send(c.check, TE_MOR_CLASS_GLOBAL, 0, item::Flag{7}), on ? c.whileOn : c.whileOff)
                << c.name << " on " << on;
            EXPECT_EQ(daemon->request_count(), before + (on && c.whileOn == 0)) << c.name;
        }
    }
}

TEST_F(TeCheck, NoCheckSendsWhileOffAndAsksNobody) {
    dirs.set_te_enabled(false);
    dirs.clear_calls();
    EXPECT_EQ(send(no_check(), TE_MOR_CLASS_TUNNEL, 5, tunnel_key(9)), 0u);
    EXPECT_TRUE(dirs.calls().empty());
    EXPECT_EQ(last_sent(*daemon), message(TE_MOR_CLASS_TUNNEL, 5, 0, {{0, be32(9)}}));
}

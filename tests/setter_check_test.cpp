// The TE-enabled check forms and the setter composition built on them.
#include <gtest/gtest.h>

#include "config/setters.h"
#include "include/te_mor.h"
#include "messaging/setter.h"
#include "support/fake_daemon.h"
#include "support/records.h"
#include "support/tables.h"

using namespace temor;
using namespace temor::test;

namespace {

struct Case {
    const char *name;
    Check check;
    uint32_t whileOff;  // result with MPLS-TE off: nothing is sent
    uint32_t whileOn;   // result with MPLS-TE on (the daemon answers 0): sent if 0
};

using enum CheckForm;
const Case kCases[] = {
    {"U op 0", check_of(UndoPasses, 0), TE_MOR_ERR_TE_DISABLED, 0},
    {"U op 1", check_of(UndoPasses, 1), 0, 0},
    {"U op 2", check_of(UndoPasses, 2), TE_MOR_ERR_TE_DISABLED, 0},
    {"N op 0", check_of(AnyUndoPasses, 0), TE_MOR_ERR_TE_DISABLED, 0},
    {"N op 1", check_of(AnyUndoPasses, 1), 0, 0},
    {"N op 2", check_of(AnyUndoPasses, 2), 0, 0},
    {"F enable 0", check_of(RemovalPasses, 0), 0, 0},
    {"F enable 1", check_of(RemovalPasses, 1), TE_MOR_ERR_TE_DISABLED, 0},
    {"F enable 0xff", check_of(RemovalPasses, 0xff), TE_MOR_ERR_TE_DISABLED, 0},
    {"S", check_of(AlwaysRefused, 0), TE_MOR_ERR_TE_DISABLED, 0},
    {"U undo, bad arguments", check_of(UndoPasses, 1).or_invalid_if(true), 0, TE_MOR_ERR_FAIL},
    {"S, bad arguments", check_of(AlwaysRefused, 0).or_invalid_if(true), TE_MOR_ERR_TE_DISABLED,
     TE_MOR_ERR_FAIL},
};

// A record whose enable octet decides a removal check.
struct Switch {
    uint8_t raw[3];
    uint8_t enable;
};
constexpr Field kSwitchFields[] = {bytes("raw", 0, 3), octets("enable", 3)};
constexpr Layout kSwitch = layout(sizeof(Switch), kSwitchFields);
constexpr temor::SetterRow kRemovable{.name = "switch", .cls = 3, .tag = 30, .value = Value::Copy,
                               .check = RemovalPasses, .keyed = true, .layout = &kSwitch,
                               .enableAt = 3};

}  // namespace

class SetterCheck : public DaemonTest {};

// With MPLS-TE off nothing is ever sent; with it on, a bad-argument verdict
// after a passing probe sends nothing either.
TEST_F(SetterCheck, FormsWhileOffAndOn) {
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

TEST_F(SetterCheck, NoCheckSendsWhileOffAndAsksNobody) {
    dirs.set_te_enabled(false);
    dirs.clear_calls();
    EXPECT_EQ(send(unchecked(), TE_MOR_CLASS_TUNNEL, 5, object_key(9)), 0u);
    EXPECT_TRUE(dirs.calls().empty());
    EXPECT_EQ(last_sent(*daemon), message(TE_MOR_CLASS_TUNNEL, 5, 0, {{0, be32(9)}}));
}

// A removal check reads the record's enable octet: a null record is refused
// there, before MPLS-TE is asked about.
TEST_F(SetterCheck, RemovalCheckReadsTheEnableOctet) {
    dirs.set_te_enabled(false);
    const Switch off{{1, 2, 3}, 0}, on{{1, 2, 3}, 1};
    const Switch *none = nullptr;
    EXPECT_EQ(set<kRemovable>(0, 7u, &off), TE_MOR_OK);
    dirs.clear_calls();
    EXPECT_EQ(set<kRemovable>(0, 7u, none), TE_MOR_ERR_FAIL);
    EXPECT_TRUE(dirs.calls().empty());
    EXPECT_EQ(set<kRemovable>(0, 7u, &on), TE_MOR_ERR_TE_DISABLED);
    EXPECT_EQ(daemon->request_count(), 0u);
    dirs.set_te_enabled(true);
    EXPECT_EQ(set<kRemovable>(1, 7u, &on), 0u);
    EXPECT_EQ(last_sent(*daemon), message(3, 1, 0, {{0, be32(7)}, {30, {1, 2, 3, 1}}}));
    EXPECT_EQ(set<kRemovable>(0, 7u, none), TE_MOR_ERR_FAIL);
    EXPECT_EQ(daemon->request_count(), 1u);
}

// Every setter row of the library that is an exported function has a row in
// some family's table test (matched by class and value tag), so a new row
// without its test fails here.
TEST(SetterCoverage, EveryLibraryRowHasATestRow) {
    for (const Family &f : setters::kFamilies) {
        for (const temor::SetterRow &r : f.rows) {
            if (r.call == nullptr) continue;  // not a function of its own
            bool found = false;
            for (const temor::test::SetterRow *t : all_setter_rows())
                found = found || (t->msgClass == r.cls && !t->items.empty() && t->items.back().tag == r.tag);
            EXPECT_TRUE(found) << f.word << " " << r.name.text << " has no test row";
        }
    }
}

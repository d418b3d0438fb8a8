// Setter composition: a setter without a check, a removal check that reads
// the record, and a test row for every setter row. (Each check form, on and
// off, is run by the setter tables through the rows that use it.)
#include <gtest/gtest.h>

#include "config/setters.h"
#include "include/te_mor.h"
#include "setter/setter.h"
#include "support/fake_daemon.h"
#include "support/records.h"
#include "support/tables.h"

using namespace temor;
using namespace temor::test;

namespace {

// A record whose enable octet decides a removal check.
struct Switch {
    uint8_t raw[3];
    uint8_t enable;
};
constexpr Field kSwitchFields[] = {bytes("raw", 0, 3), octets("enable", 3)};
constexpr Layout kSwitch = layout(sizeof(Switch), kSwitchFields);
constexpr temor::SetterRow kRemovable{.name = "switch", .cls = 3, .tag = 30, .value = Value::Copy,
                                      .check = CheckForm::RemovalPasses, .keyed = true, .layout = &kSwitch,
                                      .enableAt = 3};

}  // namespace

class SetterCheck : public DaemonTest {};

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

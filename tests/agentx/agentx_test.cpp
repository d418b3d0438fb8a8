// The agent's MIB model and its GET/GETNEXT answers on a snapshot made by
// hand: what a walk of the whole tree visits, and where GETNEXT goes from
// names that are no instance.
#include <gtest/gtest.h>
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>

#include <cstring>
#include <set>

#include "tools/agentx/mib_model.h"
#include "tools/agentx/snapshot.h"

namespace agentx {
namespace {

const Table &table(const Model &m, const std::string &name) {
    for (const Table &t : m.tables)
        if (t.name == name) return t;
    throw std::runtime_error("no table " + name);
}
size_t at(const Model &m, const std::string &name) { return static_cast<size_t>(&table(m, name) - m.tables.data()); }

Oid operator+(Oid a, const Oid &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

TEST(MibModel, EveryTableHasKeyColumnsAndEveryObjectOneNameAndOid) {
    const Model m = build(kDefaultBase);
    std::set<std::string> names;
    std::set<Oid> oids;
    for (const Scalar &s : m.scalars) EXPECT_TRUE(names.insert(s.name).second && oids.insert(s.oid).second) << s.name;
    for (const Table &t : m.tables) {
        if (t.parent < 0) {
            EXPECT_FALSE(t.index.empty()) << t.name;
        }
        EXPECT_TRUE(names.insert(t.name + "Table").second && oids.insert(t.oid).second) << t.name;
        for (size_t c = 0; c < t.columns.size(); ++c) {
            EXPECT_EQ(t.columns[c].arc, c + 1) << t.columns[c].name;
            EXPECT_TRUE(names.insert(t.columns[c].name).second) << t.columns[c].name;
        }
    }
    // The tunnels by id are the tunnel table's rows; it is served once.
    EXPECT_THROW(table(m, "temorTunnelsById"), std::runtime_error);
    const Model other = build({1, 3, 6, 1, 4, 1, 99});
    EXPECT_EQ(table(other, "temorTunnels").oid, (Oid{1, 3, 6, 1, 4, 1, 99, 4, 1}));
    EXPECT_NE(mib_text(other).find("::= { enterprises 99 }"), std::string::npos);
}

TEST(MibModel, OidsReadAsEveryToolReadsNumbers) {
    EXPECT_EQ(parse_oid(".1.3.6"), (Oid{1, 3, 6}));
    EXPECT_EQ(parse_oid("1.0x10"), (Oid{1, 16}));
    for (const char *bad : {"", "1..3", "1.3.", "1.03", "1.x", "1.4294967296"}) EXPECT_TRUE(parse_oid(bad).empty()) << bad;
}

// Interface configuration rows 2, 5, 9 and bandwidth rows 1 (two entries)
// and 4 (none).
Snapshot sample(const Model &m) {
    Snapshot s;
    s.taken = std::chrono::steady_clock::now();
    s.tables.resize(m.tables.size());
    s.counters.assign(6, 7);
    for (const Record &r : m.records) s.records.emplace_back(r.source->recordSize, 0);
    Rows &ifc = s.tables[at(m, "temorIfConfig")];
    for (uint32_t k : {2u, 5u, 9u}) {
        TeIfConfigInfo r{k, static_cast<uint16_t>(k * 10)};
        const auto *b = reinterpret_cast<const uint8_t *>(&r);
        ifc.records.insert(ifc.records.end(), b, b + sizeof r);
    }
    ifc.count = 3;
    Rows &bw = s.tables[at(m, "temorBwAlloc")];
    for (uint32_t k : {1u, 4u}) {
        TeBwAllocationInfo r{};
        r.word0 = k;
        r.entryCount = k == 1 ? 2 : 0;
        r.entries[1].entryValueA = 77;
        const auto *b = reinterpret_cast<const uint8_t *>(&r);
        bw.records.insert(bw.records.end(), b, b + sizeof r);
    }
    bw.count = 2;
    for (size_t i = 0; i < m.tables.size(); ++i) {
        if (m.tables[i].parent != static_cast<int>(at(m, "temorBwAlloc"))) continue;
        const bool counted = m.tables[i].name == "temorBwAllocEntries";
        s.tables[i].before = counted ? std::vector<uint32_t>{0, 2, 2} : std::vector<uint32_t>{0, 4, 8};
        s.tables[i].count = s.tables[i].before.back();
    }
    return s;
}

TEST(Snapshot, AWalkVisitsEveryInstanceInOrderAndGetAgrees) {
    const Model m = build(kDefaultBase);
    const Snapshot s = sample(m);
    const Live l{true, 3, 4, 5};
    size_t instances = 0, expected = m.scalars.size();
    for (const Table &t : m.tables)
        for (const Column &c : t.columns) expected += c.field ? s.tables[at(m, t.name)].count : 0;
    Oid name = m.base;
    while (const auto i = next(m, s, l, m.base, name)) {
        ASSERT_LT(name, i->name);
        Value v{};
        ASSERT_EQ(get(m, s, l, m.base, i->name, v), Miss::None) << oid_text(i->name);
        EXPECT_EQ(v.type, i->value.type);
        EXPECT_EQ(v.number, i->value.number);
        EXPECT_EQ(v.octets, i->value.octets);
        name = i->name;
        ++instances;
    }
    EXPECT_EQ(instances, expected);
}

TEST(Snapshot, GetNextFromNamesThatAreNoInstance) {
    const Model m = build(kDefaultBase);
    const Snapshot s = sample(m);
    const Table &ifc = table(m, "temorIfConfig");
    const Oid col1 = ifc.oid + Oid{1, 1}, col2 = ifc.oid + Oid{1, 2};
    const Table &entries = table(m, "temorBwAllocEntries");
    const Oid valueA = entries.oid + Oid{1, 3};
    struct Case {
        Oid from, to;  // empty: nothing after it in the subtree
    } cases[] = {
        {ifc.oid, col1 + Oid{2}},            {col1, col1 + Oid{2}},           {col1 + Oid{4, 99}, col1 + Oid{5}},
        {col1 + Oid{5}, col1 + Oid{9}},      {col1 + Oid{5, 0}, col1 + Oid{9}}, {col1 + Oid{9}, col2 + Oid{2}},
        {col2 + Oid{9}, {}},                 {ifc.oid + Oid{1, 7}, {}},       {ifc.oid + Oid{2}, {}},
        {entries.oid + Oid{1, 1, 1, 1}, entries.oid + Oid{1, 2, 1, 1}},  // the position column is not served
        {valueA + Oid{1, 2}, entries.oid + Oid{1, 4, 1, 1}},             // row 4 has no entries
    };
    for (const Case &c : cases) {
        const Table &t = c.from < entries.oid ? ifc : entries;
        const auto i = next(m, s, Live{}, t.oid, c.from);
        EXPECT_EQ(i ? i->name : Oid{}, c.to) << oid_text(c.from);
    }
    Value v{};
    EXPECT_EQ(get(m, s, Live{}, entries.oid, valueA + Oid{1, 2}, v), Miss::None);
    EXPECT_EQ(v.number, 77u);
    EXPECT_EQ(get(m, s, Live{}, entries.oid, valueA + Oid{4, 1}, v), Miss::NoInstance);
    EXPECT_EQ(get(m, s, Live{}, ifc.oid, col1 + Oid{6}, v), Miss::NoInstance);
    EXPECT_EQ(get(m, s, Live{}, ifc.oid, ifc.oid + Oid{1, 9, 5}, v), Miss::NoObject);
    EXPECT_EQ(get(m, s, Live{}, entries.oid, entries.oid + Oid{1, 1, 1, 1}, v), Miss::NoObject);
}

}  // namespace
}  // namespace agentx

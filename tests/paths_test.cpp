// The TE path, path-hop and new-hop tables as query rows, and the explicit
// path and MIB hop setters as setter rows, with the exact bytes of hop keys,
// names and hop images.
#include <string>

#include "include/te_mor.h"
#include "query/tables.h"
#include "support/tables.h"

using namespace temor::test;

namespace {

// ---- tables -------------------------------------------------------------------

Bytes path_image(Bytes wire) { return host_image(wire, temor::tables::kTePath); }
// hopHalf0, index0, index1, hopHalf1, index2 in host order.
Bytes hop_numbers(Bytes wire) { return host_image(wire, {{0, 2}, {20, 4, 2}, {28, 2}, {32, 4}}); }
// A decoded row: its text also terminated within its field.
Bytes hop_image(Bytes wire) {
    wire[67] = 0;
    return hop_numbers(wire);
}

// A short item replaces only its leading bytes; every number is converted.
const Bytes kOld = pattern(68, 0x30);
const QueryTable kPaths{68, {113, pattern(68)}, path_image(pattern(68)), laid_over(113, {10}, kOld, path_image)};
// The pattern's text has no terminator among its 32 bytes: 31 characters stay.
const QueryTable kPathHops{68, {112, pattern(80)}, hop_image(pattern(68)), laid_over(112, {10}, kOld, hop_image)};
const QueryTable kNewHops{68, {111, pattern(68)}, hop_image(pattern(68)), laid_over(111, {10}, kOld, hop_image)};

const TePathKey kKey{{1, 2}};
const Bytes kKeyWire = cat({be32(1), be32(2)});
// A hop record keyed index0 1, index1 2, index2 3.
Bytes hop_key() {
    TeHopInfo hop{};
    hop.index0 = 1, hop.index1 = 2, hop.index2 = 3;
    return bytes_of(hop);
}
const Bytes kHopKey = hop_key(), kPathHopWire = cat({kKeyWire, be32(0)}), kNewHopWire = cat({kKeyWire, be32(3)});

const QueryRow kRows[] = {
    {QUERY_ROW(TE_MOR_GetTePath, &kKey, r), &kPaths, message(4, 3, 0, {{113, kKeyWire}}),
     QUERY_CALL(TE_MOR_GetTePath, nullptr, r)},
    {QUERY_ROW(TE_MOR_GetFirstTePath, r), &kPaths, message(4, 4, 0, {{113, Bytes(8, 0)}})},
    {QUERY_ROW(TE_MOR_GetNextTePath, &kKey, r), &kPaths, message(4, 5, 0, {{113, kKeyWire}}),
     QUERY_CALL(TE_MOR_GetNextTePath, nullptr, r)},
    // The record is the key: path hops send index0 and index1 and a zero
    // word, new hops all three; the first rows send an empty item whatever
    // the record holds.
    {QUERY_ROW(TE_MOR_GetPathHop, r), &kPathHops, message(4, 3, 0, {{112, kPathHopWire}}), {}, kHopKey},
    {QUERY_ROW(TE_MOR_GetFirstPathHop, r), &kPathHops, message(4, 4, 0, {{112, {}}}), {}, kHopKey},
    {QUERY_ROW(TE_MOR_GetNextPathHop, r), &kPathHops, message(4, 5, 0, {{112, kPathHopWire}}), {}, kHopKey},
    {QUERY_ROW(TE_MOR_GetNewHop, r), &kNewHops, message(4, 3, 0, {{111, kNewHopWire}}), {}, kHopKey},
    {QUERY_ROW(TE_MOR_GetFirstNewHop, r), &kNewHops, message(4, 4, 0, {{111, {}}}), {}, kHopKey},
    {QUERY_ROW(TE_MOR_GetNextNewHop, r), &kNewHops, message(4, 5, 0, {{111, kNewHopWire}}), {}, kHopKey},
};
QUERY_TABLE(Paths, kRows);

class PathsTest : public DaemonTest {};

// ---- setters --------------------------------------------------------------------

using enum Form;
Bytes name32(const std::string &s) {
    Bytes b(s.begin(), s.end());
    b.resize(32, 0);
    return b;
}
const Bytes kP1 = {'p', '1', 0};  // the name as the caller holds it
Bytes host16(uint16_t v) { return host_image(be16(v), {{0, 2}}); }

// word0 1, word1 0, byte0 2, word2 3, byte1 4, half0 5, padding 0xEE.
const Bytes kHop = cat({host32(1), host32(0), {2, 0xEE, 0xEE, 0xEE}, host32(3), {4, 0xEE}, host16(5)});
const Bytes kHopWire = {0, 0, 0, 1, 0, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 3, 4, 0, 0, 5};

// A hop row whose text fills its 32 bytes without a terminator: 31 of them
// are sent, then a zero byte.
Bytes row_wire() {
    Bytes w = pattern(68);
    w[67] = 0;
    return w;
}
Bytes row_host() { return hop_numbers(pattern(68)); }

const SetterRow kSetters[] = {
    {SETTER_ROW(TE_MOR_SetExplicitPath, op, (const char *)r), U, 2, true, {{0, name32("p1")}, {1, {}}},
     {0, 1}, kP1, kP1},
    {SETTER_ROW(TE_MOR_SetDisableExpath, op, (const char *)r), None, 2, true, {{0, name32("p1")}, {3, {}}},
     {0, 1}, kP1, kP1},
    {SETTER_ROW(TE_MOR_SetNextHop, op, "p1", r), None, 2, true, {{0, name32("p1")}, {2, kHopWire}}, {0, 1}, kHop, kHop},
    {SETTER_ROW(TE_MOR_SetMibExpathHop, op, r), None, 2, true, {{0, {}}, {4, row_wire()}}, {0, 1}, row_host(),
     row_host(), TE_MOR_ERR_IPC_OPEN, {}, 0, 1},
    {SETTER_ROW(TE_MOR_SetMibNewHop, op, r), None, 9, true, {{25, row_wire()}}, {0, 1}, row_host(), row_host(),
     TE_MOR_ERR_IPC_OPEN, {}, 0, 1},
};
SETTER_TABLE(ExplicitPaths, kSetters);

// 1 to 31 characters for the path setters, 31 travelling with one zero
// byte; the hop setter sends the first 32 characters of any name, without
// a terminator, and refuses only a null name.
TEST_F(PathsTest, NameLengths) {
    const std::string n31(31, 'a'), n32(32, 'b'), n40 = n32 + "ccccdddd";
    EXPECT_EQ(TE_MOR_SetExplicitPath(0, n31.c_str()), 0u);
    EXPECT_EQ(last_sent(*daemon), message(2, 0, 0, {{0, name32(n31)}, {1, {}}}));
    const size_t sent = daemon->request_count();
    for (const char *bad : {"", n32.c_str()}) {
        EXPECT_EQ(TE_MOR_SetExplicitPath(0, bad), TE_MOR_ERR_FAIL);
        EXPECT_EQ(TE_MOR_SetDisableExpath(0, bad), TE_MOR_ERR_FAIL);
    }
    const TeExpathHop hop{};
    EXPECT_EQ(TE_MOR_SetNextHop(0, nullptr, &hop), TE_MOR_ERR_FAIL);
    EXPECT_EQ(daemon->request_count(), sent);
    EXPECT_EQ(TE_MOR_SetNextHop(7, n40.c_str(), &hop), 0u);  // ops are the daemon's to judge
    EXPECT_EQ(last_sent(*daemon), message(2, 7, 0, {{0, Bytes(n32.begin(), n32.end())}, {2, Bytes(20, 0)}}));
}

}  // namespace

// Trap setters as setter rows, the notification read as a query row, and
// what the read and the capability make of the reply.
#include "include/te_mor.h"
#include "support/tables.h"

using namespace temor::test;

namespace {

constexpr uint64_t kMask = 0x0807060504030201ull;
using enum Form;

// An op above 1 is refused once the check has passed; without a socket the
// setters report MPLS-TE as off. The mask travels as it lies in memory.
const SetterRow kSetters[] = {
    {SETTER_ROW(TE_MOR_SetPrivateTrap, op, kMask), U, 0, true, {{13, bytes_of(kMask)}}, {2, 0xFFFFFFFF}, {}, {},
     TE_MOR_ERR_TE_DISABLED},
    {SETTER_ROW(TE_MOR_SetTrap, op), U, 0, true, {{10, {}}}, {2, 0xFFFFFFFF}, {}, {}, TE_MOR_ERR_TE_DISABLED},
    // enable 0 is op 1, any other value op 0.
    {SETTER_ROW(TE_EnableTrap, op == 1 ? 0 : op + 1), U, 0, true, {{10, {}}}, {}, {}, {}, TE_MOR_ERR_TE_DISABLED},
};
SETTER_TABLE(Traps, kSetters);

// No TE check; the first four bytes of the first item, whatever its tag. A
// short item at the very end of the datagram is completed with zeros (the
// bytes behind it were never received).
const QueryTable kNotify{4, {77, {1, 2, 3, 4, 0xFF}}, host32(0x01020304), {
    {reply(0, {{1, {1, 2, 3, 4}}, {1, be32(5)}}), host32(9), 0, host32(0x01020304)},
    {reply(0, {{0, {0xAB, 0xCD}}}), host32(9), 0, host32(0xABCD0000)},
    {reply(0, {{0, {}}}), host32(9), 0, host32(0)},
}};
const QueryRow kQueries[] = {{QUERY_ROW(TE_MOR_GetTunnelNotifyEnable, r), &kNotify, message(4, 3, 0, {{104, {}}})}};
QUERY_TABLE(Traps, kQueries);

class Traps : public DaemonTest {};

// 1 only for state 1; the read's failure comes first, untouched, and a null
// pointer is refused only once the state has been read.
TEST_F(Traps, CapabilityFollowsTheState) {
    const std::tuple<uint32_t, uint32_t, uint16_t> cases[] = {
        {0, 1, 1}, {0, 2, 0}, {0, 0, 0}, {0, 0x01000000, 0}, {0x250C0001, 1, 7}};
    for (const auto &[code, state, capability] : cases) {
        SCOPED_TRACE(state);
        daemon->answer_result(code, {{0, be32(state)}});
        uint16_t got = 7;
        EXPECT_EQ(TE_GetTrapCapability(&got), code);
        EXPECT_EQ(got, capability);
        daemon->answer_result(code, {{0, be32(state)}});
        EXPECT_EQ(TE_GetTrapCapability(nullptr), code == 0 ? TE_MOR_ERR_FAIL : code);
    }
}

}  // namespace

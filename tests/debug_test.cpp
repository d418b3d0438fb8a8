// Debug switches: the change as a setter row and the read-back as a query
// row.
#include "include/te_mor.h"
#include "support/tables.h"

using namespace temor::test;

namespace {

// Flags 5, item 7, and 0xAB everywhere else: none of it is sent.
const Bytes kSwitches = host_image(cat({be32(5), be16(7), Bytes(sizeof(TeDebugInfo) - 6, 0xAB)}), {{0, 4}, {4, 2}});

const SetterRow kSetters[] = {
    {SETTER_ROW(TE_MOR_SetDebug, op, r), Form::U, 0, true, {{9, {0, 0, 0, 5, 0, 7, 0, 0}}}, {0, 1},
     kSwitches, kSwitches},
};
SETTER_TABLE(Debug, kSetters);

// The 206-byte reply value: flags, item, then entry i = 0x1000 + i.
Bytes debug_value() {
    Bytes v = cat({be32(0x01020304), be16(0x0506)});
    for (uint16_t i = 0; i < 100; ++i) v = cat({v, be16(uint16_t(0x1000 + i))});
    return v;
}

// The record after decoding value: its 206 bytes in host order; the
// record's padding is not written.
Bytes debug_image(const Bytes &value) {
    return cat({host_image(value, {{0, 4}, {4, 2, 101}}), Bytes(sizeof(TeDebugInfo) - 206, 0)});
}

// Only tag 6 is read. Past a short item the value is what follows it in the
// reply (here a second item: tag 00 01, length 00 02, AB CD), then zero, never
// what lies past the bytes received.
// The socket is opened before MPLS-TE is asked about: without one the read
// succeeds untouched.
const QueryTable kDebug{
    .size = sizeof(TeDebugInfo),
    .answer = {6, debug_value()},
    .decoded = debug_image(debug_value()),
    .replies = {{reply(0, {{6, be32(7)}, {1, be16(0xABCD)}}), Bytes(sizeof(TeDebugInfo), 0), 0,
                 debug_image(cat({be32(7), {0, 1, 0, 2, 0xAB, 0xCD}, Bytes(196, 0)}))},
                {reply(0, {{6, be32(7)}}), Bytes(sizeof(TeDebugInfo), 0), 0,
                 debug_image(cat({be32(7), Bytes(202, 0)}))}},
    .tag = 6,
    .whileOff = TE_MOR_ERR_TE_DISABLED,
    .noDaemon = TE_MOR_OK,
    .nullAfterReply = true,
};
const QueryRow kQueries[] = {
    {QUERY_ROW(TE_MOR_GetTeDebug, r), &kDebug, message(TE_MOR_CLASS_QUERY, TE_MOR_OP_GET, 0, {{4, {}}})}};
QUERY_TABLE(Debug, kQueries);

class Debug : public DaemonTest {};

TEST_F(Debug, ReadWithoutSocketSucceedsEvenWhileOff) {
    stop_daemon();
    for (bool on : {true, false}) {
        dirs.set_te_enabled(on);
        TeDebugInfo info;
        set_bytes(info, kSwitches);
        EXPECT_EQ(TE_MOR_GetTeDebug(&info), 0u) << on;
        EXPECT_EQ(bytes_of(info), kSwitches);
        EXPECT_EQ(TE_MOR_GetTeDebug(nullptr), 0u) << on;
    }
}

}  // namespace

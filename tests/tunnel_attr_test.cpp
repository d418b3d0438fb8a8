// Tunnel attribute setters as setter rows, and the two convenience entry
// points on top of them.
#include "include/te_mor.h"
#include "support/tables.h"

using namespace temor::test;

namespace {

using enum Form;
const Bytes kTnl = be32(9);
const Bytes kOctet258 = {2, 0, 0, 0};  // the low 8 bits of 258

// op first, the value a number: (op, 9, 258).
SetterRow number(const char *name, uint32_t (*set)(uint32_t, uint32_t, uint32_t), uint16_t tag, const Bytes &value) {
    return {name, [set](uint32_t op) { return set(op, 9, 258); }, U, 3, true, {{0, kTnl}, {tag, value}}};
}
// op last: it decides the check only; the header says set: (9, 258, op).
SetterRow op_last(const char *name, uint32_t (*set)(uint32_t, uint32_t, uint32_t), uint16_t tag, const Bytes &value) {
    return {name, [set](uint32_t op) { return set(9, 258, op); }, U, 3, false, {{0, kTnl}, {tag, value}}};
}
// A record: before is the caller's, sent goes out, after is left behind.
template <class R>
SetterRow record(const char *name, uint32_t (*set)(uint32_t, uint32_t, R *), uint16_t tag, const Bytes &before,
                 const Bytes &sent, const Bytes &after) {
    return {name, [set](uint32_t op, Rec r) { return set(op, 9, r); }, U, 3, true, {{0, kTnl}, {tag, sent}}, {0, 1},
            before, after};
}

const Bytes kBidir = cat({be32(1), be16(2), pattern(18)});
const Bytes kSsrlsp = cat({pattern(16), be32(0x01020304)});
const Bytes kAffinity = cat({be32(1), be32(2)});
// A bandwidth record with its padding not zero: the padding goes out as zero.
const Bytes kBandwidth = cat({{1, 0xEE, 0xEE, 0xEE}, host32(100)});
// The automatic and backup bandwidth records: enable is the call's "op".
Bytes auto_bw(uint32_t enable) { return cat({be32(1), be32(2), be32(3), {uint8_t(enable), 0xA, 0xB, 0xC}}); }
Bytes backup_bw(uint32_t enable) { return cat({be32(1000), {5, uint8_t(enable), 7, 8}}); }

const SetterRow kRows[] = {
    number(NAMED(TE_MOR_SetTunnelReoptimize), 1, be32(258)),
    number(NAMED(TE_MOR_SetTunnelFrr), 13, kOctet258),
    number(NAMED(TE_MOR_SetTunnelRecordRoute), 15, kOctet258),
    number(NAMED(TE_MOR_SetTunnelLoopDetection), 16, kOctet258),
    number(NAMED(TE_MOR_SetTunnelIgpAdvertise), 20, be32(258)),
    number(NAMED(TE_MOR_SetTunnelIgpShortcut), 22, kOctet258),
    number(NAMED(TE_MOR_SetTunnelPathMetric), 23, kOctet258),
    number(NAMED(TE_MOR_SetTunnelSerclass), 29, be32(258)),
    // The value stands before the tunnel id.
    {SETTER_ROW(TE_MOR_SetTunnelBackup, op, 3, 9), U, 3, true, {{0, kTnl}, {4, {3, 0, 0, 0}}}},
    {SETTER_ROW(TE_MOR_SetTunnelRoutePinning, op, 9), U, 3, true, {{0, kTnl}, {19, {}}}},
    {SETTER_ROW(TE_MOR_SetTunnelIgpMetric, op, 9, 0x102, 10), U, 3, true, {{0, kTnl}, {21, {0, 0, 0, 10, 2, 0, 0, 0}}}},
    op_last(NAMED(TE_MOR_SetTunnelResvStyle), 8, kOctet258),
    op_last(NAMED(TE_MOR_SetTunnelSignalProtocol), 9, kOctet258),
    op_last(NAMED(TE_MOR_SetTunnelRetryTimes), 10, be32(258)),
    op_last(NAMED(TE_MOR_SetTunnelRetryInterval), 11, be32(258)),
    {SETTER_ROW(TE_MOR_SetTunnelAffinityProperty, 9, r, op), U, 3, false, {{0, kTnl}, {12, kAffinity}}, {0, 1},
     host_image(kAffinity, {{0, 4, 2}}), kAffinity},
    record(NAMED(TE_MOR_SetPriority), 6, {3, 4}, {3, 4, 0, 0}, {3, 4}),
    record(NAMED(TE_MOR_SetBandWidth), 7, kBandwidth, cat({{1, 0, 0, 0}, be32(100)}), kBandwidth),
    record(NAMED(TE_MOR_SetBidirectionalTunnel), 17,
           host_image(kBidir, {{0, 4}, {4, 2}}), kBidir, kBidir),
    record(NAMED(TE_MOR_SetTunnelScrlsp), 18, pattern(16), pattern(16), pattern(16)),
    record(NAMED(TE_MOR_SetTunnelSsrlsp), 28, host_image(kSsrlsp, {{16, 4}}), kSsrlsp,
           host_image(kSsrlsp, {{16, 4}})),
    // No op: the record's enable octet decides the check; converted in place.
    {SETTER_ROW(TE_MOR_SetTunnelAutoBw, 9, r), F, 3, false, {{0, kTnl}, {5, auto_bw(0)}}, {},
     [](uint32_t e) { return host_image(auto_bw(e), {{0, 4, 3}}); }, auto_bw, TE_MOR_ERR_IPC_OPEN,
     Items{{0, kTnl}, {5, auto_bw(1)}}},
    {SETTER_ROW(TE_MOR_SetTunnelBackupBw, 9, r), F, 3, false, {{0, kTnl}, {14, backup_bw(0)}}, {},
     [](uint32_t e) { return host_image(backup_bw(e), {{0, 4}}); }, backup_bw, TE_MOR_ERR_IPC_OPEN,
     Items{{0, kTnl}, {14, backup_bw(1)}}, TE_MOR_OP_BACKUP_BW},
};
SETTER_TABLE(TunnelAttributes, kRows);

class TunnelConvenience : public DaemonTest {};

// A record of its own with enable 1: sent with op 6, refused while off.
TEST_F(TunnelConvenience, BackupBandwidthFromANumber) {
    EXPECT_EQ(TE_SetTunnelBackupBw(9, 1000), 0u);
    EXPECT_EQ(last_sent(*daemon), message(3, 6, 0, {{0, kTnl}, {14, {0, 0, 3, 0xE8, 0, 1, 0, 0}}}));
    dirs.set_te_enabled(false);
    EXPECT_EQ(TE_SetTunnelBackupBw(9, 1000), TE_MOR_ERR_TE_DISABLED);
    EXPECT_EQ(daemon->request_count(), 1u);
}

// Refuses an op above 1 or a null record before asking about MPLS-TE, and
// reports a refusal while it is off as an open failure.
TEST_F(TunnelConvenience, CheckedScrlsp) {
    const TeTunnelScrlsp s{{1, 2, 3}};
    dirs.clear_calls();
    EXPECT_EQ(TE_MOR_SetScrlsp(2, 9, &s), TE_MOR_ERR_FAIL);
    EXPECT_EQ(TE_MOR_SetScrlsp(0, 9, nullptr), TE_MOR_ERR_FAIL);
    EXPECT_TRUE(dirs.calls().empty());
    EXPECT_EQ(TE_MOR_SetScrlsp(1, 9, &s), 0u);
    EXPECT_EQ(last_sent(*daemon), message(3, 1, 0, {{0, kTnl}, {18, bytes_of(s)}}));
    dirs.set_te_enabled(false);
    EXPECT_EQ(TE_MOR_SetScrlsp(0, 9, &s), TE_MOR_ERR_IPC_OPEN);
    EXPECT_EQ(TE_MOR_SetScrlsp(1, 9, &s), 0u);
    EXPECT_EQ(daemon->request_count(), 1u);
}

}  // namespace

// Interface settings, reservable bandwidth and bandwidth-constraint models,
// and bundle IGP settings, as setter rows.
#include "include/te_mor.h"
#include "support/tables.h"

using namespace temor::test;

namespace {

using enum Form;
const Bytes kIf = be32(5), kThresholds = {1, 2, 3, 4};
// Records as the caller holds them (host order) and as they go out.
const Bytes kResBw = cat({be32(1000), be32(2000)}), kMam = cat({be32(1), be32(2), be32(3), be32(4), be32(250)}),
            kRdm = cat({be32(10), be32(20), be32(30), be32(40)});
Bytes host_words(const Bytes &wire) { return host_image(wire, {{0, 4, wire.size() / 4}}); }

// Converted where it lies: the caller gets it back in network order.
template <class Rec_>
SetterRow in_place(const char *name, uint32_t (*set)(uint32_t, uint32_t, Rec_ *), uint16_t tag, const Bytes &wire) {
    return {name, [set](uint32_t op, Rec r) { return set(op, 5, r); }, U, 1, true, {{0, kIf}, {tag, wire}}, {0, 1},
            host_words(wire), wire};
}
// The percent forms: no op, header op 0, always refused while MPLS-TE is off.
template <class Rec_>
SetterRow percent(const char *name, uint32_t (*set)(uint32_t, Rec_ *), uint16_t tag, const Bytes &wire, bool inPlace) {
    return {name, [set](uint32_t, Rec r) { return set(5, r); }, S, 1, false, {{0, kIf}, {tag, wire}}, {0},
            host_words(wire), inPlace ? wire : host_words(wire)};
}

const SetterRow kRows[] = {
    {SETTER_ROW(TE_MOR_SetMplsTeIf, 5, op), N, 1, true, {{0, kIf}, {1, {}}}},
    // The undo travels only in the check: the header says set.
    {SETTER_ROW(TE_MOR_SetLinkAdminGroup, 5, 255, op), U, 1, false, {{0, kIf}, {2, be32(255)}}},
    {SETTER_ROW(TE_MOR_SetMaxLinkBandwidth, 5, op, 1000), U, 1, true, {{0, kIf}, {3, be32(1000)}}},
    {SETTER_ROW(TE_MOR_SetIfBwChangeThresholds, op, 5, r), U, 1, true, {{0, kIf}, {7, kThresholds}}, {0, 1},
     kThresholds, kThresholds},
    {SETTER_ROW(TE_MOR_SetIfMetricValue, op, 5, 0x01020304), U, 1, true, {{0, kIf}, {8, {1, 2, 3, 4}}}},
    {SETTER_ROW(TE_MOR_SetIfAutoTunn, 5, op), N, 1, true, {{0, kIf}, {10, {}}}},
    // Not limited to 100.
    {SETTER_ROW(TE_MOR_SetMaxLinkBandwidthInPercent, 5, 150), S, 1, false, {{0, kIf}, {11, be32(150)}}},
    // Sent from a copy: the caller's record stays as it was.
    {SETTER_ROW(TE_MOR_SetMaxResBandwidth, op, 5, r), U, 1, true, {{0, kIf}, {4, kResBw}}, {0, 1},
     host_words(kResBw), host_words(kResBw)},
    percent(NAMED(TE_MOR_SetMaxResBWInPercent), 12, kResBw, false),
    in_place(NAMED(TE_MOR_SetMaxResBandwidthMam), 5, kMam),
    percent(NAMED(TE_MOR_SetMaxResBWMamInPercent), 13, kMam, true),
    in_place(NAMED(TE_MOR_SetMaxResBandwidthRdm), 6, kRdm),
    percent(NAMED(TE_MOR_SetMaxResBWRdmInPercent), 14, kRdm, true),
};
SETTER_TABLE(Interface, kRows);

const Bytes kBundle = be32(3);
const SetterRow kBundleRows[] = {
    {SETTER_ROW(TE_MOR_SetBundleIgpAdvertise, op, 3), U, 7, true, {{0, kBundle}, {1, {}}}},
    {SETTER_ROW(TE_MOR_SetBundleIgpMetric, op, 3, 0x101, 10), U, 7, true,
     {{0, kBundle}, {2, {0, 0, 0, 10, 1, 0, 0, 0}}}},
    // Host order: as this machine holds 258 in memory (02 01 00 00 on a
    // little-endian host, 00 00 01 02 on a big-endian one).
    {SETTER_ROW(TE_MOR_SetBundleIgpShortcut, op, 3, 258), U, 7, true, {{0, kBundle}, {3, bytes_of(uint32_t{258})}}},
};
SETTER_TABLE(Bundle, kBundleRows);

}  // namespace

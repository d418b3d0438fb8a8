// TE settings of one interface and its reservable bandwidth and bandwidth
// constraint models: each setter is its row (config/setters.h) and one line.
#include "config/setters.h"
#include "include/te_mor.h"
#include "setter/setter.h"

using namespace temor;
using setters::kInterface;

extern "C" {

TE_MOR_API uint32_t TE_MOR_SetMplsTeIf(uint32_t ifIndex, uint32_t op) {
    return set<row(kInterface, "te")>(op, ifIndex);
}

TE_MOR_API uint32_t TE_MOR_SetLinkAdminGroup(uint32_t ifIndex, uint32_t adminGroup, uint32_t op) {
    return set<row(kInterface, "admin-group")>(op, ifIndex, adminGroup);
}

TE_MOR_API uint32_t TE_MOR_SetMaxLinkBandwidth(uint32_t ifIndex, uint32_t op, uint32_t bandwidth) {
    return set<row(kInterface, "max-bandwidth")>(op, ifIndex, bandwidth);
}

TE_MOR_API uint32_t TE_MOR_SetIfBwChangeThresholds(uint32_t op, uint32_t ifIndex,
                                                   const TeIfBwThresholds *thresholds) {
    return set<row(kInterface, "bw-thresholds")>(op, ifIndex,
                                                  thresholds ? thresholds->rawBlock : nullptr);
}

TE_MOR_API uint32_t TE_MOR_SetIfMetricValue(uint32_t op, uint32_t ifIndex, uint32_t metric) {
    return set<row(kInterface, "metric")>(op, ifIndex, metric);
}

TE_MOR_API uint32_t TE_MOR_SetIfAutoTunn(uint32_t ifIndex, uint32_t op) {
    return set<row(kInterface, "auto-tunnel")>(op, ifIndex);
}

TE_MOR_API uint32_t TE_MOR_SetMaxLinkBandwidthInPercent(uint32_t ifIndex, uint32_t percent) {
    return set<row(kInterface, "max-bandwidth-percent")>(TE_MOR_OP_SET, ifIndex, percent);
}

TE_MOR_API uint32_t TE_MOR_SetMaxResBandwidth(uint32_t op, uint32_t ifIndex,
                                              const TeMaxResBandwidth *resBw) {
    return set<row(kInterface, "max-reservable")>(op, ifIndex, resBw);
}

TE_MOR_API uint32_t TE_MOR_SetMaxResBWInPercent(uint32_t ifIndex, const TeMaxResBandwidth *resBw) {
    return set<row(kInterface, "max-reservable-percent")>(TE_MOR_OP_SET, ifIndex, resBw);
}

TE_MOR_API uint32_t TE_MOR_SetMaxResBandwidthMam(uint32_t op, uint32_t ifIndex, TeBcModelMam *mam) {
    return set<row(kInterface, "mam")>(op, ifIndex, mam);
}

TE_MOR_API uint32_t TE_MOR_SetMaxResBWMamInPercent(uint32_t ifIndex, TeBcModelMam *mam) {
    return set<row(kInterface, "mam-percent")>(TE_MOR_OP_SET, ifIndex, mam);
}

TE_MOR_API uint32_t TE_MOR_SetMaxResBandwidthRdm(uint32_t op, uint32_t ifIndex, TeBcModelRdm *rdm) {
    return set<row(kInterface, "rdm")>(op, ifIndex, rdm);
}

TE_MOR_API uint32_t TE_MOR_SetMaxResBWRdmInPercent(uint32_t ifIndex, TeBcModelRdm *rdm) {
    return set<row(kInterface, "rdm-percent")>(TE_MOR_OP_SET, ifIndex, rdm);
}

}  // extern "C"

// IGP settings of a bundle: each setter is its row (config/setters.h) and
// one line.
#include "config/setters.h"
#include "include/te_mor.h"
#include "setter/setter.h"

using namespace temor;
using setters::kBundle;

extern "C" {

TE_MOR_API uint32_t TE_MOR_SetBundleIgpAdvertise(uint32_t op, uint32_t bundleId) {
    return set<row(kBundle, "igp-advertise")>(op, bundleId);
}

TE_MOR_API uint32_t TE_MOR_SetBundleIgpMetric(uint32_t op, uint32_t bundleId, uint32_t selector,
                                              uint32_t metric) {
    return set<row(kBundle, "igp-metric")>(op, bundleId, selector, metric);
}

TE_MOR_API uint32_t TE_MOR_SetBundleIgpShortcut(uint32_t op, uint32_t bundleId, uint32_t value) {
    return set<row(kBundle, "igp-shortcut")>(op, bundleId, value);
}

}  // extern "C"

// IGP settings of a bundle: each setter is its row (config/setters.h) and
// one line.
#include "config/setters.h"
#include "include/te_mor.h"
#include "messaging/bytes.h"
#include "messaging/setter.h"

using namespace temor;
using setters::kBundle;

extern "C" {

TE_MOR_API uint32_t TE_MOR_SetBundleIgpAdvertise(uint32_t op, uint32_t bundleId) {
    return set<row(kBundle, "igp-advertise")>(op, bundleId);
}

TE_MOR_API uint32_t TE_MOR_SetBundleIgpMetric(uint32_t op, uint32_t bundleId, uint32_t selector,
                                              uint32_t metric) {
    constexpr SetterRow R = row(kBundle, "igp-metric");
    return send_row<R>(op, op, false, item::built<R.length>(R.tag, [=](uint8_t *v) {
                           put_be32(v, metric);
                           v[4] = static_cast<uint8_t>(selector);
                       }),
                       bundleId);
}

TE_MOR_API uint32_t TE_MOR_SetBundleIgpShortcut(uint32_t op, uint32_t bundleId, uint32_t value) {
    return set<row(kBundle, "igp-shortcut")>(op, bundleId, value);
}

}  // extern "C"

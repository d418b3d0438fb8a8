// The standby node list of the device API, owned for one call and released
// on every path.
#pragma once

#include <cstdint>
#include <cstdlib>

#include "platform/platform.h"

namespace temor {

class StandbyNodes {
public:
    StandbyNodes() : nodes_(DEV_GetAllStandbyNodes(&count_)) {}
    ~StandbyNodes() { std::free(nodes_); }
    StandbyNodes(const StandbyNodes &) = delete;
    StandbyNodes &operator=(const StandbyNodes &) = delete;

    // False when the device API returned no list at all.
    bool present() const { return nodes_ != nullptr; }
    uint16_t *data() { return nodes_; }
    uint32_t count() const { return nodes_ ? count_ : 0; }

private:
    uint32_t count_ = 0;
    uint16_t *nodes_;
};

// Service statuses the library gives a meaning to; any other value (the
// node filter starts from 4) is neither running nor stopped.
constexpr bool service_running(uint32_t status) { return status == 1 || status == 2; }
constexpr bool service_stopped(uint32_t status) { return status == 0 || status == 3; }

// Service names the library acts on.
inline constexpr const char *kServiceTe = "TE";
inline constexpr const char *kServicePce = "PCE";

}  // namespace temor

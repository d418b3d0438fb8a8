// MPLS-TE on/off: the daemon teardown, an internal entry point shared with
// the tests.
#pragma once

#include <cstdint>

extern "C" {
// Asks the daemon to tear down its MPLS-TE state. Returns 0 when that counts
// as done (confirmed, or no TE configuration database exists), else
// TE_MOR_ERR_FAIL.
uint32_t TE_MOR_TeardownMplsTe(void);
}

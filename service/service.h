// Service control across the master node and the standby nodes, and the
// MPLS-TE teardown: internal entry points shared with the tests.
#pragma once

#include <cstdint>

extern "C" {
// Starts serviceName on the master node when it is stopped, then as one
// batch on the standby nodes that need it. Returns the result of the last
// platform call that ran: the batch start, else the master start, else the
// master status query (0 or TE_MOR_ERR_NOT_FOUND); a failing master query
// (other than NOT_FOUND) or master start ends the call with its code.
uint32_t TE_MOR_StartServiceOn(const char *serviceName);

// Compacts nodes[0..count) in place to the nodes that still need a start
// (mode 1: not running) or a stop (any other mode: not stopped); a node
// whose status query fails is dropped. Returns how many remain at the front.
uint32_t TE_MOR_FilterNodes(uint32_t mode, const char *serviceName, uint32_t count,
                            uint16_t *nodes);

// Asks the daemon to tear down its MPLS-TE state. Returns 0 when that counts
// as done (confirmed, or no TE configuration database exists), else
// TE_MOR_ERR_FAIL.
uint32_t TE_MOR_TeardownMplsTe(void);
}

/*
 * Host-only helpers for programs that play the daemon's side of local IPC
 * (the simulator, the test daemon) and for tests of the library's own side.
 * Not part of the router platform.
 */
#ifndef TEMOR_LIPC_HOST_H
#define TEMOR_LIPC_HOST_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The daemon's fixed 16-byte local-IPC address, and the socket file it
 * names in the local-IPC directory. */
#define LIPC_TE_ADDRESS_INIT {16, 37, 0x0a, 0x72, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}
#define LIPC_TE_SOCKET_NAME "lipc-0a7280"

/* The directories used when TE_LIPC_DIR and TE_PLATFORM_DIR are unset. */
#define LIPC_HOST_DEFAULT_DIR "/run/te"
#define PLATFORM_HOST_DEFAULT_DIR "/run/te/platform"

/* Writes the socket file path that a 16-byte local-IPC address names
 * ($TE_LIPC_DIR/lipc-aabbcc, default directory /run/te) into out.
 * Returns 0, or -1 when the address is malformed or the path does not fit. */
int LIPC_HostPath(const uint8_t address[16], char *out, size_t size);

/* Makes every later LIPC_SetSockOpt of option name (at level
 * LIPC_SOL_SOCKET) in this process fail with errno EINVAL, as if the
 * platform refused it; 0 ends that. For tests of the callers' failure paths. */
void LIPC_HostFailOption(int name);

/* The directory that holds local-IPC socket files ($TE_LIPC_DIR or /run/te). */
const char *LIPC_HostDir(void);

/* The platform state directory ($TE_PLATFORM_DIR or /run/te/platform). */
const char *PLATFORM_HostDir(void);

#ifdef __cplusplus
}
#endif

#endif

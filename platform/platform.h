/*
 * Platform interfaces the library calls.
 *
 * On the router these are provided by the platform; on a development host the
 * stand-ins under platform/host implement them with the observable behaviour
 * documented in the README ("Host platform"). The library reaches sockets,
 * the service manager, the device API, the configuration database, the plug-in
 * option interface and the console only through these declarations.
 *
 * Errors of the socket calls are reported as -1 with errno set, keeping the
 * usual errno meanings (EINTR, EISCONN, EAGAIN on a time-out, ENOENT or
 * ECONNREFUSED when nobody listens).
 */
#ifndef TEMOR_PLATFORM_H
#define TEMOR_PLATFORM_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(TEMOR_PLATFORM_EXPORT)
#define TEMOR_PLATFORM_API __attribute__((visibility("default")))
#else
#define TEMOR_PLATFORM_API
#endif

/* ---- TLV codec --------------------------------------------------------- */

/* Writes one item (tag, length, value) at dst when it fits in room bytes.
 * Returns the bytes the item occupies, or 0 when nothing was written. */
TEMOR_PLATFORM_API uint32_t STLV_Set(uint8_t *dst, uint16_t room, uint16_t tag,
                                     uint16_t length, const void *value);

/* Reads one item at src from at most avail bytes. On success stores the tag,
 * the value length and a pointer to the value inside src (null for an empty
 * value) and returns the bytes consumed; returns 0 and stores nothing when no
 * whole item is available. */
TEMOR_PLATFORM_API uint32_t STLV_Get(const uint8_t *src, uint16_t avail,
                                     uint16_t *tag, uint16_t *length,
                                     const uint8_t **value);

/* ---- Local-IPC sockets --------------------------------------------------- */

/* Options of LIPC_SetSockOpt, all at level LIPC_SOL_SOCKET. The time-outs
 * take two 32-bit numbers, seconds then microseconds; the buffer size one
 * 32-bit number. */
enum {
    LIPC_SOL_SOCKET = 1,
    LIPC_SO_SNDTIMEO = 0x1005, /* send time-out */
    LIPC_SO_RCVTIMEO = 0x1006, /* receive time-out */
    LIPC_SO_BUFFER = 0x1015    /* buffer size */
};

TEMOR_PLATFORM_API int LIPC_Socket(int domain, int type, int protocol);
TEMOR_PLATFORM_API int LIPC_SetSockOpt(int sock, int level, int name,
                                       const void *value, uint32_t length);
TEMOR_PLATFORM_API int LIPC_Connect(int sock, const void *address,
                                    uint32_t length);
TEMOR_PLATFORM_API long LIPC_Send(int sock, const void *buf, size_t length,
                                  int flags);
TEMOR_PLATFORM_API long LIPC_Recv(int sock, void *buf, size_t length,
                                  int flags);
TEMOR_PLATFORM_API int LIPC_Close(int sock);
/* Receives one datagram if one is already queued, without waiting: -1 with
 * errno EAGAIN (or EWOULDBLOCK) when none is. */
TEMOR_PLATFORM_API long LIPC_RecvQueued(int sock, void *buf, size_t length);
/* A monotonic clock in milliseconds, for deadlines. Cheap: on the host a
 * read through the vDSO, no system call. */
TEMOR_PLATFORM_API uint64_t LIPC_NowMs(void);

/* ---- Device API and service manager ------------------------------------- */

TEMOR_PLATFORM_API uint32_t DEV_GetSystemMaster(void);
/* Heap array of standby node ids (release with free), or null. */
TEMOR_PLATFORM_API uint16_t *DEV_GetAllStandbyNodes(uint32_t *count);

TEMOR_PLATFORM_API uint32_t SERVICE_GetStatus(uint32_t node, const char *name,
                                              int32_t selector,
                                              uint32_t *status);
TEMOR_PLATFORM_API uint32_t SERVICE_Start(uint32_t node, const char *name,
                                          uint32_t a, uint32_t b);
TEMOR_PLATFORM_API uint32_t SERVICE_Stop(uint32_t node, const char *name,
                                         uint32_t a, uint32_t b);
TEMOR_PLATFORM_API uint32_t SERVICE_BatchStart(const uint16_t *nodes,
                                               uint32_t count,
                                               const char *name, uint32_t a,
                                               uint32_t b);
TEMOR_PLATFORM_API uint32_t SERVICE_BatchStop(const uint16_t *nodes,
                                              uint32_t count, const char *name,
                                              uint32_t a, uint32_t b);

/* ---- Configuration database ---------------------------------------------- */

TEMOR_PLATFORM_API uint32_t DBM_Open(const char *database, const char *table,
                                     uint32_t mode, const uint32_t params[8],
                                     uint32_t *handle);
TEMOR_PLATFORM_API uint32_t DBM_Close(uint32_t handle);

/* ---- Plug-in options -------------------------------------------------------- */

TEMOR_PLATFORM_API void *PLUGIN_OptInit(const char *path);
TEMOR_PLATFORM_API void *PLUGIN_GetNextPlugOpt(void *handle, char name[128],
                                               uint32_t *value);
TEMOR_PLATFORM_API uint32_t OPT_ParseEx(uint32_t value, void *block,
                                        uintptr_t third, uintptr_t fourth);
TEMOR_PLATFORM_API void PLUGIN_OptFini(void *handle);

/* ---- Console ------------------------------------------------------------------ */

/* Writes text to standard output as it stands (no line end added) and
 * flushes it. */
TEMOR_PLATFORM_API void CONSOLE_Print(const char *text);

#ifdef __cplusplus
}
#endif

#endif /* TEMOR_PLATFORM_H */

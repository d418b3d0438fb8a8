/*
 * te_mor.h - client library of the MPLS Traffic Engineering management plane.
 *
 * Every call turns its arguments into one request for the TE daemon, exchanges
 * it as one datagram over local IPC and returns the daemon's 32-bit result
 * code (0 is success). Queries also decode the reply into the caller's record.
 * The library keeps no state between calls, starts no threads and takes no
 * locks; a call blocks for at most the 10-second send and receive time-outs
 * of its socket, except where a comment says otherwise.
 *
 * Records are plain structures owned by the caller, in host byte order unless
 * a comment says that a setter leaves fields in network byte order. A null
 * record or key pointer is refused with TE_MOR_ERR_FAIL and nothing is sent
 * (setters that check the TE state refuse it only once the check has let the
 * call through, so an undo while MPLS-TE is off still returns 0).
 */
#ifndef TE_MOR_H
#define TE_MOR_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(TEMOR_BUILDING_LIBRARY)
#define TE_MOR_API __attribute__((visibility("default")))
#else
#define TE_MOR_API
#endif

/* ------------------------------------------------------------------------ */
/* Limits and fixed values                                                   */
/* ------------------------------------------------------------------------ */

#define TE_MOR_MSG_MAX 2048u                      /* request or reply datagram */
#define TE_MOR_PAYLOAD_MAX (TE_MOR_MSG_MAX - 8u)  /* bytes behind the header */
#define TE_MOR_LIPC_FAMILY 37                     /* local-IPC address family */
#define TE_MOR_P2MP_DEST_MAX 512u                 /* size of destination arrays */

/* ------------------------------------------------------------------------ */
/* Result codes                                                              */
/* ------------------------------------------------------------------------ */

#define TE_MOR_OK 0x00000000u
/* Invalid argument, failed exchange, malformed reply. */
#define TE_MOR_ERR_FAIL 0x40010001u
/* The local-IPC socket could not be opened (no daemon listening). */
#define TE_MOR_ERR_IPC_OPEN 0x2001000eu
/* MPLS-TE is not enabled on any control node. */
#define TE_MOR_ERR_TE_DISABLED 0x6001001au
/* Not found: option file missing; also a service status answer. */
#define TE_MOR_ERR_NOT_FOUND 0x40010005u
/* The daemon refused an FRR bypass tunnel (see TE_SetFrrBypassTunnel). */
#define TE_MOR_ERR_BYPASS_REFUSED 0x4001000bu

/* ------------------------------------------------------------------------ */
/* Message header values                                                     */
/* ------------------------------------------------------------------------ */

/* Header byte 0: the object family a request addresses. */
typedef enum TeMsgClass {
    TE_MOR_CLASS_GLOBAL = 0,
    TE_MOR_CLASS_IF = 1,
    TE_MOR_CLASS_EXPATH = 2,
    TE_MOR_CLASS_TUNNEL = 3,
    TE_MOR_CLASS_QUERY = 4,
    TE_MOR_CLASS_TUNNEL_CREATE = 6,
    TE_MOR_CLASS_BUNDLE = 7,
    TE_MOR_CLASS_AUTO_BACKUP = 8,
    TE_MOR_CLASS_NEW_HOP = 9
} TeMsgClass;

/* Header byte 1: the operation. */
typedef enum TeMsgOp {
    TE_MOR_OP_SET = 0,
    TE_MOR_OP_UNDO = 1,
    TE_MOR_OP_GET = 3,
    TE_MOR_OP_GET_FIRST = 4,
    TE_MOR_OP_GET_NEXT = 5,
    TE_MOR_OP_BACKUP_BW = 6
} TeMsgOp;

/* The 8-byte header of every request and reply, as it lies on the wire:
 * payloadLength and result are big-endian there. */
typedef struct TeMsgHeader {
    uint8_t msgClass;
    uint8_t op;
    uint8_t payloadLength[2];
    uint8_t result[4];
} TeMsgHeader;

/* ------------------------------------------------------------------------ */
/* Records                                                                   */
/* ------------------------------------------------------------------------ */

/* Debug state of the daemon (TE_MOR_SetDebug, TE_MOR_GetTeDebug). */
typedef struct TeDebugInfo {
    uint32_t debugFlags;
    uint16_t debugItem;
    uint16_t debugItemList[100];
} TeDebugInfo;

/* Bandwidth change thresholds of an interface: 4 octets sent unchanged. */
typedef struct TeIfBwThresholds {
    uint8_t rawBlock[4];
} TeIfBwThresholds;

/* Maximum reservable bandwidth of an interface (8 bytes, host order). */
typedef struct TeMaxResBandwidth {
    uint32_t word0;
    uint32_t word1;
} TeMaxResBandwidth;

/* Bandwidth constraints of the RDM model (16 bytes, host order until sent). */
typedef struct TeBcModelRdm {
    uint32_t word0;
    uint32_t word1;
    uint32_t word2;
    uint32_t word3;
} TeBcModelRdm;

/* Bandwidth constraints of the MAM model (20 bytes, host order until sent). */
typedef struct TeBcModelMam {
    uint32_t word0;
    uint32_t word1;
    uint32_t word2;
    uint32_t word3;
    uint32_t word4;
} TeBcModelMam;

/* Range of automatic backup tunnel ids. */
typedef struct TeAutoBkpTunnelIdRange {
    uint16_t lowTunnelId;
    uint16_t highTunnelId;
} TeAutoBkpTunnelIdRange;

/* Full tunnel configuration handed to TE_MOR_SetTunnel (292 bytes). */
typedef struct TeTunnelConfig {
    uint32_t word0;
    uint32_t word1;
    uint32_t word2;
    uint32_t word3;
    uint32_t word4;
    uint32_t word5;
    uint32_t word6;
    uint16_t half0;
    uint16_t half1;
    uint8_t byte0;
    uint8_t byte1;
    uint8_t byte2;
    uint8_t byte3;
    char text[256];
} TeTunnelConfig;

/* A primary or backup path option of a tunnel (76 bytes). */
typedef struct TeTunnelPathOption {
    uint8_t rawBlock0[34];
    uint16_t half0;
    uint32_t word0;
    uint32_t word1;
    uint8_t rawBlock1[32];
} TeTunnelPathOption;

/* Tunnel attribute records (host byte order in memory). */

/* Bidirectional operation (24 bytes): word0 and half0 are converted to
 * big-endian in the caller's record when sent; rawBlock goes unchanged. */
typedef struct TeTunnelBidirectional {
    uint32_t word0;
    uint16_t half0;
    uint8_t rawBlock[18];
} TeTunnelBidirectional;

/* Sent exactly as it lies; never changed. */
typedef struct TeTunnelScrlsp {
    uint8_t rawBlock[16];
} TeTunnelScrlsp;

/* rawBlock unchanged, word0 big-endian; sent from a copy. */
typedef struct TeTunnelSsrlsp {
    uint8_t rawBlock[16];
    uint32_t word0;
} TeTunnelSsrlsp;

/* Both words converted to big-endian in the caller's record when sent. */
typedef struct TeTunnelAffinity {
    uint32_t word0;
    uint32_t word1;
} TeTunnelAffinity;

/* Automatic bandwidth (16 bytes): the words are converted in the caller's
 * record when sent; enable 0 means the setting is being removed. */
typedef struct TeTunnelAutoBw {
    uint32_t word0;
    uint32_t word1;
    uint32_t word2;
    uint8_t enable;
    uint8_t rawBlock[3];
} TeTunnelAutoBw;

/* Backup bandwidth (8 bytes): bandwidth is converted in the caller's record
 * when sent; enable 1 sets the backup bandwidth, 0 removes it. */
typedef struct TeTunnelBackupBw {
    uint32_t bandwidth;
    uint8_t byte0;
    uint8_t enable;
    uint8_t rawBlock[2];
} TeTunnelBackupBw;

/* Sent from a copy as selector, three zero bytes, bandwidth big-endian. */
typedef struct TeTunnelBandwidth {
    uint8_t selector;
    uint32_t bandwidth;
} TeTunnelBandwidth;

/* Sent from a copy as priority0, priority1, two zero bytes. */
typedef struct TeTunnelPriority {
    uint8_t priority0;
    uint8_t priority1;
} TeTunnelPriority;

/* Key of the tunnel table walk by index set. */
typedef struct TeTunnelIndexSet {
    uint32_t indexSet[4];
} TeTunnelIndexSet;

/* One row of the tunnel table (128 bytes). */
typedef struct TeTunnelInfo {
    uint32_t word0;
    uint32_t word1;
    uint32_t word2;
    uint32_t word3;
    uint32_t word4;
    uint32_t word5;
    uint32_t word6;
    uint32_t word7;
    uint32_t word8;
    uint32_t word9;
    uint32_t word10;
    uint32_t word11;
    uint32_t word12;
    uint32_t word13;
    uint32_t word14;
    uint16_t half0;
    uint16_t half1;
    uint16_t half2;
    uint16_t half3;
    uint8_t rawBlock[24];
    uint32_t word15;
    uint32_t word16;
    uint32_t word17;
    uint32_t word18;
    uint32_t word19;
    uint32_t word20;
    uint32_t word21;
    uint32_t word22;
    uint32_t word23;
} TeTunnelInfo;

/* One entry of a bandwidth allocation row (12 bytes). */
typedef struct TeBwAllocationEntry {
    uint8_t entryBytes[4];
    uint32_t entryValueA;
    uint32_t entryValueB;
} TeBwAllocationEntry;

/* One row of the bandwidth allocation table (292 bytes). Only the first
 * entryCount entries (at most 16) carry converted values. */
typedef struct TeBwAllocationInfo {
    uint32_t word0;
    uint32_t word1;
    uint32_t word2;
    uint32_t word3;
    uint32_t word4;
    uint32_t word5;
    uint32_t valuesA[4];
    uint8_t bytesA[16];
    uint32_t valuesB[4];
    uint8_t bytesB[16];
    uint8_t entryCount;
    uint8_t reserved[3];
    uint32_t word6;
    uint32_t word7;
    TeBwAllocationEntry entries[16];
} TeBwAllocationInfo;

/* The DS-TE information record (60 bytes). */
typedef struct TeDsteInfo {
    uint32_t dsteWord0;
    uint32_t dsteWord1;
    uint8_t dsteBytes[48];
    uint32_t dsteWord2;
} TeDsteInfo;

/* Key of the TE path table: two words, sent big-endian. */
typedef struct TePathKey {
    uint32_t pathKey[2];
} TePathKey;

/* One row of the TE path table (68 bytes); rawBlock is carried as received. */
typedef struct TePathInfo {
    uint32_t word0;
    uint32_t word1;
    uint32_t word2;
    uint32_t word3;
    uint32_t word4;
    uint32_t word5;
    uint32_t word6;
    uint16_t half0;
    uint16_t half1;
    uint16_t half2;
    uint8_t rawBlock[34];
} TePathInfo;

/* One row of the path-hop and new-hop tables (68 bytes), also what the MIB
 * hop setters send. index0, index1 and index2 key the row; hopRaw, hopByte0
 * and hopByte1 are carried unchanged; hopText holds at most 31 characters
 * and a terminator. */
typedef struct TeHopInfo {
    uint16_t hopHalf0;
    uint8_t hopRaw[18];
    uint32_t index0;
    uint32_t index1;
    uint16_t hopHalf1;
    uint8_t hopByte0;
    uint8_t hopByte1;
    uint32_t index2;
    char hopText[32];
} TeHopInfo;

/* One hop of an explicit path (20 bytes). TE_MOR_SetNextHop sends word0,
 * word1, word2 and half0 big-endian and the padding as zero; an explicit
 * path read returns word0, word1 and word2 in host order but half0 and the
 * padding exactly as received (half0 thus in network byte order). */
typedef struct TeExpathHop {
    uint32_t word0;
    uint32_t word1;
    uint8_t byte0;
    uint32_t word2;
    uint8_t byte1;
    uint16_t half0;
} TeExpathHop;

/* An explicit path as read by TE_MOR_GetFirstExpath, TE_MOR_GetNextExpath
 * and TE_MOR_GetExpath. Pass it zero-filled. After a successful read the
 * caller owns name (a NUL-terminated string) and hops (hopCount elements, or
 * null when the path has no hops) and releases both once with
 * TE_MOR_FreeExpathReply. The structure itself is never allocated or freed
 * by the library. */
typedef struct TeExpathReply {
    char *name;
    uint8_t pathFlag;
    uint16_t hopCount;
    TeExpathHop *hops;
} TeExpathReply;
/* One row of the interface configuration table (8 bytes, the last two
 * padding that no query writes). */
typedef struct TeIfConfigInfo {
    uint32_t ifIndex;
    uint16_t configValue;
} TeIfConfigInfo;

/* One entry of a segment-routing mapping list (4 bytes). */
typedef struct TeSrMappingEntry {
    uint16_t half0;
    uint16_t half1;
} TeSrMappingEntry;

/* A segment-routing mapping list: its header and, when not null, an array of
 * entryCount entries that the query allocated with malloc and that belongs
 * to the caller (release it with free). */
typedef struct TeSrMappingList {
    uint32_t word0;
    uint16_t half0;
    uint32_t entryCount;
    TeSrMappingEntry *entries;
} TeSrMappingList;

/* A row of the multicast P2MP binding table (12 bytes). The whole record is
 * the row's key: the binding queries send it and the reply overwrites it. */
typedef struct TeMCastP2mpBind {
    uint32_t word0;
    uint32_t word1;
    uint16_t half0;
    uint16_t half1;
} TeMCastP2mpBind;

/* The key of the multicast P2MP tunnel table (8 bytes on the wire: word0,
 * byte0, then three zero bytes, whatever the padding holds). */
typedef struct TeMCastP2mpTunnelKey {
    uint32_t word0;
    uint8_t byte0;
} TeMCastP2mpTunnelKey;

/* A row of the multicast P2MP tunnel table (8 bytes). */
typedef struct TeMCastP2mpTunnel {
    uint32_t word0;
    uint16_t half0;
    uint8_t bytes0[2];
} TeMCastP2mpTunnel;

/* A row of the tunnel interface table (264 bytes). */
typedef struct TeTunIntfInfo {
    uint16_t half0;
    uint16_t half1;
    uint32_t word0;
    uint32_t word1;
    uint8_t bytes0[4];
    uint32_t word2;
    uint32_t word3;
    uint32_t word4;
    uint8_t bytes1[4];
    uint32_t word5;
    uint32_t word6;
    uint8_t bytes2[2];
    uint16_t half2;
    uint32_t word7;
    uint32_t word8;
    uint16_t half3;
    uint8_t bytes3[2];
    uint32_t word9;
    uint8_t bytes4[2];
    uint16_t half4;
    uint8_t bytes5[4];
    uint32_t word10;
    uint32_t word11;
    uint32_t word12;
    uint32_t word13;
    uint8_t bytes6[4];
    uint32_t word14;
    uint8_t bytes7[44];
    uint16_t half5;
    uint8_t bytes8[32];
    uint16_t half6;
    uint8_t bytes9[32];
    uint16_t half7;
    uint16_t half8;
    uint8_t bytes10[4];
    uint32_t word15;
    uint8_t bytes11[40];
    uint32_t word16;
    uint32_t word17;
} TeTunIntfInfo;

/* One destination of a P2MP tunnel interface (8 bytes). */
typedef struct TeP2mpDest {
    uint32_t destWord;
    uint8_t destBytes[4];
} TeP2mpDest;

/* A row of the P2MP tunnel interface table. dests is the caller's array of
 * TE_MOR_P2MP_DEST_MAX destinations; the library writes into it and never
 * allocates or frees it. destCount is the number the daemon announces,
 * destsReturned the number this call wrote into dests. */
typedef struct TeP2mpTunIntfInfo {
    uint32_t word0;
    uint32_t word1;
    uint8_t byte0;
    uint8_t byte1;
    uint16_t half0;
    uint16_t half1;
    uint16_t destCount;
    uint16_t destsReturned;
    TeP2mpDest *dests;
} TeP2mpTunIntfInfo;

/* ------------------------------------------------------------------------ */
/* Transport                                                                 */
/* ------------------------------------------------------------------------ */

/* Opens a local-IPC datagram socket connected to the TE daemon, with 10-second
 * send and receive time-outs. Returns the descriptor, or -1 on any failure
 * (nothing is left open then). Blocks only while connecting. */
TE_MOR_API int TE_MOR_LIPCOpen(void);

/* Closes a descriptor from TE_MOR_LIPCOpen; returns the close call's result
 * (0, or 0xffffffff on failure). Does not block. */
TE_MOR_API uint32_t TE_MOR_LIPCClose(int sock);

/* Sends requestLength bytes of request as one datagram on sock and receives
 * one reply datagram of at most TE_MOR_MSG_MAX bytes into reply, which must
 * hold TE_MOR_MSG_MAX bytes. Returns the reply's result code in host order,
 * or TE_MOR_ERR_FAIL when the send was short or failed, the receive failed or
 * timed out, or the reply is shorter than its header announces. A null
 * pointer or a length outside 8..TE_MOR_MSG_MAX gives TE_MOR_ERR_FAIL and
 * sends nothing. Blocks up to 10 s in send and 10 s in receive, however
 * often signals interrupt it (it retries until then; the socket's time-outs
 * are back at 10 s when it returns). */
TE_MOR_API uint32_t TE_MOR_SendMsg(int sock, const void *request,
                                   uint32_t requestLength, void *reply);

/* ------------------------------------------------------------------------ */
/* Service control and global state                                         */
/* ------------------------------------------------------------------------ */

/* Returns 1 when the "TE" service runs (status 1 or 2) on the master node or
 * on any standby node, else 0. Asks the service manager; no daemon exchange. */
TE_MOR_API int TE_MOR_IsTeGlobalEnable(void);

/* Starts "TE" on the master node (if stopped) and then on the standby nodes
 * that need it. Returns 0 or the service manager's code. */
TE_MOR_API uint32_t TE_MOR_StartService(void);

/* Stops serviceName on the standby nodes that run it, then on the master.
 * Returns 0, the master's status query failure, or the master stop's code. */
TE_MOR_API uint32_t TE_MOR_StopService(const char *serviceName);

/* op 0 switches MPLS-TE on: starts "TE" and "PCE" (both attempted) and returns
 * 0, or TE_MOR_ERR_FAIL if either start failed. Any other op switches it off:
 * asks the daemon to tear down its state (class 0, op 1, tag 12); when the
 * teardown counts as done prints "Stopping service, please wait..." and stops
 * "TE", returning 0; otherwise returns TE_MOR_ERR_FAIL and stops nothing. */
TE_MOR_API uint32_t TE_MOR_SetMplsTe(uint32_t op);

/* Parses the first option block of /etc/te.conf: calls the platform parser
 * with the block, callbackContext and callback (a function
 * int (*)(const char *key, const char *value, void *context) cast to
 * uintptr_t). Returns the parser's result, TE_MOR_ERR_NOT_FOUND when the file
 * cannot be opened, TE_MOR_ERR_FAIL when it holds no block. No exchange. */
TE_MOR_API uint32_t TE_Opt_Parse(uintptr_t callback, uintptr_t callbackContext);

/* Sets (op 0) or undoes (op 1) the daemon's debug switches: class 0, tag 9,
 * debugFlags and debugItem. While MPLS-TE is off returns 0 for op 1, else
 * TE_MOR_ERR_TE_DISABLED, and sends nothing. */
TE_MOR_API uint32_t TE_MOR_SetDebug(uint32_t op, const TeDebugInfo *info);

/* Reads the daemon's whole debug state into info (class 4, op 3, tag 4).
 * Returns 0 with info filled; 0 with info untouched when no socket could be
 * opened; TE_MOR_ERR_TE_DISABLED while MPLS-TE is off; TE_MOR_ERR_FAIL when
 * the reply item is missing, not tag 6 or empty; or the daemon's code. A null
 * info gives each of those results as well, and TE_MOR_ERR_FAIL where the
 * record would have been filled. */
TE_MOR_API uint32_t TE_MOR_GetTeDebug(TeDebugInfo *info);

/* ------------------------------------------------------------------------ */
/* Global TE settings                                                        */
/*                                                                           */
/* op 0 applies, 1 undoes. "Checked" setters first ask whether MPLS-TE is     */
/* enabled and, while it is off, return 0 for an undo (op 1) and              */
/* TE_MOR_ERR_TE_DISABLED otherwise, sending nothing. Every setter returns   */
/* the daemon's result code, TE_MOR_ERR_IPC_OPEN when no socket could be      */
/* opened or TE_MOR_ERR_FAIL when the exchange failed.                        */
/* ------------------------------------------------------------------------ */

/* Next-hop-only automatic backup tunnels (class 8, tag 2, flag). Checked. */
TE_MOR_API uint32_t TE_MOR_SetAutoBkpNhopOnly(uint32_t op);
/* Automatic backup tunnel id range (class 8, tag 1, two 16-bit ids). */
TE_MOR_API uint32_t TE_MOR_SetAutoBkpTunnelId(const TeAutoBkpTunnelIdRange *range);
/* Automatic backup tunnel removal timer (class 8, tag 0). op is used only by
 * the check; the request always carries op 0. Checked. */
TE_MOR_API uint32_t TE_MOR_SetAutoBkpRemovalTimer(uint32_t timer, uint32_t op);
/* FRR timer (class 0, tag 8). Sent whatever the TE state. */
TE_MOR_API uint32_t TE_MOR_SetFrrTimer(uint32_t timer);
/* Priority flooding timer (class 0, tag 7). */
TE_MOR_API uint32_t TE_MOR_SetTimerPriFlooding(uint32_t op, uint16_t floodingTime);
/* Global metric type (class 0, tag 6, flag). */
TE_MOR_API uint32_t TE_MOR_SetGlobalMetricType(uint32_t op);
/* IETF TE-class mapping: the 4 bytes at teClass sent unchanged (class 0, tag 5). */
TE_MOR_API uint32_t TE_MOR_SetIetfTeClass(uint32_t op, const uint8_t *teClass);
/* DS-TE mode: the byte at dsTeMode in a 4-byte slot (class 0, tag 4). */
TE_MOR_API uint32_t TE_MOR_SetDsTeMode(uint32_t op, const uint8_t *dsTeMode);
/* DS-TE bandwidth-constraint model: 4 bytes sent unchanged (class 0, tag 3). */
TE_MOR_API uint32_t TE_MOR_SetDsteBcMode(uint32_t op, const uint8_t *bcMode);
/* FRR bypass tunnel of an interface (class 1, key ifIndex, tag 9). Checked.
 * Daemon codes are returned unchanged. */
TE_MOR_API uint32_t TE_MOR_SetFrrBypassTunnel(uint32_t op, uint32_t ifIndex,
                                              uint16_t bypassTunnel);
/* As TE_MOR_SetFrrBypassTunnel with op 0 for enable 1 and op 1 otherwise;
 * the daemon codes 0x250C00BF and 0x250C00C0 become TE_MOR_ERR_BYPASS_REFUSED. */
TE_MOR_API uint32_t TE_SetFrrBypassTunnel(uint32_t enable, uint32_t ifIndex,
                                          uint16_t bypassTunnel);
/* Starts a reoptimization (class 0, tag 0, flag). Refused with
 * TE_MOR_ERR_TE_DISABLED while MPLS-TE is off. */
TE_MOR_API uint32_t TE_MOR_SetReoptimization(void);
/* Resets automatic bandwidth (class 0, tag 1, flag). Checked. */
TE_MOR_API uint32_t TE_MOR_ResetAutoBw(uint32_t op);
/* Automatic tunnels (class 0, tag 11, flag). */
TE_MOR_API uint32_t TE_MOR_SetTeAutoTunn(uint32_t op);
/* Automatic bandwidth value (class 0, tag 2). */
TE_MOR_API uint32_t TE_MOR_SetTeAutoBw(uint32_t op, uint32_t autoBwValue);

/* ------------------------------------------------------------------------ */
/* Interface TE settings, reservable bandwidth, bandwidth-constraint models   */
/*                                                                           */
/* Each sends class 1 (TE_MOR_CLASS_IF): a key item (tag 0, ifIndex big-     */
/* endian), then the setting. "Undo rule": while MPLS-TE is off, nothing is  */
/* sent and op 1 returns 0, any other op TE_MOR_ERR_TE_DISABLED. "Any-undo   */
/* rule": while off, any non-zero op returns 0. "Percent" setters have no op */
/* (header op 0) and are refused with TE_MOR_ERR_TE_DISABLED while off.      */
/* Nothing is range-checked, percentages included. Each returns the daemon's */
/* code, TE_MOR_ERR_IPC_OPEN when no socket could be opened, TE_MOR_ERR_FAIL */
/* when the exchange failed or (once the check has passed) a record pointer  */
/* is null.                                                                  */
/* ------------------------------------------------------------------------ */

/* MPLS TE on the interface (tag 1, flag; header op = op). Any-undo rule. */
TE_MOR_API uint32_t TE_MOR_SetMplsTeIf(uint32_t ifIndex, uint32_t op);
/* Administrative group (tag 2, big-endian word). Undo rule on op, but the
 * header op is always 0: an undo travels only as the value. */
TE_MOR_API uint32_t TE_MOR_SetLinkAdminGroup(uint32_t ifIndex, uint32_t adminGroup, uint32_t op);
/* Maximum link bandwidth (tag 3, big-endian word; header op = op, the
 * second argument). Undo rule. */
TE_MOR_API uint32_t TE_MOR_SetMaxLinkBandwidth(uint32_t ifIndex, uint32_t op, uint32_t bandwidth);
/* Bandwidth change thresholds (tag 7): the 4 octets exactly as they lie,
 * never converted. Undo rule. */
TE_MOR_API uint32_t TE_MOR_SetIfBwChangeThresholds(uint32_t op, uint32_t ifIndex,
                                                   const TeIfBwThresholds *thresholds);
/* Metric value (tag 8, big-endian word). Undo rule. */
TE_MOR_API uint32_t TE_MOR_SetIfMetricValue(uint32_t op, uint32_t ifIndex, uint32_t metric);
/* Automatic tunnels on the interface (tag 10, flag). Any-undo rule. */
TE_MOR_API uint32_t TE_MOR_SetIfAutoTunn(uint32_t ifIndex, uint32_t op);
/* Maximum link bandwidth in percent (tag 11, big-endian word). Percent. */
TE_MOR_API uint32_t TE_MOR_SetMaxLinkBandwidthInPercent(uint32_t ifIndex, uint32_t percent);
/* Maximum reservable bandwidth (tag 4, both words big-endian, 8 bytes).
 * Undo rule. Sent from a copy: resBw is only read. */
TE_MOR_API uint32_t TE_MOR_SetMaxResBandwidth(uint32_t op, uint32_t ifIndex,
                                              const TeMaxResBandwidth *resBw);
/* The same in percent (tag 12). Percent. resBw is only read. */
TE_MOR_API uint32_t TE_MOR_SetMaxResBWInPercent(uint32_t ifIndex, const TeMaxResBandwidth *resBw);
/* MAM bandwidth constraints (tag 5, five big-endian words, 20 bytes). Undo
 * rule. CONVERTED IN PLACE: once the check has passed, mam's words are left
 * big-endian in the caller's record, whatever the daemon answers. */
TE_MOR_API uint32_t TE_MOR_SetMaxResBandwidthMam(uint32_t op, uint32_t ifIndex, TeBcModelMam *mam);
/* The same in percent (tag 13). Percent. Converted in place like the above. */
TE_MOR_API uint32_t TE_MOR_SetMaxResBWMamInPercent(uint32_t ifIndex, TeBcModelMam *mam);
/* RDM bandwidth constraints (tag 6, four big-endian words, 16 bytes). Undo
 * rule. CONVERTED IN PLACE, as for MAM. */
TE_MOR_API uint32_t TE_MOR_SetMaxResBandwidthRdm(uint32_t op, uint32_t ifIndex, TeBcModelRdm *rdm);
/* The same in percent (tag 14). Percent. Converted in place like the above. */
TE_MOR_API uint32_t TE_MOR_SetMaxResBWRdmInPercent(uint32_t ifIndex, TeBcModelRdm *rdm);

/* ------------------------------------------------------------------------ */
/* Bundle IGP settings                                                       */
/*                                                                           */
/* Class 7 (TE_MOR_CLASS_BUNDLE): a key item (tag 0, bundleId big-endian),   */
/* then the setting; header op = op. Undo rule (see above). No value is      */
/* checked.                                                                  */
/* ------------------------------------------------------------------------ */

/* IGP advertising (tag 1, flag). */
TE_MOR_API uint32_t TE_MOR_SetBundleIgpAdvertise(uint32_t op, uint32_t bundleId);
/* IGP metric (tag 2, 8 bytes): metric big-endian, then the low 8 bits of
 * selector, then three zero bytes. */
TE_MOR_API uint32_t TE_MOR_SetBundleIgpMetric(uint32_t op, uint32_t bundleId, uint32_t selector,
                                              uint32_t metric);
/* IGP shortcut (tag 3, 4 bytes): value in HOST byte order, as this machine
 * holds it in memory (not converted to big-endian). */
TE_MOR_API uint32_t TE_MOR_SetBundleIgpShortcut(uint32_t op, uint32_t bundleId, uint32_t value);

/* ------------------------------------------------------------------------ */
/* Traps and notifications                                                   */
/*                                                                           */
/* The trap setters are checked (see above), refuse an op above 1 with       */
/* TE_MOR_ERR_FAIL, and report TE_MOR_ERR_TE_DISABLED when no socket could    */
/* be opened.                                                                 */
/* ------------------------------------------------------------------------ */

/* Private trap mask (class 0, tag 13): its 8 bytes in host byte order. */
TE_MOR_API uint32_t TE_MOR_SetPrivateTrap(uint32_t op, uint64_t trapMask);
/* Trap on (op 0) or off (op 1) (class 0, tag 10, flag). */
TE_MOR_API uint32_t TE_MOR_SetTrap(uint32_t op);
/* TE_MOR_SetTrap with op 1 for enable 0 and op 0 for any other value. */
TE_MOR_API uint32_t TE_EnableTrap(uint32_t enable);
/* Reads the tunnel notification state (1 enabled) into *state (class 4,
 * op 3, tag 104). No TE check. TE_MOR_ERR_FAIL for a null state or a reply
 * without an item; TE_MOR_ERR_IPC_OPEN when no socket could be opened. */
TE_MOR_API uint32_t TE_MOR_GetTunnelNotifyEnable(uint32_t *state);
/* Writes 1 to *capability when tunnel notification is enabled, else 0.
 * Reads the state first: its failure comes back unchanged with *capability
 * untouched; a null capability then gives TE_MOR_ERR_FAIL. */
TE_MOR_API uint32_t TE_GetTrapCapability(uint16_t *capability);

/* ------------------------------------------------------------------------ */
/* Tunnel creation and path options                                          */
/* ------------------------------------------------------------------------ */

/* Creates a tunnel from a whole configuration (class 6, tag 24, 292 bytes),
 * whatever the TE state. config is not modified; text is sent as at most 255
 * characters and a terminator. TE_MOR_ERR_FAIL for a null config. */
TE_MOR_API uint32_t TE_MOR_SetTunnel(const TeTunnelConfig *config);
/* Binds (op 0) or removes (op 1) the primary path option of tunnel tnlId
 * (class 3, tag 2). Checked. Once the check passed, half0, word0 and word1 of
 * *option are left in network byte order. */
TE_MOR_API uint32_t TE_MOR_SetTunnelPath(uint32_t op, uint32_t tnlId,
                                         TeTunnelPathOption *option);
/* As TE_MOR_SetTunnelPath for the backup path option (tag 3). */
TE_MOR_API uint32_t TE_MOR_SetTunnelBackupPath(uint32_t op, uint32_t tnlId,
                                               TeTunnelPathOption *option);

/* ------------------------------------------------------------------------ */
/* Tunnel attributes                                                         */
/*                                                                           */
/* Each sends class 3 (TE_MOR_CLASS_TUNNEL): a key item (tag 0, tnlId big-   */
/* endian), then the attribute. "Undo rule": while MPLS-TE is off nothing is */
/* sent and op 1 returns 0, any other op TE_MOR_ERR_TE_DISABLED. "Enable     */
/* rule": while off, a record whose enable octet is 0 (a removal) returns 0, */
/* else TE_MOR_ERR_TE_DISABLED; the octet is read, nothing converted. Octet  */
/* word: the low 8 bits of value, then three zero bytes. No value is         */
/* checked. Each returns the daemon's code, TE_MOR_ERR_IPC_OPEN when no      */
/* socket could be opened, TE_MOR_ERR_FAIL when the exchange failed or (once */
/* the check has passed) a record pointer is null. Records marked CONVERTED  */
/* are left big-endian in the caller's memory once the check has passed,     */
/* whatever the daemon answers; the others are only read.                    */
/* ------------------------------------------------------------------------ */

/* Op first, header op = op, undo rule. */
/* Reoptimize (tag 1, big-endian word). */
TE_MOR_API uint32_t TE_MOR_SetTunnelReoptimize(uint32_t op, uint32_t tnlId, uint32_t value);
/* Priorities (tag 6, 4 bytes: priority0, priority1, 0, 0). */
TE_MOR_API uint32_t TE_MOR_SetPriority(uint32_t op, uint32_t tnlId, const TeTunnelPriority *priority);
/* Bandwidth (tag 7, 8 bytes: selector, 0, 0, 0, bandwidth big-endian). */
TE_MOR_API uint32_t TE_MOR_SetBandWidth(uint32_t op, uint32_t tnlId,
                                        const TeTunnelBandwidth *bandwidth);
/* Fast reroute (tag 13, octet word). */
TE_MOR_API uint32_t TE_MOR_SetTunnelFrr(uint32_t op, uint32_t tnlId, uint32_t value);
/* Record route (tag 15, octet word). */
TE_MOR_API uint32_t TE_MOR_SetTunnelRecordRoute(uint32_t op, uint32_t tnlId, uint32_t value);
/* Loop detection (tag 16, octet word). */
TE_MOR_API uint32_t TE_MOR_SetTunnelLoopDetection(uint32_t op, uint32_t tnlId, uint32_t value);
/* Bidirectional operation (tag 17, 24 bytes). CONVERTED: word0, half0. */
TE_MOR_API uint32_t TE_MOR_SetBidirectionalTunnel(uint32_t op, uint32_t tnlId,
                                                  TeTunnelBidirectional *bidir);
/* Scrlsp record (tag 18, its 16 bytes as they lie). */
TE_MOR_API uint32_t TE_MOR_SetTunnelScrlsp(uint32_t op, uint32_t tnlId, const TeTunnelScrlsp *scrlsp);
/* Route pinning (tag 19, flag). */
TE_MOR_API uint32_t TE_MOR_SetTunnelRoutePinning(uint32_t op, uint32_t tnlId);
/* IGP advertising (tag 20, big-endian word). */
TE_MOR_API uint32_t TE_MOR_SetTunnelIgpAdvertise(uint32_t op, uint32_t tnlId, uint32_t value);
/* IGP metric (tag 21, 8 bytes: metric big-endian, the low 8 bits of
 * selector, three zero bytes). */
TE_MOR_API uint32_t TE_MOR_SetTunnelIgpMetric(uint32_t op, uint32_t tnlId, uint32_t selector,
                                              uint32_t metric);
/* IGP shortcut (tag 22, octet word). */
TE_MOR_API uint32_t TE_MOR_SetTunnelIgpShortcut(uint32_t op, uint32_t tnlId, uint32_t value);
/* Path metric (tag 23, octet word). */
TE_MOR_API uint32_t TE_MOR_SetTunnelPathMetric(uint32_t op, uint32_t tnlId, uint32_t value);
/* Ssrlsp record (tag 28, 20 bytes: rawBlock, word0 big-endian), from a copy. */
TE_MOR_API uint32_t TE_MOR_SetTunnelSsrlsp(uint32_t op, uint32_t tnlId, const TeTunnelSsrlsp *ssrlsp);
/* Service class (tag 29, big-endian word). */
TE_MOR_API uint32_t TE_MOR_SetTunnelSerclass(uint32_t op, uint32_t tnlId, uint32_t value);
/* Backup (tag 4, octet word). Note the order: value before tnlId. */
TE_MOR_API uint32_t TE_MOR_SetTunnelBackup(uint32_t op, uint32_t value, uint32_t tnlId);

/* Op last: it decides the undo rule only; the header op is always 0, so an
 * undo while MPLS-TE is on reaches the daemon as a set of the value. */
/* Reservation style (tag 8, octet word). */
TE_MOR_API uint32_t TE_MOR_SetTunnelResvStyle(uint32_t tnlId, uint32_t value, uint32_t op);
/* Signalling protocol (tag 9, octet word). */
TE_MOR_API uint32_t TE_MOR_SetTunnelSignalProtocol(uint32_t tnlId, uint32_t value, uint32_t op);
/* Retry count (tag 10, big-endian word). */
TE_MOR_API uint32_t TE_MOR_SetTunnelRetryTimes(uint32_t tnlId, uint32_t value, uint32_t op);
/* Retry interval (tag 11, big-endian word). */
TE_MOR_API uint32_t TE_MOR_SetTunnelRetryInterval(uint32_t tnlId, uint32_t value, uint32_t op);
/* Affinity (tag 12, 8 bytes). CONVERTED: both words. */
TE_MOR_API uint32_t TE_MOR_SetTunnelAffinityProperty(uint32_t tnlId, TeTunnelAffinity *affinity,
                                                     uint32_t op);

/* No op: enable rule on the record's enable octet. */
/* Automatic bandwidth (tag 5, 16 bytes; header op 0). CONVERTED: words. */
TE_MOR_API uint32_t TE_MOR_SetTunnelAutoBw(uint32_t tnlId, TeTunnelAutoBw *autoBw);
/* Backup bandwidth (tag 14, 8 bytes; header op 6, TE_MOR_OP_BACKUP_BW).
 * CONVERTED: bandwidth. */
TE_MOR_API uint32_t TE_MOR_SetTunnelBackupBw(uint32_t tnlId, TeTunnelBackupBw *backupBw);

/* TE_MOR_SetTunnelBackupBw with a record of its own: bandwidth, byte0 0,
 * enable 1, rawBlock zero (so refused while MPLS-TE is off). */
TE_MOR_API uint32_t TE_SetTunnelBackupBw(uint32_t tnlId, uint32_t bandwidth);
/* TE_MOR_SetTunnelScrlsp(op, tnlId, scrlsp), except that an op above 1 or a
 * null scrlsp is refused with TE_MOR_ERR_FAIL before MPLS-TE is asked
 * about, and TE_MOR_ERR_TE_DISABLED is reported as TE_MOR_ERR_IPC_OPEN. */
TE_MOR_API uint32_t TE_MOR_SetScrlsp(uint32_t op, uint16_t tnlId, const TeTunnelScrlsp *scrlsp);

/* ------------------------------------------------------------------------ */
/* Tunnel table and counters (each call opens and closes its own socket)     */
/*                                                                           */
/* A query returns 0 with the record filled from the reply's first item, the */
/* daemon's code unchanged (end of table, unknown key) with the record       */
/* untouched, TE_MOR_ERR_IPC_OPEN, or TE_MOR_ERR_FAIL for a null argument or */
/* a reply without an item. An item shorter than the record replaces only    */
/* its leading bytes.                                                         */
/* ------------------------------------------------------------------------ */

/* Tunnel rows by index set (tag 101) or by tunnel id (tag 105): GetX reads
 * the row with the key, GetFirstX the first row (sending sixteen zero bytes,
 * or the id 65535), GetNextX the row after the key. Any key is sent as given.
 * At most 128 bytes of the item are copied; every number of the record is
 * then turned to host order, so fields beyond a short item hold the caller's
 * previous bytes, converted. rawBlock is carried as received. A walk:
 *   GetFirstTunnel(&info), then GetNextTunnel(&key of info, &info) until the
 *   result is not 0. */
TE_MOR_API uint32_t TE_MOR_GetTunnel(const TeTunnelIndexSet *indexSet, TeTunnelInfo *info);
TE_MOR_API uint32_t TE_MOR_GetFirstTunnel(TeTunnelInfo *info);
TE_MOR_API uint32_t TE_MOR_GetNextTunnel(const TeTunnelIndexSet *indexSet, TeTunnelInfo *info);
TE_MOR_API uint32_t TE_MOR_GetTunnelByTnlId(uint32_t tnlId, TeTunnelInfo *info);
TE_MOR_API uint32_t TE_MOR_GetFirstTunnelByTnlId(TeTunnelInfo *info);
TE_MOR_API uint32_t TE_MOR_GetNextTunnelByTnlId(uint32_t tnlId, TeTunnelInfo *info);

/* Counters and next free indexes (class 4, op 3, one empty item). The number
 * is the first four bytes of the reply item's value, big-endian, read even
 * when the item is shorter (the reply bytes behind it take part), except for
 * TE_GetBypassTunnelNum, which lays at most the item's own bytes over the
 * leading bytes of *value and then converts all four. */
TE_MOR_API uint32_t TE_MOR_GetTunnelConfigured(uint32_t *value);
TE_MOR_API uint32_t TE_MOR_GetNextPathHopIndex(uint32_t *value);
TE_MOR_API uint32_t TE_MOR_GetTeActiveTunnels(uint32_t *value);
TE_MOR_API uint32_t TE_MOR_GetTePrimaryTunnels(uint32_t *value);
TE_MOR_API uint32_t TE_GetBypassTunnelNum(uint32_t *value);
TE_MOR_API uint32_t TE_MOR_GetNextTunnelHopListIndex(uint32_t *value);

/* Orders two index sets word by word, unsigned: 1, -1 or 0. No exchange. */
TE_MOR_API int32_t TE_CmpIndexSet(const TeTunnelIndexSet *a, const TeTunnelIndexSet *b);

/* ------------------------------------------------------------------------ */
/* TE paths, path hops and new hops (each call opens its own socket)        */
/*                                                                           */
/* As for the tunnel table: 0 with the record filled from the reply's first  */
/* item (at most 68 bytes; a shorter item replaces only its leading bytes,   */
/* then every number is turned to host order), the daemon's code unchanged  */
/* with the record untouched, TE_MOR_ERR_IPC_OPEN, or TE_MOR_ERR_FAIL for a  */
/* null argument or a reply without an item.                                 */
/* ------------------------------------------------------------------------ */

/* TE path rows (tag 113): GetTePath the row with *pathKey, GetFirstTePath
 * the first row (eight zero bytes are sent), GetNextTePath the row after
 * *pathKey. Which words of a row key the next request is the daemon's
 * convention. */
TE_MOR_API uint32_t TE_MOR_GetTePath(const TePathKey *pathKey, TePathInfo *info);
TE_MOR_API uint32_t TE_MOR_GetFirstTePath(TePathInfo *info);
TE_MOR_API uint32_t TE_MOR_GetNextTePath(const TePathKey *pathKey, TePathInfo *info);

/* Path-hop rows (tag 112) and new-hop rows (tag 111). The record is both key
 * and result: GetPathHop / GetNextPathHop send hop->index0, hop->index1 and
 * a zero word, GetNewHop / GetNextNewHop send index0, index1 and index2 (all
 * big-endian); the first-row calls send an empty item and do not read *hop.
 * The row read replaces *hop, so a walk is GetFirst(&hop), then
 * GetNext(&hop) until the result is not 0. hopText comes back terminated
 * within its 32 bytes. */
TE_MOR_API uint32_t TE_MOR_GetPathHop(TeHopInfo *hop);
TE_MOR_API uint32_t TE_MOR_GetFirstPathHop(TeHopInfo *hop);
TE_MOR_API uint32_t TE_MOR_GetNextPathHop(TeHopInfo *hop);
TE_MOR_API uint32_t TE_MOR_GetNewHop(TeHopInfo *hop);
TE_MOR_API uint32_t TE_MOR_GetFirstNewHop(TeHopInfo *hop);
TE_MOR_API uint32_t TE_MOR_GetNextNewHop(TeHopInfo *hop);

/* ------------------------------------------------------------------------ */
/* Explicit paths and MIB hop rows                                           */
/*                                                                           */
/* A path name is sent in a 32-byte field, zero-padded. Each setter returns  */
/* the daemon's code, TE_MOR_ERR_IPC_OPEN when no socket could be opened or  */
/* TE_MOR_ERR_FAIL for a refused argument (nothing sent) or a failed         */
/* exchange. No caller record is written.                                    */
/* ------------------------------------------------------------------------ */

/* Creates (op 0) or deletes (op 1) the explicit path name (class 2, tag 1,
 * flag). While MPLS-TE is off returns 0 for op 1, else
 * TE_MOR_ERR_TE_DISABLED, without looking at name. Then a null name, an
 * empty one or one longer than 31 characters gives TE_MOR_ERR_FAIL. */
TE_MOR_API uint32_t TE_MOR_SetExplicitPath(uint32_t op, const char *name);
/* Disables (op 0) or enables again (op 1) the explicit path name (class 2,
 * tag 3, flag), whatever the TE state. name: 1 to 31 characters. */
TE_MOR_API uint32_t TE_MOR_SetDisableExpath(uint32_t op, const char *name);
/* Adds (op 0) or removes (op 1) a hop of the explicit path name (class 2,
 * tag 2, 20 bytes), whatever the TE state. The name's length is not checked:
 * a name of 32 characters or more travels as its first 32, without a
 * terminator. *hop is sent from a converted copy (see TeExpathHop) and is
 * not modified. Null name or hop: TE_MOR_ERR_FAIL. */
TE_MOR_API uint32_t TE_MOR_SetNextHop(uint32_t op, const char *name, const TeExpathHop *hop);
/* Writes (op 0) or removes (op 1) a row of the explicit path hop table
 * (class 2: an empty tag-0 item, then tag 4 with the 68-byte row), whatever
 * the TE state. The row is sent from a copy: numbers big-endian, hopRaw,
 * hopByte0 and hopByte1 unchanged, hopText as at most 31 characters and a
 * terminator, the rest of its field zero (nothing beyond its 32 bytes is
 * read). An op above 1 or a null hop: TE_MOR_ERR_FAIL, no socket opened. */
TE_MOR_API uint32_t TE_MOR_SetMibExpathHop(uint32_t op, const TeHopInfo *hop);
/* The same for the new-hop table: class 9, one item, tag 25. */
TE_MOR_API uint32_t TE_MOR_SetMibNewHop(uint32_t op, const TeHopInfo *hop);

/* ------------------------------------------------------------------------ */
/* Bandwidth allocation and DS-TE (on a socket the caller holds open)        */
/*                                                                           */
/* sock comes from TE_MOR_LIPCOpen and is neither opened nor closed here; -1 */
/* is refused with TE_MOR_ERR_FAIL, as is a null record or the key 0.         */
/*                                                                           */
/* A reply carries nothing that ties it to its request, so before sending,   */
/* a query on a held socket discards every reply already waiting there (up   */
/* to 64): one that came after an earlier query timed out, or a duplicate.   */
/* Such a reply is never taken for the new query's answer. One socket must   */
/* still carry one exchange at a time.                                       */
/*                                                                           */
/* A query returns 0 with the record filled from the reply's first item, the */
/* daemon's code unchanged with the record untouched, or TE_MOR_ERR_FAIL for */
/* a refused argument, a failed exchange or a reply without an item (record  */
/* untouched). At most the record's size is copied; an item shorter than the */
/* record replaces only its leading bytes, and every number is then turned   */
/* to host order. Byte runs (bytesA, bytesB, reserved, entryBytes,           */
/* dsteBytes) are carried as received.                                        */
/* ------------------------------------------------------------------------ */

/* Bandwidth allocation rows (tag 3, the key big-endian; the first row sends
 * 0). Only the first entryCount entries are converted, and never more than
 * the sixteen slots: a larger count is kept as received. A walk on one
 * socket: GetFirst(sock, &row), then GetNext(sock, key of row, &row) until
 * the result is not 0. */
TE_MOR_API uint32_t TE_MOR_GetFirstBwAllocationInfo(int sock, TeBwAllocationInfo *info);
TE_MOR_API uint32_t TE_MOR_GetNextBwAllocationInfo(int sock, uint32_t key,
                                                   TeBwAllocationInfo *info);
TE_MOR_API uint32_t TE_MOR_GetBwAllocationInfo(int sock, uint32_t key,
                                               TeBwAllocationInfo *info);
/* The DS-TE record (tag 2, empty). */
TE_MOR_API uint32_t TE_MOR_GetDsteInfo(int sock, TeDsteInfo *info);

/* ------------------------------------------------------------------------ */
/* Interface configuration (each call opens and closes its own socket)       */
/* ------------------------------------------------------------------------ */

/* Interface configuration rows (tag 109, the interface index big-endian; the
 * first row sends 0, and no index is refused). GetIfConfig reads the row
 * with ifIndex, GetFirstIfConfig the first row, GetNextIfConfig the row
 * after ifIndex. On success info->ifIndex and info->configValue come from
 * the first 6 bytes of the reply item's value (the daemon's value passed
 * through), a shorter item giving zeros for what it lacks; nothing else of
 * *info is written. Returns 0, the daemon's code unchanged (end of table,
 * unknown interface) with *info untouched, TE_MOR_ERR_IPC_OPEN, or
 * TE_MOR_ERR_FAIL for a null info or a reply without an item (*info
 * untouched). A walk: GetFirstIfConfig(&info), then
 * GetNextIfConfig(info.ifIndex, &info) until the result is not 0. */
TE_MOR_API uint32_t TE_MOR_GetIfConfig(uint32_t ifIndex, TeIfConfigInfo *info);
TE_MOR_API uint32_t TE_MOR_GetFirstIfConfig(TeIfConfigInfo *info);
TE_MOR_API uint32_t TE_MOR_GetNextIfConfig(uint32_t ifIndex, TeIfConfigInfo *info);

/* ------------------------------------------------------------------------ */
/* Segment-routing mapping lists (on a socket the caller holds open)         */
/* ------------------------------------------------------------------------ */

/* Segment-routing mapping lists by a 32-bit key (tag 9, the key big-endian;
 * the first-row request sends the caller's key too). GetSRMappingList reads
 * the list with key and refuses key 0xffffffff; GetFirstSRMappingList and
 * GetNextSRMappingList send any key. Socket -1 is refused with
 * TE_MOR_ERR_FAIL, nothing sent; a null list is sent for, and refused with
 * TE_MOR_ERR_FAIL only when the reply would be written to it (a daemon's
 * code or a failed exchange comes back as it is).
 *
 * The reply holds a header item (tag 23, not empty: word0, half0, two
 * unused bytes, entryCount; a shorter item gives zeros for what it lacks)
 * and an entry item (tag 24) of entryCount equal entries, each entry's
 * first (at most) 4 bytes giving half0 and half1.
 *
 * Ownership: on success with entryCount and the entry item both non-zero,
 * list->entries is a new array of entryCount entries allocated with malloc;
 * it belongs to the caller, who releases it with free (the library has no
 * release function). Otherwise entries is set to null. A later query into
 * the same list overwrites entries without freeing it: free it first.
 *
 * Returns 0; the daemon's code unchanged, or TE_MOR_ERR_FAIL for a failed
 * exchange or a header item that is missing, of another tag or empty, with
 * *list untouched; TE_MOR_ERR_FAIL with word0, half0 and entryCount filled
 * but entries untouched and nothing left allocated when the entry item is
 * missing or of another tag, or the allocation fails.
 *
 * The one bound the library adds: an entryCount larger than the entry
 * item's length in bytes (more entries than the item could hold even at one
 * byte each) is refused as an allocation the library will not make:
 * TE_MOR_ERR_FAIL, nothing allocated, entries untouched. So a daemon cannot
 * make a front end allocate more than 4 bytes per byte it sent. */
TE_MOR_API uint32_t TE_MOR_GetFirstSRMappingList(int sock, uint32_t key, TeSrMappingList *list);
TE_MOR_API uint32_t TE_MOR_GetNextSRMappingList(int sock, uint32_t key, TeSrMappingList *list);
TE_MOR_API uint32_t TE_MOR_GetSRMappingList(int sock, uint32_t key, TeSrMappingList *list);
/* Multicast P2MP bindings and tunnels (on a socket the caller holds open)   */
/*                                                                           */
/* sock as for the bandwidth queries (-1 refused). Each call sends one item  */
/* and accepts only a non-empty reply item of the table's own tag; the row   */
/* is cleared and then takes at most its size from the item (a short item   */
/* leaves zeros), numbers turned to host order, byte runs as received.       */
/* ------------------------------------------------------------------------ */

/* Binding rows (tag 8, the record's twelve bytes big-endian; answered with
 * tag 22). bind is the key and the answer alike: every call, the first-row
 * one included, sends the record as it stands, and a decoded reply replaces
 * it, so a walk passes the same record to GetFirst and then to GetNext until
 * the result is not 0. On any failure bind keeps the key that was sent. A
 * null bind is refused. */
TE_MOR_API uint32_t TE_MOR_GetFirstMCastP2mpBind(int sock, TeMCastP2mpBind *bind);
TE_MOR_API uint32_t TE_MOR_GetNextMCastP2mpBind(int sock, TeMCastP2mpBind *bind);
TE_MOR_API uint32_t TE_MOR_GetMCastP2mpBind(int sock, TeMCastP2mpBind *bind);

/* Tunnel rows (tag 7, the 8-byte key; answered with tag 21). Every call, the
 * first-row one included, sends the caller's key; a null key or tunnel is
 * refused. On any failure the tunnel row is untouched. */
TE_MOR_API uint32_t TE_MOR_GetFirstMCastP2mpTunnel(int sock, const TeMCastP2mpTunnelKey *key,
                                                   TeMCastP2mpTunnel *tunnel);
TE_MOR_API uint32_t TE_MOR_GetNextMCastP2mpTunnel(int sock, const TeMCastP2mpTunnelKey *key,
                                                  TeMCastP2mpTunnel *tunnel);
TE_MOR_API uint32_t TE_MOR_GetMCastP2mpTunnel(int sock, const TeMCastP2mpTunnelKey *key,
                                              TeMCastP2mpTunnel *tunnel);

/* ------------------------------------------------------------------------ */
/* Tunnel interfaces and P2MP tunnel interfaces (on a socket the caller      */
/* holds open)                                                               */
/*                                                                           */
/* sock as for the bandwidth queries (-1 refused), as is a null record.     */
/* Keyed by a 16-bit interface key sent in a 4-byte slot (the key big-endian,*/
/* two zero bytes); 0 is a valid key, 0xffff is refused with TE_MOR_ERR_FAIL */
/* and nothing is sent. A first-row request sends an empty item. A daemon    */
/* code is returned unchanged with the outputs untouched.                    */
/* ------------------------------------------------------------------------ */

/* Tunnel interface rows (tag 1). The reply's first item is taken whatever
 * its tag: at most 264 bytes replace the record's leading bytes (the rest
 * keeps the caller's bytes), then every number is turned to host order.
 * Byte runs are carried as received. A reply without an item gives
 * TE_MOR_ERR_FAIL with the record untouched. */
TE_MOR_API uint32_t TE_MOR_GetFirstTunIntf(int sock, TeTunIntfInfo *info);
TE_MOR_API uint32_t TE_MOR_GetNextTunIntf(int sock, uint16_t key, TeTunIntfInfo *info);
TE_MOR_API uint32_t TE_MOR_GetTunIntf(int sock, uint16_t key, TeTunIntfInfo *info);

/* P2MP tunnel interface rows (tag 5; answered with a 16-byte item of tag 19,
 * then, unless destCount is 0, a destination list of tag 20).
 *
 * A destination list is a 32-bit count N and N entries of equal size
 * ((item length - 4) / N bytes, whatever the daemon uses); the first
 * min(entry size, 8) bytes of entry i are copied into dests[i] and its
 * destWord is turned to host order; bytes of dests[i] beyond those copied
 * keep what the caller had there. dests must hold TE_MOR_P2MP_DEST_MAX
 * entries: a list announcing more is refused with TE_MOR_ERR_FAIL before
 * anything is written to dests, so nothing is ever written past them.
 *
 * The call fills word0..destCount from the first item (an item shorter than
 * 16 bytes gives zeros for what it lacks) and:
 *   - destCount 0: returns 0, destsReturned and dests untouched;
 *   - otherwise reads the list: N is stored in destsReturned and N entries
 *     in dests (N 0 writes no entry).
 * TE_MOR_ERR_FAIL, with the record untouched, when the first item is missing,
 * empty or of another tag; with word0..destCount already filled but
 * destsReturned and dests untouched, when the list item is missing, of
 * another tag, shorter than 4 bytes, announces more than
 * TE_MOR_P2MP_DEST_MAX, or holds entries while dests is null. info itself
 * must not be null; dests is read only when there are entries to write. */
TE_MOR_API uint32_t TE_MOR_GetFirstP2mpTunIntf(int sock, TeP2mpTunIntfInfo *info);
TE_MOR_API uint32_t TE_MOR_GetNextP2mpTunIntf(int sock, uint16_t key, TeP2mpTunIntfInfo *info);
TE_MOR_API uint32_t TE_MOR_GetP2mpTunIntf(int sock, uint16_t key, TeP2mpTunIntfInfo *info);

/* The destination list of one P2MP tunnel interface (tag 6, 8 bytes: the key
 * in a 4-byte slot, then selector big-endian; op 3; answered with a list of
 * tag 20 as above). selector 0, a null count or a null dests is refused.
 * On success *count is N and dests[0..N-1] are written as above (dests must
 * hold TE_MOR_P2MP_DEST_MAX entries). TE_MOR_ERR_FAIL with *count and dests
 * untouched when the item is missing, of another tag, shorter than 4 bytes
 * or announces more than TE_MOR_P2MP_DEST_MAX destinations. */
TE_MOR_API uint32_t TE_MOR_GetP2mpTunDestAddr(int sock, uint16_t key, uint32_t selector,
                                              uint32_t *count, TeP2mpDest *dests);

/* ------------------------------------------------------------------------ */
/* Explicit paths (on a socket the caller holds open)                        */
/*                                                                           */
/* sock -1, a null reply, and for the named reads a null name or one that is */
/* empty or longer than 31 characters, are refused with TE_MOR_ERR_FAIL and  */
/* nothing is sent. The daemon's code comes back unchanged with *reply       */
/* untouched. reply must be zero-filled on entry.                            */
/*                                                                           */
/* On success *reply holds the path: pathFlag as received, hopCount, hops    */
/* (hopCount elements in path order, zero where the daemon sent fewer hops;  */
/* null for a path without hops) and name, both on the heap and owned by the */
/* caller until TE_MOR_FreeExpathReply. A malformed reply (an empty header   */
/* or hop item, an empty name, a second header or name, bytes that hold no   */
/* item) or a failed allocation gives TE_MOR_ERR_FAIL: whatever the read had */
/* attached to *reply has then been released already; name and hops are not */
/* to be used or released again. Hops beyond hopCount are ignored, never     */
/* stored.                                                                   */
/* ------------------------------------------------------------------------ */

/* The first explicit path (tag 0, empty item). */
TE_MOR_API uint32_t TE_MOR_GetFirstExpath(int sock, TeExpathReply *reply);
/* The path after name (tag 0, the name and its terminator). */
TE_MOR_API uint32_t TE_MOR_GetNextExpath(int sock, const char *name, TeExpathReply *reply);
/* The path called name (tag 0, the name and its terminator). */
TE_MOR_API uint32_t TE_MOR_GetExpath(int sock, const char *name, TeExpathReply *reply);
/* Releases name, then hops, of a reply read successfully; ignores a null
 * reply or null fields. The two pointers are not reset: release a reply
 * once, and zero-fill it before reusing it. */
TE_MOR_API void TE_MOR_FreeExpathReply(TeExpathReply *reply);

#ifdef __cplusplus
}
#endif

#endif /* TE_MOR_H */

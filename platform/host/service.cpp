// Device API and service manager on a host, kept as files under the platform
// state directory:
//   nodes/master                  master node id (missing: 1)
//   nodes/standby                 standby node ids (missing: no list)
//   services/NODE/NAME            status of NAME on NODE
//   services/NODE/NAME.result     forced answer of a status query
//   services/NODE/NAME.start-result, .stop-result   forced answer of a start/stop
// A start writes status 1, a stop status 0. Every call is logged in calls.log.
#include <fcntl.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/host/host_common.h"
#include "platform/platform.h"

using temor::host::log_call;
using temor::host::platform_path;
using temor::host::read_number;
using temor::host::write_number;

namespace {

constexpr uint32_t kNotFound = 0x40010005u;

// Applies a start (status 1) or stop (status 0) to one node, unless a forced
// result file says otherwise.
uint32_t change_one(uint32_t node, const char *name, const char *suffix, uint32_t status) {
    char path[4096];
    uint32_t forced;
    if (platform_path(path, sizeof path, "services/%u/%s.%s", node, name, suffix) &&
        read_number(path, &forced))
        return forced;
    if (!platform_path(path, sizeof path, "services/%u/%s", node, name)) return kNotFound;
    return write_number(path, status) ? 0 : kNotFound;
}

// "N1,N2,..." for the journal.
void node_list(const uint16_t *nodes, uint32_t count, char *out, size_t size) {
    size_t used = 0;
    out[0] = '\0';
    for (uint32_t i = 0; i < count && nodes != nullptr && used < size; ++i) {
        const int n = std::snprintf(out + used, size - used, i ? ",%u" : "%u", nodes[i]);
        if (n < 0) break;
        used += static_cast<size_t>(n);
    }
}

uint32_t batch(const char *call, const uint16_t *nodes, uint32_t count, const char *name,
               uint32_t a, uint32_t b, const char *suffix, uint32_t status) {
    char list[2048];
    node_list(nodes, count, list, sizeof list);
    log_call("%s %s %s %u %u", call, list, name, a, b);
    uint32_t first = 0;
    for (uint32_t i = 0; i < count && nodes != nullptr; ++i) {
        const uint32_t rc = change_one(nodes[i], name, suffix, status);
        if (first == 0) first = rc;
    }
    return first;
}

}  // namespace

extern "C" uint32_t DEV_GetSystemMaster(void) {
    log_call("DEV_GetSystemMaster");
    char path[4096];
    uint32_t master = 1;
    if (platform_path(path, sizeof path, "nodes/master")) (void)read_number(path, &master);
    return master;
}

extern "C" uint16_t *DEV_GetAllStandbyNodes(uint32_t *count) {
    log_call("DEV_GetAllStandbyNodes");
    char path[4096];
    if (!platform_path(path, sizeof path, "nodes/standby")) return nullptr;
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return nullptr;
    char text[4096];
    const ssize_t n = read(fd, text, sizeof text - 1);
    close(fd);
    text[n > 0 ? n : 0] = '\0';

    uint32_t ids = 0;
    for (const char *p = text; *p != '\0';) {
        while (std::isspace(static_cast<unsigned char>(*p))) ++p;
        if (*p == '\0') break;
        ++ids;
        while (*p != '\0' && !std::isspace(static_cast<unsigned char>(*p))) ++p;
    }
    auto *nodes = static_cast<uint16_t *>(std::malloc(sizeof(uint16_t) * (ids ? ids : 1)));
    if (nodes == nullptr) return nullptr;
    uint32_t i = 0;
    for (char *p = text; *p != '\0' && i < ids;) {
        while (std::isspace(static_cast<unsigned char>(*p))) ++p;
        if (*p == '\0') break;
        char *end = p;
        nodes[i++] = static_cast<uint16_t>(temor::host::parse_number(p, &end));
        p = end;
        while (*p != '\0' && !std::isspace(static_cast<unsigned char>(*p))) ++p;
    }
    if (count != nullptr) *count = i;
    return nodes;
}

extern "C" uint32_t SERVICE_GetStatus(uint32_t node, const char *name, int32_t selector,
                                      uint32_t *status) {
    log_call("SERVICE_GetStatus %u %s %d", node, name, selector);
    char path[4096];
    uint32_t value;
    if (platform_path(path, sizeof path, "services/%u/%s.result", node, name) &&
        read_number(path, &value))
        return value;
    if (!platform_path(path, sizeof path, "services/%u/%s", node, name) ||
        !read_number(path, &value))
        return kNotFound;
    if (status != nullptr) *status = value;
    return 0;
}

extern "C" uint32_t SERVICE_Start(uint32_t node, const char *name, uint32_t a, uint32_t b) {
    log_call("SERVICE_Start %u %s %u %u", node, name, a, b);
    return change_one(node, name, "start-result", 1);
}

extern "C" uint32_t SERVICE_Stop(uint32_t node, const char *name, uint32_t a, uint32_t b) {
    log_call("SERVICE_Stop %u %s %u %u", node, name, a, b);
    return change_one(node, name, "stop-result", 0);
}

extern "C" uint32_t SERVICE_BatchStart(const uint16_t *nodes, uint32_t count, const char *name,
                                       uint32_t a, uint32_t b) {
    return batch("SERVICE_BatchStart", nodes, count, name, a, b, "start-result", 1);
}

extern "C" uint32_t SERVICE_BatchStop(const uint16_t *nodes, uint32_t count, const char *name,
                                      uint32_t a, uint32_t b) {
    return batch("SERVICE_BatchStop", nodes, count, name, a, b, "stop-result", 0);
}

// ---- configuration database -------------------------------------------------

extern "C" uint32_t DBM_Open(const char *database, const char *table, uint32_t mode,
                             const uint32_t params[8], uint32_t *handle) {
    uint32_t w[8] = {};
    if (params != nullptr) std::memcpy(w, params, sizeof w);
    log_call("DBM_Open %s %s %u %u,%u,%u,%u,%u,%u,%u,%u", database, table, mode, w[0], w[1],
             w[2], w[3], w[4], w[5], w[6], w[7]);
    char path[4096];
    if (!platform_path(path, sizeof path, "dbm/%s/%s", database, table) ||
        access(path, F_OK) != 0)
        return kNotFound;
    if (handle != nullptr) *handle = 1;
    return 0;
}

extern "C" uint32_t DBM_Close(uint32_t) {
    log_call("DBM_Close");
    return 0;
}

// ---- console ---------------------------------------------------------------------

extern "C" void CONSOLE_Print(const char *text) {
    std::fputs(text, stdout);
    std::fflush(stdout);
}

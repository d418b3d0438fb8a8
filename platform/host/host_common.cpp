#include "platform/host/host_common.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/host/lipc_host.h"

extern "C" const char *PLATFORM_HostDir(void) {
    const char *dir = std::getenv("TE_PLATFORM_DIR");
    return dir != nullptr && *dir != '\0' ? dir : PLATFORM_HOST_DEFAULT_DIR;
}

namespace temor::host {

bool platform_path(char *out, size_t size, const char *fmt, ...) {
    const int n = std::snprintf(out, size, "%s/", PLATFORM_HostDir());
    if (n < 0 || static_cast<size_t>(n) >= size) return false;
    va_list ap;
    va_start(ap, fmt);
    const int m = std::vsnprintf(out + n, size - static_cast<size_t>(n), fmt, ap);
    va_end(ap);
    return m >= 0 && static_cast<size_t>(n + m) < size;
}

void log_call(const char *fmt, ...) {
    char line[1024];
    va_list ap;
    va_start(ap, fmt);
    int n = std::vsnprintf(line, sizeof line - 1, fmt, ap);
    va_end(ap);
    if (n < 0) return;
    if (static_cast<size_t>(n) > sizeof line - 2) n = sizeof line - 2;
    line[n++] = '\n';
    char path[4096];
    if (!platform_path(path, sizeof path, "calls.log")) return;
    const int fd = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (fd < 0) return;
    (void)!write(fd, line, static_cast<size_t>(n));
    close(fd);
}

unsigned long parse_number(const char *text, char **end) {
    while (*text == ' ' || *text == '\t' || *text == '\n' || *text == '\r') ++text;
    const bool hex = text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    return std::strtoul(text, end, hex ? 16 : 10);
}

bool read_number(const char *path, uint32_t *value) {
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    char text[64];
    const ssize_t n = read(fd, text, sizeof text - 1);
    close(fd);
    if (n <= 0) return false;
    text[n] = '\0';
    char *end = nullptr;
    errno = 0;
    const unsigned long v = parse_number(text, &end);
    if (end == text || errno != 0) return false;
    *value = static_cast<uint32_t>(v);
    return true;
}

static void make_parent_dirs(const char *path) {
    char dir[4096];
    std::snprintf(dir, sizeof dir, "%s", path);
    for (char *p = dir + 1; *p != '\0'; ++p) {
        if (*p != '/') continue;
        *p = '\0';
        mkdir(dir, 0755);
        *p = '/';
    }
}

bool write_number(const char *path, uint32_t value) {
    make_parent_dirs(path);
    const int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) return false;
    char text[16];
    const int n = std::snprintf(text, sizeof text, "%u\n", value);
    const bool ok = write(fd, text, static_cast<size_t>(n)) == n;
    close(fd);
    return ok;
}

}  // namespace temor::host

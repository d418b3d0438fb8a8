// Counts allocator calls made while one transaction runs against a responder
// thread. Only the calling thread's calls between the markers count.
#include <dlfcn.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <thread>

#include "include/te_mor.h"
#include "messaging/transport.h"

namespace {
thread_local bool measuring = false;
thread_local long allocations = 0;
}  // namespace

extern "C" {
extern void *__libc_malloc(size_t);
extern void *__libc_calloc(size_t, size_t);
extern void *__libc_realloc(void *, size_t);
extern void __libc_free(void *);

void *malloc(size_t n) {
    if (measuring) ++allocations;
    return __libc_malloc(n);
}
void *calloc(size_t a, size_t b) {
    if (measuring) ++allocations;
    return __libc_calloc(a, b);
}
void *realloc(void *p, size_t n) {
    if (measuring) ++allocations;
    return __libc_realloc(p, n);
}
void free(void *p) {
    if (measuring && p != nullptr) ++allocations;
    __libc_free(p);
}
}

int main() {
    char dir[] = "/tmp/temor-heap-XXXXXX";
    if (mkdtemp(dir) == nullptr) return 2;
    setenv("TE_LIPC_DIR", dir, 1);
    char path[200];
    std::snprintf(path, sizeof path, "%s/lipc-0a7280", dir);
    const int srv = socket(AF_UNIX, SOCK_DGRAM, 0);
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::memcpy(addr.sun_path, path, std::min(std::strlen(path) + 1, sizeof addr.sun_path - 1));
    if (srv < 0 || bind(srv, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0) return 2;
    std::thread responder([srv] {
        for (int i = 0; i < 3; ++i) {
            uint8_t in[4096];
            sockaddr_un from{};
            socklen_t fl = sizeof from;
            if (recvfrom(srv, in, sizeof in, 0, reinterpret_cast<sockaddr *>(&from), &fl) < 0) return;
            const uint8_t out[12] = {4, 0, 0, 4, 0, 0, 0, 0, 0, 1, 0, 0};
            (void)sendto(srv, out, sizeof out, 0, reinterpret_cast<sockaddr *>(&from), fl);
        }
    });

    const uint8_t request[] = {1, 2, 0, 4, 0, 0, 0, 0, 0, 3, 0, 0};
    int failures = 0;

    // The counter itself works (the calls go through the replacements).
    measuring = true;
    void *volatile probe = malloc(16);
    free(probe);
    measuring = false;
    if (allocations != 2) {
        std::printf("allocator replacement not in effect (%ld calls counted)\n", allocations);
        return 1;
    }
    allocations = 0;

    measuring = true;
    const uint32_t one = TE_MOR_DoRequest(request, sizeof request);
    measuring = false;
    const long afterDoRequest = allocations;

    const int fd = TE_MOR_LIPCOpen();
    uint8_t reply[TE_MOR_MSG_MAX];
    allocations = 0;
    measuring = true;
    const uint32_t two = TE_MOR_SendMsg(fd, request, sizeof request, reply);
    const uint32_t three = TE_MOR_SendMsg(fd, request, sizeof request, reply);
    measuring = false;
    const long afterSendMsg = allocations;
    TE_MOR_LIPCClose(fd);
    responder.join();
    close(srv);
    unlink(path);
    rmdir(dir);

    if (one != 0 || two != 0 || three != 0) {
        std::printf("exchange failed: %u %u %u\n", one, two, three);
        ++failures;
    }
    if (afterDoRequest != 0) {
        std::printf("TE_MOR_DoRequest made %ld allocator calls\n", afterDoRequest);
        ++failures;
    }
    if (afterSendMsg != 0) {
        std::printf("TE_MOR_SendMsg made %ld allocator calls\n", afterSendMsg);
        ++failures;
    }
    std::printf("%d passed, %d failed\n", 3 - failures, failures);
    return failures == 0 ? 0 : 1;
}

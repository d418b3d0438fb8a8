// Counts the allocator calls the calling thread makes while exchanges run
// against the fake daemon (whose own thread is not counted).
#include <stdlib.h>

#include "include/te_mor.h"
#include "messaging/transport.h"
#include "support/fake_daemon.h"

namespace {
thread_local bool measuring = false;
thread_local long allocations = 0;
}  // namespace

extern "C" {
extern void *__libc_malloc(size_t);
extern void *__libc_calloc(size_t, size_t);
extern void __libc_free(void *);

void *malloc(size_t n) {
    allocations += measuring;
    return __libc_malloc(n);
}
void *calloc(size_t a, size_t b) {
    allocations += measuring;
    return __libc_calloc(a, b);
}
void free(void *p) {
    allocations += measuring && p != nullptr;
    __libc_free(p);
}
}

namespace {

template <class F>
long allocations_in(F f) {
    allocations = 0;
    measuring = true;
    f();
    measuring = false;
    return allocations;
}

class Heap : public temor::test::DaemonTest {};

// An exchange on its own socket and on a held one, and a query of each kind
// (own socket, caller's socket), allocate nothing.
TEST_F(Heap, ExchangesAllocateNothing) {
    void *volatile probe = nullptr;
    ASSERT_EQ(allocations_in([&] { probe = malloc(16), free(probe); }), 2) << "allocator not replaced";
    const uint8_t request[] = {1, 2, 0, 4, 0, 0, 0, 0, 0, 3, 0, 0};
    uint8_t reply[TE_MOR_MSG_MAX];
    TeTunnelInfo tunnel;
    TeBwAllocationInfo bw;
    const int fd = TE_MOR_LIPCOpen();
    ASSERT_GE(fd, 0);
    daemon->answer_result(0);
    daemon->answer_result(0);
    daemon->answer_result(0, {{0, temor::test::Bytes(sizeof tunnel)}});
    daemon->answer_result(0, {{3, temor::test::Bytes(sizeof bw)}});
    uint32_t rc[4] = {1, 1, 1, 1};
    EXPECT_EQ(allocations_in([&] { rc[0] = TE_MOR_DoRequest(request, sizeof request); }), 0);
    EXPECT_EQ(allocations_in([&] { rc[1] = TE_MOR_SendMsg(fd, request, sizeof request, reply); }), 0);
    EXPECT_EQ(allocations_in([&] { rc[2] = TE_MOR_GetFirstTunnelByTnlId(&tunnel); }), 0);
    EXPECT_EQ(allocations_in([&] { rc[3] = TE_MOR_GetFirstBwAllocationInfo(fd, &bw); }), 0);
    TE_MOR_LIPCClose(fd);
    for (uint32_t r : rc) EXPECT_EQ(r, TE_MOR_OK);
}

// An explicit path read allocates its name and its hop list, nothing else,
// and TE_MOR_FreeExpathReply releases both.
TEST_F(Heap, ExpathReadAllocatesNameAndHopsOnly) {
    using temor::test::Bytes;
    const int fd = TE_MOR_LIPCOpen();
    ASSERT_GE(fd, 0);
    daemon->answer_result(0, {{0, {0, 0, 0, 2}}, {2, {'p', '1', 0}}, {1, Bytes(20)}, {1, Bytes(20)}});
    TeExpathReply reply{};
    uint32_t rc = 1;
    EXPECT_EQ(allocations_in([&] { rc = TE_MOR_GetExpath(fd, "p1", &reply); }), 2);
    EXPECT_EQ(rc, TE_MOR_OK);
    EXPECT_EQ(allocations_in([&] { TE_MOR_FreeExpathReply(&reply); }), 2);  // two releases
    TE_MOR_LIPCClose(fd);
}

}  // namespace

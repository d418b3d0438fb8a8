// Counts the allocator calls the calling thread makes while exchanges run
// against the fake daemon (whose own thread is not counted).
#include <stdlib.h>

#include "include/te_mor.h"
#include "messaging/transport.h"
#include "support/fake_daemon.h"

using namespace temor::test;

namespace {
thread_local bool measuring = false;
thread_local long allocations = 0;
thread_local bool failNext = false;  // the next malloc or calloc returns null
thread_local int failLater = 0;      // with failNext: allocations to let through first

// Counts an allocation; true when it is the one to fail.
bool allocation_fails() {
    allocations += measuring;
    if (!failNext || failLater-- > 0) return false;
    failNext = false, failLater = 0;
    return true;
}
}  // namespace

extern "C" {
extern void *__libc_malloc(size_t);
extern void *__libc_calloc(size_t, size_t);
extern void __libc_free(void *);

void *malloc(size_t n) { return allocation_fails() ? nullptr : __libc_malloc(n); }
void *calloc(size_t a, size_t b) { return allocation_fails() ? nullptr : __libc_calloc(a, b); }
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

// The socket the held-socket calls use is opened before any counting.
class Heap : public HeldSocketTest {};

// An exchange on its own socket and on a held one, and a query of each kind
// (own socket, caller's socket), allocate nothing.
TEST_F(Heap, ExchangesAllocateNothing) {
    void *volatile probe = nullptr;
    ASSERT_EQ(allocations_in([&] { probe = malloc(16), free(probe); }), 2) << "allocator not replaced";
    const uint8_t request[] = {1, 2, 0, 4, 0, 0, 0, 0, 0, 3, 0, 0};
    uint8_t reply[TE_MOR_MSG_MAX];
    TeTunnelInfo tunnel;
    TeBwAllocationInfo bw;
    daemon->answer_result(0);
    daemon->answer_result(0);
    daemon->answer_result(0, {{0, Bytes(sizeof tunnel)}});
    daemon->answer_result(0, {{3, Bytes(sizeof bw)}});
    uint32_t rc[4] = {1, 1, 1, 1};
    EXPECT_EQ(allocations_in([&] { rc[0] = TE_MOR_DoRequest(request, sizeof request); }), 0);
    EXPECT_EQ(allocations_in([&] { rc[1] = TE_MOR_SendMsg(sock, request, sizeof request, reply); }), 0);
    EXPECT_EQ(allocations_in([&] { rc[2] = TE_MOR_GetFirstTunnelByTnlId(&tunnel); }), 0);
    EXPECT_EQ(allocations_in([&] { rc[3] = TE_MOR_GetFirstBwAllocationInfo(sock, &bw); }), 0);
    for (uint32_t r : rc) EXPECT_EQ(r, TE_MOR_OK);
}

// An explicit path read allocates its name and its hop list, nothing else,
// and TE_MOR_FreeExpathReply releases both.
TEST_F(Heap, ExpathReadAllocatesNameAndHopsOnly) {
    daemon->answer_result(0, {{0, {0, 0, 0, 2}}, {2, {'p', '1', 0}}, {1, Bytes(20)}, {1, Bytes(20)}});
    TeExpathReply reply{};
    uint32_t rc = 1;
    EXPECT_EQ(allocations_in([&] { rc = TE_MOR_GetExpath(sock, "p1", &reply); }), 2);
    EXPECT_EQ(rc, TE_MOR_OK);
    EXPECT_EQ(allocations_in([&] { TE_MOR_FreeExpathReply(&reply); }), 2);  // two releases
    // The name's allocation fails once the hop list is allocated: the read
    // fails and has released the list (two allocations, one release).
    daemon->answer_result(0, {{0, {0, 0, 0, 2}}, {2, {'p', '1', 0}}});
    reply = {};
    failNext = true, failLater = 1;
    EXPECT_EQ(allocations_in([&] { rc = TE_MOR_GetExpath(sock, "p1", &reply); }), 3);
    EXPECT_EQ(rc, TE_MOR_ERR_FAIL);
    EXPECT_FALSE(failNext);
}

// A segment-routing list makes one allocation, the caller's to free, or none
// when it is empty. When that allocation fails the call fails with the
// header filled, entries as they were and nothing left allocated.
TEST_F(Heap, SrMappingListAllocatesItsEntriesOnly) {
    const Bytes header = cat({be32(1), Bytes(4, 0), be32(2)});
    TeSrMappingList list{};
    daemon->answer_result(0, {{23, header}, {24, be32(0x00050006)}});
    EXPECT_EQ(allocations_in([&] { EXPECT_EQ(TE_MOR_GetFirstSRMappingList(sock, 0, &list), TE_MOR_OK); }), 1);
    ASSERT_NE(list.entries, nullptr);
    EXPECT_EQ(list.entries[1].half0, 6u);
    free(list.entries);
    daemon->answer_result(0, {{23, header}, {24, {}}});
    EXPECT_EQ(allocations_in([&] { EXPECT_EQ(TE_MOR_GetFirstSRMappingList(sock, 0, &list), TE_MOR_OK); }), 0);
    EXPECT_EQ(list.entries, nullptr);

    TeSrMappingEntry kept{};
    list = TeSrMappingList{9, 9, 9, &kept};
    daemon->answer_result(0, {{23, header}, {24, be32(0x00050006)}});
    failNext = true;
    EXPECT_EQ(allocations_in([&] { EXPECT_EQ(TE_MOR_GetFirstSRMappingList(sock, 0, &list), TE_MOR_ERR_FAIL); }), 1);
    EXPECT_FALSE(failNext);
    EXPECT_EQ(list.word0, 1u);
    EXPECT_EQ(list.entryCount, 2u);
    EXPECT_EQ(list.entries, &kept);
    // A count the entry item cannot hold is refused before any allocation.
    daemon->answer_result(0, {{23, cat({be32(1), Bytes(4, 0), be32(0xFFFFFFFF)})}, {24, Bytes(8, 1)}});
    EXPECT_EQ(allocations_in([&] { EXPECT_EQ(TE_MOR_GetFirstSRMappingList(sock, 0, &list), TE_MOR_ERR_FAIL); }), 0);
    EXPECT_EQ(list.entries, &kept);
}

// A destination list is decoded straight into the caller's array.
TEST_F(Heap, DestinationListsAllocateNothing) {
    TeP2mpDest dests[TE_MOR_P2MP_DEST_MAX];
    TeP2mpTunIntfInfo info{};
    info.dests = dests;
    daemon->answer_result(0, {{19, cat({Bytes(10, 0), {0, 2}, Bytes(4, 0)})}, {20, cat({be32(2), Bytes(16, 1)})}});
    uint32_t rc = 1;
    EXPECT_EQ(allocations_in([&] { rc = TE_MOR_GetFirstP2mpTunIntf(sock, &info); }), 0);
    EXPECT_EQ(rc, TE_MOR_OK);
    EXPECT_EQ(info.destsReturned, 2);
}

}  // namespace

// Sixteen threads call setters and walk tables at once, each on sockets of
// its own, against one fake daemon. Every reply is made from its request: a
// setter's result is the value it sent, a walk's next row follows from the
// key it asked with, and every walk starts from a key of its own. A reply
// delivered to the wrong caller shows up as a wrong result or row.
#include <string>
#include <thread>
#include <vector>

#include "include/te_mor.h"
#include "support/fake_daemon.h"

using namespace temor::test;

namespace {

constexpr int kThreads = 16;
constexpr uint32_t kRounds = 100;
constexpr uint32_t kWalkRows = 4;  // rows start, start + 1, ...; start a multiple of 256

// The big-endian number of n bytes at pos in a request (zeros past its end).
uint32_t be(const Bytes &d, size_t pos, size_t n = 4) {
    uint32_t v = 0;
    for (size_t i = pos; i < pos + n; ++i) v = v << 8 | (i < d.size() ? d[i] : 0);
    return v;
}

// The daemon's side of a walk: a first-row request starts a new walk, a
// next-row request continues from the key in its first item. A row carries its key and the
// key's complement in its first two words, then zeros up to size.
struct WalkTable {
    uint32_t walks = 0;  // only the daemon's thread counts
    Bytes answer(const Bytes &request, uint16_t tag, size_t size) {
        uint32_t key;
        if (request.at(1) == TE_MOR_OP_GET_FIRST) {
            key = ++walks << 8;
        } else {
            key = be(request, 12);
            if ((key & 0xff) + 1 >= kWalkRows) return reply(TE_MOR_ERR_NOT_FOUND);
            ++key;
        }
        Bytes row = cat({be32(key), be32(~key)});
        row.resize(size);
        return reply(0, {{tag, row}});
    }
};

// Walks a table with first(rec) and next(key, rec): true when each row
// continues the walk this thread started and the walk ends where it should.
template <class Record, class First, class Next>
bool walk(First first, Next next) {
    Record rec{};
    if (first(&rec) != TE_MOR_OK || (rec.word0 & 0xff) != 0 || rec.word1 != ~rec.word0) return false;
    uint32_t rows = 1, rc;
    for (uint32_t key = rec.word0; (rc = next(key, &rec)) == TE_MOR_OK; key = rec.word0, ++rows)
        if (rec.word0 != key + 1 || rec.word1 != ~rec.word0) return false;
    return rc == TE_MOR_ERR_NOT_FOUND && rows == kWalkRows;
}

// One kind of call the threads make; true when it came back with what it
// asked for (a setter's token is its value, and the result echoes it).
struct Job {
    const char *name;
    bool (*run)(uint32_t token);
};

const Job kJobs[] = {
    {"unchecked setter", [](uint32_t t) { return TE_MOR_SetFrrTimer(t) == t; }},
    {"setter behind the TE-enabled check",
     [](uint32_t t) { return TE_MOR_SetAutoBkpRemovalTimer(t, 0) == t; }},
    {"tunnel walk, a socket per call",
     [](uint32_t) {
         return walk<TeTunnelInfo>(TE_MOR_GetFirstTunnelByTnlId, TE_MOR_GetNextTunnelByTnlId);
     }},
    {"bandwidth walk on a held socket",
     [](uint32_t) {
         const int sock = TE_MOR_LIPCOpen();
         const bool ok = sock >= 0 && walk<TeBwAllocationInfo>(
             [sock](TeBwAllocationInfo *r) { return TE_MOR_GetFirstBwAllocationInfo(sock, r); },
             [sock](uint32_t key, TeBwAllocationInfo *r) {
                 return TE_MOR_GetNextBwAllocationInfo(sock, key, r);
             });
         TE_MOR_LIPCClose(sock);
         return ok;
     }},
};

}  // namespace

class Stress : public DaemonTest {};

TEST_F(Stress, ThreadsOnOwnSocketsGetTheirOwnReplies) {
    WalkTable table;
    daemon->respond_with([&table](const Bytes &request) {
        // Class, op, then the first item's tag and the first word of its value.
        const bool query = request.at(0) == TE_MOR_CLASS_QUERY;
        if (query && be(request, 8, 2) == 105) return table.answer(request, 0, sizeof(TeTunnelInfo));
        if (query && be(request, 8, 2) == 3) return table.answer(request, 3, sizeof(TeBwAllocationInfo));
        return reply(be(request, 12));  // a setter gets its value back as result
    });

    std::vector<std::string> firstError(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (uint32_t round = 1; round <= kRounds && firstError[t].empty(); ++round)
                for (const Job &job : kJobs)
                    if (firstError[t].empty() && !job.run(uint32_t(t + 1) << 16 | round))
                        firstError[t] = job.name;
        });
    }
    for (auto &th : threads) th.join();

    for (int t = 0; t < kThreads; ++t) EXPECT_EQ(firstError[t], "") << "thread " << t;
    EXPECT_EQ(daemon->request_count(), size_t(kThreads) * kRounds * (2 + 2 * (kWalkRows + 1)));
}

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

uint32_t word(const Bytes &v) {
    return v.size() < 4 ? 0 : uint32_t(v[0]) << 24 | uint32_t(v[1]) << 16 | uint32_t(v[2]) << 8 | v[3];
}

// The daemon's side of a walk: a first-row request starts a new walk, a
// next-row request continues from its key. A row carries its key and the
// key's complement in its first two words, then zeros up to size.
struct WalkTable {
    uint32_t walks = 0;  // only the daemon's thread counts
    Bytes answer(const Message &m, uint16_t tag, size_t size) {
        uint32_t key;
        if (m.op == TE_MOR_OP_GET_FIRST) {
            key = ++walks << 8;
        } else {
            key = word(m.items[0].value);
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
    daemon->respond_with([&table](const Bytes &datagram) {
        const Message m = parse(datagram);
        if (m.items.empty()) return reply(TE_MOR_ERR_FAIL);
        const Tlv &first = m.items[0];
        if (m.msgClass == TE_MOR_CLASS_QUERY && first.tag == 105)
            return table.answer(m, 0, sizeof(TeTunnelInfo));
        if (m.msgClass == TE_MOR_CLASS_QUERY && first.tag == 3)
            return table.answer(m, 3, sizeof(TeBwAllocationInfo));
        return reply(word(first.value));  // a setter gets its value back as result
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

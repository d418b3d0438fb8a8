// Sixteen threads call setters and walk tables at once, each on sockets of
// its own, against one fake daemon. Every request carries a token naming its
// thread, job and round; the daemon's reply is built from that token, so a
// reply delivered to the wrong caller shows up as a wrong result or record.
#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "include/te_mor.h"
#include "messaging/layout.h"
#include "query/query.h"
#include "service/te_check.h"
#include "support/fake_daemon.h"

using namespace temor;
using namespace temor::test;

namespace {

constexpr int kThreads = 16;
constexpr uint32_t kRounds = 150;
constexpr uint32_t kWalkRows = 4;

// token: thread (8 bits), job (8 bits), round (16 bits). Never 0.
constexpr uint32_t token_of(uint32_t thread, uint32_t job, uint32_t round) {
    return (thread + 1) << 24 | job << 16 | (round & 0xffff);
}
constexpr uint32_t job_of(uint32_t token) { return (token >> 16) & 0xff; }

uint32_t first_word(const Message &m) {
    if (m.items.empty() || m.items[0].value.size() < 4) return 0;
    const Bytes &v = m.items[0].value;
    return uint32_t(v[0]) << 24 | uint32_t(v[1]) << 16 | uint32_t(v[2]) << 8 | v[3];
}

// A row of the walked table: the token of the walk and the row number.
struct Row {
    uint32_t token;
    uint32_t row;
};
constexpr Field kRowFields[] = {words(0, 2)};
constexpr Layout kRowLayout = layout(sizeof(Row), kRowFields);

// One kind of call the threads make. run() returns an empty string when the
// call came back with what its token asks for; answer() is the daemon's side.
struct Job {
    const char *name;
    std::string (*run)(uint32_t token);
    Bytes (*answer)(uint32_t token, const Message &request);
};

// Setters answer with their token as the result code, which the setter
// returns unchanged.
Bytes result_is_token(uint32_t token, const Message &) { return reply(token); }

std::string expect_result(const char *what, uint32_t got, uint32_t want) {
    if (got == want) return {};
    return std::string(what) + " returned " + std::to_string(got) + ", expected " +
           std::to_string(want);
}

// A walk answers row r of token with {token, r + 1} until kWalkRows rows.
Bytes next_row(uint32_t token, const Message &request) {
    // GET_FIRST's key is the token; GET_NEXT's the token and the last row.
    uint32_t row = 0;
    const Bytes &key = request.items[0].value;
    if (request.op == TE_MOR_OP_GET_NEXT && key.size() >= 8)
        row = uint32_t(key[4]) << 24 | uint32_t(key[5]) << 16 | uint32_t(key[6]) << 8 | key[7];
    if (row >= kWalkRows) return reply(TE_MOR_ERR_NOT_FOUND);
    return reply(0, {{1, cat({be32(token), be32(row + 1)})}});
}

std::string walk(uint32_t token) {
    const int sock = TE_MOR_LIPCOpen();
    if (sock < 0) return "no socket";
    std::string error;
    Row rec{};
    uint32_t rc = query_held(sock, TE_MOR_OP_GET_FIRST, tunnel_key(token),
                             into(&rec, kRowLayout, Expect{1, true, true}));
    uint32_t rows = 0;
    while (rc == TE_MOR_OK && error.empty()) {
        if (rec.token != token || rec.row != rows + 1) {
            error = "row " + std::to_string(rows + 1) + " of walk " + std::to_string(token) +
                    " came back as row " + std::to_string(rec.row) + " of walk " +
                    std::to_string(rec.token);
            break;
        }
        ++rows;
        const uint32_t last = rec.row;
        rc = query_held(sock, TE_MOR_OP_GET_NEXT,
                        item::built<8>(0,
                                       [&](uint8_t *v) {
                                           put_be32(v, token);
                                           put_be32(v + 4, last);
                                       }),
                        into(&rec, kRowLayout, Expect{1, true, true}));
    }
    TE_MOR_LIPCClose(sock);
    if (!error.empty()) return error;
    if (rc != TE_MOR_ERR_NOT_FOUND || rows != kWalkRows)
        return "walk " + std::to_string(token) + " ended after " + std::to_string(rows) +
               " rows with " + std::to_string(rc);
    return {};
}

const Job kJobs[] = {
    {"unchecked setter",
     [](uint32_t t) {
         return expect_result("setter",
                              send(no_check(), TE_MOR_CLASS_TUNNEL, TE_MOR_OP_SET, tunnel_key(t),
                                   item::Octet{15, 1}),
                              t);
     },
     result_is_token},
    {"setter behind the TE-enabled check",
     [](uint32_t t) {
         return expect_result("checked setter",
                              send(rule_u(0), TE_MOR_CLASS_GLOBAL, TE_MOR_OP_SET, item::Word{0, t}),
                              t);
     },
     result_is_token},
    {"walk on a held socket", walk, next_row},
};

}  // namespace

class Stress : public DaemonTest {};

TEST_F(Stress, ThreadsOnOwnSocketsGetTheirOwnReplies) {
    daemon->respond_with([](const Bytes &datagram) {
        const Message m = parse(datagram);
        const uint32_t token = first_word(m);
        if (token == 0 || job_of(token) >= std::size(kJobs)) return reply(TE_MOR_ERR_FAIL);
        return kJobs[job_of(token)].answer(token, m);
    });

    std::atomic<int> failures{0};
    std::vector<std::string> firstError(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (uint32_t round = 0; round < kRounds; ++round) {
                for (uint32_t j = 0; j < std::size(kJobs); ++j) {
                    const std::string e = kJobs[j].run(token_of(t, j, round));
                    if (e.empty()) continue;
                    if (failures.fetch_add(1) == 0 || firstError[t].empty())
                        firstError[t] = std::string(kJobs[j].name) + ": " + e;
                    return;
                }
            }
        });
    }
    for (auto &th : threads) th.join();

    for (int t = 0; t < kThreads; ++t) EXPECT_EQ(firstError[t], "") << "thread " << t;
    EXPECT_EQ(failures.load(), 0);
    EXPECT_EQ(daemon->request_count(),
              size_t(kThreads) * kRounds * (2 + 1 + kWalkRows));
}

#include "support/tables.h"

#include <algorithm>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(addr, size) ((void)(addr), (void)(size))
#define ASAN_UNPOISON_MEMORY_REGION(addr, size) ((void)(addr), (void)(size))
#endif

namespace temor::test {

std::vector<const SetterRow *> &all_setter_rows() {
    static std::vector<const SetterRow *> rows;
    return rows;
}
std::vector<const QueryRow *> &all_query_rows() {
    static std::vector<const QueryRow *> rows;
    return rows;
}
namespace {

constexpr uint32_t kDaemonCode = 0x250C00BF;

// The guard bytes behind a record, which no call may touch (all distinct, so
// that a byte swap past the record shows too).
Bytes guard() { return pattern(64, 0xA0); }

// A caller's record given by its bytes (none: a null record), followed by
// guard bytes; under AddressSanitizer any access to them is reported at once.
struct Record {
    explicit Record(const Bytes &image) : size(image.size()), buf(cat({image, guard()})) {
        ASAN_POISON_MEMORY_REGION(buf.data() + size, buf.size() - size);
    }
    ~Record() { ASAN_UNPOISON_MEMORY_REGION(buf.data() + size, buf.size() - size); }
    Rec rec() { return {size ? buf.data() : nullptr}; }
    Bytes bytes() const { return Bytes(buf.begin(), buf.begin() + ptrdiff_t(size)); }
    bool guard_intact() {
        ASAN_UNPOISON_MEMORY_REGION(buf.data() + size, buf.size() - size);
        const bool intact = Bytes(buf.begin() + ptrdiff_t(size), buf.end()) == guard();
        ASAN_POISON_MEMORY_REGION(buf.data() + size, buf.size() - size);
        return intact;
    }
    size_t size;
    Bytes buf;
};

// Calls call on a record holding image and expects result, the number of
// requests sent, and the record's bytes afterwards. The stack the call's
// buffers take is dirty first, so that a record holding any byte a reply did
// not bring (a short last item) shows it.
void expect_call(const FakeDaemon &d, const std::function<uint32_t(Rec)> &call, const Bytes &image,
                 uint32_t result, size_t sent, const Bytes &after) {
    Record rec(image);
    const size_t count = d.request_count();
    dirty_stack();
    EXPECT_EQ(call(rec.rec()), result);
    EXPECT_EQ(d.request_count(), count + sent);
    EXPECT_EQ(rec.bytes(), after);
    EXPECT_TRUE(rec.guard_intact());
}

// The result while MPLS-TE is off, or nothing when the call goes on.
std::optional<uint32_t> while_off(Form form, uint32_t op) {
    switch (form) {
        case Form::None: return std::nullopt;
        case Form::U: return op == 1 ? TE_MOR_OK : TE_MOR_ERR_TE_DISABLED;
        case Form::N: return op != 0 ? TE_MOR_OK : TE_MOR_ERR_TE_DISABLED;
        case Form::F: return op == 0 ? TE_MOR_OK : TE_MOR_ERR_TE_DISABLED;
        case Form::S: break;
    }
    return TE_MOR_ERR_TE_DISABLED;
}

// Calls the row for op (with a null record when refused) and expects result;
// when sent, the row's request went out and the record holds after,
// otherwise it holds before.
void expect_setter(const FakeDaemon &d, const SetterRow &row, uint32_t op, uint32_t result, bool sent,
                   bool refused = false) {
    SCOPED_TRACE(testing::Message() << (refused ? "refused, op " : "op ") << op);
    const Bytes before = row.before.of ? row.before.of(op) : Bytes{};
    const Bytes after = row.before.of && sent ? row.after.of(op) : before;
    expect_call(d, [&](Rec r) { return row.call.fn(op, refused ? Rec{nullptr} : r); }, before, result, sent, after);
    const Items &items = op == 1 && row.itemsOp1 ? *row.itemsOp1 : row.items;
    if (sent && op <= 1) { EXPECT_EQ(last_sent(d), message(row.msgClass, row.callerOp ? op : row.fixedOp, 0, items)); }
}

// What the caller had in a record that a query must leave untouched.
Bytes previous(const QueryTable &t) { return pattern(t.size, 0x30); }

}  // namespace

std::vector<Decoding> laid_over(uint16_t tag, std::initializer_list<size_t> lengths, const Bytes &before,
                                const std::function<Bytes(const Bytes &)> &image, Bytes base, Items rest) {
    if (base.empty()) base = before;
    std::vector<Decoding> out;
    for (size_t length : lengths) {
        Bytes wire = base;
        std::copy_n(pattern(length).begin(), std::min(length, wire.size()), wire.begin());
        Items items = {{tag, pattern(length)}};
        items.insert(items.end(), rest.begin(), rest.end());
        out.push_back({reply(0, items), before, 0, image(wire)});
    }
    return out;
}

std::string setter_name(const testing::TestParamInfo<SetterRow> &info) { return info.param.name; }
std::string query_name(const testing::TestParamInfo<QueryRow> &info) { return info.param.name; }

// The daemon's code comes back unchanged, 0 included.
TEST_P(SetterTable, Wire) {
    for (uint32_t op : {0u, 1u}) {
        daemon->answer_result(op == 0 ? kDaemonCode : TE_MOR_OK);
        expect_setter(*daemon, GetParam(), op, op == 0 ? kDaemonCode : TE_MOR_OK, true);
    }
    for (uint32_t op : GetParam().refusedOps) expect_setter(*daemon, GetParam(), op, TE_MOR_ERR_FAIL, false, true);
}

// Arguments are judged only once the check has let the call through.
TEST_P(SetterTable, WhileOff) {
    const SetterRow &row = GetParam();
    dirs.set_te_enabled(false);
    for (uint32_t op : {0u, 1u, 2u}) {
        const std::optional<uint32_t> off = while_off(row.form, op);
        const bool refused = !off && op > row.maxOp;
        expect_setter(*daemon, row, op, off.value_or(refused ? TE_MOR_ERR_FAIL : TE_MOR_OK), !off && !refused);
    }
    for (uint32_t op : row.refusedOps)
        expect_setter(*daemon, row, op, while_off(row.form, op).value_or(TE_MOR_ERR_FAIL), false, true);
}

TEST_P(SetterTable, WithoutDaemon) {
    stop_daemon();
    Record rec(GetParam().before.of ? GetParam().before.of(0) : Bytes{});
    EXPECT_EQ(GetParam().call.fn(0, rec.rec()), GetParam().noDaemon);
}

TEST_P(QueryContract, Request) {
    const QueryTable &t = *GetParam().table;
    const auto call = [&](Rec r) { return GetParam().call(sock, r); };
    for (bool on : {true, false}) {
        SCOPED_TRACE(on ? "MPLS-TE on" : "MPLS-TE off");
        dirs.set_te_enabled(on);
        if (!on && t.whileOff) {
            expect_call(*daemon, call, previous(t), *t.whileOff, 0, previous(t));
            continue;
        }
        Items items = {t.answer};
        items.insert(items.end(), t.rest.begin(), t.rest.end());
        daemon->answer_result(TE_MOR_OK, items);
        const Bytes &record = GetParam().record.empty() ? Bytes(t.size, 0) : GetParam().record;
        expect_call(*daemon, call, record, TE_MOR_OK, 1, t.decoded);
        EXPECT_EQ(last_sent(*daemon), GetParam().request);
    }
}

TEST_P(QueryContract, Replies) {
    const QueryTable &t = *GetParam().table;
    const auto call = [&](Rec r) { return GetParam().call(sock, r); };
    const Bytes old = previous(t);
    std::vector<Decoding> cases = {{reply(kDaemonCode, {t.answer}), old, kDaemonCode, old},
                                   {reply(TE_MOR_OK), old, TE_MOR_ERR_FAIL, old}};
    if (t.tag) {
        cases.push_back({reply(TE_MOR_OK, {{uint16_t(*t.tag + 1), t.answer.value}}), old, TE_MOR_ERR_FAIL, old});
        cases.push_back({reply(TE_MOR_OK, {{*t.tag, {}}}), old, TE_MOR_ERR_FAIL, old});
    }
    cases.insert(cases.end(), t.replies.begin(), t.replies.end());
    for (size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE(testing::Message() << "reply " << i);
        daemon->answer(cases[i].reply);
        expect_call(*daemon, call, cases[i].before, cases[i].result, 1, cases[i].after);
    }
    if (t.held) return;
    stop_daemon();
    Record rec(old);
    EXPECT_EQ(call(rec.rec()), t.noDaemon);
    EXPECT_EQ(rec.bytes(), old);
}

TEST_P(QueryContract, Refusals) {
    const QueryRow &row = GetParam();
    const QueryTable &t = *row.table;
    const auto call = [&](Rec r) { return row.call(sock, r); };
    if (t.nullAfterReply) {
        for (uint32_t code : {kDaemonCode, TE_MOR_OK}) {
            daemon->answer_result(code, {t.answer});
            EXPECT_EQ(call(Rec{nullptr}), code ? code : TE_MOR_ERR_FAIL);
        }
    } else {
        expect_call(*daemon, call, {}, TE_MOR_ERR_FAIL, 0, {});
    }
    const Bytes old = previous(t);
    if (t.held) expect_call(*daemon, [&](Rec r) { return row.call(-1, r); }, old, TE_MOR_ERR_FAIL, 0, old);
    if (row.refusedKey)
        expect_call(*daemon, [&](Rec r) { return row.refusedKey(sock, r); }, old, TE_MOR_ERR_FAIL, 0, old);
    if (!t.whileOff) return;
    dirs.set_te_enabled(false);
    expect_call(*daemon, call, {}, *t.whileOff, 0, {});
}

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(SetterTable);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(QueryContract);

}  // namespace temor::test

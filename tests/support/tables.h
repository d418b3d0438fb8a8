// Families of calls as tables: a family's test lists one row per call and
// instantiates the shared tests for them with SETTER_TABLE(Family, rows) or
// QUERY_TABLE(Family, rows), which also register the rows for the checks
// that every setter row and every table function has a test row. The tests own the caller's record, followed by
// guard bytes, and hand it to the row's call as a Rec.
//
// SetterTable, for each SetterRow:
//   Wire           MPLS-TE on: op 0 and op 1 send exactly the row's request and
//                  return the daemon's code unchanged, the record then holding
//                  after; refused calls give TE_MOR_ERR_FAIL and send nothing.
//   WhileOff       ops 0, 1 and 2 as the row's form says; calls that are not
//                  sent, refused ones included, leave the record as before.
//   WithoutDaemon  the result when no socket can be opened.
// QueryContract, for each QueryRow (a socket is held for held tables):
//   Request        the request exactly (from the row's record, if any) and
//                  the answer decoded, also while MPLS-TE is off unless the
//                  table refuses then.
//   Replies        the daemon's code, a reply without an item, a wrong tag or an
//                  empty item (tables with a tag) and a missing daemon leave
//                  the record untouched; the table's own replies decode as
//                  they say.
//   Refusals       a null record, socket -1 and a refused key give
//                  TE_MOR_ERR_FAIL and send nothing.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <type_traits>

#include "support/fake_daemon.h"
#include "support/records.h"

namespace temor::test {

using Items = std::vector<Tlv>;

// What a setter does while MPLS-TE is off; with it on, every form sends.
enum class Form {
    None,  // no check: sent whatever the state
    U,     // op 1 passes with 0, any other op gives TE_MOR_ERR_TE_DISABLED
    N,     // any non-zero op passes with 0, op 0 gives TE_MOR_ERR_TE_DISABLED
    F,     // the call's op is the record's enable byte: 0 passes with 0, others give TE_MOR_ERR_TE_DISABLED
    S,     // always TE_MOR_ERR_TE_DISABLED
};

// A setter call for an op, given the caller's record; rows without a record
// may give a function of the op alone.
struct SetterCall {
    std::function<uint32_t(uint32_t op, Rec record)> fn;
    template <class F>
    SetterCall(F f) {
        if constexpr (std::is_invocable_v<F, uint32_t>) fn = [f](uint32_t op, Rec) { return f(op); };
        else fn = f;
    }
};

// A record's image for each op: the same bytes for every op, or a function
// of the op.
struct Image {
    std::function<Bytes(uint32_t op)> of;
    Image() = default;
    Image(Bytes b) : of([b](uint32_t) { return b; }) {}
    template <class F>
        requires std::is_invocable_r_v<Bytes, F, uint32_t>
    Image(F f) : of(f) {}
};

struct SetterRow {
    std::string name;  // the test name: letters, digits and _
    SetterCall call;
    Form form;
    uint8_t msgClass;
    bool callerOp;  // the header op is the call's op (else 0)
    Items items;    // what is sent
    // Ops with which the call (given a null record if the row has one) is
    // refused once the check has let it through.
    std::vector<uint32_t> refusedOps = {};
    Image before = {}, after = {};  // the record before the call, and after one that went on
    uint32_t noDaemon = TE_MOR_ERR_IPC_OPEN;
    std::optional<Items> itemsOp1 = {};  // what op 1 sends, where it differs
    uint8_t fixedOp = 0;                 // the header op when it is not the call's
    uint32_t maxOp = UINT32_MAX;         // larger ops are refused once the check has passed
};

// Every SETTER_TABLE's rows, for the check that each of the library's
// setter rows has a test row.
std::vector<const SetterRow *> &all_setter_rows();
struct Registered {
    template <size_t N>
    explicit Registered(const SetterRow (&rows)[N]) {
        for (const SetterRow &r : rows) all_setter_rows().push_back(&r);
    }
};

// A reply and what a query makes of it: the result, and the record, which
// held before, afterwards.
struct Decoding {
    Bytes reply;
    Bytes before;
    uint32_t result;
    Bytes after;
};

// For each length, a reply of one item tag holding pattern(length) (then
// rest) over a record holding before: the item's bytes, at most the record's,
// laid over base (before if empty), make the wire image that image turns into
// the record expected.
std::vector<Decoding> laid_over(uint16_t tag, std::initializer_list<size_t> lengths, const Bytes &before,
                                const std::function<Bytes(const Bytes &)> &image, Bytes base = {}, Items rest = {});

struct QueryTable {
    size_t size;    // of the record
    Tlv answer;     // a reply item
    Bytes decoded;  // the record once answer is decoded over zeros
    std::vector<Decoding> replies = {};  // the table's own cases, checked for every row
    bool held = false;  // on the caller's socket (-1 refused), else on one of its own
    std::optional<uint16_t> tag = {};       // the only tag decoded; an empty item fails too
    std::optional<uint32_t> whileOff = {};  // the result while MPLS-TE is off, nothing sent
    uint32_t noDaemon = TE_MOR_ERR_IPC_OPEN;  // (own socket) when none can be opened
    bool nullAfterReply = false;  // a null record is refused only once the daemon has answered
    Items rest = {};  // items the reply carries behind answer
};

// A query on sock (the held socket, or -1) into record.
using QueryCall = std::function<uint32_t(int sock, Rec record)>;

struct QueryRow {
    std::string name;  // the test name: letters, digits and _
    QueryCall call;
    const QueryTable *table;
    Bytes request;
    QueryCall refusedKey = {};  // the call with a key that is refused
    Bytes record = {};          // the caller's record (a key) for the request, else zeros
};

// Every QUERY_TABLE's rows, for the check that each table's functions have
// a test row.
std::vector<const QueryRow *> &all_query_rows();
struct RegisteredQueries {
    template <size_t N>
    explicit RegisteredQueries(const QueryRow (&rows)[N]) {
        for (const QueryRow &r : rows) all_query_rows().push_back(&r);
    }
};

class SetterTable : public DaemonTest, public testing::WithParamInterface<SetterRow> {};
class QueryContract : public HeldSocketTest, public testing::WithParamInterface<QueryRow> {};
inline void PrintTo(const SetterRow &row, std::ostream *os) { *os << row.name; }
inline void PrintTo(const QueryRow &row, std::ostream *os) { *os << row.name; }
// Defined beside the shared tests, which every instantiation thus links in.
std::string setter_name(const testing::TestParamInfo<SetterRow> &info);
std::string query_name(const testing::TestParamInfo<QueryRow> &info);

// A row's call of fn with the given arguments, in which op (a setter's op), s
// (a query's socket) and r (the caller's record) are in scope; the _ROW forms
// give the function's name, the test name, before it.
#define SETTER_CALL(fn, ...) \
    []([[maybe_unused]] uint32_t op, [[maybe_unused]] Rec r) { return fn(__VA_ARGS__); }
#define SETTER_ROW(fn, ...) #fn, SETTER_CALL(fn, __VA_ARGS__)
#define QUERY_CALL(fn, ...) []([[maybe_unused]] int s, [[maybe_unused]] Rec r) { return fn(__VA_ARGS__); }
#define QUERY_ROW(fn, ...) #fn, QUERY_CALL(fn, __VA_ARGS__)
// The function's name and the function, for row helpers that take both.
#define NAMED(fn) #fn, fn

#define SETTER_TABLE(family, rows)                                                        \
    INSTANTIATE_TEST_SUITE_P(family, SetterTable, testing::ValuesIn(rows), setter_name); \
    const Registered family##Registered(rows)
#define QUERY_TABLE(family, rows)                                                           \
    INSTANTIATE_TEST_SUITE_P(family, QueryContract, testing::ValuesIn(rows), query_name); \
    const RegisteredQueries family##Queries(rows)

}  // namespace temor::test

// Every table of tables::kEntryPoints has what its entry points give it: a
// query test row (QUERY_ROW) for each of its functions and one row in the
// fuzz target `tables`. (Its tectl show command, its line in docs/tools.md,
// the example table file and te-simd's usage are checked by the agreement
// check, which runs the tools.)
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "fuzz/table_rows.h"
#include "query/tables.h"
#include "support/tables.h"

using namespace temor::tables;
using temor::test::all_query_rows;
using temor::test::QueryRow;

TEST(TableCoverage, EveryFunctionOfATableHasAQueryTestRow) {
    for (const EntryPoints &e : kEntryPoints) {
        int named = 0;
        for (const EntryPoint *f : {&e.first, &e.next, &e.exact}) {
            if (f->name == nullptr) continue;
            ++named;
            const bool tested = std::any_of(all_query_rows().begin(), all_query_rows().end(),
                                            [&](const QueryRow *r) { return r->name == f->name; });
            EXPECT_TRUE(tested) << "table " << e.table->name << ": " << f->name
                                << " has no query test row (QUERY_ROW in the table's test)";
        }
        EXPECT_GT(named, 0) << "table " << e.table->name << ": its line in kEntryPoints names no function";
    }
}

TEST(TableCoverage, EveryTableHasOneFuzzRow) {
    namespace rows = temor::fuzz;
    const std::vector<temor::fuzz::TableRow> all = temor::fuzz::table_rows();
    for (const Table *t : kAll) {
        const auto row = std::find_if(all.begin(), all.end(), [&](const auto &r) { return r.table == t; });
        EXPECT_TRUE(row != all.end())
            << "table " << t->name << ": no row in the fuzz target tables; its functions take more than a "
            << "socket, a key and a record, so it needs a row of its own (kOwnRows in fuzz/table_rows.h)";
        if (row == all.end() || row->own != nullptr) continue;
        for (const EntryPoint *f : {&row->entryPoints->first, &row->entryPoints->next, &row->entryPoints->exact})
            EXPECT_TRUE(f->name == nullptr || f->call != nullptr)
                << "table " << t->name << ": the fuzz target cannot call " << f->name
                << " (more than a socket, a key and a record); give the table a row of its own (kOwnRows)";
    }
    for (const rows::OwnRow &own : rows::kOwnRows) {
        EXPECT_EQ(std::count_if(std::begin(rows::kOwnRows), std::end(rows::kOwnRows),
                                [&](const rows::OwnRow &r) { return r.table == own.table; }),
                  1)
            << "table " << own.table->name << ": more than one fuzz row of its own (kOwnRows)";
        EXPECT_NE(std::find(kAll.begin(), kAll.end(), own.table), kAll.end())
            << "fuzz row of its own for " << own.table->name << ", which kEntryPoints does not list";
    }
}

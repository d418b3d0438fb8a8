// Replies to every table read: each table's row of fuzz/table_rows.h calls
// its entry points (first row, next row, exact row) on a guarded record of
// the table's size, and checks that a failed read left the record untouched
// and that nothing around it was written.
#include <vector>

#include "fuzz/harness.h"
#include "fuzz/table_rows.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const std::vector<temor::fuzz::TableRow> rows = temor::fuzz::table_rows();
    return temor::fuzz::with_reply(data, size, [](int sock) {
        for (const temor::fuzz::TableRow &r : rows) r.read(sock);
    });
}

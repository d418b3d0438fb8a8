// The tables whose rows the agent cannot take as their records stand: a
// list the query allocates behind the record (segment-routing mappings),
// and a record that is not its layout's image (P2MP tunnel interfaces,
// whose destinations the caller's array receives). Here, and only here,
// each gets how a call's record becomes the row the snapshot keeps (the
// image) and the entries of its list.
#ifndef TEMOR_TOOLS_AGENTX_RECORDS_H
#define TEMOR_TOOLS_AGENTX_RECORDS_H

#include <cstdint>
#include <vector>

#include "messaging/layout.h"

#include "query/tables.h"

namespace agentx {

// Tables the library reads by functions of their own rather than through
// kEntryPoints (the explicit paths, keyed by name): each as a descriptor
// of the row the agent keeps, with its first and next reads, and the arc
// it is served at (from 100 up, apart from kEntryPoints' rows).
struct Extra {
    const temor::tables::Table *table;
    temor::tables::Call first, next;
    uint32_t arc;
};
extern const Extra kExtras[1];

// The table as the agent serves it: t itself, or a description of the
// row it keeps (its image, and the list that comes with it).
const temor::tables::Table &served_table(const temor::tables::Table &t);

// One row: calls fn with the previous row's image (null for the first),
// leaves this row's image in row (served_table(t).recordSize bytes, room
// for t.recordSize) and appends its list's entries to list.
uint32_t read_row(const temor::tables::Table &t, temor::tables::Call fn, int sock, const uint8_t *previous,
                  uint8_t *row, std::vector<uint8_t> &list);

}  // namespace agentx

#endif

// The MIB tree te-agentx serves, described once: built at start-up from the
// library's table descriptions (query/tables.h) and the tools' field kinds
// and naming rule (tools/field_kinds.h). The agent's handlers, its snapshot
// and the TEMOR-MIB module text all come from this one description, so a new
// table of kEntryPoints appears in the agent and in the module by itself.
//
// Under the base OID:
//   .1  status:   daemon reachable, MPLS-TE enabled, snapshot age, last
//                 refresh duration, refreshes, failed refreshes, and .1.7.T
//                 the rows of table T
//   .2  counters: the single numbers (kScalars), one object each
//   .3  records:  .3.T.C, field C of the single record of table T (DS-TE)
//   .4  tables:   .4.T, table T (T: its row of kEntryPoints, from 1), its
//                 columns the record's fields in layout order, indexed by
//                 the table's key fields
//   .5  lists:    .5.T.L, list L of table T's rows (an array inside the
//                 record, or a list that follows it), indexed by the
//                 parent's key and a position from 1
//   .9  conformance
// A table that walks the same record as an earlier one (the tunnel table by
// id) is served by the earlier one only. Tables read by functions of their
// own (the explicit paths, tools/agentx/records.h) have arcs from 100 up.
#ifndef TEMOR_TOOLS_AGENTX_MIB_MODEL_H
#define TEMOR_TOOLS_AGENTX_MIB_MODEL_H

#include <cstdint>
#include <string>
#include <vector>

#include "messaging/layout.h"
#include "query/tables.h"

namespace agentx {

using Oid = std::vector<uint32_t>;

// The default base: under the enterprise number reserved for documentation
// (a vendor puts its own number here).
inline const Oid kDefaultBase = {1, 3, 6, 1, 4, 1, 32473, 1};

// "1.3.6.1" (a leading dot allowed) as arcs; empty when it is not an OID.
Oid parse_oid(const std::string &text);
std::string oid_text(const Oid &oid);

// Where a column's values lie: in the row's record, in an array of the
// parent's record (one row per element), or in the list read with the row.
enum class Source : uint8_t { Record, Array, List };

struct Column {
    uint32_t arc;
    std::string name;         // MIB object name
    const temor::Field *field;
    uint16_t element;         // Record: the element of a numbered field
    std::string json;         // its key in tectl --json rows (fields::Name::json)
};

struct Table {
    std::string name;         // temorTunnels: temorTunnelsTable, temorTunnelsEntry
    Oid oid;                  // of the ...Table object
    const temor::tables::Table *source;  // as served (tools/agentx/records.h): its row, its list
    const temor::tables::Table *origin;  // as the library reads it
    temor::tables::Call first = nullptr, next = nullptr;
    int parent = -1;          // a list: the table in Model::tables it belongs to
    Source from = Source::Record;
    std::vector<Column> columns;  // a list's first column is its position (not served)
    std::vector<Column> index;    // a table's key elements (also among its columns)
    std::string arrayKey;         // Array: the field name's part before "[%u]"
};

// A single object (instance .0).
enum class ScalarKind : uint8_t { Status, Rows, Counter, RecordField };
enum class Status : uint8_t { Reachable = 1, Enabled, Age, Duration, Refreshes, Failed };

struct Scalar {
    std::string name;
    Oid oid;
    ScalarKind kind;
    int which;                // Status, the table (Rows), kScalars row, the record
    const temor::Field *field = nullptr;  // RecordField
    uint16_t element = 0;
    std::string json;         // RecordField: its key in tectl --json rows
};

// A single record read with one call (DS-TE).
struct Record {
    std::string name;
    const temor::tables::Table *source;
    temor::tables::Call first;
};

struct Model {
    Oid base;
    std::vector<Table> tables;    // each main table followed by its lists
    std::vector<Scalar> scalars;  // in OID order
    std::vector<Record> records;
};

Model build(const Oid &base);

// The SMIv2 syntax of a column or scalar, and whether the agent sends it as
// an Unsigned32-like number (Gauge32) rather than an OCTET STRING.
std::string syntax_of(const temor::Field &f);
bool is_number(const temor::Field &f);

// The TEMOR-MIB module naming every object of the model.
std::string mib_text(const Model &m);
// Every object of the model, one "OID NAME" line each, in OID order; a
// column or a record's field adds its table's name and its key in tectl's
// --json rows ("entries.half0": member half0 of the array entries).
std::string oid_list(const Model &m);

// Arcs of the longest instance name the model can serve (a text key at its
// longest), which must stay within an OID's kOidArcs.
constexpr size_t kOidArcs = 128;
size_t longest_instance(const Model &m);

}  // namespace agentx

#endif

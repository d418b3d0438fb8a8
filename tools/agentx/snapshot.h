// The snapshot te-agentx answers from: every table's rows as their records
// (host order, in key order), the lists read with them, the counters and
// single records, taken by one refresh. A refresh builds a new snapshot and
// the agent swaps it in whole; a refresh that fails leaves the old one.
// Lookups (get, next) are binary searches on it and never call the library.
#ifndef TEMOR_TOOLS_AGENTX_SNAPSHOT_H
#define TEMOR_TOOLS_AGENTX_SNAPSHOT_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/agentx/mib_model.h"

namespace agentx {

struct Rows {
    std::vector<uint8_t> records;  // main table: rows x recordSize
    uint32_t count = 0;            // rows (a list: its rows over every parent row)
    std::vector<uint8_t> list;     // List: the entries of every row, one after another
    std::vector<uint32_t> before;  // a list: its rows before each parent row (parent rows + 1)
};

struct Snapshot {
    std::chrono::steady_clock::time_point taken;
    bool teEnabled = false;
    std::vector<Rows> tables;                 // as Model::tables
    std::vector<uint32_t> counters;           // as kScalars
    std::vector<std::vector<uint8_t>> records;  // as Model::records
    size_t bytes() const;        // what the snapshot holds
    size_t recordBytes = 0;      // rows x record size, list entries x entry size
};

// What a refresh did, for the status objects and the log.
struct Refresh {
    bool ok = false;
    bool reachable = false;
    std::string problem;   // why it failed: the counter or table (as tectl names it) and what went wrong
    uint64_t calls = 0;    // library calls made
    uint64_t rows = 0;
};

// Walks every table of the model into a new snapshot (the worker's part).
// Each table's vectors start at the size of the same table in last (the
// snapshot being served, or null) and grow in place from there, so that a
// refresh holds about one snapshot's records more than the one served.
std::optional<Snapshot> take(const Model &m, Refresh &r, size_t rowCap, const Snapshot *last = nullptr);

// A value as the agent sends it.
struct Value {
    uint8_t type;  // ASN type
    uint32_t number = 0;
    std::string octets;
};
struct Instance {
    Oid name;
    Value value;
};
struct Live {  // status that is not part of a snapshot
    bool reachable = false;
    uint32_t durationMs = 0;
    uint32_t refreshes = 0, failed = 0;
};

// GET: the instance named exactly, or why not (noSuchObject when the name
// is no object of the subtree, noSuchInstance when the object has no such
// row).
enum class Miss : uint8_t { None, NoObject, NoInstance };
Miss get(const Model &m, const Snapshot &s, const Live &l, const Oid &root, const Oid &name, Value &out);
// GETNEXT: the first instance after name within root's subtree, or none.
std::optional<Instance> next(const Model &m, const Snapshot &s, const Live &l, const Oid &root, const Oid &name);

}  // namespace agentx

#endif

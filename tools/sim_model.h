// The TE daemon simulator's state: the configuration that setters leave
// behind, the tables that queries walk, and the request dispatcher that turns
// one decoded request into one reply. Which requests exist, how long their
// values are, which tables there are and how their rows are keyed all come
// from the library's own descriptions (config/setters.h, query/tables.h).
#ifndef TEMOR_TOOLS_SIM_MODEL_H
#define TEMOR_TOOLS_SIM_MODEL_H

#include <array>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "query/tables.h"
#include "tools/sim_rows.h"

namespace sim {

using Bytes = std::vector<uint8_t>;

// Result codes of the simulator's own (documented in docs/tools.md).
enum Code : uint32_t {
    kOk = 0,
    kNotFound = 0x40010005u,     // exact request for a key the table lacks
    kEndOfTable = 0x40010006u,   // first row of an empty table, next after the last
    kUnsupported = 0x40010007u,  // class, op or tag the simulator does not know
    kMalformed = 0x40010008u,    // length fields that do not add up, missing items
    kFull = 0x40010009u,         // the model holds its limit of settings or of a table's rows
};

// The model's bounds: a client cannot make the simulator grow without limit.
constexpr size_t kMaxSettings = 4096;      // stored setter values
constexpr size_t kDefaultMaxRows = 1000000;  // rows of one record kind, unless --max-rows
constexpr size_t kMaxPaths = 4096;         // explicit paths
constexpr size_t kMaxHopsPerPath = 64;     // hops of one explicit path (its reply fits a datagram)
// Entries of one list reply: a reply holds 2040 payload bytes, a 16-byte row
// and the list (a count and 8-byte entries) each behind a 4-byte item header.
constexpr uint32_t kMaxListEntries = (2040 - 4 - 16 - 4 - 4) / 8;

// The most entries of a list that one reply can carry behind its record
// (header, record item, list item header) for a table with a list.
constexpr size_t max_list_entries(const temor::tables::Table &t) {
    return (TE_MOR_MSG_MAX - 8u - 4u - t.record->size - 4u) / t.list->entry->size;
}

struct Item {
    uint16_t tag = 0;
    Bytes value;
};

struct Request {
    uint8_t cls = 0;
    uint8_t op = 0;
    std::vector<Item> items;
};

struct Reply {
    uint32_t result = kOk;
    std::vector<Item> items;
};

// Parses a datagram. Returns kOk, or kMalformed when it is shorter than the
// header, its payload length differs from the bytes received, or its items
// do not exactly fill the payload.
uint32_t parse(const uint8_t *data, size_t size, Request &out);

// Encodes a reply header (class and op echo the request) and its items.
Bytes encode(uint8_t cls, uint8_t op, const Reply &reply);

// The single numbers of query/tables.h, names and tags only: the simulator
// links no exported function, so it never refers to the library's list
// outside a constant evaluation.
struct Scalar {
    const char *name;
    uint16_t tag;
};
inline constexpr auto kScalars = [] {
    std::array<Scalar, std::size(temor::tables::kScalars)> out{};
    for (size_t i = 0; i < out.size(); ++i)
        out[i] = {temor::tables::kScalars[i].name, temor::tables::kScalars[i].tag};
    return out;
}();

class Model {
public:
    Reply handle(const Request &req);

    // Adds a row (a wire image of the table's record, followed by its list's
    // entries for a table with a list) to every table that
    // reads the same record; a row of those tables with the same key as the
    // new one is replaced.
    // Adds or replaces a row; false when the table is full and the row new.
    bool add_row(const temor::tables::Table &table, Bytes image);
    // The most rows of one record kind (kDefaultMaxRows until set). Returns
    // the name of a table that already holds more, else nullptr.
    const char *set_max_rows(size_t max);
    size_t max_rows() const { return maxRows_; }
    // Releases what the row buffers hold beyond the rows (after loading).
    void shrink_rows();
    // Fixes the number answered for a scalar instead of the computed one.
    void set_counter(const Scalar &scalar, uint32_t value);

    // An explicit path: its flag (1 while disabled) and its hops, each the
    // 20-byte wire image of a hop.
    struct Path {
        uint8_t flag = 0;
        std::vector<Bytes> hops;
    };
    // Adds a path (keeping its hops when it exists) or a hop to one; false
    // when the model is at its bound or (hops) the path does not exist.
    bool add_path(const std::string &name, uint8_t flag);
    bool add_path_hop(const std::string &name, Bytes hop);
    const std::map<std::string, Path> &paths() const { return paths_; }

    // Setter configuration: (class, key item bytes, tag) -> value.
    using SettingKey = std::tuple<uint8_t, Bytes, uint16_t>;
    const std::map<SettingKey, Bytes> &settings() const { return settings_; }
    // The setter a setting belongs to: "FAMILY NAME", e.g. "global frr-timer".
    static std::string setter_name(uint8_t cls, uint16_t tag);
    // Counts the requests that changed a setting; the state file is written
    // again only when it has moved.
    uint64_t settings_version() const { return settingsVersion_; }

    // Takes over what requests made in `old`: its settings, the rows that
    // requests created (tunnels, hop rows), each replacing a row of this
    // model with its key, and the explicit paths that requests created or
    // changed, each replacing the one of its name (for a model freshly loaded
    // from the tables files). Returns how many rows and paths no longer fit.
    size_t keep_requests_of(const Model &old);

private:
    Reply set(const Request &req);
    void remember_row(const temor::tables::Table &table, const Bytes &row, bool kept);
    void remember_path(const std::string &name);
    Reply query(const Request &req) const;
    Reply report(const Request &req) const;  // tools/sim_report.h
    Reply answer(const temor::tables::Table &table, uint8_t op, const Bytes &key) const;
    Reply if_config(uint8_t op, const Bytes &key) const;
    const RowStore *rows_of(const temor::tables::Table &table) const;
    Bytes list(const temor::tables::Table &table, const Bytes &prefix) const;
    uint32_t scalar(const Scalar &s) const;
    bool create_tunnel(const Bytes &config);
    Reply set_path(const Request &req, uint16_t tag);
    Reply set_hop_row(const temor::tables::Table &table, uint8_t op, const Bytes &image);
    Reply expath(uint8_t op, const Bytes &key) const;

    std::map<SettingKey, Bytes> settings_;
    // Rows by record layout: tables reading the same record share them.
    std::map<const temor::Layout *, RowStore> rows_;
    size_t maxRows_ = kDefaultMaxRows;
    std::map<uint16_t, uint32_t> counters_;  // scalar tag -> fixed value
    std::map<std::string, Path> paths_;      // explicit paths by name
    uint64_t settingsVersion_ = 0;
    // What requests made, which a reload of the tables files keeps: rows
    // (one per key) and the names of paths.
    std::vector<std::pair<const temor::tables::Table *, Bytes>> requestRows_;
    std::set<std::string> requestPaths_;
};

// Reads a table file into model. Returns an empty string, or what is wrong
// as "FILE:LINE: message" ("FILE: message" when it cannot be read at all).
std::string load_tables(const std::string &path, Model &model);

// The row kinds of a table file and their fields, for the usage text.
std::string table_rows_help();

}  // namespace sim

#endif

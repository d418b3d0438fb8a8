// The TE daemon simulator's state: the configuration that setters leave
// behind, the tables that queries walk, and the request dispatcher that turns
// one decoded request into one reply.
#ifndef TEMOR_TOOLS_SIM_MODEL_H
#define TEMOR_TOOLS_SIM_MODEL_H

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <tuple>
#include <vector>

namespace sim {

using Bytes = std::vector<uint8_t>;

// Result codes of the simulator's own (documented in docs/tools.md).
enum Code : uint32_t {
    kOk = 0,
    kNotFound = 0x40010005u,     // exact request for a key the table lacks
    kEndOfTable = 0x40010006u,   // first row of an empty table, next after the last
    kUnsupported = 0x40010007u,  // class, op or tag the simulator does not know
    kMalformed = 0x40010008u,    // length fields that do not add up, no items
};

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

// A table of rows in key order: keys are big-endian byte strings, so byte
// order is numeric order.
struct Table {
    std::map<Bytes, Bytes> rows;
    // op 3 exact, op 4 first (key ignored), op 5 the row after key.
    Reply answer(uint8_t op, const Bytes &key, uint16_t replyTag) const;
};

class Model {
public:
    Model();
    // Reads a table file; returns an empty string or "line N: message".
    std::string load(const std::string &path);
    Reply handle(const Request &req);

    // Setter configuration: (class, key item bytes, tag) -> value.
    using SettingKey = std::tuple<uint8_t, Bytes, uint16_t>;
    const std::map<SettingKey, Bytes> &settings() const { return settings_; }

private:
    Reply set(const Request &req);
    Reply query(const Request &req);
    void add_tunnel(const uint8_t *config, size_t size);

    std::map<SettingKey, Bytes> settings_;
    Table tunnels_;                        // key: index set (16 bytes)
    std::map<uint32_t, Bytes> tnlIds_;     // tunnel id -> index set
    Table bwAlloc_;                        // key: 4-byte row key
    Bytes dste_;                           // the DS-TE record, empty if none
    std::map<uint16_t, uint32_t> counters_;
    // Class-4 queries by tag; a later table is one more entry.
    std::map<uint16_t, std::function<Reply(uint8_t op, const Bytes &key)>> queries_;
};

}  // namespace sim

#endif

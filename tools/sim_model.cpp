#include "tools/sim_model.h"

#include <cstring>
#include <fstream>
#include <sstream>

#include "messaging/bytes.h"

namespace sim {

using temor::get_be32;
using temor::put_be16;
using temor::put_be32;

namespace {

constexpr uint8_t kClassGlobal = 0;
constexpr uint8_t kClassQuery = 4;
constexpr uint8_t kClassTunnelCreate = 6;
constexpr uint16_t kTagTeardown = 12;  // class 0, op 1: MPLS-TE is being switched off
constexpr uint16_t kTagTrap = 10;      // class 0: traps on while set
constexpr uint16_t kTagDebugSet = 9;   // class 0: debug flags and item
constexpr uint16_t kTagTunnelConfig = 24;

// Query tags (class 4).
enum QueryTag : uint16_t {
    kQDste = 2,
    kQBwAlloc = 3,
    kQDebug = 4,
    kQDebugReply = 6,
    kQConfigured = 100,
    kQTunnelByIndex = 101,
    kQNextPathHop = 102,
    kQNotify = 104,
    kQTunnelById = 105,
    kQActive = 106,
    kQPrimary = 107,
    kQBypass = 108,
    kQNextHopList = 110,
};

// Classes whose first item is the key of the object configured.
bool keyed(uint8_t cls) { return cls == 1 || cls == 2 || cls == 3 || cls == 7 || cls == 9; }
bool known_setter_class(uint8_t cls) { return cls <= 9 && cls != 4 && cls != 5; }

constexpr size_t kConfigSize = 292;
constexpr size_t kTunnelInfoSize = 128;
constexpr size_t kBwRowSize = 292;
constexpr size_t kDsteSize = 60;

Bytes be32(uint32_t v) {
    Bytes b(4);
    put_be32(b.data(), v);
    return b;
}

Reply one(uint16_t tag, Bytes value) { return Reply{kOk, {Item{tag, std::move(value)}}}; }
Reply fail(uint32_t code) { return Reply{code, {}}; }

// A tunnel configuration with the given id and name, as a client sends it.
Bytes make_config(uint32_t id, const std::string &name) {
    Bytes c(kConfigSize, 0);
    put_be32(c.data(), id);
    std::memcpy(c.data() + 36, name.data(), std::min<size_t>(name.size(), 255));
    return c;
}

}  // namespace

uint32_t parse(const uint8_t *data, size_t size, Request &out) {
    if (size < 8) return kMalformed;
    out.cls = data[0];
    out.op = data[1];
    const size_t payload = static_cast<size_t>(data[2]) << 8 | data[3];
    if (payload != size - 8) return kMalformed;
    size_t at = 8;
    while (at < size) {
        if (size - at < 4) return kMalformed;
        const uint16_t tag = static_cast<uint16_t>(data[at] << 8 | data[at + 1]);
        const size_t len = static_cast<size_t>(data[at + 2]) << 8 | data[at + 3];
        if (len > size - at - 4) return kMalformed;
        out.items.push_back(Item{tag, Bytes(data + at + 4, data + at + 4 + len)});
        at += 4 + len;
    }
    return kOk;
}

Bytes encode(uint8_t cls, uint8_t op, const Reply &reply) {
    Bytes out(8, 0);
    out[0] = cls;
    out[1] = op;
    for (const Item &it : reply.items) {
        const size_t at = out.size();
        out.resize(at + 4 + it.value.size());
        put_be16(&out[at], it.tag);
        put_be16(&out[at + 2], static_cast<uint16_t>(it.value.size()));
        if (!it.value.empty()) std::memcpy(&out[at + 4], it.value.data(), it.value.size());
    }
    put_be16(&out[2], static_cast<uint16_t>(out.size() - 8));
    put_be32(&out[4], reply.result);
    return out;
}

Reply Table::answer(uint8_t op, const Bytes &key, uint16_t replyTag) const {
    std::map<Bytes, Bytes>::const_iterator it;
    switch (op) {
    case 3:
        it = rows.find(key);
        if (it == rows.end()) return fail(kNotFound);
        break;
    case 4:
        it = rows.begin();
        break;
    case 5:
        it = rows.upper_bound(key);
        break;
    default:
        return fail(kUnsupported);
    }
    if (it == rows.end()) return fail(kEndOfTable);
    return one(replyTag, it->second);
}

Model::Model() {
    auto scalar = [this](uint16_t tag, std::function<uint32_t()> computed) {
        queries_[tag] = [this, tag, computed](uint8_t, const Bytes &) {
            const auto set = counters_.find(tag);
            return one(tag, be32(set != counters_.end() ? set->second : computed()));
        };
    };
    auto tunnel_count = [this] { return static_cast<uint32_t>(tunnels_.rows.size()); };
    scalar(kQConfigured, tunnel_count);
    scalar(kQActive, tunnel_count);
    scalar(kQPrimary, tunnel_count);
    scalar(kQBypass, [] { return 0u; });
    scalar(kQNextPathHop, [] { return 1u; });
    scalar(kQNextHopList, [] { return 1u; });

    queries_[kQNotify] = [this](uint8_t, const Bytes &) {
        return one(kQNotify, be32(settings_.count({kClassGlobal, Bytes{}, kTagTrap}) ? 1 : 0));
    };
    queries_[kQDebug] = [this](uint8_t, const Bytes &) {
        Bytes v(206, 0);
        const auto it = settings_.find({kClassGlobal, Bytes{}, kTagDebugSet});
        if (it != settings_.end()) std::memcpy(v.data(), it->second.data(), std::min<size_t>(6, it->second.size()));
        return one(kQDebugReply, v);
    };
    queries_[kQTunnelByIndex] = [this](uint8_t op, const Bytes &key) {
        return tunnels_.answer(op, key, kQTunnelByIndex);
    };
    queries_[kQTunnelById] = [this](uint8_t op, const Bytes &key) {
        const uint32_t id = key.size() == 4 ? get_be32(key.data()) : 0;
        std::map<uint32_t, Bytes>::const_iterator it;
        if (op == 3) {
            it = tnlIds_.find(id);
            if (it == tnlIds_.end()) return fail(kNotFound);
        } else if (op == 4) {
            it = tnlIds_.begin();
        } else if (op == 5) {
            it = tnlIds_.upper_bound(id);
        } else {
            return fail(kUnsupported);
        }
        if (it == tnlIds_.end()) return fail(kEndOfTable);
        return one(kQTunnelById, tunnels_.rows.at(it->second));
    };
    queries_[kQBwAlloc] = [this](uint8_t op, const Bytes &key) {
        return bwAlloc_.answer(op, key, kQBwAlloc);
    };
    queries_[kQDste] = [this](uint8_t op, const Bytes &) {
        if (op != 3) return fail(kUnsupported);
        return dste_.empty() ? fail(kNotFound) : one(kQDste, dste_);
    };
}

// The tunnel row a configuration produces: the index set is (tunnel id =
// config word0, config word1..word3); see docs/tools.md for every field.
void Model::add_tunnel(const uint8_t *c, size_t size) {
    Bytes cfg(c, c + size);
    cfg.resize(kConfigSize, 0);
    const uint32_t id = get_be32(cfg.data());
    Bytes row(kTunnelInfoSize, 0);
    std::memcpy(&row[0], &cfg[0], 16);        // word0..3: the index set
    std::memcpy(&row[16], &cfg[0], 4);        // word4: tunnel id
    std::memcpy(&row[20], &cfg[16], 12);      // word5..7: config word4..6
    std::memcpy(&row[60], &cfg[28], 4);       // half0, half1: config half0, half1
    put_be16(&row[64], 1);                    // half2: admin state up
    put_be16(&row[66], 1);                    // half3: operational state up
    std::memcpy(&row[68], &cfg[36], 23);      // rawBlock: name, at most 23 characters
    std::memcpy(&row[92], &cfg[32], 4);       // word15: config byte0..3
    Bytes key(row.begin(), row.begin() + 16);
    const auto old = tnlIds_.find(id);
    if (old != tnlIds_.end()) tunnels_.rows.erase(old->second);
    tnlIds_[id] = key;
    tunnels_.rows[key] = row;
}

Reply Model::set(const Request &req) {
    if (!known_setter_class(req.cls)) return fail(kUnsupported);
    if (req.op > 1) return fail(kUnsupported);
    if (req.items.empty()) return fail(kMalformed);
    if (req.cls == kClassTunnelCreate) {
        const Item &it = req.items.front();
        if (req.op != 0 || it.tag != kTagTunnelConfig) return fail(kUnsupported);
        if (it.value.size() != kConfigSize) return fail(kMalformed);
        add_tunnel(it.value.data(), it.value.size());
        return {};
    }
    if (req.cls == kClassGlobal && req.op == 1 && req.items.front().tag == kTagTeardown) {
        settings_.clear();
        tunnels_.rows.clear();
        tnlIds_.clear();
        return {};
    }
    size_t first = 0;
    Bytes key;
    if (keyed(req.cls)) {
        if (req.items.size() < 2) return fail(kMalformed);
        key = req.items.front().value;
        first = 1;
    }
    for (size_t i = first; i < req.items.size(); ++i) {
        const SettingKey k{req.cls, key, req.items[i].tag};
        if (req.op == 0) {
            settings_[k] = req.items[i].value;
        } else {
            settings_.erase(k);
        }
    }
    return {};
}

Reply Model::query(const Request &req) {
    if (req.op < 3 || req.op > 5) return fail(kUnsupported);
    if (req.items.empty()) return fail(kMalformed);
    const auto q = queries_.find(req.items.front().tag);
    if (q == queries_.end()) return fail(kUnsupported);
    return q->second(req.op, req.items.front().value);
}

Reply Model::handle(const Request &req) {
    return req.cls == kClassQuery ? query(req) : set(req);
}

// Table file: one row per line, "#" starts a comment. Each keyword has its
// own line reader; a later table is one more entry here.
std::string Model::load(const std::string &path) {
    std::ifstream in(path);
    if (!in) return "cannot open " + path;
    using Reader = std::function<bool(std::istringstream &)>;
    const std::map<std::string, Reader> readers = {
        {"counter",
         [this](std::istringstream &s) {
             uint32_t tag = 0, value = 0;
             if (!(s >> tag >> value) || !queries_.count(static_cast<uint16_t>(tag))) return false;
             counters_[static_cast<uint16_t>(tag)] = value;
             return true;
         }},
        {"tunnel",
         [this](std::istringstream &s) {
             uint32_t id = 0;
             std::string name;
             if (!(s >> id)) return false;
             s >> name;
             const Bytes c = make_config(id, name);
             add_tunnel(c.data(), c.size());
             return true;
         }},
        {"bw",
         [this](std::istringstream &s) {
             uint32_t w[6];
             for (uint32_t &v : w)
                 if (!(s >> v)) return false;
             if (w[0] == 0) return false;  // key 0 asks for the first row
             Bytes row(kBwRowSize, 0);
             for (int i = 0; i < 6; ++i) put_be32(&row[4 * i], w[i]);
             std::string entry;
             uint8_t n = 0;
             while (s >> entry) {
                 uint32_t a = 0, b = 0;
                 char slash = 0;
                 std::istringstream e(entry);
                 if (n == 16 || !(e >> a >> slash >> b) || slash != '/') return false;
                 uint8_t *at = &row[100 + 12 * n];
                 at[0] = n;  // entryBytes[0]: the entry's class type
                 put_be32(at + 4, a);
                 put_be32(at + 8, b);
                 ++n;
             }
             row[88] = n;
             bwAlloc_.rows[be32(w[0])] = row;
             return true;
         }},
        {"dste",
         [this](std::istringstream &s) {
             uint32_t w0 = 0, w1 = 0, w2 = 0;
             if (!(s >> w0 >> w1 >> w2)) return false;
             dste_.assign(kDsteSize, 0);
             put_be32(&dste_[0], w0);
             put_be32(&dste_[4], w1);
             put_be32(&dste_[56], w2);
             return true;
         }},
    };
    std::string line;
    for (int n = 1; std::getline(in, line); ++n) {
        line = line.substr(0, line.find('#'));
        std::istringstream s(line);
        std::string word;
        if (!(s >> word)) continue;
        const auto r = readers.find(word);
        if (r == readers.end()) return "line " + std::to_string(n) + ": unknown row kind '" + word + "'";
        if (!r->second(s)) return "line " + std::to_string(n) + ": bad " + word + " row";
    }
    return {};
}

}  // namespace sim

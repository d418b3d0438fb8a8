// Writes the seed inputs of the fuzz targets, one file per seed, into
// DIR/<target>/ (the build runs it; the files are never committed):
//   temor_fuzz_seeds DIR
// A seed is a whole reply datagram: an 8-byte header (class, op, payload
// length big-endian, result big-endian) and items (tag and length
// big-endian, then the value). The seeds of the tables and the numbers come
// from their descriptors, so a new table or number gets its seeds here
// without an edit.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <initializer_list>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/decoders.h"
#include "include/te_mor.h"
#include "query/tables.h"

namespace {

namespace tables = temor::tables;
using Bytes = std::vector<uint8_t>;

void put16(Bytes &b, uint32_t v) {
    b.push_back(static_cast<uint8_t>(v >> 8));
    b.push_back(static_cast<uint8_t>(v));
}

void put32(Bytes &b, uint32_t v) {
    put16(b, v >> 16);
    put16(b, v);
}

Bytes item(uint16_t tag, const Bytes &value) {
    Bytes b;
    put16(b, tag);
    put16(b, static_cast<uint32_t>(value.size()));
    b.insert(b.end(), value.begin(), value.end());
    return b;
}

Bytes reply(uint32_t result, std::initializer_list<Bytes> items = {}) {
    Bytes payload;
    for (const Bytes &it : items) payload.insert(payload.end(), it.begin(), it.end());
    Bytes b{TE_MOR_CLASS_QUERY, TE_MOR_OP_GET};
    put16(b, static_cast<uint32_t>(payload.size()));
    put32(b, result);
    b.insert(b.end(), payload.begin(), payload.end());
    return b;
}

Bytes words(std::initializer_list<uint32_t> values) {
    Bytes b;
    for (uint32_t v : values) put32(b, v);
    return b;
}

// n bytes counting up from 1: every field of a record gets a distinct value.
Bytes ramp(size_t n) {
    Bytes b(n);
    for (size_t i = 0; i < n; ++i) b[i] = static_cast<uint8_t>(i + 1);
    return b;
}

class Seeds {
public:
    explicit Seeds(std::filesystem::path dir) : dir_(std::move(dir)) {}

    void add(const std::string &target, const std::string &name, const Bytes &data) {
        const std::filesystem::path path = dir_ / target / name;
        std::filesystem::create_directories(path.parent_path());
        FILE *f = std::fopen(path.c_str(), "wb");
        if (f == nullptr || std::fwrite(data.data(), 1, data.size(), f) != data.size() ||
            std::fclose(f) != 0) {
            std::perror(path.c_str());
            ok_ = false;
        }
    }

    // Replies carrying a record of size bytes in an item of the given tag:
    // the whole record, a short item, an over-long item, and the whole
    // record behind a refusal (never to be decoded).
    void record(const std::string &target, const std::string &name, uint16_t tag, size_t size) {
        add(target, name + "-row", reply(TE_MOR_OK, {item(tag, ramp(size))}));
        add(target, name + "-short", reply(TE_MOR_OK, {item(tag, ramp((size + 1) / 2))}));
        add(target, name + "-long", reply(TE_MOR_OK, {item(tag, ramp(size + 16))}));
        add(target, name + "-refused", reply(TE_MOR_ERR_NOT_FOUND, {item(tag, ramp(size))}));
    }

    bool ok() const { return ok_; }

private:
    std::filesystem::path dir_;
    bool ok_ = true;
};

// A record with every kind of field a layout knows, as the reply reader's
// target describes it: four words, four halves, 16 bytes of text, four
// words of which the byte after them counts the valid ones, seven bytes, a
// 64-bit number, two host-order halves and four bytes of padding.
Bytes sample() {
    Bytes b = words({1, 2, 3, 0xffffffff});
    for (uint32_t h : {1, 2, 3, 4}) put16(b, h);
    const std::string name = "tunnel-7";
    b.insert(b.end(), name.begin(), name.end());
    b.resize(b.size() + 16 - name.size());
    const Bytes list = words({10, 20, 30, 40});
    b.insert(b.end(), list.begin(), list.end());
    b.push_back(3);
    b.resize(b.size() + 7);
    const Bytes quad = words({0x01020304, 0x05060708});
    b.insert(b.end(), quad.begin(), quad.end());
    b.insert(b.end(), {0x12, 0x34, 0x56, 0x78});
    b.resize(b.size() + 4);
    return b;
}

// Appends the bytes of the file at path to out.
bool read_file(const std::filesystem::path &path, Bytes &out) {
    FILE *f = std::fopen(path.c_str(), "rb");
    if (f == nullptr) {
        std::perror(path.c_str());
        return false;
    }
    uint8_t buf[4096];
    for (size_t n; (n = std::fread(buf, 1, sizeof buf, f)) != 0;)
        out.insert(out.end(), buf, buf + n);
    const bool ok = std::ferror(f) == 0;
    std::fclose(f);
    if (!ok) std::perror(path.c_str());
    return ok;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s DIR\n", argv[0]);
        return 2;
    }
    Seeds seeds(argv[1]);

    for (const tables::Table *t : tables::kAll) {
        const uint16_t tag = t->expect.tag >= 0 ? static_cast<uint16_t>(t->expect.tag) : t->tag;
        seeds.record("tables", t->name, tag, t->record->size);
    }
    seeds.add("tables", "empty", reply(TE_MOR_OK));
    // Tables with a list behind the record: n entries of the entry's size, a
    // count the entry item cannot hold, a count with an empty list, none.
    for (const tables::Table *t : tables::kAll) {
        if (t->list == nullptr) continue;
        const uint16_t tag = static_cast<uint16_t>(t->expect.tag >= 0 ? t->expect.tag : t->tag);
        const auto head = [t](uint32_t count) {
            Bytes h = ramp(t->record->size);
            h[t->list->countAt] = static_cast<uint8_t>(count >> 24);
            h[t->list->countAt + 1] = static_cast<uint8_t>(count >> 16);
            h[t->list->countAt + 2] = static_cast<uint8_t>(count >> 8);
            h[t->list->countAt + 3] = static_cast<uint8_t>(count);
            return h;
        };
        const std::string name = t->name;
        const size_t entry = t->list->entry->size;
        seeds.add("tables", name + "-list", reply(TE_MOR_OK, {item(tag, head(3)), item(t->list->tag, ramp(3 * entry))}));
        seeds.add("tables", name + "-wide-entries",
                  reply(TE_MOR_OK, {item(tag, head(2)), item(t->list->tag, ramp(4 * entry + 1))}));
        seeds.add("tables", name + "-huge-count",
                  reply(TE_MOR_OK, {item(tag, head(0xffffffffu)), item(t->list->tag, ramp(64))}));
        seeds.add("tables", name + "-count-no-entries", reply(TE_MOR_OK, {item(tag, head(5)), item(t->list->tag, {})}));
        seeds.add("tables", name + "-no-list", reply(TE_MOR_OK, {item(tag, head(1))}));
    }

    // Destination lists: entries of 12, 8, 4 and odd sizes, none, as many as
    // the caller's array holds, one more, a count far beyond the item, and
    // an interface announcing none without a list.
    const uint16_t intfTag = static_cast<uint16_t>(tables::kP2mpIntfs.expect.tag);
    const uint16_t listTag = static_cast<uint16_t>(tables::kP2mpDests.expect.tag);
    const auto list = [&](uint32_t n, size_t bytes) {
        Bytes v = words({n});
        const Bytes entries = ramp(bytes);
        v.insert(v.end(), entries.begin(), entries.end());
        return item(listTag, v);
    };
    const auto intf = [&](uint16_t destCount) {
        Bytes v = words({1, 0x02030004});
        put16(v, 5);
        put16(v, destCount);
        put32(v, 6);
        return item(intfTag, v);
    };
    for (const auto &[n, bytes] : std::initializer_list<std::pair<uint32_t, size_t>>{
             {3, 36}, {2, 16}, {2, 8}, {3, 15}, {5, 7}, {0, 0}, {512, 1536}, {513, 1539}, {0xffffffff, 8}}) {
        const std::string name = std::to_string(n) + "-in-" + std::to_string(bytes);
        seeds.add("tables", "p2mp-list-" + name, reply(TE_MOR_OK, {intf(static_cast<uint16_t>(n)), list(n, bytes)}));
        seeds.add("tables", "dest-list-" + name, reply(TE_MOR_OK, {list(n, bytes)}));
    }
    seeds.add("tables", "p2mp-no-dests", reply(TE_MOR_OK, {intf(0)}));

    for (const tables::Scalar &s : tables::kScalars) seeds.record("counters", s.name, s.tag, 4);
    seeds.record("counters", "notify", tables::kNotifyTag, 4);
    seeds.add("counters", "notify-on", reply(TE_MOR_OK, {item(tables::kNotifyTag, words({1}))}));
    seeds.add("counters", "empty", reply(TE_MOR_OK));

    // Explicit paths: a header, the name, the hops; and the malformed shapes.
    const Bytes name{'p', '1', 0};
    const Bytes header = {1, 0, 0, 2};
    seeds.add("expath", "path", reply(TE_MOR_OK, {item(tables::kExpathHeaderTag, header),
                                                  item(tables::kExpathNameTag, name),
                                                  item(tables::kExpathHopTag, ramp(20)),
                                                  item(tables::kExpathHopTag, ramp(12))}));
    seeds.add("expath", "no-hops", reply(TE_MOR_OK, {item(tables::kExpathHeaderTag, {0, 0, 0, 0}),
                                                     item(tables::kExpathNameTag, name)}));
    seeds.add("expath", "empty-name", reply(TE_MOR_OK, {item(tables::kExpathHeaderTag, header),
                                                        item(tables::kExpathNameTag, {0})}));
    seeds.add("expath", "two-headers", reply(TE_MOR_OK, {item(tables::kExpathHeaderTag, header),
                                                         item(tables::kExpathHeaderTag, header)}));
    seeds.add("expath", "refused", reply(TE_MOR_ERR_NOT_FOUND));

    seeds.record("debug", "debug", tables::kDebugReplyTag, tables::kDebugImageSize);
    seeds.add("debug", "empty", reply(TE_MOR_OK));

    const Bytes rec = sample();
    const Bytes head(rec.begin(), rec.begin() + 20);
    seeds.add("reply_reader", "empty-ok", reply(TE_MOR_OK));
    seeds.add("reply_reader", "daemon-refusal", reply(0x250C00BF));
    seeds.add("reply_reader", "record", reply(TE_MOR_OK, {item(1, rec)}));
    seeds.add("reply_reader", "short-record", reply(TE_MOR_OK, {item(1, head)}));
    seeds.add("reply_reader", "two-items", reply(TE_MOR_OK, {item(1, rec), item(2, words({7}))}));
    Bytes trailing = reply(TE_MOR_OK, {item(1, rec)});
    trailing.resize(trailing.size() + 12);
    seeds.add("reply_reader", "trailing-bytes", trailing);

    // The decoders target: each family gets the seeds written above for the
    // socket-level target of its name, behind the byte that picks it.
    const std::filesystem::path dir = argv[1];
    for (size_t i = 0; i < std::size(temor::fuzz::kDecoderFamilies); ++i) {
        const std::string family = temor::fuzz::kDecoderFamilies[i];
        if (!std::filesystem::is_directory(dir / family)) {
            std::fprintf(stderr, "no seeds for %s, a family of the decoders target\n",
                         family.c_str());
            return 1;
        }
        for (const auto &entry : std::filesystem::directory_iterator(dir / family)) {
            Bytes seed{static_cast<uint8_t>(i)};
            if (!read_file(entry.path(), seed)) return 1;
            seeds.add("decoders", family + "-" + entry.path().filename().string(), seed);
        }
    }

    return seeds.ok() ? 0 : 1;
}

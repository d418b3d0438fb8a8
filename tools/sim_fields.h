// Fields of a record layout by the names the tools use: "word4" is element 4
// of "word%u", "entries[2].entryValueA" element 2 of "entries[%u].entryValueA".
// The simulator places every value it builds or reads from its table file by
// these names, never by a numeric offset.
#ifndef TEMOR_TOOLS_SIM_FIELDS_H
#define TEMOR_TOOLS_SIM_FIELDS_H

#include <cstdint>
#include <string>
#include <string_view>

#include "messaging/layout.h"
#include "tools/field_kinds.h"

namespace sim {

// One element of a field: where it lies and how wide it is.
struct Element {
    const temor::Field *field = nullptr;  // nullptr: no such name
    uint16_t index = 0;                   // element within the field
    uint16_t offset = 0;                  // in the wire image
    uint16_t width = 0;
    // Every element is at least a byte wide. (Not a pointer comparison,
    // which some sanitizer builds cannot evaluate at compile time.)
    explicit constexpr operator bool() const { return width != 0; }
};

// The element of l named name, or an empty Element.
constexpr Element find(const temor::Layout &l, std::string_view name) {
    for (uint16_t f = 0; f < l.fieldCount; ++f) {
        const temor::Field &fd = l.fields[f];
        const std::string_view pattern(fd.name);
        const size_t hole = pattern.find("%u");
        if (hole == std::string_view::npos) {
            if (name == pattern) return {&fd, 0, fd.offset, fd.width};
            continue;
        }
        const std::string_view head = pattern.substr(0, hole), tail = pattern.substr(hole + 2);
        if (name.size() <= head.size() + tail.size() || !name.starts_with(head) ||
            !name.ends_with(tail))
            continue;
        const std::string_view digits = name.substr(head.size(), name.size() - head.size() - tail.size());
        if (digits.size() > 5 || (digits.size() > 1 && digits[0] == '0')) continue;
        uint32_t n = 0;
        for (const char c : digits) {
            if (c < '0' || c > '9') {
                n = UINT32_MAX;
                break;
            }
            n = n * 10 + static_cast<uint32_t>(c - '0');
        }
        if (n < fd.first || n - fd.first >= fd.count) continue;
        const auto i = static_cast<uint16_t>(n - fd.first);
        return {&fd, i, static_cast<uint16_t>(fd.offset + i * fd.stride), fd.width};
    }
    return {};
}

void no_such_field();  // never defined: calling it stops a constant evaluation

// The element named name, for names fixed in the source: a name the layout
// lacks does not compile.
consteval Element at(const temor::Layout &l, std::string_view name) {
    const Element e = find(l, name);
    if (!e) no_such_field();
    return e;
}

using fields::element_name;

// The name of the element holding byte offset of l ("" when none does).
inline std::string name_at(const temor::Layout &l, uint16_t offset) {
    for (uint16_t f = 0; f < l.fieldCount; ++f) {
        const temor::Field &fd = l.fields[f];
        for (uint16_t i = 0; i < fd.count; ++i) {
            const uint32_t start = fd.offset + uint32_t{i} * fd.stride;
            if (offset >= start && offset < start + fd.width) return element_name(fd, i);
        }
    }
    return {};
}

}  // namespace sim

#endif

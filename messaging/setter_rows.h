// Setter rows: what describes a setter once, and how its arguments are
// encoded into items.
//
// A setter is one row of its family (service/service_rows.h,
// tunnel/tunnel_rows.h, config/setters.h): the class, the tag, how the value
// is encoded, the check it makes and where its op stands among its
// arguments. The same rows tell the simulator which requests exist and how
// long their values are, give tectl its setter commands, and are what the
// setter tests are checked against.
//
// Everything here only describes or encodes. Which check a call makes is
// decided here from its arguments (check_of); asking whether MPLS-TE is
// enabled and the checked send are service/te_check.h's, and the one-line
// setters over a row are setter/setter.h's.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <tuple>
#include <type_traits>

#include "include/te_mor.h"
#include "messaging/frame.h"
#include "messaging/items.h"
#include "messaging/layout.h"

namespace temor {

// ---- the TE-enabled check, decided from the arguments ------------------------

// What a setter does about the TE state, decided from its arguments before
// anything is asked or sent.
struct Check {
    bool probe;        // ask whether MPLS-TE is enabled
    uint32_t refusal;  // the result while it is not
    bool invalid;      // arguments unusable: TE_MOR_ERR_FAIL once the probe passed

    // Refuses the call with TE_MOR_ERR_FAIL after a passing probe when bad.
    constexpr Check or_invalid_if(bool bad) const { return Check{probe, refusal, invalid || bad}; }
};

// The forms of the check. The documentation calls them rules U, N, F and S.
enum class CheckForm : uint8_t {
    None,            // sent whatever the TE state
    UndoPasses,      // U: while off, op exactly 1 succeeds silently, anything else is refused
    AnyUndoPasses,   // N: while off, any non-zero op succeeds silently
    RemovalPasses,   // F: while off, a record whose enable octet is 0 succeeds silently
    AlwaysRefused,   // S: while off, always refused
};

constexpr Check unchecked() { return Check{false, TE_MOR_OK, false}; }
// subject is the op, or for RemovalPasses the record's enable octet.
constexpr Check check_of(CheckForm form, uint32_t subject) {
    switch (form) {
    case CheckForm::None:
        return unchecked();
    case CheckForm::UndoPasses:
        return {true, subject == TE_MOR_OP_UNDO ? TE_MOR_OK : TE_MOR_ERR_TE_DISABLED, false};
    case CheckForm::AnyUndoPasses:
    case CheckForm::RemovalPasses:
        return {true, subject != 0 ? (form == CheckForm::AnyUndoPasses ? TE_MOR_OK
                                                                        : TE_MOR_ERR_TE_DISABLED)
                                   : (form == CheckForm::AnyUndoPasses ? TE_MOR_ERR_TE_DISABLED
                                                                        : TE_MOR_OK),
                false};
    case CheckForm::AlwaysRefused:
        return {true, TE_MOR_ERR_TE_DISABLED, false};
    }
    return unchecked();
}

// The result rc, except that any code listed in from is reported as to.
// For the few calls that rename particular daemon codes.
template <size_t N>
constexpr uint32_t translate(uint32_t rc, const uint32_t (&from)[N], uint32_t to) {
    for (const uint32_t f : from)
        if (rc == f) return to;
    return rc;
}

// The key item that names the object of a two-item request (an interface
// index, a tunnel id, a bundle id).
inline item::Word object_key(uint32_t id) { return item::Word{0, id}; }

// ---- setter rows ---------------------------------------------------------------

// How a setter's value travels.
enum class Value : uint8_t {
    Flag,       // an empty item: the tag alone is the setting
    Word,       // a 32-bit number, big-endian
    Half,       // a 16-bit number in a 4-byte slot: two big-endian bytes, two zeros
    Octet,      // the low 8 bits of a number, then three zero bytes
    OctetAt,    // the octet a pointer argument points to, then three zero bytes
    Raw,        // length bytes at a pointer argument, exactly as they lie
    HostOrder,  // a number's bytes in the caller's (host) byte order, not converted
    Copy,       // a record's wire image built from a copy (the record is only read)
    InPlace,    // a record converted to network order where it lies, then sent
    MetricSelector,  // two numbers: a metric big-endian, then a selector's low octet, three zeros
    Custom,     // an item the setter builds itself (length bytes)
};

// What the key item of a keyed row (tag 0) holds.
enum class KeyItem : uint8_t {
    Id,          // a 32-bit interface index, tunnel id or bundle id, big-endian
    Name,        // a path name of 1 to 31 characters, zero-padded to 32 bytes; others refused
    NamePrefix,  // a path name's first 32 characters, zero-padded (no terminator when that long)
    Empty,       // nothing: an empty item ahead of the value
};

// Where the caller's op stands among the exported function's arguments
// (counted from 0), or None when the function takes no op.
enum class OpAt : int8_t { None = -1, First = 0, Second = 1, Third = 2 };

// A row's name, kept in the row so that rows can be template arguments.
struct RowName {
    char text[24] = {};
    constexpr RowName(const char *s) {
        for (size_t i = 0; s[i] != '\0' && i + 1 < sizeof text; ++i) text[i] = s[i];
    }
    constexpr std::string_view view() const { return std::string_view(text); }
};

// Arguments of an exported setter in a form the tools and tests can fill
// from a row: the op, the key (keyed rows), the numbers in argument order
// (value, then value2) and a record pointer.
struct SetArgs {
    uint32_t op = 0;
    uint32_t key = 0;
    uint64_t value = 0;
    uint64_t value2 = 0;
    const void *record = nullptr;
    const char *name = nullptr;  // a path name (rows keyed by name)
};
struct SetterRow;
using SetterCall = uint32_t (*)(const SetterRow &, const SetArgs &);

struct SetterRow {
    RowName name;  // the tools' name for it: `tectl FAMILY NAME`
    uint8_t cls;
    uint16_t tag;
    Value value;
    CheckForm check = CheckForm::None;
    OpAt opAt = OpAt::First;
    // The header carries the caller's op; otherwise always fixedOp (the op
    // then decides only the check).
    bool headerOp = true;
    uint8_t fixedOp = TE_MOR_OP_SET;
    bool keyed = false;        // a key item (tag 0, a 32-bit id) comes first
    KeyItem keyItem = KeyItem::Id;  // what a keyed row's key item holds
    bool valueBeforeKey = false;  // the value argument stands before the key
    bool opAtMostOne = false;  // an op above 1 is refused once the check passed
    // Value bytes of Raw, HostOrder and Custom; for Copy a value longer than
    // the record, completed with zeros.
    uint16_t length = 0;
    // Copy and InPlace; for Raw and Custom, where one exists, the fields of
    // the value as it travels (read by the tools, not by the setter).
    const Layout *layout = nullptr;
    uint16_t enableAt = 0;           // RemovalPasses: the enable octet's record offset
    uint32_t openFailure = TE_MOR_ERR_IPC_OPEN;
    SetterCall call = nullptr;  // the exported function, for the tools and tests
};

// The bytes the value item holds on the wire.
constexpr uint16_t value_length(const SetterRow &r) {
    switch (r.value) {
    case Value::Flag:
        return 0;
    case Value::Word:
    case Value::Half:
    case Value::Octet:
    case Value::OctetAt:
        return 4;
    case Value::MetricSelector:
        return 8;
    case Value::Copy:
        return r.length > r.layout->size ? r.length : r.layout->size;
    case Value::InPlace:
        return r.layout->size;
    default:
        return r.length;
    }
}

// The bytes the key item of a keyed row holds on the wire.
constexpr uint16_t key_length(const SetterRow &r) {
    switch (r.keyItem) {
    case KeyItem::Id:
        return 4;
    case KeyItem::Name:
    case KeyItem::NamePrefix:
        return 32;
    case KeyItem::Empty:
        return 0;
    }
    return 4;
}

// The bytes of the request buffer behind the header that a row's request
// takes: the key item of a keyed row, the value item (4 bytes of head
// each), and for a value built from a copy its image in the buffer's spare
// end as well (Request::spare).
constexpr uint32_t request_room(const SetterRow &r) {
    const uint32_t key = r.keyed ? 4u + key_length(r) : 0u;
    const uint32_t value = 4u + value_length(r);
    return key + value + (r.value == Value::Copy ? value_length(r) : 0u);
}

// Whether a row's request is built whole: it fits the buffer, and a value
// built from a copy is no larger than item::Copy takes.
constexpr bool request_fits(const SetterRow &r) {
    return request_room(r) <= TE_MOR_PAYLOAD_MAX &&
           (r.value != Value::Copy || value_length(r) <= item::kMaxCopiedRecord);
}

// A family of setters: rows under one word of the tools.
struct Family {
    const char *word;
    std::span<const SetterRow> rows;
};

// The row of family named name, for a setter's template argument (without
// the tools' call, which a template argument cannot carry).
template <size_t N>
consteval SetterRow row(const SetterRow (&family)[N], std::string_view name) {
    for (SetterRow r : family) {
        if (r.name.view() != name) continue;
        r.call = nullptr;
        return r;
    }
    return family[N];  // no such row: not a constant expression
}

// ---- encoding a row's items ---------------------------------------------------

// The key item of a row keyed by a path name: the name zero-padded to 32
// bytes, never read past them. A NamePrefix row sends the first 32
// characters of a longer name, without a terminator.
struct PathName {
    const char *name;
    void write(Request &r) const {
        uint8_t v[32] = {};
        std::memcpy(v, name, strnlen(name, sizeof v));
        r.item(0, sizeof v, v);
    }
};

// Whether name is what a row keyed by it accepts; read only once the
// row's check has passed.
template <SetterRow R>
bool name_accepted(const char *name) {
    if (name == nullptr) return false;
    if constexpr (R.keyItem == KeyItem::Name) {
        const size_t n = strnlen(name, 32);
        return n >= 1 && n <= 31;
    }
    return true;
}

// The value item of a row for argument v.
template <SetterRow R, class V>
auto value_item(const V &v) {
    if constexpr (R.value == Value::Word) {
        return item::Word{R.tag, static_cast<uint32_t>(v)};
    } else if constexpr (R.value == Value::Half) {
        return item::Half{R.tag, static_cast<uint16_t>(v)};
    } else if constexpr (R.value == Value::Octet) {
        return item::Octet{R.tag, static_cast<uint32_t>(v)};
    } else if constexpr (R.value == Value::OctetAt) {
        return item::built<4>(R.tag, [v](uint8_t *out) { out[0] = *v; });
    } else if constexpr (R.value == Value::Raw) {
        return item::Raw{R.tag, R.length, v};
    } else if constexpr (R.value == Value::HostOrder) {
        static_assert(sizeof v == R.length);
        return item::Raw{R.tag, R.length, &v};
    } else if constexpr (R.value == Value::Copy) {
        return item::Copy{R.tag, v, *R.layout, R.length};
    } else {
        static_assert(R.value == Value::InPlace);
        return item::InPlace{R.tag, v, *R.layout};
    }
}

// ---- calling an exported setter from a row (tools and tests) -------------------

// Calls Fn with its arguments taken from a: the op where the row puts it,
// then the key (keyed rows), value and value2 for the other numbers, and
// the record for a pointer.
template <auto Fn>
uint32_t call_setter(const SetterRow &r, const SetArgs &a) {
    return [&]<class Ret, class... P>(Ret (*)(P...)) -> uint32_t {
        size_t index = 0, numbers = 0;
        // Arguments are picked left to right (a braced list keeps the order).
        [[maybe_unused]] auto pick = [&]<class T>(std::type_identity<T>) -> T {
            const size_t i = index++;
            if constexpr (std::is_same_v<T, const char *>) {
                return a.name;
            } else if constexpr (std::is_pointer_v<T>) {
                return static_cast<T>(const_cast<void *>(a.record));
            } else {
                if (static_cast<int>(r.opAt) == static_cast<int>(i)) return static_cast<T>(a.op);
                size_t k = numbers++ + (r.keyed ? 0 : 1);
                if (r.keyed && r.valueBeforeKey && k < 2) k = 1 - k;
                return static_cast<T>(k == 0 ? a.key : k == 1 ? a.value : a.value2);
            }
        };
        return std::apply(Fn, std::tuple<P...>{pick(std::type_identity<P>{})...});
    }(Fn);
}

}  // namespace temor

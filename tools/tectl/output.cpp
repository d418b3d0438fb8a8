// Result codes, the diagnosis of failures, and printing: rows as aligned
// text or as JSON, results as their names or as result objects.
#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <string>
#include <vector>

#include "tools/tectl/tectl.h"

namespace tectl {

bool g_json = false;

namespace {

struct CodeName {
    uint32_t code;
    const char *name;
};

// The library's codes, then the simulator's own. A real daemon's other codes
// have no name.
constexpr CodeName kCodes[] = {
    {TE_MOR_OK, "TE_MOR_OK"},
    {TE_MOR_ERR_FAIL, "TE_MOR_ERR_FAIL"},
    {TE_MOR_ERR_IPC_OPEN, "TE_MOR_ERR_IPC_OPEN"},
    {TE_MOR_ERR_TE_DISABLED, "TE_MOR_ERR_TE_DISABLED"},
    {TE_MOR_ERR_NOT_FOUND, "TE_MOR_ERR_NOT_FOUND"},
    {TE_MOR_ERR_BYPASS_REFUSED, "TE_MOR_ERR_BYPASS_REFUSED"},
    {0x40010006u, "SIM_END_OF_TABLE"},
    {0x40010007u, "SIM_UNSUPPORTED"},
    {0x40010008u, "SIM_MALFORMED"},
};

constexpr const char *kNoDaemon =
    "no daemon is listening (is te-simd running with the same TE_LIPC_DIR?)";

// The cause of a failed call, where it can be established: from the code's
// definition, or from what tectl can find out afterwards. Empty otherwise.
std::string diagnose(const Command &c, const Outcome &o) {
    if (!c.daemon || !o.problem.empty()) return "";
    switch (o.rc) {
    case TE_MOR_ERR_IPC_OPEN:
        return kNoDaemon;
    case TE_MOR_ERR_TE_DISABLED:
        // The library's own refusal while MPLS-TE is off, its answer for a
        // socket it could not open (traps), or the daemon's code.
        if (TE_MOR_IsTeGlobalEnable() != 1) return "MPLS-TE is disabled: run 'tectl mpls-te on'";
        if (!daemon_listening())
            return std::string(kNoDaemon) + "; this call reports that as TE_MOR_ERR_TE_DISABLED";
        return "";
    case TE_MOR_ERR_FAIL:
        if (g_lastCallSeconds >= 10.0) return "no reply within 10 s";
        if (!daemon_listening()) return kNoDaemon;
        return "";
    default:
        return "";
    }
}

// ---- text ---------------------------------------------------------------------

// Length of a valid UTF-8 sequence at s[i], or 0.
size_t utf8_sequence(const std::string &s, size_t i) {
    const auto c = static_cast<unsigned char>(s[i]);
    const size_t n = c < 0x80 ? 1 : (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : (c >> 3) == 30 ? 4 : 0;
    if (n == 0 || i + n > s.size()) return 0;
    for (size_t k = 1; k < n; ++k)
        if ((static_cast<unsigned char>(s[i + k]) >> 6) != 2) return 0;
    return n;
}

// Text as a table cell: control characters, backslashes and bytes that are
// not UTF-8 written as escapes, so that a cell is one line and printable.
std::string escaped(const std::string &s) {
    std::string out;
    for (size_t i = 0; i < s.size();) {
        const auto c = static_cast<unsigned char>(s[i]);
        const size_t n = utf8_sequence(s, i);
        if (n > 1 || (n == 1 && c >= 0x20 && c != 0x7f && c != '\\')) {
            out.append(s, i, n);
            i += n;
            continue;
        }
        char esc[8];
        if (c == '\\') std::snprintf(esc, sizeof esc, "\\\\");
        else if (c == '\t') std::snprintf(esc, sizeof esc, "\\t");
        else if (c == '\n') std::snprintf(esc, sizeof esc, "\\n");
        else std::snprintf(esc, sizeof esc, "\\x%02x", c);
        out += esc;
        ++i;
    }
    return out;
}

// Characters, not bytes, for the column widths.
size_t width(const std::string &s) {
    size_t n = 0;
    for (const char ch : s) n += (static_cast<unsigned char>(ch) & 0xc0) != 0x80;
    return n;
}

std::string cell(const Json &v) {
    if (v.is_string()) return escaped(v.get<std::string>());
    if (v.is_null()) return "-";
    if (v.is_array()) {
        std::string out;
        for (const Json &e : v) out += (out.empty() ? "" : ",") + cell(e);
        return out.empty() ? "-" : out;
    }
    return v.dump();
}

// A column: a key of the row, or "array.member" for one member of each
// element of an array of objects.
std::string cell(const Json &row, const std::string &column) {
    const size_t dot = column.find('.');
    if (dot == std::string::npos) return row.contains(column) ? cell(row[column]) : "-";
    const std::string base = column.substr(0, dot), member = column.substr(dot + 1);
    if (!row.contains(base)) return "-";
    Json values = Json::array();
    for (const Json &e : row[base]) values.push_back(e.contains(member) ? e[member] : Json());
    return cell(values);
}

void print_text(const Rows &rows) {
    std::vector<std::string> columns = rows.columns;
    if (columns.empty() && rows.count > 0) {
        const Json first = rows.row(0);
        for (const auto &item : first.items()) columns.push_back(item.key());
    }
    // Two passes over the rows (made again, not kept): widths, then lines.
    std::vector<size_t> widths;
    for (const std::string &c : columns) widths.push_back(width(c));
    for (size_t r = 0; r < rows.count; ++r) {
        const Json row = rows.row(r);
        for (size_t c = 0; c < columns.size(); ++c)
            widths[c] = std::max(widths[c], width(cell(row, columns[c])));
    }
    auto line = [&](const std::vector<std::string> &cells) {
        std::string out;
        for (size_t c = 0; c < cells.size(); ++c) {
            out += cells[c];
            if (c + 1 < cells.size()) out += std::string(widths[c] - width(cells[c]) + 2, ' ');
        }
        std::printf("%s\n", out.c_str());
    };
    line(columns);
    for (size_t r = 0; r < rows.count; ++r) {
        const Json row = rows.row(r);
        std::vector<std::string> cells;
        for (const std::string &c : columns) cells.push_back(cell(row, c));
        line(cells);
    }
}

// ---- JSON -------------------------------------------------------------------------

// Bytes that are not UTF-8 become U+FFFD, so that the output always parses.
std::string dump(const Json &j) {
    return j.dump(-1, ' ', false, Json::error_handler_t::replace);
}

// An array of rows, one row per line.
void print_json(const Rows &rows) {
    std::string out = "[";
    for (size_t r = 0; r < rows.count; ++r) out += (r ? ",\n " : "") + dump(rows.row(r));
    std::printf("%s]\n", out.c_str());
}

void print_result(uint32_t rc) {
    const char *name = code_name(rc);
    Json j = {{"result", name ? Json(name) : Json()}, {"code", rc}};
    std::printf("%s\n", dump(j).c_str());
}

std::string joined(const std::vector<std::string> &words) {
    std::string out;
    for (const std::string &w : words) out += (out.empty() ? "" : " ") + w;
    return out;
}

}  // namespace

Rows rows_of(std::vector<Json> rows, std::vector<std::string> columns) {
    Rows r;
    r.count = rows.size();
    r.row = [all = std::move(rows)](size_t i) { return all[i]; };
    r.columns = std::move(columns);
    return r;
}

bool daemon_listening() {
    const int sock = TE_MOR_LIPCOpen();
    if (sock < 0) return false;
    TE_MOR_LIPCClose(sock);
    return true;
}

const char *code_name(uint32_t rc) {
    for (const CodeName &c : kCodes)
        if (c.code == rc) return c.name;
    return nullptr;
}

std::string code_text(uint32_t rc) {
    char hex[16];
    std::snprintf(hex, sizeof hex, "0x%08" PRIx32, rc);
    const char *name = code_name(rc);
    return std::string(name ? name : "daemon code") + " (" + hex + ")";
}

int report(const Command &c, const Outcome &o) {
    if (o.rc == TE_MOR_OK) {
        if (o.rows && g_json) print_json(*o.rows);
        else if (o.rows) print_text(*o.rows);
        else if (g_json) print_result(o.rc);
        else std::printf("%s\n", code_text(o.rc).c_str());
        return 0;
    }
    // A failure: in JSON only the result object; as text, the rows read
    // before it.
    if (g_json) print_result(o.rc);
    else if (o.rows && o.rows->count > 0) print_text(*o.rows);
    std::fflush(stdout);
    std::fprintf(stderr, "tectl %s: %s%s%s\n", joined(c.words).c_str(), code_text(o.rc).c_str(),
                 o.problem.empty() ? "" : ": ", o.problem.c_str());
    const std::string hint = diagnose(c, o);
    if (!hint.empty()) std::fprintf(stderr, "hint: %s\n", hint.c_str());
    return 1;
}

}  // namespace tectl

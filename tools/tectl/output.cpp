// Result codes, the diagnosis of failures, and printing: rows as aligned
// text or as JSON, results as their names or as result objects.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "platform/host/lipc_host.h"
#include "tools/result_names.h"
#include "tools/tectl/tectl.h"

namespace tectl {

bool g_json = false;

std::string dump(const Json &j) {
    return j.dump(-1, ' ', false, Json::error_handler_t::replace);
}

namespace {


constexpr const char *kNoDaemon =
    "no daemon is listening (is te-simd running with the same TE_LIPC_DIR?)";

// ---- permissions ----------------------------------------------------------------

// The directories the library works in, as it finds them (docs/tools.md,
// "Environment"), and the daemon's socket in the local-IPC one.
std::string env_dir(const char *name, const char *fallback) {
    const char *dir = std::getenv(name);
    return dir != nullptr && *dir != '\0' ? dir : fallback;
}

// What keeps this user from using path with the access mode wanted, or "":
// a directory on the way it may not enter, or path itself. A path that does
// not exist is looked at through the directory it would be made in where
// the library makes it (create), and is no permission problem otherwise.
std::string refused(const std::string &path, int mode, const char *what, bool create = false) {
    const auto denied = [](const char *verb, const std::string &p) {
        return "permission denied: this user may not " + std::string(verb) + " " + p;
    };
    for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1))
        if (access(path.substr(0, slash).c_str(), X_OK) != 0 && errno == EACCES)
            return denied("enter", path.substr(0, slash));
    struct stat st;
    if (stat(path.c_str(), &st) != 0) {
        const size_t slash = path.find_last_of('/');
        if (!create || errno != ENOENT || slash == std::string::npos || slash == 0) return "";
        return refused(path.substr(0, slash), W_OK | X_OK, "create entries in", true);
    }
    if (access(path.c_str(), mode) == 0 || errno != EACCES) return "";
    return denied(what, path);
}

// After a failure that a refused permission also gives (the library reports
// it as TE_MOR_ERR_FAIL or TE_MOR_ERR_IPC_OPEN): the directory or socket
// this user may not use, or "": the daemon's directory and socket for the
// commands that talk to it; the platform directory first for the others
// (they keep their state there, and some tell the daemon too).
std::string access_problem(const Command &c, uint32_t rc) {
    if (rc != TE_MOR_ERR_FAIL && rc != TE_MOR_ERR_IPC_OPEN) return "";
    const std::string platform = env_dir("TE_PLATFORM_DIR", PLATFORM_HOST_DEFAULT_DIR);
    const std::string lipc = env_dir("TE_LIPC_DIR", LIPC_HOST_DEFAULT_DIR);
    const std::string socket = lipc + "/" LIPC_TE_SOCKET_NAME;
    const auto daemon = [&]() -> std::string {
        std::string why = refused(lipc, X_OK, "enter");
        if (why.empty()) why = refused(socket, W_OK, "write to");
        // te-simd makes the directory and socket; --group opens them to its group.
        const bool own = why.size() > lipc.size() && (why.ends_with(" " + lipc) || why.ends_with(" " + socket));
        return why + (own ? " (te-simd --group lets the members of its group use them)" : "");
    };
    const auto state = [&]() -> std::string {
        const std::string why = refused(platform, R_OK | W_OK | X_OK, "read and write in", true);
        return why.empty() ? "" : why + " (TE_PLATFORM_DIR names the platform state directory)";
    };
    if (c.daemon) return daemon();
    const std::string why = state();
    return !why.empty() ? why : daemon();
}

// The cause of a failed call, where it can be established: from the code's
// definition, or from what tectl can find out afterwards. Empty otherwise.
std::string diagnose(const Command &c, const Outcome &o) {
    if (!o.problem.empty()) return "";
    if (std::string why = access_problem(c, o.rc); !why.empty()) return why;
    if (!c.daemon) return "";
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

// A character decoded from UTF-8: its code point and length in bytes (0: the
// bytes at that place are not UTF-8, overlong forms and surrogates included).
struct Utf8 {
    uint32_t cp = 0;
    size_t length = 0;
};

Utf8 utf8_at(const std::string &s, size_t i) {
    const auto c = static_cast<unsigned char>(s[i]);
    if (c < 0x80) return {c, 1};
    const size_t n = (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : (c >> 3) == 30 ? 4 : 0;
    if (n == 0 || i + n > s.size()) return {};
    uint32_t cp = c & (0x7f >> n);
    for (size_t k = 1; k < n; ++k) {
        const auto b = static_cast<unsigned char>(s[i + k]);
        if ((b >> 6) != 2) return {};
        cp = cp << 6 | (b & 0x3f);
    }
    constexpr uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    if (cp < kLeast[n] || cp > 0x10ffff || (cp >= 0xd800 && cp <= 0xdfff)) return {};
    return {cp, n};
}

// Characters that change how a terminal shows the text around them rather
// than showing themselves: controls (C0, DEL, C1), format characters
// (bidirectional overrides, zero widths, tags...) and the line and paragraph
// separators.
bool invisible(uint32_t cp) {
    struct Range {
        uint32_t first, last;
    };
    static constexpr Range kRanges[] = {
        {0x0000, 0x001f},   {0x007f, 0x009f},   {0x00ad, 0x00ad},   {0x0600, 0x0605},
        {0x061c, 0x061c},   {0x06dd, 0x06dd},   {0x070f, 0x070f},   {0x0890, 0x0891},
        {0x08e2, 0x08e2},   {0x180e, 0x180e},   {0x200b, 0x200f},   {0x2028, 0x202e},
        {0x2060, 0x2064},   {0x2066, 0x206f},   {0xfeff, 0xfeff},   {0xfff9, 0xfffb},
        {0x110bd, 0x110bd}, {0x110cd, 0x110cd}, {0x13430, 0x1343f}, {0x1bca0, 0x1bca3},
        {0x1d173, 0x1d17a}, {0xe0001, 0xe0001}, {0xe0020, 0xe007f},
    };
    for (const Range &r : kRanges)
        if (cp >= r.first && cp <= r.last) return true;
    return false;
}

// Text as a table cell: invisible characters, backslashes and bytes that are
// not UTF-8 written as escapes, so that a cell is one line and shows what it
// holds.
std::string escaped(const std::string &s) {
    std::string out;
    for (size_t i = 0; i < s.size();) {
        const Utf8 u = utf8_at(s, i);
        if (u.length != 0 && !invisible(u.cp) && u.cp != '\\') {
            out.append(s, i, u.length);
            i += u.length;
            continue;
        }
        char esc[16];
        if (u.cp == '\\') std::snprintf(esc, sizeof esc, "\\\\");
        else if (u.cp == '\t') std::snprintf(esc, sizeof esc, "\\t");
        else if (u.cp == '\n') std::snprintf(esc, sizeof esc, "\\n");
        else if (u.length == 0) std::snprintf(esc, sizeof esc, "\\x%02x", static_cast<unsigned char>(s[i]));
        else if (u.cp < 0x80) std::snprintf(esc, sizeof esc, "\\x%02x", static_cast<unsigned>(u.cp));
        else if (u.cp < 0x10000) std::snprintf(esc, sizeof esc, "\\u%04x", static_cast<unsigned>(u.cp));
        else std::snprintf(esc, sizeof esc, "\\U%08x", static_cast<unsigned>(u.cp));
        out += esc;
        i += u.length == 0 ? 1 : u.length;
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
    return dump(v);
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

void open_standard_streams() {
    // A closed one is taken by a descriptor that refuses writes, so that
    // output to it fails as output should, and no socket opened later lands
    // on it (and receives what was meant for standard output).
    for (int fd = 0; fd <= 2; ++fd)
        if (fcntl(fd, F_GETFD) < 0 && errno == EBADF && open("/dev/null", O_RDONLY) != fd) return;
}

int close_stdout(int status) {
    errno = 0;
    const bool flushed = std::fflush(stdout) == 0;
    const int error = errno;
    if (flushed && !std::ferror(stdout)) return status;
    std::fprintf(stderr, "tectl: write error on standard output%s%s\n", error != 0 ? ": " : "",
                 error != 0 ? std::strerror(error) : "");
    return status == 0 ? 1 : status;
}

}  // namespace tectl

// tectl's shared pieces: a command of the command table, the arguments the
// command line gave it, what running it gave back, and the output helpers.
#pragma once

#include <te_mor.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/result_names.h"

namespace tectl {

// Objects keep their keys in the order the record lists its fields.
using Json = nlohmann::ordered_json;

// ---- arguments --------------------------------------------------------------

enum class ArgKind : uint8_t {
    Number,  // an unsigned number of size bytes
    Bytes,   // size bytes given as one number, most significant byte first
    Text,    // at most size bytes of text
};

struct Arg {
    std::string name;  // as the usage shows it: SECONDS, TNLID
    ArgKind kind;
    unsigned size;
    bool optional = false;
    std::string help;
};

// One argument as the command line gave it.
struct Given {
    bool present = false;
    std::string text;   // the word as given
    uint64_t number = 0;
    uint8_t bytes[8] = {};  // Bytes: the number's bytes, most significant first
};

struct Call {
    uint32_t op = TE_MOR_OP_SET;  // TE_MOR_OP_UNDO with --undo
    std::vector<Given> args;      // one per argument of the command
};

// ---- what a command gives back ------------------------------------------------

// The rows a reading command read, made on demand (a walk keeps only the
// records), and the keys that text output shows (every key when empty).
struct Rows {
    size_t count = 0;
    std::function<Json(size_t)> row;
    std::vector<std::string> columns;
};
Rows rows_of(std::vector<Json> rows, std::vector<std::string> columns = {});

struct Outcome {
    uint32_t rc;
    // What tectl found out itself, when the code alone does not say it.
    std::string problem;
    std::optional<Rows> rows;  // reading commands

    Outcome(uint32_t code = TE_MOR_OK, std::string why = {}, std::optional<Rows> read = {})
        : rc(code), problem(std::move(why)), rows(std::move(read)) {}
};

// ---- the command table ---------------------------------------------------------

struct Command {
    std::vector<std::string> words;  // `tectl WORDS...`
    std::vector<Arg> args;
    bool undo = false;    // takes --undo
    bool daemon = true;   // talks to the daemon (failures are diagnosed)
    std::string help;
    std::function<Outcome(const Call &)> run;
    // What is wrong with the arguments taken together ("" when nothing):
    // values the command refuses are a bad command line, found before any call.
    std::function<std::string(const Call &)> check = nullptr;
};

std::vector<Command> set_commands();
std::vector<Command> show_commands();

// ---- library calls and results ---------------------------------------------------

// Seconds that the last call made through timed() took.
inline double g_lastCallSeconds = 0;

template <class F>
uint32_t timed(F &&call) {
    const auto start = std::chrono::steady_clock::now();
    const uint32_t rc = call();
    g_lastCallSeconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return rc;
}

// Whether a daemon socket can be opened now.
bool daemon_listening();

using tools::code_name;  // tools/result_names.h
using tools::code_text;

// ---- output -----------------------------------------------------------------------

extern bool g_json;  // --json

// j as one line of JSON; bytes that are not UTF-8 become U+FFFD, so that the
// output always parses (never an exception).
std::string dump(const Json &j);

// Prints a command's outcome; returns the exit status (0 or 1).
int report(const Command &c, const Outcome &o);

// Makes sure descriptors 0, 1 and 2 are open, before anything else is.
void open_standard_streams();
// Flushes standard output: status, or 1 (with a message) when any output
// was lost, as on a full disk or a closed descriptor.
int close_stdout(int status);

}  // namespace tectl

// tectl: command-line front end of the TE management library. The command
// table is the set commands (one per setter row, and a few more) and the
// show commands (one per table, and a few more); the command line is
// generated from it: a level per word, arguments and --undo from each
// command's row, help at every level. See docs/tools.md.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>

#include "tools/field_kinds.h"
#include "tools/tectl/tectl.h"

namespace tectl {
namespace {

// One line of help for the levels that group commands.
const std::map<std::string, std::string> kLevelHelp = {
    {"mpls-te", "switch MPLS-TE on or off"},
    {"service", "start and stop services"},
    {"global", "router-wide TE settings"},
    {"auto-backup", "automatic backup tunnels"},
    {"interface", "settings of one interface"},
    {"bundle", "IGP settings of a bundle"},
    {"trap", "traps and tunnel notification"},
    {"debug", "the daemon's debug switches"},
    {"tunnel", "tunnels and their path options"},
    {"path", "explicit paths and their hops (tectl path NAME ...)"},
    {"mib", "rows of the explicit path hop and new-hop tables"},
    {"hop", "hops of an explicit path"},
    {"show", "the daemon's tables and counters"},
};

// ---- numbers -----------------------------------------------------------------

uint64_t max_of(const Arg &a) { return a.size >= 8 ? ~0ull : (1ull << (8 * a.size)) - 1; }

std::string range(const Arg &a) { return "0.." + std::to_string(max_of(a)); }

// Reads word into g as a's kind; returns what is wrong with it, or "".
// Numbers are read as every tool reads them (fields::read_number).
std::string parse(const Arg &a, const std::string &word, Given &g) {
    g.present = true;
    g.text = word;
    if (a.kind == ArgKind::Text && word.empty() && !a.optional) return a.name + " must not be empty";
    if (a.kind == ArgKind::Text)
        return word.size() <= a.size ? "" : a.name + " must be at most " + std::to_string(a.size) + " bytes";
    const fields::Number n = fields::read_number(word, max_of(a));
    switch (n.error) {
    case fields::Number::Error::None:
        break;
    case fields::Number::Error::NotNumber:
        return a.name + " must be a number, decimal or 0x hex (not '" + word + "')";
    case fields::Number::Error::LeadingZero:
        return a.name + " '" + word + "' has a leading zero and tectl reads no octal: write " +
               fields::without_leading_zeros(word) + " for decimal, or 0x hex";
    case fields::Number::Error::TooLarge:
        return a.name + " must be " + range(a);
    }
    g.number = n.value;
    for (unsigned i = 0; a.kind == ArgKind::Bytes && i < a.size; ++i)
        g.bytes[i] = static_cast<uint8_t>(n.value >> (8 * (a.size - 1 - i)));
    return "";
}

// ---- the command line ------------------------------------------------------------

bool is_group(const CLI::App *level) {
    return !level->get_subcommands([](const CLI::App *) { return true; }).empty();
}

// A word of a command that stands for an argument given at that level
// ("NAME" in `path NAME create`).
bool is_placeholder(const std::string &word) {
    return !word.empty() && word.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_") == std::string::npos;
}

// The positional arguments a group level takes before its commands.
std::vector<const CLI::Option *> group_args(const CLI::App *level) {
    if (!is_group(level)) return {};
    return level->get_options([](const CLI::Option *o) { return o->get_positional(); });
}

std::string path_of(const CLI::App *level) {
    std::string path;
    for (const CLI::App *a = level; a != nullptr; a = a->get_parent()) {
        std::string words = a->get_name();
        if (a != level || is_group(a))
            for (const CLI::Option *o : group_args(a)) words += " " + o->get_name();
        path = words + (path.empty() ? "" : " " + path);
    }
    return path;
}

std::string usage(const CLI::App *level, const std::string &path) {
    if (level->get_parent() == nullptr) return path + " [--json] COMMAND [ARGS] [--undo]";
    if (is_group(level)) return path + " COMMAND";
    std::string line = path;
    for (const CLI::Option *o : level->get_options([](const CLI::Option *o) { return o->get_positional(); }))
        line += o->get_required() ? " " + o->get_name() : " [" + o->get_name() + "]";
    if (level->get_option_no_throw("--undo") != nullptr) line += " [--undo]";
    return line;
}

class Formatter : public CLI::Formatter {
public:
    std::string make_usage(const CLI::App *app, std::string name) const override {
        // The levels' own arguments stand among the words (path NAME hop).
        (void)name;
        return "usage: " + usage(app, path_of(app)) + "\n";
    }
};

// The level the parse got to.
CLI::App *deepest(CLI::App *app) {
    while (!app->get_subcommands().empty()) app = app->get_subcommands().back();
    return app;
}

size_t distance(const std::string &a, const std::string &b) {
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j) row[j] = j;
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t up = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (a[i - 1] != b[j - 1])});
            diagonal = up;
        }
    }
    return row[b.size()];
}

// The first word that names no command at its level (the words before it
// lead there), with the closest command's name, if one is close.
std::string unknown_word(CLI::App &app, int argc, char **argv, std::string *suggestion) {
    CLI::App *level = &app;
    size_t argsLeft = 0;  // the level's own arguments not yet seen
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word == "--") break;
        if (word.empty() || word[0] == '-') continue;
        if (!is_group(level)) break;
        const auto named = [&word](CLI::App *sub) { return sub->get_name() == word; };
        if (argsLeft != 0 && level->get_subcommands(named).empty()) {
            --argsLeft;
            continue;
        }
        CLI::App *next = nullptr;
        size_t best = 3;
        for (CLI::App *sub : level->get_subcommands([](CLI::App *) { return true; })) {
            if (sub->get_name() == word) next = sub;
            const size_t d = sub->get_name().rfind(word, 0) == 0 ? 1 : distance(word, sub->get_name());
            if (d < best) {
                best = d;
                *suggestion = sub->get_name();
            }
        }
        if (next == nullptr) return word;
        level = next;
        argsLeft = group_args(level).size();
        suggestion->clear();
    }
    return "";
}

// ---- names that start with '-' ---------------------------------------------------

// After "--" every word is an argument to CLI11, the commands after it too.
// So `tectl path -- -x create` hands CLI11 the names a group level takes
// right after "--" as marks (kMark and their number), dropping the "--", and
// restore() gives the names back after the parse.
constexpr char kMark = '\x01';
std::vector<std::string> g_marked;

std::string restore(const std::string &word) {
    if (word.size() < 2 || word[0] != kMark) return word;
    const size_t i = std::strtoul(word.c_str() + 1, nullptr, 10);
    return i < g_marked.size() ? g_marked[i] : word;
}

std::vector<std::string> mark_names(CLI::App &app, int argc, char **argv) {
    std::vector<std::string> out(argv, argv + argc);
    CLI::App *level = &app;
    size_t argsLeft = 0;
    for (size_t i = 1; i < out.size(); ++i) {
        const std::string &word = out[i];
        if (word == "--") {
            if (argsLeft == 0) break;  // a command's own arguments: CLI11 reads them
            out.erase(out.begin() + static_cast<std::ptrdiff_t>(i));
            for (; i < out.size() && argsLeft != 0; ++i, --argsLeft) {
                g_marked.push_back(out[i]);
                out[i] = kMark + std::to_string(g_marked.size() - 1);
            }
            --i;  // the loop goes on after the marked names
            continue;
        }
        if (word.empty() || word[0] == '-' || word[0] == kMark) continue;
        if (argsLeft != 0) {
            --argsLeft;
            continue;
        }
        CLI::App *next = nullptr;
        for (CLI::App *sub : level->get_subcommands([](CLI::App *) { return true; }))
            if (sub->get_name() == word) next = sub;
        if (next == nullptr) break;
        level = next;
        argsLeft = group_args(level).size();
    }
    return out;
}

int usage_error(CLI::App *level, const std::string &problem) {
    const std::string path = path_of(level);
    std::fprintf(stderr, "%s: %s\nusage: %s\n", path.c_str(), problem.c_str(), usage(level, path).c_str());
    if (is_group(level)) {
        std::fprintf(stderr, "commands:\n");
        for (const CLI::App *sub : level->get_subcommands([](const CLI::App *) { return true; }))
            std::fprintf(stderr, "  %-24s %s\n", sub->get_name().c_str(), sub->get_description().c_str());
    }
    std::fprintf(stderr, "('%s --help' tells more)\n", path.c_str());
    return 2;
}

bool given(int argc, char **argv, const std::string &option) {
    for (int i = 1; i < argc && std::string(argv[i]) != "--"; ++i)
        if (argv[i] == option) return true;
    return false;
}

std::string unknown_command(const std::string &word, const std::string &suggestion) {
    return "unknown command '" + word + "'" + (suggestion.empty() ? "" : " (did you mean '" + suggestion + "'?)");
}

// The level that makes most sense of a parse error, and what to say.
int parse_error(CLI::App &app, const CLI::ParseError &e, int argc, char **argv) {
    CLI::App *level = deepest(&app);
    std::string suggestion;
    const std::string word = unknown_word(app, argc, argv, &suggestion);
    if (!word.empty() && is_group(level))
        return usage_error(level, unknown_command(word, suggestion));
    if (is_group(level) && dynamic_cast<const CLI::RequiredError *>(&e) != nullptr)
        return usage_error(level, "a command is missing");
    if (!is_group(level) && level->get_option_no_throw("--undo") == nullptr && given(argc, argv, "--undo"))
        return usage_error(level, "does not take --undo (the call has no op)");
    return usage_error(level, e.what());
}

// ---- building and running the command line --------------------------------------

// Every command's words, one per line: what the documentation check
// compares docs/tools.md with.
int print_command_words(const std::vector<Command> &commands) {
    for (const Command &c : commands) {
        std::string line;
        for (const std::string &w : c.words) line += (line.empty() ? "" : " ") + w;
        std::printf("%s\n", line.c_str());
    }
    return 0;
}

// The top level: the usage format, --json, --version and the footer.
void set_up(CLI::App &app) {
    auto formatter = std::make_shared<Formatter>();
    formatter->label("Positionals", "Arguments");
    app.formatter(formatter);
    app.fallthrough();  // --json anywhere on the line
    app.require_subcommand(1);
    app.set_version_flag("--version", "tectl " TECTL_VERSION);
    app.add_flag("--json", g_json, "print JSON (described in " TECTL_DOC_DIR "/tools.md under the install prefix)");
    app.footer("Numbers are decimal or 0x hex.\n\n"
               "Environment:\n"
               "  TE_LIPC_DIR      directory of the daemon's socket (default /run/te)\n"
               "  TE_PLATFORM_DIR  state of the host's services, where 'mpls-te on' writes\n"
               "                   (default /run/te/platform)\n\n"
               "Files:\n"
               "  $TE_LIPC_DIR/lipc-0a7280        the daemon's socket\n"
               "  $TE_PLATFORM_DIR/services/1/TE  MPLS-TE on (1) or off\n\n"
               "Exit status:\n"
               "  0  done\n"
               "  1  a call failed, or standard output could not be written\n"
               "  2  bad command line");
}

// The command table on the command line: a level per word, the command's
// arguments on the last. CLI11 keeps the addresses of the values the parse
// fills in here, so a CommandLine stays where it was made.
class CommandLine {
public:
    explicit CommandLine(CLI::App &app) : app_(app) {}
    CommandLine(const CommandLine &) = delete;
    CommandLine &operator=(const CommandLine &) = delete;

    void add(const Command &c) {
        size_t argAt = 0;  // the command's arguments given at group levels come first
        CLI::App *level = group_levels(c, argAt);
        Leaf &leaf = leaves_.emplace_back(Leaf{level->add_subcommand(c.words.back(), c.help), &c,
                                               std::vector<std::string>(c.args.size())});
        leaf.level->group("Commands");
        for (size_t i = argAt; i < c.args.size(); ++i) add_argument(leaf, i);
        if (c.undo) leaf.level->add_flag("--undo", leaf.undo, "undo: send op 1 instead of 0");
    }

    // Runs the command the parse got to; returns the exit status.
    int run() {
        for (const Leaf &leaf : leaves_) {
            if (!leaf.level->parsed()) continue;
            const Command &c = *leaf.command;
            Call call;
            call.op = leaf.undo ? TE_MOR_OP_UNDO : TE_MOR_OP_SET;
            call.args.resize(c.args.size());
            const std::vector<GroupArg *> &leading = leadingArgs_[&c];
            for (size_t i = 0; i < c.args.size(); ++i) {
                const bool atGroup = i < leading.size();
                if ((atGroup ? leading[i]->option : leaf.level->get_option(c.args[i].name))->count() == 0) continue;
                const std::string problem =
                    parse(c.args[i], restore(atGroup ? leading[i]->value : leaf.words[i]), call.args[i]);
                if (!problem.empty()) return usage_error(leaf.level, problem);
            }
            const std::string refused = c.check != nullptr ? c.check(call) : "";
            if (!refused.empty()) return usage_error(leaf.level, refused);
            return report(c, c.run(call));
        }
        return usage_error(deepest(&app_), "a command is missing");
    }

private:
    struct Leaf {
        CLI::App *level;
        const Command *command;
        std::vector<std::string> words;
        bool undo = false;
    };
    // An argument that a group level takes (a placeholder word): the value
    // the parse gives it, and its option.
    struct GroupArg {
        std::string value;
        CLI::Option *option = nullptr;
    };

    // The levels of c's words before its last, made when c is the first
    // command under them, with the arguments c takes at them; returns the
    // last level.
    CLI::App *group_levels(const Command &c, size_t &argAt) {
        CLI::App *level = &app_;
        std::string path;
        for (size_t i = 0; i + 1 < c.words.size(); ++i) {
            path += " " + c.words[i];
            if (is_placeholder(c.words[i])) {
                GroupArg &g = groupArgs_[path];
                const Arg &a = c.args[argAt++];
                if (g.option == nullptr) {
                    g.option = level->add_option(a.name, g.value, a.help)->required();
                    g.option->type_name(a.kind == ArgKind::Text ? "TEXT" : range(a));
                }
                leadingArgs_[&c].push_back(&g);
                continue;
            }
            CLI::App *&g = groups_[path];
            if (g == nullptr) {
                const auto help = kLevelHelp.find(c.words[i]);
                g = level->add_subcommand(c.words[i], help != kLevelHelp.end() ? help->second : "");
                g->require_subcommand(1)->group("Commands");
            }
            level = g;
        }
        return level;
    }

    // The command's argument i, given at its last level.
    static void add_argument(Leaf &leaf, size_t i) {
        const Arg &a = leaf.command->args[i];
        std::string help = a.help;
        if (a.kind == ArgKind::Bytes)
            help += std::string(help.empty() ? "" : ": ") + std::to_string(a.size) +
                    " bytes as one number, most significant first (0x01020304 sends 01 02 03 04)";
        CLI::Option *o = leaf.level->add_option(a.name, leaf.words[i], help);
        o->type_name(a.kind == ArgKind::Text ? "TEXT" : range(a));
        if (!a.optional) o->required();
    }

    CLI::App &app_;
    std::deque<Leaf> leaves_;  // stays where CLI11 was told it is
    std::map<std::string, CLI::App *> groups_;
    std::map<std::string, GroupArg> groupArgs_;  // by the words up to it
    std::map<const Command *, std::vector<GroupArg *>> leadingArgs_;
};

constexpr int kRun = -1;  // parse_command_line: go on and run the command

// Returns kRun, or the exit status when the parse is all there is to do
// (help, version, a usage error).
int parse_command_line(CLI::App &app, int argc, char **argv) {
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp &) {
        // Help for a level the words lead to, not for words that name nothing.
        std::string suggestion;
        if (const std::string word = unknown_word(app, argc, argv, &suggestion); !word.empty())
            return usage_error(deepest(&app), unknown_command(word, suggestion));
        std::cout << app.help();
        return 0;
    } catch (const CLI::CallForVersion &e) {
        if (argc != 2) return usage_error(&app, "--version takes nothing else");
        std::cout << e.what() << "\n";
        return 0;
    } catch (const CLI::ParseError &e) {
        return parse_error(app, e, argc, argv);
    }
    return kRun;
}

}  // namespace
}  // namespace tectl

namespace tectl {
namespace {

int run(int argc, char **argv) {
    std::vector<Command> commands = set_commands();
    for (Command &c : show_commands()) commands.push_back(std::move(c));
    if (argc == 2 && std::string_view(argv[1]) == "--commands") return print_command_words(commands);

    CLI::App app{"Command-line front end of the MPLS-TE management library.", "tectl"};
    set_up(app);
    CommandLine line(app);
    for (const Command &c : commands) line.add(c);
    std::vector<std::string> words = mark_names(app, argc, argv);
    std::vector<char *> marked;
    for (std::string &w : words) marked.push_back(w.data());
    marked.push_back(nullptr);
    const int markedCount = static_cast<int>(words.size());
    if (const int status = parse_command_line(app, markedCount, marked.data()); status != kRun) return status;
    return line.run();
}

}  // namespace
}  // namespace tectl

int main(int argc, char **argv) {
    tectl::open_standard_streams();
    return tectl::close_stdout(tectl::run(argc, argv));
}

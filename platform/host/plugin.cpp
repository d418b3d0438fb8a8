// Plug-in options on a host. An absolute path is looked up under $TE_SYSROOT
// when that is set. The file holds blocks: "[NAME]" starts a block,
// "key = value" lines belong to the block above them, '#' starts a comment,
// blank lines are ignored.
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/host/host_common.h"
#include "platform/platform.h"

using temor::host::log_call;

namespace {

struct Option {
    const char *key;
    const char *value;
};

struct Block {
    char name[128];
    Option *options;  // points into the handle's option array
    uint32_t count;
};

struct Handle {
    char *text;  // the file, cut into strings in place
    Block *blocks;
    uint32_t blockCount;
    Option *options;
    uint32_t next;  // next block to hand out
};

char *trim(char *s) {
    while (std::isspace(static_cast<unsigned char>(*s))) ++s;
    char *end = s + std::strlen(s);
    while (end > s && std::isspace(static_cast<unsigned char>(end[-1]))) --end;
    *end = '\0';
    return s;
}

char *read_file(const char *path) {
    char full[4096];
    const char *root = std::getenv("TE_SYSROOT");
    if (root != nullptr && *root != '\0' && path[0] == '/')
        std::snprintf(full, sizeof full, "%s%s", root, path);
    else
        std::snprintf(full, sizeof full, "%s", path);
    FILE *f = std::fopen(full, "rbe");
    if (f == nullptr) return nullptr;
    size_t size = 0, cap = 4096;
    char *text = static_cast<char *>(std::malloc(cap));
    while (text != nullptr) {
        const size_t n = std::fread(text + size, 1, cap - size - 1, f);
        size += n;
        if (n == 0) break;
        if (cap - size - 1 == 0) {
            char *bigger = static_cast<char *>(std::realloc(text, cap * 2));
            if (bigger == nullptr) {
                std::free(text);
                text = nullptr;
                break;
            }
            text = bigger;
            cap *= 2;
        }
    }
    std::fclose(f);
    if (text != nullptr) text[size] = '\0';
    return text;
}

void release(Handle *h) {
    if (h == nullptr) return;
    std::free(h->text);
    std::free(h->blocks);
    std::free(h->options);
    std::free(h);
}

// Cuts the text into lines (comments blanked out), then fills blocks and
// options in two passes over the same lines: pass 0 only counts and writes
// nothing, pass 1 fills and cuts keys and values in place.
bool parse(Handle *h) {
    const char *end = h->text + std::strlen(h->text);
    bool comment = false;
    for (char *p = h->text; *p != '\0'; ++p) {
        if (*p == '\n') {
            *p = '\0';
            comment = false;
        } else if (*p == '#' || comment) {
            *p = ' ';
            comment = true;
        }
    }

    uint32_t blocks = 0, options = 0;
    for (int pass = 0; pass < 2; ++pass) {
        if (pass == 1) {
            h->blocks = static_cast<Block *>(std::calloc(blocks ? blocks : 1, sizeof(Block)));
            h->options = static_cast<Option *>(std::calloc(options ? options : 1, sizeof(Option)));
            if (h->blocks == nullptr || h->options == nullptr) return false;
        }
        blocks = options = 0;
        for (char *line = h->text, *next; line < end; line = next) {
            next = line + std::strlen(line) + 1;  // before pass 1 cuts the line
            char *s = line + std::strspn(line, " \t\r\v\f");
            if (*s == '[') {
                char *close = std::strchr(s, ']');
                if (close != nullptr) {
                    if (pass == 1) {
                        *close = '\0';
                        Block &b = h->blocks[blocks];
                        std::snprintf(b.name, sizeof b.name, "%s", trim(s + 1));
                        b.options = h->options + options;
                    }
                    ++blocks;
                }
            } else if (char *eq = std::strchr(s, '='); eq != nullptr && blocks > 0) {
                if (pass == 1) {
                    *eq = '\0';
                    h->options[options] = Option{trim(s), trim(eq + 1)};
                    ++h->blocks[blocks - 1].count;
                }
                ++options;
            }
        }
    }
    h->blockCount = blocks;
    return true;
}

}  // namespace

extern "C" void *PLUGIN_OptInit(const char *path) {
    log_call("PLUGIN_OptInit %s", path ? path : "");
    if (path == nullptr) return nullptr;
    auto *h = static_cast<Handle *>(std::calloc(1, sizeof(Handle)));
    if (h == nullptr) return nullptr;
    h->text = read_file(path);
    if (h->text == nullptr || !parse(h)) {
        release(h);
        return nullptr;
    }
    return h;
}

extern "C" void *PLUGIN_GetNextPlugOpt(void *handle, char name[128], uint32_t *value) {
    log_call("PLUGIN_GetNextPlugOpt");
    auto *h = static_cast<Handle *>(handle);
    if (h == nullptr || h->next >= h->blockCount) return nullptr;
    Block *b = &h->blocks[h->next++];
    if (name != nullptr) std::snprintf(name, 128, "%s", b->name);
    if (value != nullptr) *value = b->count;
    return b;
}

extern "C" uint32_t OPT_ParseEx(uint32_t value, void *block, uintptr_t third, uintptr_t fourth) {
    log_call("OPT_ParseEx %u", value);
    if (fourth == 0) return 0x40010001u;
    auto callback = reinterpret_cast<int (*)(const char *, const char *, void *)>(fourth);
    const auto *b = static_cast<const Block *>(block);
    if (b == nullptr) return 0;
    for (uint32_t i = 0; i < b->count; ++i) {
        const int rc = callback(b->options[i].key, b->options[i].value,
                                reinterpret_cast<void *>(third));
        if (rc != 0) return static_cast<uint32_t>(rc);
    }
    return 0;
}

extern "C" void PLUGIN_OptFini(void *handle) {
    log_call("PLUGIN_OptFini");
    release(static_cast<Handle *>(handle));
}

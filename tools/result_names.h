// Result codes by name, as the tools show them: the library's codes, then
// te-simd's own. A real daemon's other codes have no name.
#ifndef TEMOR_TOOLS_RESULT_NAMES_H
#define TEMOR_TOOLS_RESULT_NAMES_H

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <string>

#include "include/te_mor.h"

namespace tools {

struct CodeName {
    uint32_t code;
    const char *name;
};

inline constexpr CodeName kCodes[] = {
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

// A code's name, or null when it has none.
inline const char *code_name(uint32_t rc) {
    for (const CodeName &c : kCodes)
        if (c.code == rc) return c.name;
    return nullptr;
}

// "TE_MOR_ERR_FAIL (0x40010001)", or "daemon code (0x...)" for a code without a name.
inline std::string code_text(uint32_t rc) {
    char hex[16];
    std::snprintf(hex, sizeof hex, "0x%08" PRIx32, rc);
    const char *name = code_name(rc);
    return std::string(name ? name : "daemon code") + " (" + hex + ")";
}

}  // namespace tools

#endif

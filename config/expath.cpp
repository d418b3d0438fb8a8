// Explicit paths and the MIB hop rows: each setter is its row
// (config/expath_rows.h) and one line.
#include "config/setters.h"
#include "include/te_mor.h"
#include "setter/setter.h"

using namespace temor;
using setters::kExplicitPaths;
using setters::kMibHops;

extern "C" {

TE_MOR_API uint32_t TE_MOR_SetExplicitPath(uint32_t op, const char *name) {
    return set<row(kExplicitPaths, "create")>(op, name);
}

TE_MOR_API uint32_t TE_MOR_SetDisableExpath(uint32_t op, const char *name) {
    return set<row(kExplicitPaths, "disable")>(op, name);
}

TE_MOR_API uint32_t TE_MOR_SetNextHop(uint32_t op, const char *name, const TeExpathHop *hop) {
    return set<row(kExplicitPaths, "hop add")>(op, name, hop);
}

TE_MOR_API uint32_t TE_MOR_SetMibExpathHop(uint32_t op, const TeHopInfo *hop) {
    return set<row(kMibHops, "path-hop")>(op, hop);
}

TE_MOR_API uint32_t TE_MOR_SetMibNewHop(uint32_t op, const TeHopInfo *hop) {
    return set<row(kMibHops, "new-hop")>(op, hop);
}

}  // extern "C"

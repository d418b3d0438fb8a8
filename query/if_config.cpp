// The interface configuration table, read on a socket per call.
#include "include/te_mor.h"
#include "query/query.h"
#include "query/tables.h"

using namespace temor;
using tables::kIfConfigTable;

namespace {
constexpr int kOwnSocket = -1;  // ignored: the table opens a socket per call
}

extern "C" {

TE_MOR_API uint32_t TE_MOR_GetIfConfig(uint32_t ifIndex, TeIfConfigInfo *info) {
    return keyed_row<kIfConfigTable>(kOwnSocket, TE_MOR_OP_GET, ifIndex, info);
}

TE_MOR_API uint32_t TE_MOR_GetFirstIfConfig(TeIfConfigInfo *info) {
    return first_row<kIfConfigTable>(kOwnSocket, info);
}

TE_MOR_API uint32_t TE_MOR_GetNextIfConfig(uint32_t ifIndex, TeIfConfigInfo *info) {
    return keyed_row<kIfConfigTable>(kOwnSocket, TE_MOR_OP_GET_NEXT, ifIndex, info);
}

}  // extern "C"

// Interface configuration rows as query rows: only ifIndex and configValue
// are written, from at most the value's first 6 bytes.
#include "include/te_mor.h"
#include "query/tables.h"
#include "support/tables.h"

using namespace temor::test;

namespace {

// The record after decoding six wire bytes, its padding as given.
Bytes if_image(const Bytes &six, const Bytes &padding) {
    return host_image(cat({six, padding}), temor::tables::kIfConfig);
}

const Bytes kRow = {0, 0, 0, 7, 0, 0x2A};
const Bytes kOld = pattern(8, 0x30), kOldPadding(kOld.begin() + 6, kOld.end());

// A short item reads as zeros where it ends; bytes 6 and beyond of a long
// item are ignored; the padding keeps the caller's bytes either way.
const QueryTable kIfConfig{
    .size = sizeof(TeIfConfigInfo),
    .answer = {109, kRow},
    .decoded = if_image(kRow, {0, 0}),
    .replies = {{reply(0, {{1, {0, 0, 0, 7}}}), kOld, 0, if_image({0, 0, 0, 7, 0, 0}, kOldPadding)},
                {reply(0, {{1, {}}}), kOld, 0, if_image(Bytes(6, 0), kOldPadding)},
                {reply(0, {{1, pattern(12)}}), kOld, 0, if_image(pattern(6), kOldPadding)}},
};

// No interface index is refused.
const QueryRow kRows[] = {
    {QUERY_ROW(TE_MOR_GetIfConfig, 0, r), &kIfConfig, message(4, 3, 0, {{109, be32(0)}})},
    {QUERY_ROW(TE_MOR_GetFirstIfConfig, r), &kIfConfig, message(4, 4, 0, {{109, be32(0)}})},
    {QUERY_ROW(TE_MOR_GetNextIfConfig, 0xFFFFFFFF, r), &kIfConfig, message(4, 5, 0, {{109, be32(0xFFFFFFFF)}})},
};
QUERY_TABLE(IfConfig, kRows);

}  // namespace

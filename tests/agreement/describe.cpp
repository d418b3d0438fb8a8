// Prints the library's own descriptions, one line each, for the agreement
// check: every table (with the tag its reply item carries), every single number, the other query tags, and every
// setter row.
#include <cstdio>
#include <string>

#include "config/setters.h"
#include "query/tables.h"

using namespace temor;

int main() {
    for (const tables::Table *t : tables::kAll)
        std::printf("table %s %u %u %u %s %d\n", t->name, t->tag, t->record->size, t->recordSize,
                    t->socket == tables::Socket::Own ? "own" : "held",
                    t->expect.tag >= 0 ? t->expect.tag : t->tag);
    for (const tables::Table *t : tables::kAll)
        if (t->list != nullptr)
            std::printf("list %s %d %u %u\n", t->name, t->expect.tag, t->list->tag, t->list->entry->size);
    for (const tables::Scalar &s : tables::kScalars) std::printf("scalar %s %u\n", s.name, s.tag);
    std::printf("query notify %u\nquery debug %u\n", tables::kNotifyTag, tables::kDebugTag);
    std::printf("query expath %u\n", tables::kExpathTag);
    for (const Family &f : setters::kFamilies)
        for (const SetterRow &r : f.rows)
            std::printf("setter %s %s %u %u %u %s\n", f.word, r.name.text, r.cls, r.tag,
                        value_length(r),
                        !r.keyed ? "-" : r.keyItem == KeyItem::Id ? "keyed" : ("key=" + std::to_string(key_length(r))).c_str());
}

// A P2MP tunnel interface as the tools keep a row of it: the caller's
// record (TeP2mpTunIntfInfo, its fields one by one) laid back into the
// image its layout describes (kP2mpIntf), each number in host order as in
// any record image. tectl prints rows and te-agentx serves them from it.
#ifndef TEMOR_TOOLS_P2MP_IMAGE_H
#define TEMOR_TOOLS_P2MP_IMAGE_H

#include <cstdint>
#include <cstring>
#include <string_view>

#include "query/tables.h"

namespace tools {

// Where the layout puts a field (a numbered field's first element).
consteval uint16_t p2mp_at(std::string_view name) {
    const temor::Layout &l = temor::tables::kP2mpIntf;
    for (uint16_t f = 0; f < l.fieldCount; ++f)
        if (name == l.fields[f].name) return l.fields[f].offset;
    return l.fields[l.fieldCount].offset;  // no such field: not a constant expression
}

inline void p2mp_image(const TeP2mpTunIntfInfo &r, uint8_t image[temor::tables::kP2mpIntfImageSize]) {
    std::memset(image, 0, temor::tables::kP2mpIntfImageSize);
    std::memcpy(image + p2mp_at("word0"), &r.word0, 4);
    std::memcpy(image + p2mp_at("word1"), &r.word1, 4);
    image[p2mp_at("byte%u")] = r.byte0;
    image[p2mp_at("byte%u") + 1] = r.byte1;
    std::memcpy(image + p2mp_at("half%u"), &r.half0, 2);
    std::memcpy(image + p2mp_at("half%u") + 2, &r.half1, 2);
    std::memcpy(image + p2mp_at("destCount"), &r.destCount, 2);
}

}  // namespace tools

#endif

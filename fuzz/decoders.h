// The families of decoders that the decoders target (fuzz_decoders) feeds
// without a socket. The first byte of an input picks a family by its place
// here (modulo their number); each family decodes the replies of the
// socket-level target of the same name, whose seeds it is given, each behind
// its byte.
#pragma once

namespace temor::fuzz {

inline constexpr const char *kDecoderFamilies[] = {"tables", "counters", "debug", "expath",
                                                   "reply_reader"};

}  // namespace temor::fuzz

// Shared pieces of the host stand-ins: where state lives, the calls.log
// journal and number files. Everything is read afresh on every call.
#pragma once

#include <cstddef>
#include <cstdint>

namespace temor::host {

// $TE_PLATFORM_DIR/relative (default /run/te/platform) into out; false when
// it does not fit.
bool platform_path(char *out, size_t size, const char *fmt, ...)
    __attribute__((format(printf, 3, 4)));

// Appends one formatted line to calls.log.
void log_call(const char *fmt, ...) __attribute__((format(printf, 1, 2)));

// Parses decimal or 0x-hexadecimal text (never octal: "010" is ten).
unsigned long parse_number(const char *text, char **end);

// Reads a decimal or 0x-hexadecimal number from a file; false when the file
// is missing or holds no number.
bool read_number(const char *path, uint32_t *value);

// Writes a decimal number to a file, creating its directory.
bool write_number(const char *path, uint32_t value);

}  // namespace temor::host

// Hex dumps: "0x0a 0xff " and a line break.
#ifndef COMMONUTILITIES_LOGGING_HEX_DUMP_HPP
#define COMMONUTILITIES_LOGGING_HEX_DUMP_HPP

#include <stdint.h>
#include <stdio.h>

#include <string_view>

namespace cu {

/// Writes a heading of at most 2048 characters and the dump of `length` bytes to a stream, in as
/// few writes as a stack buffer of that size allows. Returns '\n', or EOF when the end of the dump
/// could not be written.
int WriteHexDump(FILE *stream, std::string_view heading, const uint8_t *data, uint32_t length);

}  // namespace cu

#endif

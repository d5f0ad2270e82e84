// Any file through parseJson(): what it accepts is what parseJsonBuffer() accepts.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "fuzz/scratch_file.hpp"
#include "include/jsonparser.h"

namespace {

int32_t Count(const char *, jsmntok_t *, const char *, uint32_t count, void *user) {
  *static_cast<uint32_t *>(user) = count;
  return 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string path = cu_fuzz::WriteScratchFile("document.json", data, size);
  const cu_fuzz::DescriptorsAsBefore closed;
  uint32_t from_file = 0, from_buffer = 0;
  const int32_t file_ok = parseJson(path.c_str(), "fuzz", Count, &from_file);
  const int32_t buffer_ok = parseJsonBuffer(reinterpret_cast<const char *>(data),
                                            static_cast<uint32_t>(size), 0, Count, &from_buffer);
  if (file_ok != buffer_ok || from_file != from_buffer) abort();
  return 0;
}

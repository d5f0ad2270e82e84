// Any text as a file dictionary and as an array of them.
#include <stdint.h>
#include <stdlib.h>

#include "include/filedictionary.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const char *const text = reinterpret_cast<const char *>(data);
  rfAEFileDictionary dictionary = {};
  parseJsonBuffer(text, static_cast<uint32_t>(size), 1, ParserJSONFileDictionaryMethod,
                  &dictionary);
  for (uint32_t i = 0; i < dictionary.filelist.count; ++i)
    if (dictionary.filelist.list[i].action > 4) abort();
  free_rfAEFileDictionary(&dictionary);

  rfAEFileDictionaryArray array = {};
  parseJsonBuffer(text, static_cast<uint32_t>(size), 1, ParserJSONFileDictionaryArrayMethod,
                  &array);
  free_rfAEFileDictionaryArray(&array);
  return 0;
}

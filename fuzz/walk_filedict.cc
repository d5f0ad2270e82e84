// Any text as a file dictionary and as an array of them, in memory and in a file, and as each of
// their parts.
#include <stdint.h>
#include <stdlib.h>

#include "fuzz/scratch_file.hpp"
#include "fuzz/walk.hpp"
#include "include/filedictionary.h"

namespace {

void Look(const rfAEFileActionListArray &files) {
  for (uint32_t i = 0; i < files.count; ++i)
    if (files.list[i].action > FILE_ACTION_UNKNOWN) abort();
}

void ReadParts(const cu_fuzz::Document &text) {
  text.ReadList(deserialize_rfAEFileDictionaryArray, free_rfAEFileDictionaryArray, true);
  text.ReadList(deserialize_rfAEFileActionListArray, free_rfAEFileActionListArray,
                [](rfAEFileActionListArray &files) { Look(files); });
  text.Read(deserialize_rfAEFileActionList, free_rfAEFileActionObj);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const char *const text = reinterpret_cast<const char *>(data);
  const uint32_t length = static_cast<uint32_t>(size);
  rfAEFileDictionary dictionary = {}, loaded = {};
  // A file of a text that is refused would lose its stream.
  if (!parseJsonBuffer(text, length, 1, ParserJSONFileDictionaryMethod, &dictionary)) return 0;
  Look(dictionary.filelist);
  cu_fuzz::ReadDocument(data, size, ReadParts);

  rfAEFileDictionaryArray array = {}, loaded_array = {};
  parseJsonBuffer(text, length, 1, ParserJSONFileDictionaryArrayMethod, &array);
  const std::string folder = cu_fuzz::ScratchFolder() + "/";
  cu_fuzz::WriteScratchFile("dictionary.json", data, size);
  if (!ParserJSONFileDictionary(folder.c_str(), "dictionary.json", &loaded) ||
      !ParserJSONFileDictionaryArray(folder.c_str(), "dictionary.json", &loaded_array))
    abort();
  if (loaded.filelist.count != dictionary.filelist.count || loaded_array.count != array.count)
    abort();
  free_rfAEFileDictionary(&loaded);
  free_rfAEFileDictionaryArray(&loaded_array);
  free_rfAEFileDictionary(&dictionary);
  free_rfAEFileDictionaryArray(&array);
  return 0;
}

#include "include/filedictionary.h"

#include <stddef.h>
#include <string.h>

#include <string_view>
#include <type_traits>

#include "include/stringutils.h"
#include "internal/owned.hpp"
#include "json/field_table.hpp"
#include "json/value_text.hpp"

static_assert(std::is_standard_layout_v<rfAEFileDictionary>);
static_assert(sizeof(rfAEFileDictionaryArray) == 24);
#ifdef __arm__
static_assert(sizeof(rfAEFileDictionary) == 24);
static_assert(sizeof(rfAEFileActionList) == 32);
#endif

namespace {

using cu::FieldKind;

/// The texts of the actions, each at its number.
constexpr char kActionNames[][10] = {"overwrite", "preserve", "merge", "remove"};

void ReadAction(const char *json, int32_t start, int32_t end, void *field) {
  filedataTypeActionToEnum(json, start, end, static_cast<uint8_t *>(field));
}

constexpr cu::Field kEntryFields[] = {
    {"filename", FieldKind::kStringArray, offsetof(rfAEFileActionList, filename)},
    {"fileNameExclude", FieldKind::kStringArray, offsetof(rfAEFileActionList, fileNameExclude)},
    {"action", ReadAction, offsetof(rfAEFileActionList, action)},
    {"restoredefault", ReadAction, offsetof(rfAEFileActionList, restoredefault)},
    {"preserve", ReadAction, offsetof(rfAEFileActionList, preserve)},
    {"grouping", FieldKind::kStringArray, offsetof(rfAEFileActionList, grouping)},
    {"always", FieldKind::kBoolean, offsetof(rfAEFileActionList, always)},
    {"isdirectory", FieldKind::kBoolean, offsetof(rfAEFileActionList, isdirectory)},
};

constexpr cu::Field kDictionaryFields[] = {
    {"filelist", deserialize_rfAEFileActionListArray, offsetof(rfAEFileDictionary, filelist)},
    {"version", FieldKind::kString, offsetof(rfAEFileDictionary, version)},
    {"src_root_path", FieldKind::kString, offsetof(rfAEFileDictionary, src_root_path)},
    {"dest_root_path", FieldKind::kString, offsetof(rfAEFileDictionary, dest_root_path)},
    {"forceRecoveryFile", FieldKind::kString, offsetof(rfAEFileDictionary, forceRecoveryFile)},
};

/// A dictionary array document: its list is the whole record.
constexpr cu::Field kDocumentFields[] = {
    {"objects", deserialize_rfAEFileDictionaryArray, 0},
};

/// Loads directory + file, without a separator between them, into a record that is cleared first.
int32_t Load(const char *directory, const char *file, void *record, size_t size,
             JsonDocumentCallback read) {
  if (directory == nullptr || file == nullptr || record == nullptr) return -1;
  const cu::Owned<char> path(concatStrings(directory, file));
  if (!path) return -1;
  memset(record, 0, size);
  return parseJson(path.get(), "dictionary", read, record);
}

}  // namespace

int32_t ParserJSONFileDictionary(const char *directory, const char *file, void *dictionary) {
  return Load(directory, file, dictionary, sizeof(rfAEFileDictionary),
              ParserJSONFileDictionaryMethod);
}

int32_t ParserJSONFileDictionaryArray(const char *directory, const char *file, void *array) {
  return Load(directory, file, array, sizeof(rfAEFileDictionaryArray),
              ParserJSONFileDictionaryArrayMethod);
}

int32_t ParserJSONFileDictionaryMethod(const char *text, jsmntok_t *tokens, const char *label,
                                       uint32_t count, void *dictionary) {
  return cu::WalkDocument(text, tokens, label, count, dictionary, deserialize_rfAEFileDictionary);
}

int32_t ParserJSONFileDictionaryArrayMethod(const char *text, jsmntok_t *tokens, const char *label,
                                            uint32_t count, void *array) {
  return cu::WalkDocument(text, tokens, label, count, array, deserialize_rfDictionaryArray);
}

int32_t filedataTypeActionToEnum(const char *json, int32_t start, int32_t end, uint8_t *action) {
  const auto text = cu::ValueText(json, start, end);
  if (!text || action == nullptr) return 0;
  uint8_t number = FILE_ACTION_OVERWRITE;
  while (number < FILE_ACTION_UNKNOWN && *text != kActionNames[number]) ++number;
  *action = number;
  return 0;
}

int32_t deserialize_rfAEFileActionList(JsonWalkContext *context, int32_t start, int32_t end,
                                       const char *key, uint32_t, void *entry) {
  return cu::ReadField(kEntryFields, {context, start, end, key}, entry);
}

int32_t deserialize_rfAEFileActionListArray(JsonWalkContext *context, int32_t start, int32_t end,
                                            const char *key, uint32_t index, void *array) {
  return cu::ReadElementField<rfAEFileActionListArray>(kEntryFields, {context, start, end, key},
                                                       index, array, free_rfAEFileActionListArray);
}

int32_t deserialize_rfAEFileDictionary(JsonWalkContext *context, int32_t start, int32_t end,
                                       const char *key, uint32_t, void *record) {
  return cu::ReadField(kDictionaryFields, {context, start, end, key}, record);
}

int32_t deserialize_rfAEFileDictionaryArray(JsonWalkContext *context, int32_t start, int32_t end,
                                            const char *key, uint32_t index, void *array) {
  return cu::ReadElementField<rfAEFileDictionaryArray>(kDictionaryFields,
                                                       {context, start, end, key}, index, array);
}

int32_t deserialize_rfDictionaryArray(JsonWalkContext *context, int32_t start, int32_t end,
                                      const char *key, uint32_t, void *array) {
  return cu::ReadField(kDocumentFields, {context, start, end, key}, array);
}

void free_rfAEFileActionObj(rfAEFileActionList *entry) {
  if (entry == nullptr) return;
  free_rfStringArray(&entry->filename);
  free_rfStringArray(&entry->fileNameExclude);
  free_rfStringArray(&entry->grouping);
}

void free_rfAEFileActionListArray(rfAEFileActionListArray *array) {
  cu::ReleaseList(array, free_rfAEFileActionObj);
}

void free_rfAEFileDictionary(rfAEFileDictionary *record) {
  if (record == nullptr) return;
  free_rfAEFileActionListArray(&record->filelist);
  free_rfString(record->version);
  free_rfString(record->src_root_path);
  free_rfString(record->dest_root_path);
  free_rfString(record->forceRecoveryFile);
}

void free_rfAEFileDictionaryArray(rfAEFileDictionaryArray *array) {
  cu::ReleaseList(array, free_rfAEFileDictionary);
}

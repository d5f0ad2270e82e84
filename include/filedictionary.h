/**
 * @file filedictionary.h
 * @brief File dictionaries: documents that say what becomes of which files in a restore or update.
 *
 * @code{.json}
 * { "version": "1", "src_root_path": "/flash/backup/", "dest_root_path": "/etc/",
 *   "filelist": [ { "filename": ["network/interfaces*"], "fileNameExclude": ["*.bak"],
 *                   "action": "overwrite", "restoredefault": "preserve", "preserve": "merge",
 *                   "grouping": ["network"], "always": true, "isdirectory": false } ] }
 * @endcode
 *
 * @code
 * rfAEFileDictionary dictionary;
 * if (ParserJSONFileDictionary("/etc/demo/", "files.json", &dictionary) == 1) {
 *   apply(&dictionary);
 *   free_rfAEFileDictionary(&dictionary);
 * }
 * @endcode
 *
 * Acting on a dictionary is the daemon's business. **Mind the "/"**: directory and file name are
 * joined as they are.
 *
 * **What surprises users.** An action text is compared exactly: "Merge" is no action. Properties
 * that are missing or cannot be read leave their fields zero, and zero is "overwrite". Members of
 * objects under unknown keys are read as if they stood in the enclosing object. A key that a
 * document repeats loses the earlier value's memory.
 *
 * **Thread safety.** Records have no lock. Distinct records are independent.
 */
#ifndef COMMONUTILITIES_FILEDICTIONARY_H
#define COMMONUTILITIES_FILEDICTIONARY_H

#include "rfvalues.h"

CU_BEGIN_DECLS

/** What becomes of a file, with the texts in documents. */
enum rfAEFileAction {
  FILE_ACTION_OVERWRITE = 0, /**< "overwrite" */
  FILE_ACTION_PRESERVE = 1,  /**< "preserve" */
  FILE_ACTION_MERGE = 2,     /**< "merge" */
  FILE_ACTION_REMOVE = 3,    /**< "remove" */
  FILE_ACTION_UNKNOWN = 4    /**< any other text */
};

/** An entry of a file list. */
typedef struct rfAEFileActionList {
  rfStringArray filename;        /**< name patterns */
  rfStringArray fileNameExclude; /**< name patterns of files left out */
  uint8_t action;                /**< an rfAEFileAction */
  uint8_t restoredefault;        /**< an rfAEFileAction: when defaults are restored */
  uint8_t preserve;              /**< an rfAEFileAction: when settings are preserved */
  rfStringArray grouping;        /**< free texts */
  rfBoolean always;              /**< in every case */
  rfBoolean isdirectory;         /**< the names are directories */
} rfAEFileActionList;

/** A list of entries. */
typedef struct rfAEFileActionListArray {
  uint32_t count;           /**< number of elements */
  rfAEFileActionList *list; /**< heap array; null when there is none */
} rfAEFileActionListArray;

/** A file dictionary. */
typedef struct rfAEFileDictionary {
  rfAEFileActionListArray filelist; /**< what becomes of which files */
  rfString version;                 /**< version of the document */
  rfString src_root_path;           /**< where the files come from */
  rfString dest_root_path;          /**< where they go */
  rfString forceRecoveryFile;       /**< file for a forced recovery */
} rfAEFileDictionary;

/** A list of file dictionaries. Its readers clear 24 bytes, so it is that long. */
typedef struct rfAEFileDictionaryArray {
  uint32_t count;                            /**< number of elements */
  rfAEFileDictionary *list;                  /**< heap array; null when there is none */
  uint8_t reserved[24 - 2 * sizeof(void *)]; /**< cleared by the readers */
} rfAEFileDictionaryArray;

/* ---- loading --------------------------------------------------------------------------------- */

/**
 * @brief Clears @p dictionary and reads a file dictionary document into it.
 *
 * @param directory  the document's directory, with a "/" at its end.
 * @param file       the document's file name.
 * @param dictionary an rfAEFileDictionary.
 * @return 1 when the document was read, 0 when it is missing or malformed; -1, with @p dictionary
 *         left alone, for a null argument or without memory.
 *
 * @note See parseJson() for what a malformed document costs.
 */
CU_API int32_t ParserJSONFileDictionary(const char *directory, const char *file, void *dictionary);

/**
 * @brief The same for a document that holds a list of dictionaries under "objects".
 *
 * A document without "objects" is read as an empty list.
 *
 * @param directory the document's directory, with a "/" at its end.
 * @param file      the document's file name.
 * @param array     an rfAEFileDictionaryArray; 24 bytes are cleared.
 * @return as ParserJSONFileDictionary().
 */
CU_API int32_t ParserJSONFileDictionaryArray(const char *directory, const char *file, void *array);

/**
 * @brief The document callback behind ParserJSONFileDictionary(), for parseJsonBuffer() and others.
 *
 * @param text       the document's text.
 * @param tokens     its tokens.
 * @param label      passed on to the walk.
 * @param count      how many tokens there are.
 * @param dictionary a zero-filled rfAEFileDictionary.
 * @return 0, or 1 for a null argument.
 */
CU_API int32_t ParserJSONFileDictionaryMethod(const char *text, jsmntok_t *tokens,
                                              const char *label, uint32_t count, void *dictionary);

/**
 * @brief The document callback behind ParserJSONFileDictionaryArray().
 *
 * @param text   the document's text.
 * @param tokens its tokens.
 * @param label  passed on to the walk.
 * @param count  how many tokens there are.
 * @param array  a zero-filled rfAEFileDictionaryArray.
 * @return 0, or 1 for a null argument.
 */
CU_API int32_t ParserJSONFileDictionaryArrayMethod(const char *text, jsmntok_t *tokens,
                                                   const char *label, uint32_t count, void *array);

/* ---- reading ----------------------------------------------------------------------------------
 */

/**
 * @brief Stores the rfAEFileAction that the text from @p start to @p end names.
 *
 * @param json   the document's text.
 * @param start  offset of the name.
 * @param end    offset one past the name.
 * @param action receives the action.
 * @return 0, always.
 */
CU_API int32_t filedataTypeActionToEnum(const char *json, int32_t start, int32_t end,
                                        uint8_t *action);

/** @name Deserializers of the records, for documents that embed them
 *  Each returns the result of the value's reader, and 0 for an unknown or null key and a null
 *  argument. The array forms take the list as record and grow it to index + 1 zeroed elements;
 *  without memory for that they give 0 and the list is empty.
 *
 *  **Shared arguments and results.**
 *  - `context`: the walk.
 *  - `start`: offset of the value in the text.
 *  - `end`: offset one past the value.
 *  - `key`: the property's name.
 *  - `index`: position of the element in its array; 0 outside arrays.
 *  - `entry`: the rfAEFileActionList to fill.
 *  - `dictionary`: the rfAEFileDictionary to fill.
 *  - `array`: the list to fill.
 *  - Result: what the value's reader gave; 0 for an unknown or null key and a null argument.
 *  @{ */
/** The three action keys give 0, also when they were stored. */
CU_API int32_t deserialize_rfAEFileActionList(JsonWalkContext *context, int32_t start, int32_t end,
                                              const char *key, uint32_t index, void *entry);
/** Without memory the entries are released. */
CU_API int32_t deserialize_rfAEFileActionListArray(JsonWalkContext *context, int32_t start,
                                                   int32_t end, const char *key, uint32_t index,
                                                   void *array);
/** A file dictionary. */
CU_API int32_t deserialize_rfAEFileDictionary(JsonWalkContext *context, int32_t start, int32_t end,
                                              const char *key, uint32_t index, void *dictionary);
/** Without memory the dictionaries are lost. */
CU_API int32_t deserialize_rfAEFileDictionaryArray(JsonWalkContext *context, int32_t start,
                                                   int32_t end, const char *key, uint32_t index,
                                                   void *array);
/** Takes the key "objects" alone: a list of dictionaries. */
CU_API int32_t deserialize_rfDictionaryArray(JsonWalkContext *context, int32_t start, int32_t end,
                                             const char *key, uint32_t index, void *array);
/** @} */

/** @name Releases
 *  Each frees what the record owns, the array forms also the list. The record itself is not freed
 *  and nothing is reset: call one once a load. Null is accepted.
 *
 *  **Shared arguments.**
 *  - `entry`: what to release.
 *  - `dictionary`: what to release.
 *  - `array`: the list to release.
 *  @{ */
/** Frees the three lists of texts. */
CU_API void free_rfAEFileActionObj(rfAEFileActionList *entry);
/** Frees a list of entries. */
CU_API void free_rfAEFileActionListArray(rfAEFileActionListArray *array);
/** Frees the entries and the texts. */
CU_API void free_rfAEFileDictionary(rfAEFileDictionary *dictionary);
/** Frees a list of dictionaries. */
CU_API void free_rfAEFileDictionaryArray(rfAEFileDictionaryArray *array);
/** @} */

CU_END_DECLS

#endif

/**
 * @file commonconfig.h
 * @brief The common configuration document: a daemon's logger settings and its typed parameters.
 *
 * @code{.json}
 * { "ipcName": "/demo", "logCtrlFile": "/etc/demo.logenable", "logfile": "/var/log/demo.log",
 *   "logFileSize": 65536,
 *   "ConfigObj": [ { "parameterGroup": "net",
 *                    "ConfigParam": [ { "parameterName": "mtu", "type": "uint16",
 *                                       "parameterValue": "1500" } ] } ] }
 * @endcode
 *
 * Load it with aeloadConfiguration(), read parameters with configparams.h, release it with
 * aeFreeConfiguration(). Values are texts in the document, numbers too.
 *
 * **What surprises users.** A type name that is unknown reads as boolean; a prefix of a name is
 * that name ("int" is "integer", "bool" is "boolean"), and so is a longer text that begins with
 * one. An empty string leaves its field null. Members of objects under unknown keys are read as if
 * they stood in the enclosing object, and arrays under unknown keys can hide what follows: keep
 * unknown keys out of documents. Keys are case-sensitive.
 *
 * **Thread safety.** Records have no lock: load and free while nobody reads. Distinct records are
 * independent.
 */
#ifndef COMMONUTILITIES_COMMONCONFIG_H
#define COMMONUTILITIES_COMMONCONFIG_H

#include "rfvalues.h"

CU_BEGIN_DECLS

/** Data types of parameters, with their names in documents. */
enum ConfigDataType {
  CONFIG_TYPE_STRING = 0,           /**< "string" */
  CONFIG_TYPE_UNSIGNED_INTEGER = 1, /**< "unsigned integer" */
  CONFIG_TYPE_INTEGER = 2,          /**< "integer" */
  CONFIG_TYPE_FLOAT = 3,            /**< "float" */
  CONFIG_TYPE_LONG = 4,             /**< "long" */
  CONFIG_TYPE_BOOLEAN = 5,          /**< "boolean", and every unknown name */
  CONFIG_TYPE_UINT8 = 6,            /**< "uint8" */
  CONFIG_TYPE_UINT16 = 7,           /**< "uint16" */
  CONFIG_TYPE_UINT64 = 8,           /**< "uint64" */
  CONFIG_TYPE_BLOB = 9              /**< "blob" */
};

/** A parameter; its value is kept as text. */
typedef struct rfAECommonConfigConfigParam {
  rfString parameterName;  /**< null when empty or absent */
  rfString parameterValue; /**< null when empty or absent */
  uint64_t type;           /**< a ConfigDataType */
  uint64_t reserved;       /**< zero; copied by clones */
} rfAECommonConfigConfigParam;

/** A list of parameters. */
typedef struct rfAECommonConfigConfigParamArray {
  uint32_t count;                    /**< elements of list */
  rfAECommonConfigConfigParam *list; /**< heap array, or null */
} rfAECommonConfigConfigParamArray;

/** A named group of parameters; a pointer to it serves as a pointer to its parameter list. */
typedef struct rfAECommonConfigConfigObj {
  rfAECommonConfigConfigParamArray ConfigParam; /**< in the document's order */
  rfString parameterGroup;                      /**< its name; null when empty or absent */
} rfAECommonConfigConfigObj;

/** A list of groups. */
typedef struct rfAECommonConfigConfigObjArray {
  uint32_t count;                  /**< elements of list */
  rfAECommonConfigConfigObj *list; /**< heap array, or null */
} rfAECommonConfigConfigObjArray;

/** A configuration; a pointer to it serves as a pointer to its group list. */
typedef struct rfAECommonConfig {
  rfAECommonConfigConfigObjArray ConfigObj; /**< in the document's order */
  rfString ipcName;                         /**< name of the daemon's message queue, or null */
  rfString logCtrlFile;                     /**< the logger's settings file, or null */
  rfString logfile;                         /**< the logger's circular log file, or null */
  int64_t logFileSize;                      /**< its size limit in bytes, 0 when absent */
} rfAECommonConfig;

/** A list of whole configurations. */
typedef struct rfAECommonConfigArray {
  uint32_t count;         /**< elements of list */
  rfAECommonConfig *list; /**< heap array, or null */
} rfAECommonConfigArray;

/**
 * @brief Clears @p config and reads a configuration document into it.
 *
 * Unknown and empty properties are skipped. The document is released before the call returns.
 *
 * @param path   the document.
 * @param config the caller's record; released with aeFreeConfiguration().
 * @return 1 when the file was read; 0 when it is missing or malformed, and @p config is then
 *         cleared all the same. Null arguments give 0 and touch nothing.
 *
 * @note Loading over a record that holds a configuration loses its memory: aeFreeConfiguration() it
 *       first. See parseJson() for what a malformed document costs.
 */
CU_API int32_t aeloadConfiguration(const char *path, rfAECommonConfig *config);

/**
 * @brief Releases what @p config owns; not the record itself, and nothing is reset.
 *
 * Call it once a load; a second call frees twice. Null is accepted.
 *
 * @param config what aeloadConfiguration() filled.
 */
CU_API void aeFreeConfiguration(rfAECommonConfig *config);

/**
 * @brief The document callback behind aeloadConfiguration(), for parseJsonBuffer() and others.
 *
 * The parameters are those of JsonDocumentCallback. Does not clear @p config, a zero-filled
 * rfAECommonConfig.
 *
 * @param json       the document's text.
 * @param tokens     its tokens.
 * @param label      passed on to the walk.
 * @param tokenCount how many tokens there are.
 * @param config     the rfAECommonConfig to fill.
 * @return 0, or 1 for a null argument; parseJsonBuffer() therefore wants a label that is not 0.
 */
CU_API int32_t ProcessDecoderDefinitions(const char *json, jsmntok_t *tokens, const char *label,
                                         uint32_t tokenCount, void *config);

/**
 * @brief Maps a type name in the document to a ConfigDataType.
 *
 * The names are compared in the order of ConfigDataType over the shorter of both lengths, so the
 * empty text is a string and "u" an unsigned integer. Names may have any length.
 *
 * @param json  the document's text.
 * @param start offset of the name.
 * @param end   offset one past the name.
 * @param type  receives the type; left alone when another argument names no text.
 * @return always 0.
 */
CU_API int32_t dataTypeToEnum(const char *json, int32_t start, int32_t end, uint32_t *type);

/** @name Deserializers of the records, for documents that embed them
 *  The parameters are those of rfDeserializeFn. Each returns the result of the parser that ran, and
 *  0 for an unknown or null key or a null record. The array forms take the list as record, grow it
 *  to reach the index with zeroed elements, and hand the element on. Without memory for growth the
 *  list is emptied and its old elements are lost.
 *
 *  **Shared arguments and results.**
 *  - `context`: the walk.
 *  - `start`: offset of the value in the text.
 *  - `end`: offset one past the value.
 *  - `key`: the property's name.
 *  - `index`: position of the element in its array; 0 outside arrays.
 *  - `config`: the rfAECommonConfig to fill.
 *  - `group`: the rfAECommonConfigConfigObj to fill.
 *  - `param`: the rfAECommonConfigConfigParam to fill.
 *  - `array`: the list to fill.
 *  - Result: what the parser that ran gave; 0 for an unknown or null key and a null record.
 *  @{ */
/** The document: "ConfigObj", "ipcName", "logCtrlFile", "logfile", "logFileSize". */
CU_API int32_t deserialize_rfAECommonConfig(JsonWalkContext *context, int32_t start, int32_t end,
                                            const char *key, uint32_t index, void *config);
/** A document that is an array of configurations. */
CU_API int32_t deserialize_rfAECommonConfigArray(JsonWalkContext *context, int32_t start,
                                                 int32_t end, const char *key, uint32_t index,
                                                 void *array);
/** A group: "ConfigParam", "parameterGroup". */
CU_API int32_t deserialize_rfAECommonConfigConfigObj(JsonWalkContext *context, int32_t start,
                                                     int32_t end, const char *key, uint32_t index,
                                                     void *group);
/** The list of groups. */
CU_API int32_t deserialize_rfAECommonConfigConfigObjArray(JsonWalkContext *context, int32_t start,
                                                          int32_t end, const char *key,
                                                          uint32_t index, void *array);
/** A parameter: "parameterName", "parameterValue", "type". The last always gives 0, also when it
 * was stored. */
CU_API int32_t deserialize_rfAECommonConfigConfigParam(JsonWalkContext *context, int32_t start,
                                                       int32_t end, const char *key, uint32_t index,
                                                       void *param);
/** The list of parameters. */
CU_API int32_t deserialize_rfAECommonConfigConfigParamArray(JsonWalkContext *context, int32_t start,
                                                            int32_t end, const char *key,
                                                            uint32_t index, void *array);
/** @} */

/** @name Releases
 *  Each frees what the record owns with all that is below it, the array forms also the list; never
 *  the record itself. Nothing is reset; null is accepted.
 *
 *  **Shared arguments.**
 *  - `config`: the configuration to release.
 *  - `array`: the list to release.
 *  - `group`: the group to release.
 *  - `param`: the parameter to release.
 *  @{ */
/** A configuration; the same as aeFreeConfiguration(). */
CU_API void free_rfAECommonConfig(rfAECommonConfig *config);
/** A list of configurations. */
CU_API void free_rfAECommonConfigArray(rfAECommonConfigArray *array);
/** A group. */
CU_API void free_rfAECommonConfigConfigObj(rfAECommonConfigConfigObj *group);
/** A list of groups. */
CU_API void free_rfAECommonConfigConfigObjArray(rfAECommonConfigConfigObjArray *array);
/** A parameter. */
CU_API void free_rfAECommonConfigConfigParam(rfAECommonConfigConfigParam *param);
/** A list of parameters. */
CU_API void free_rfAECommonConfigConfigParamArray(rfAECommonConfigConfigParamArray *array);
/** @} */

CU_END_DECLS

#endif

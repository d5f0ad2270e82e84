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
 * they stood in the enclosing object.
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
  rfString parameterName;
  rfString parameterValue; /**< null when empty or absent */
  uint64_t type;           /**< a ConfigDataType */
  uint64_t reserved;       /**< zero; copied by clones */
} rfAECommonConfigConfigParam;

/** A list of parameters. */
typedef struct rfAECommonConfigConfigParamArray {
  uint32_t count;
  rfAECommonConfigConfigParam *list;
} rfAECommonConfigConfigParamArray;

/** A named group of parameters; a pointer to it serves as a pointer to its parameter list. */
typedef struct rfAECommonConfigConfigObj {
  rfAECommonConfigConfigParamArray ConfigParam;
  rfString parameterGroup;
} rfAECommonConfigConfigObj;

/** A list of groups. */
typedef struct rfAECommonConfigConfigObjArray {
  uint32_t count;
  rfAECommonConfigConfigObj *list;
} rfAECommonConfigConfigObjArray;

/** A configuration; a pointer to it serves as a pointer to its group list. */
typedef struct rfAECommonConfig {
  rfAECommonConfigConfigObjArray ConfigObj;
  rfString ipcName;     /**< name of the daemon's message queue */
  rfString logCtrlFile; /**< the logger's settings file */
  rfString logfile;     /**< the logger's circular log file */
  int64_t logFileSize;  /**< its size limit in bytes */
} rfAECommonConfig;

/** A list of whole configurations. */
typedef struct rfAECommonConfigArray {
  uint32_t count;
  rfAECommonConfig *list;
} rfAECommonConfigArray;

/**
 * @brief Clears @p config and reads a configuration document into it.
 *
 * Unknown and empty properties are skipped. The document is released before the call returns.
 *
 * @return 1 when the file was read, 0 when it is missing or malformed or an argument is null; then
 *         @p config is cleared as well.
 *
 * @note Loading over a record that holds a configuration loses its memory: aeFreeConfiguration() it
 *       first. See parseJson() for what a malformed document costs.
 */
CU_API int32_t aeloadConfiguration(const char *path, rfAECommonConfig *config);

/**
 * @brief Releases what @p config owns; not the record itself, and nothing is reset.
 *
 * Call it once a load. Null is accepted.
 */
CU_API void aeFreeConfiguration(rfAECommonConfig *config);

/**
 * @brief The document callback behind aeloadConfiguration(), for parseJsonBuffer() and others.
 *
 * Does not clear @p config, a zero-filled rfAECommonConfig.
 *
 * @return 0, or 1 for a null argument.
 */
CU_API int32_t ProcessDecoderDefinitions(const char *json, jsmntok_t *tokens, const char *label,
                                         uint32_t tokenCount, void *config);

/** @brief Maps a type name in the document to a ConfigDataType; always returns 0. */
CU_API int32_t dataTypeToEnum(const char *json, int32_t start, int32_t end, uint32_t *type);

/** @name Deserializers of the records, for documents that embed them
 *  Each returns 0 for an unknown or null key. The array forms take the list as record. Without
 *  memory for growth the list is emptied and its old elements are lost.
 *  @{ */
CU_API int32_t deserialize_rfAECommonConfig(JsonWalkContext *context, int32_t start, int32_t end,
                                            const char *key, uint32_t index, void *config);
CU_API int32_t deserialize_rfAECommonConfigArray(JsonWalkContext *context, int32_t start,
                                                 int32_t end, const char *key, uint32_t index,
                                                 void *array);
CU_API int32_t deserialize_rfAECommonConfigConfigObj(JsonWalkContext *context, int32_t start,
                                                     int32_t end, const char *key, uint32_t index,
                                                     void *group);
CU_API int32_t deserialize_rfAECommonConfigConfigObjArray(JsonWalkContext *context, int32_t start,
                                                          int32_t end, const char *key,
                                                          uint32_t index, void *array);
/** The "type" key always gives 0, also when it was stored. */
CU_API int32_t deserialize_rfAECommonConfigConfigParam(JsonWalkContext *context, int32_t start,
                                                       int32_t end, const char *key, uint32_t index,
                                                       void *param);
CU_API int32_t deserialize_rfAECommonConfigConfigParamArray(JsonWalkContext *context, int32_t start,
                                                            int32_t end, const char *key,
                                                            uint32_t index, void *array);
/** @} */

/** @name Releases
 *  Each frees what the record owns, the array forms also the list; null is accepted.
 *  @{ */
CU_API void free_rfAECommonConfig(rfAECommonConfig *config);
CU_API void free_rfAECommonConfigArray(rfAECommonConfigArray *array);
CU_API void free_rfAECommonConfigConfigObj(rfAECommonConfigConfigObj *group);
CU_API void free_rfAECommonConfigConfigObjArray(rfAECommonConfigConfigObjArray *array);
CU_API void free_rfAECommonConfigConfigParam(rfAECommonConfigConfigParam *param);
CU_API void free_rfAECommonConfigConfigParamArray(rfAECommonConfigConfigParamArray *array);
/** @} */

CU_END_DECLS

#endif

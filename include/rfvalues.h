/**
 * @file rfvalues.h
 * @brief The property walk over a document, and the typed values that records are made of.
 *
 * A record reader is a deserializer: a function that is told each property of an object (or each
 * element of an array) in turn and stores it. processObject() does the telling. A document callback
 * (see jsonparser.h) starts the walk:
 *
 * @code
 * static int32_t fan(JsonWalkContext *context, int32_t start, int32_t end, const char *key,
 *                    uint32_t index, void *record) {
 *   struct fan *fan = record;
 *   if (key != NULL && strcmp(key, "name") == 0)
 *     return parseRfString(context->json, start, end, &fan->name);
 *   return 0;                                       // an unknown key
 * }
 *
 * static int32_t document(const char *json, jsmntok_t *tokens, const char *label, uint32_t count,
 *                         void *user) {
 *   JsonWalkContext context = {json, tokens, 0, 0, count, 0};
 *   processObject(&context, label, 0, (int32_t)strlen(json), 0, user, fan);
 *   return 0;
 * }
 * @endcode
 *
 * **Records** are zero-filled before the walk, and released with their `free_` functions
 * afterwards. The `free_` functions leave counts and pointers as they are: a second call frees
 * twice, so clear the record first if it lives on. A key that a document repeats loses the earlier
 * value's memory.
 *
 * **What surprises users.** Primitives in arrays come with a null key. The members of an object
 * under an unknown key reach the enclosing record's deserializer as if they were its own, and an
 * array of odd length under an unknown key shifts the properties that follow it: documents from
 * strangers can set any field of the enclosing record this way. Strings keep their escapes.
 *
 * **Thread safety.** Reentrant; the walk's state lives in its context.
 */
#ifndef COMMONUTILITIES_RFVALUES_H
#define COMMONUTILITIES_RFVALUES_H

#include "jsonparser.h"

CU_BEGIN_DECLS

/** The state of a walk; made by a document callback, passed to every deserializer. */
typedef struct JsonWalkContext {
  const char *json;    /**< the document's text */
  jsmntok_t *tokens;   /**< its tokens */
  uint32_t current;    /**< the token being processed; nested reads move it forward */
  uint32_t unused;     /**< 0 */
  uint32_t tokenCount; /**< number of tokens */
  uint8_t strictTypes; /**< 1: a deserializer's 0 ends the walk, wrong element types are refused */
} JsonWalkContext;

/**
 * @brief A deserializer: stores one property or element.
 *
 * @param start  offset of the value in the text; @p end is one past it.
 * @param key    the property's name, valid during the call; null for primitives in arrays.
 * @param index  the value's position in the enclosing array, 0 outside arrays.
 * @param record the destination.
 * @return non-zero when the property was taken, 0 when it is unknown or could not be read.
 */
typedef int32_t (*rfDeserializeFn)(JsonWalkContext *context, int32_t start, int32_t end,
                                   const char *key, uint32_t index, void *record);

/** A heap string, or null when absent. */
typedef char *rfString;
/** A time stamp as it is written in the document; a heap string. */
typedef char *rfTimestamp;
typedef int64_t rfInteger;
typedef float rfFloat;
typedef uint8_t rfBoolean;

/** A link: the text of "@odata.id". */
typedef struct rfLink {
  uint32_t length; /**< strlen(odataId) */
  char *odataId;   /**< heap string, or null */
} rfLink;
typedef rfLink rfLinkRef;

/** One text of a string array. */
typedef struct rfStringElement {
  uint32_t length; /**< strlen(text); 0 when the text could not be read */
  char *text;      /**< heap string, or null */
} rfStringElement;

/** A growing array of strings. */
typedef struct rfStringArray {
  uint32_t count;
  rfStringElement *list;
} rfStringArray;
typedef rfStringArray rfCharArray;
typedef rfStringArray rfLinkArray;

/** A growing array of integers. */
typedef struct rfIntArray {
  uint32_t count;
  int64_t *list;
} rfIntArray;

/** A growing array of numbers. */
typedef struct rfNumberArray {
  uint32_t count;
  float *list;
} rfNumberArray;

/* ---- the walk -------------------------------------------------------------------------------- */

/**
 * @brief Calls @p deserializer for every property or element from context->current up to @p end.
 *
 * A deserializer that meets an object or an array calls processObject() again with the value's
 * offsets, the sub-record and its deserializer.
 *
 * @param key    not read; nor are @p start and @p index. They make the call look like a
 * deserializer.
 * @param end    offset in the text at which the walk ends.
 * @param record null gives 0.
 * @return non-zero, normally 1; 0 for a null argument or when a deserializer returned 0 under
 *         strictTypes.
 */
CU_API int32_t processObject(JsonWalkContext *context, const char *key, int32_t start, int32_t end,
                             uint32_t index, void *record, rfDeserializeFn deserializer);

/**
 * @brief An earlier form of the walk, kept for old callers. Use processObject().
 *
 * Prints "we have an empty object" for one; ignores the deserializer's results.
 */
CU_API int32_t processObject1(JsonWalkContext *context, const char *key, int32_t end,
                              uint32_t index, void *record, rfDeserializeFn deserializer);

/* ---- single values; the result is non-zero on success unless stated -------------------------- */

/** @brief A new string in `*dst`; an empty value gives 0 and leaves `*dst` as it was. */
CU_API int32_t parseRfString(const char *json, int32_t start, int32_t end, char **dst);

/** @brief As parseRfString(), but an empty value gives "" and 1. */
CU_API int32_t parseRfTimestamp(const char *json, int32_t start, int32_t end, char **dst);

/** @brief A signed 64-bit integer, base 10; what is no number gives 0. */
CU_API int32_t parseRfInteger(const char *json, int32_t start, int32_t end, int64_t *dst);

/** @brief A float, in the process's locale. */
CU_API int32_t parseRfFloat(const char *json, int32_t start, int32_t end, float *dst);

/**
 * @brief A boolean: 0 for exactly "false", 1 for any other text, also "False", "0" and "null".
 *
 * @return 0 on success and 1 without memory: the other way round than its neighbours.
 */
CU_API int32_t getBoolean(const char *json, int32_t start, int32_t end, uint8_t *dst);

/** @brief getBoolean() with the usual result. */
CU_API int32_t parseRfBoolean(const char *json, int32_t start, int32_t end, uint8_t *dst);

/**
 * @brief A number written as hexadecimal text, such as "0x1F".
 *
 * Texts of 3 characters and fewer, or that do not begin with "0", leave `*dst` as it was. The
 * second character is not looked at, and characters that are no digits are skipped.
 *
 * @return 1, or 0 for an empty text or without memory.
 */
CU_API int32_t parseRfHexString(const char *json, int32_t start, int32_t end, uint64_t *dst);

/** @brief A deserializer that takes "@odata.id" into an rfLink and no other key. */
CU_API int32_t deserialize_rfLinkRef(JsonWalkContext *context, int32_t start, int32_t end,
                                     const char *key, uint32_t index, void *dst);

/* ---- arrays filled by index ------------------------------------------------------------------ */

/**
 * @brief Deserializers for arrays of strings, integers and numbers: pass one to processObject()
 * with the array as record.
 *
 * An index beyond the array grows it to index + 1 elements, the gap zeroed. Without memory the
 * array is released, its count 0.
 *
 * @return the element parser's result; 0 for a null array or without memory. Under strictTypes a
 *         value of another type gives 0.
 */
CU_API int32_t deserialize_rfStringArray(JsonWalkContext *context, int32_t start, int32_t end,
                                         const char *key, uint32_t index, void *array);
CU_API int32_t deserialize_rfIntArray(JsonWalkContext *context, int32_t start, int32_t end,
                                      const char *key, uint32_t index, void *array);
CU_API int32_t deserialize_rfNumberArray(JsonWalkContext *context, int32_t start, int32_t end,
                                         const char *key, uint32_t index, void *array);

/** @brief Stores a string at @p index, growing the array first; an empty one gives 0 and length 0.
 */
CU_API int32_t parseRfCharArray(const char *json, int32_t start, int32_t end, rfCharArray *array,
                                uint32_t index);
/** @brief parseRfCharArray() under a second name. */
CU_API int32_t parseRfStringArray(const char *json, int32_t start, int32_t end,
                                  rfStringArray *array, uint32_t index);
/** @brief As parseRfCharArray(); without memory for growth its old elements are lost. */
CU_API int32_t parseRfLinkArray(const char *json, int32_t start, int32_t end, rfLinkArray *array,
                                uint32_t index);

/* ---- appending ------------------------------------------------------------------------------- */

/** @brief Appends a copy of @p s; 1, or 0 for a null argument or without memory. */
CU_API int32_t AddStringToRfCharArray(const char *s, rfCharArray *array);
/** @brief Appends a value; 1, or 0 for a null array or without memory. */
CU_API int32_t AddValueToRfIntArray(int64_t value, rfIntArray *array);
/** @brief Appends a value; 1, or 0 without memory. */
CU_API int32_t AddNumberToRfNumberArray(rfNumberArray *array, float value);

/* ---- checking -------------------------------------------------------------------------------- */

/**
 * @brief 1 when every element lies between @p min and @p max; else 0 with the first other one in
 *        `*firstBad`. NaN passes. 0 for a null array.
 */
CU_API int32_t ValidNumberInArray(const rfNumberArray *array, float *firstBad, float min,
                                  float max);
/** @brief The same for integers; `*firstBad` gets the low 32 bits. */
CU_API int32_t ValidIntegerInArray(const rfIntArray *array, int32_t min, int32_t max,
                                   int32_t *firstBad);

/* ---- releasing: what a value owns, never the record itself; null is accepted ----------------- */

CU_API void free_rfString(char *s);
CU_API void free_rfTimestamp(char *s);
CU_API void free_rfLink(rfLink *link);
CU_API void free_rfStringArray(rfStringArray *array);
CU_API void free_rfIntArray(rfIntArray *array);
CU_API void free_rfNumberArray(rfNumberArray *array);

CU_END_DECLS

#endif

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
 *   // An unknown key: pass over its value, so that nothing in it is taken for the fan's own.
 *   context->current += (uint32_t)dump(context->json, &context->tokens[context->current],
 *                                      context->tokenCount - context->current, 0) - 1;
 *   return 0;
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
 * **What surprises users.**
 * - Primitives in arrays come with a null key. So does an array that begins with an array, as an
 *   element of itself: a deserializer that walks into a value with a null key meets it again and
 *   again until the stack ends.
 * - The members of an object under an unknown key reach the enclosing record's deserializer as if
 *   they were its own, and an array of odd length under an unknown key shifts the properties that
 *   follow it: documents from strangers can set any field of the enclosing record this way, and the
 *   library's own readers let them. A deserializer of yours prevents it as shown above.
 * - Strings keep their escapes.
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
 * The walk calls it on the caller's thread, once for each property or element, with
 * context->current at the value's first token. One that reads on within the value leaves it at the
 * last token it has read, as processObject() does, and the walk goes on behind that.
 *
 * @param context the walk.
 * @param start   offset of the value in the text.
 * @param end     offset one past the value.
 * @param key     the property's name, valid during the call; the text itself for texts in arrays,
 *                null for primitives in arrays, for the walked array itself where it begins with an
 *                array, and when there was no memory for a name of 48 bytes and more. Never call
 *                processObject() for a value with a null key: it may be the array that is being
 *                walked. An array of arrays that follows a text in an array has that text as key.
 * @param index   the value's position in the enclosing array, 0 outside arrays; positions can be
 *                left out, because empty elements are not told.
 * @param record  the destination.
 * @return non-zero when the property was taken, 0 when it is unknown or could not be read; the walk
 *         looks at it only under strictTypes, and then only at its low 8 bits.
 */
typedef int32_t (*rfDeserializeFn)(JsonWalkContext *context, int32_t start, int32_t end,
                                   const char *key, uint32_t index, void *record);

/** A heap string, or null when absent. */
typedef char *rfString;
/** A time stamp as it is written in the document; a heap string. */
typedef char *rfTimestamp;
/** An integer of 64 bits, whatever its size in the document. */
typedef int64_t rfInteger;
/** A number of single precision. */
typedef float rfFloat;
/** A truth value, 0 or 1. */
typedef uint8_t rfBoolean;

/** A link: the text of "@odata.id". */
typedef struct rfLink {
  uint32_t length; /**< strlen(odataId) */
  char *odataId;   /**< heap string, or null */
} rfLink;
/** The same under the name that deserialize_rfLinkRef() reads it by. */
typedef rfLink rfLinkRef;

/** One text of a string array. */
typedef struct rfStringElement {
  uint32_t length; /**< strlen(text); 0 when the text could not be read */
  char *text;      /**< heap string, or null */
} rfStringElement;

/** A growing array of strings. */
typedef struct rfStringArray {
  uint32_t count;        /**< elements of list */
  rfStringElement *list; /**< heap array, or null */
} rfStringArray;
/** The same under a second name. */
typedef rfStringArray rfCharArray;
/** The same for the texts of links. */
typedef rfStringArray rfLinkArray;

/** A growing array of integers. */
typedef struct rfIntArray {
  uint32_t count; /**< elements of list */
  int64_t *list;  /**< heap array, or null */
} rfIntArray;

/** A growing array of numbers. */
typedef struct rfNumberArray {
  uint32_t count; /**< elements of list */
  float *list;    /**< heap array, or null */
} rfNumberArray;

/* ---- the walk -------------------------------------------------------------------------------- */

/**
 * @brief Calls @p deserializer for every property or element from context->current up to @p end.
 *
 * Of an object each property is told, with index 0; of an array of objects each property of each
 * object, with the object's position; of an array of texts or primitives each element, with its
 * position. A deserializer that meets an object or an array it knows calls processObject() again
 * with the value's offsets, the sub-record and that record's deserializer.
 *
 * @param context      the walk; afterwards context->current stands at the last token read, or at or
 *                     behind context->tokenCount when the tokens have ended.
 * @param key          not read; it and the two below make the call look like a deserializer.
 * @param start        not read.
 * @param end          offset in the text at which the walk ends: the first token beyond it is not
 *                     read.
 * @param index        not read.
 * @param record       passed to the deserializer.
 * @param deserializer called as rfDeserializeFn says.
 * @return non-zero, normally 1; 0 for a null argument or when a deserializer returned 0 under
 *         strictTypes.
 *
 * @note Where a value is missing, as in `{"a"}`, the next token is taken for it, and the walk ends
 *       when there is none. Elements that follow an object in the same array are read as keys.
 */
CU_API int32_t processObject(JsonWalkContext *context, const char *key, int32_t start, int32_t end,
                             uint32_t index, void *record, rfDeserializeFn deserializer);

/**
 * @brief An earlier form of the walk, kept for old callers. Use processObject().
 *
 * Tells the elements of an array one token each, knows no arrays of objects, and ends at an array
 * that has no key. Prints "we have an empty object" for one; ignores the deserializer's results.
 *
 * @param context      the walk.
 * @param key          not read.
 * @param end          offset in the text at which the walk ends.
 * @param index        not read.
 * @param record       passed to the deserializer.
 * @param deserializer called with the position in the array, 0 outside arrays.
 * @return 1, or 0 for a null argument.
 */
CU_API int32_t processObject1(JsonWalkContext *context, const char *key, int32_t end,
                              uint32_t index, void *record, rfDeserializeFn deserializer);

/* ---- single values ----------------------------------------------------------------------------
 */

/**
 * @name Parsers of single values
 *
 * All take the document's text, the value's offsets and a destination. The result is non-zero on
 * success, and 0 for a null argument, for an end before the start, and without memory.
 *
 * **Shared arguments and results.**
 * - `json`: the document's text.
 * - `start`: offset of the value.
 * - `end`: offset one past the value.
 * - `dst`: the destination.
 * - Result: not 0; 0 for a null argument, for an end before the start, and without memory.
 * @{
 */

/**
 * @brief A new string in `*dst`, which the caller frees with free_rfString().
 *
 * Escapes stay as written. What `*dst` held is not freed. An empty value gives 0 and leaves `*dst`
 * as it was; without memory `*dst` is null.
 *
 * @return 1; 0 for an empty value, a null argument, an end before the start, and without memory.
 */
CU_API int32_t parseRfString(const char *json, int32_t start, int32_t end, char **dst);

/**
 * @brief As parseRfString(), but an empty value gives "". Nothing is converted.
 *
 * @return 1 for an empty value too; else as parseRfString().
 */
CU_API int32_t parseRfTimestamp(const char *json, int32_t start, int32_t end, char **dst);

/** @brief A signed 64-bit integer, base 10, saturated; a text that is no number stores 0. */
CU_API int32_t parseRfInteger(const char *json, int32_t start, int32_t end, int64_t *dst);

/** @brief A float, in the process's locale; a text that is no number stores 0. */
CU_API int32_t parseRfFloat(const char *json, int32_t start, int32_t end, float *dst);

/**
 * @brief A boolean: 0 for exactly "false", 1 for any other text, also "False", "0" and "null".
 *
 * getPrimitive() and the getters of configparams.h each have another rule.
 *
 * @return 0 on success and 1 on failure: the other way round than its neighbours.
 */
CU_API int32_t getBoolean(const char *json, int32_t start, int32_t end, uint8_t *dst);

/** @brief getBoolean() with the usual result. */
CU_API int32_t parseRfBoolean(const char *json, int32_t start, int32_t end, uint8_t *dst);

/**
 * @brief A number written as hexadecimal text, such as "0x1F".
 *
 * Texts of 3 characters and fewer, or that do not begin with "0", leave `*dst` as it was. The
 * second character is not looked at, and characters behind it that are no digits are skipped. More
 * than 16 digits wrap.
 *
 * @return 1, also when nothing was stored; 0 for an empty text.
 */
CU_API int32_t parseRfHexString(const char *json, int32_t start, int32_t end, uint64_t *dst);

/** @} */

/**
 * @brief A deserializer that takes "@odata.id" into an rfLink and no other key.
 *
 * An empty link gives 0 and length 0. The parameters are those of rfDeserializeFn, @p dst an
 * rfLink.
 *
 * @param context the walk.
 * @param start   offset of the value.
 * @param end     offset one past the value.
 * @param key     the property's name.
 * @param index   not read.
 * @param dst     an rfLink.
 * @return 1 for a link; 0 for another key, an empty link, a null argument, and without memory.
 */
CU_API int32_t deserialize_rfLinkRef(JsonWalkContext *context, int32_t start, int32_t end,
                                     const char *key, uint32_t index, void *dst);

/* ---- arrays filled by index ------------------------------------------------------------------ */

/**
 * @name Deserializers of arrays
 *
 * Pass one to processObject() with the array as record; the other parameters are those of
 * rfDeserializeFn. An index beyond the array grows it to index + 1 elements, the gap zeroed. An
 * element that is there already is overwritten, and a text in it lost. Without memory for growth
 * the array is released and left empty.
 *
 * Each returns the element parser's result, and 0 for a null array or without memory.
 *
 * **Shared arguments and results.**
 * - `context`: the walk.
 * - `start`: offset of the value in the text.
 * - `end`: offset one past the value.
 * - `key`: the property's name.
 * - `index`: position of the element in its array; 0 outside arrays.
 * - `array`: the array to fill.
 * - Result: that of the element's parser; 0 for a null array or without memory.
 * @{
 */

/** @brief Texts; primitives too, but under strictTypes those store an empty element and give 0. */
CU_API int32_t deserialize_rfStringArray(JsonWalkContext *context, int32_t start, int32_t end,
                                         const char *key, uint32_t index, void *array);
/** @brief Integers; under strictTypes what is no primitive stores nothing and gives 0. */
CU_API int32_t deserialize_rfIntArray(JsonWalkContext *context, int32_t start, int32_t end,
                                      const char *key, uint32_t index, void *array);
/** @brief Numbers; under strictTypes what is no primitive stores nothing and gives 0. */
CU_API int32_t deserialize_rfNumberArray(JsonWalkContext *context, int32_t start, int32_t end,
                                         const char *key, uint32_t index, void *array);
/** @} */

/**
 * @brief Stores a text at @p index, growing the array first as the deserializers do.
 *
 * A new element whose text is empty or cannot be copied has a null text; over an old one the empty
 * text keeps what was there, with length 0.
 *
 * @param json  the document's text.
 * @param start offset of the value.
 * @param end   offset one past the value.
 * @param array the array that grows.
 * @param index the position.
 * @return 1, or 0 for an empty text, a null array or without memory.
 */
CU_API int32_t parseRfCharArray(const char *json, int32_t start, int32_t end, rfCharArray *array,
                                uint32_t index);
/**
 * @brief parseRfCharArray() under a second name.
 *
 * @param json  the document's text.
 * @param start offset of the value.
 * @param end   offset one past the value.
 * @param array the array that grows.
 * @param index the position.
 * @return as parseRfCharArray().
 */
CU_API int32_t parseRfStringArray(const char *json, int32_t start, int32_t end,
                                  rfStringArray *array, uint32_t index);
/**
 * @brief As parseRfCharArray(), but without memory for growth the old elements are lost.
 *
 * @param json  the document's text.
 * @param start offset of the value.
 * @param end   offset one past the value.
 * @param array the array that grows.
 * @param index the position.
 * @return as parseRfCharArray().
 */
CU_API int32_t parseRfLinkArray(const char *json, int32_t start, int32_t end, rfLinkArray *array,
                                uint32_t index);

/* ---- appending ------------------------------------------------------------------------------- */

/**
 * @name Appenders
 *
 * Each appends one element to an array that is zero-filled or was filled by these functions, and
 * returns 1; or 0 for a null argument or without memory, which for growth releases the array and
 * leaves it empty. A null list starts anew, whatever the count.
 *
 * **Shared arguments and results.**
 * - `array`: the array that grows.
 * - Result: 1; 0 for a null argument or without memory.
 * @{
 */

/**
 * @brief Appends a copy of @p s. Without memory for the copy the array stays as it is.
 *
 * @param s the text.
 */
CU_API int32_t AddStringToRfCharArray(const char *s, rfCharArray *array);
/** @brief Appends @p value. @param value the number. */
CU_API int32_t AddValueToRfIntArray(int64_t value, rfIntArray *array);
/** @brief Appends @p value. @param value the number. */
CU_API int32_t AddNumberToRfNumberArray(rfNumberArray *array, float value);
/** @} */

/* ---- checking -------------------------------------------------------------------------------- */

/**
 * @brief Whether every element lies between two bounds, which count as within. NaN passes.
 *
 * @param array    null gives 0.
 * @param firstBad receives the first element outside; otherwise left alone. May be null.
 * @param min      lower bound.
 * @param max      upper bound.
 * @return 1 when all lie within, also for an empty array; else 0.
 */
CU_API int32_t ValidNumberInArray(const rfNumberArray *array, float *firstBad, float min,
                                  float max);
/**
 * @brief The same for integers; @p firstBad gets the low 32 bits of the first one outside.
 *
 * @param array    null gives 0.
 * @param min      lower bound.
 * @param max      upper bound.
 * @param firstBad receives that; otherwise left alone. May be null.
 * @return as ValidNumberInArray().
 */
CU_API int32_t ValidIntegerInArray(const rfIntArray *array, int32_t min, int32_t max,
                                   int32_t *firstBad);

/* ---- releasing ------------------------------------------------------------------------------- */

/**
 * @name Releases
 *
 * Each frees what a value owns, never the record itself, and accepts null. Counts and pointers stay
 * as they were: do not use or release the value again before it is zero-filled.
 *
 * **Shared arguments.**
 * - `s`: the string.
 * - `link`: the link.
 * - `array`: the array.
 * @{
 */

/** @brief Frees the string. */
CU_API void free_rfString(char *s);
/** @brief Frees the string. */
CU_API void free_rfTimestamp(char *s);
/** @brief Frees the text and sets the length to 0; the pointer stays. */
CU_API void free_rfLink(rfLink *link);
/** @brief Frees each text and the list. */
CU_API void free_rfStringArray(rfStringArray *array);
/** @brief Frees the list. */
CU_API void free_rfIntArray(rfIntArray *array);
/** @brief Frees the list. */
CU_API void free_rfNumberArray(rfNumberArray *array);
/** @} */

CU_END_DECLS

#endif

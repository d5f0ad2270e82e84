/**
 * @file jsonwriter.h
 * @brief Writing JSON text, element by element, into a buffer that grows.
 *
 * @code
 * JsonBox box = {0};
 * JsonStartObject(NULL, &box);
 * JsonAddStringElement(&box, "Name", "fan 3");
 * JsonAddIntegerElement(&box, "Speed", 5200);
 * JsonEndObject(&box);
 * if (JsonFinalize(&box)) puts(box.data);   // {\n"Name" : "fan 3",\n"Speed" : 5200 \n}
 * JsonFreeBox(&box);
 * @endcode
 *
 * Every element is followed by a comma and a line break; closing a container and finalising the
 * text turn the last comma before a bracket into a blank. A null key leaves the key out, as in
 * arrays.
 *
 * **Thread safety.** Reentrant; a box belongs to one thread at a time.
 *
 * **What surprises users.**
 * - Nothing is escaped: a quote, a backslash or a control character in a key or a value goes into
 *   the text as it is, and can forge members. Check texts from outside first.
 * - Without memory the text so far is lost and the box is empty; the element functions return 1 all
 *   the same. Look at `data` at the end: JsonFinalize() returns 0 for an empty box.
 * - JsonFinalize() cuts everything after the last "}".
 * - The two array serialisers write the first text of the array at every position. To write an
 *   array of texts, use JsonStartArray(), JsonAddStringElement() with a null key, and
 *   JsonEndArray().
 *
 * **Shared arguments and results.**
 * - `box`: the text that grows.
 * - `key`: the name of what is added, unescaped; null for none.
 * - Result of `Json*`: 1; 0 for a null box.
 */
#ifndef COMMONUTILITIES_JSONWRITER_H
#define COMMONUTILITIES_JSONWRITER_H

#include "rfvalues.h"

CU_BEGIN_DECLS

/** A text that grows; zero it before the first use, release it with JsonFreeBox(). */
typedef struct JsonBox {
  char *data;        /**< the text, heap memory, or null while there is none */
  uint32_t capacity; /**< bytes counted as allocated: length + 1 after each growth */
  uint32_t length;   /**< characters held */
} JsonBox;

/**
 * @brief Appends bytes as they are.
 *
 * @param bytes the bytes.
 * @param count how many.
 * @return 1; 0 for a null argument, or without memory: the text so far is then freed and `data`
 *         null.
 */
CU_API int jsonAppendString(JsonBox *box, const char *bytes, uint32_t count);

/** @brief Opens an object: `"key" : {`. */
CU_API int JsonStartObject(const char *key, JsonBox *box);
/** @brief Opens an array: `"key" : [`. */
CU_API int JsonStartArray(const char *key, JsonBox *box);
/** @brief Closes an object. */
CU_API int JsonEndObject(JsonBox *box);
/** @brief Closes an array. */
CU_API int JsonEndArray(JsonBox *box);

/**
 * @brief Adds a string.
 *
 * @param value the text, unescaped.
 * @return 1; 0 for a null box or value.
 */
CU_API int JsonAddStringElement(JsonBox *box, const char *key, const char *value);
/** @brief Adds true or false. @param flag 0 for false. */
CU_API int JsonAddBooleanElement(JsonBox *box, const char *key, uint8_t flag);
/** @brief Adds a number. @param value the number. */
CU_API int JsonAddIntegerElement(JsonBox *box, const char *key, int32_t value);
/** @brief Adds a number. @param value the number. */
CU_API int JsonAddUnsignedIntegerElement(JsonBox *box, const char *key, uint64_t value);
/**
 * @brief The same as JsonAddUnsignedIntegerElement(): decimal digits, despite the name.
 *
 * @param value the number.
 */
CU_API int JsonAddHexElement(JsonBox *box, const char *key, uint64_t value);
/**
 * @brief Adds a number with decimals, as getFloatAsString() prints it: cut to precision + 9
 *        characters, with the locale's decimal point.
 *
 * @param precision decimals, at most 9; its low 8 bits count.
 * @param value     the number. Infinity and not-a-number are written as words, which no JSON reader
 *                  accepts.
 */
CU_API int JsonAddFloatElement(JsonBox *box, const char *key, uint32_t precision, float value);

/**
 * @brief Writes `"key":["t","t"]}`: the first text of the array, once for each element, and the end
 *        of an object.
 *
 * @param array the texts.
 * @param key   the name, unescaped.
 * @param flag  0 writes nothing.
 * @return 1; 0 for a null argument, an empty array or a @p flag of 0.
 */
CU_API int serializeRFCharArray(const rfCharArray *array, const char *key, JsonBox *box,
                                uint8_t flag);
/**
 * @brief Writes `"key":["t","t"],`: the first text of the array, once for each element.
 *
 * @param owner   anything but null.
 * @param key     the name, unescaped.
 * @param array   the texts.
 * @param ignored not used.
 * @return 1; 0 for a null argument or an empty array.
 */
CU_API int serialize_rfStringArray(const void *owner, const char *key, const rfStringArray *array,
                                   uint32_t ignored, JsonBox *box);

/**
 * @brief Ends the text: drops the last separator and whatever follows the last "}".
 *
 * A text without any "}" becomes empty. The last two characters are taken for the separator
 * that JsonEndObject() and JsonEndArray() write, and the last one goes whatever it is: behind
 * serializeRFCharArray(), which writes none, call JsonCleanup() instead. `length` can end one below
 * the text's own length.
 *
 * @return 1; 0 for a null box, a box without text or with fewer than 2 characters.
 */
CU_API int JsonFinalize(JsonBox *box);
/** @brief Cuts the text after the last "}", or all of it without one. @return always 1. */
CU_API int JsonCleanup(JsonBox *box);
/**
 * @brief Frees the text; capacity and length stay.
 *
 * @return 1; 0 for a null box or one without text.
 */
CU_API int JsonFreeBox(JsonBox *box);

/**
 * @brief Copies a string.
 *
 * @param string the string.
 * @param out    receives the copy, which the caller frees.
 * @return 1; 0 for a null argument.
 */
CU_API int SetJsonStringValue(const char *string, char **out);
/**
 * @brief Appends a copy of every text of @p source to @p copy.
 *
 * @param source the texts to copy.
 * @param copy   the list that grows.
 * @return 1; 0 for a null argument.
 */
CU_API int CloneRfCharArray(const rfCharArray *source, rfCharArray *copy);

CU_END_DECLS

#endif

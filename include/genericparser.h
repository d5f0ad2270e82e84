/**
 * @file genericparser.h
 * @brief Reading a document without a record layout: a callback is told every scalar property.
 *
 * GenericParser() walks the tokens of a document once. For each property whose value is a string or
 * a primitive it calls the value callback with the property's key, the key of the container that it
 * stands in, and how often it has been back in an enclosing array. Whenever a new element of the
 * top-level container begins, it asks for the record to fill from then on. Its first five arguments
 * are those of a document callback, so that one can hand its own straight on.
 *
 * @code
 * static int32_t document(const char *json, jsmntok_t *tokens, const char *label, uint32_t count,
 *                         void *user) {
 *   return GenericParser(json, tokens, label, (int32_t)count, user, next_fan, fan_value);
 * }
 * @endcode
 *
 * A schema is a table of property names with a conversion function each; callConversionCallback()
 * finds the entry of a name and calls its function.
 *
 * **Thread safety.** Reentrant; all state is local to a call.
 *
 * **What surprises users.**
 * - The walk changes the token array: sizes of containers are one lower afterwards. Do not hand the
 *   tokens to another walk.
 * - Counters have 8 bits: after 256 elements they start over.
 * - The value callback may move the walk through its `index`; a callback that moves it back makes
 *   the walk go there again, for ever if it always does.
 * - The walk knows the shape that it was made for, an object with a key that holds an array of
 *   objects. Values of plain arrays are not reported as elements, and other shapes may be reported
 *   under another parent key than one expects. For any other document build a node tree
 *   (jsonnode.h).
 */
#ifndef COMMONUTILITIES_GENERICPARSER_H
#define COMMONUTILITIES_GENERICPARSER_H

#include "jsonparser.h"

CU_BEGIN_DECLS

/** Containers that a walk can track; a document that needs more is refused. */
#define GENERIC_PARSER_CONTAINERS 256

/** A tracked container. */
typedef struct CounterObject {
  int32_t tokenIndex; /**< the container's token; -1 once it was left */
  uint32_t word;      /**< not used by the library */
  uint8_t counter;    /**< elements seen so far, less one */
} CounterObject;

/**
 * @brief Told of a scalar property.
 *
 * @param json           the document's text.
 * @param tokens         its tokens.
 * @param table          the tracked containers, readable during the call.
 * @param depth          their number; 0 for 256.
 * @param parentKey      key of the container that the property stands in, or null.
 * @param key            the property's key, or null.
 * @param index          the value's token; the walk goes on behind what it is set to.
 * @param elementCounter the enclosing array's counter when the walk was last back in it, else 0.
 * @param record         the current record.
 * @return ignored.
 */
typedef int (*GenericValueCallback)(const char *json, jsmntok_t *tokens, CounterObject *table,
                                    uint8_t depth, const char *parentKey, const char *key,
                                    int32_t *index, uint32_t elementCounter, void *record);

/** Gives the record to fill from now on; called when an element of the top-level container begins.
 */
typedef void *(*GenericNextRecord)(void *record);

/** Converts a value; its result is passed on by callConversionCallback(). */
typedef int (*ConversionFn)(uint32_t value, uint32_t second, uint32_t third,
                            uint32_t firstParameter, uint32_t secondParameter);

/** Up to 64 named entries with two parameters each, and the function that converts them all. */
typedef struct ConversionTable {
  char names[64][64];  /**< NUL-terminated */
  uint32_t first[64];  /**< an entry's first parameter */
  uint32_t second[64]; /**< an entry's second parameter */
  uint8_t count;       /**< entries in use */
  uint32_t word;       /**< not used by the library */
  ConversionFn fn;     /**< null: the table matches nothing */
} ConversionTable;

/**
 * @brief Walks the tokens and reports every scalar property.
 *
 * @param json          the document's text.
 * @param tokens        its tokens.
 * @param label         only tested for null.
 * @param tokenCount    number of tokens; 0 reports nothing.
 * @param record        the first record; null gives 1.
 * @param nextRecord    null keeps the record.
 * @param valueCallback called for each scalar property.
 * @return 0; 1 when @p label, @p record or another pointer is null (nothing is reported), or when
 *         the document needs more than GENERIC_PARSER_CONTAINERS tracked containers (what came
 *         before has been reported).
 */
CU_API int GenericParser(const char *json, jsmntok_t *tokens, const char *label, int32_t tokenCount,
                         void *record, GenericNextRecord nextRecord,
                         GenericValueCallback valueCallback);

/**
 * @brief Finds the entry of exactly this name and calls its table's function.
 *
 * @param tables     the tables, searched in their order.
 * @param tableCount how many there are.
 * @param value      passed to the function.
 * @param second     passed to the function.
 * @param third      passed to the function.
 * @param name       the name to look for.
 * @return the function's result; 1 when no entry matches or for a null argument.
 */
CU_API int callConversionCallback(const ConversionTable *tables, uint32_t tableCount,
                                  uint32_t value, uint32_t second, uint32_t third,
                                  const char *name);

/**
 * @brief Looks for a token among the tracked containers.
 *
 * @param table      the containers.
 * @param depth      how many of them are in use.
 * @param tokenIndex the token.
 * @return the position of the first entry with this token, or -1.
 */
CU_API int getCounterObjectIndex(const CounterObject *table, uint8_t depth, int32_t tokenIndex);

/**
 * @brief Tells whether the walk is back in a container that it had left for an inner one, and marks
 *        the inner one as left.
 *
 * @param table      the containers.
 * @param depth      how many of them are in use.
 * @param tokenIndex the token of the container that the walk is in.
 * @return 1 when an entry with this token is found and is not the last in use, else 0.
 */
CU_API int isBackAtParent(CounterObject *table, uint8_t depth, int32_t tokenIndex);

CU_END_DECLS

#endif

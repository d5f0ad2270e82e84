/**
 * @file jsonparser.h
 * @brief Loading a JSON document into tokens, and reading what a token holds.
 *
 * A loader reads a document, splits it into a flat array of tokens (by jsmn, in strict mode and
 * with parent links) and calls a document callback once with text and tokens. Both are freed when
 * the callback returns: copy what you keep.
 *
 * @code
 * static int32_t show(const char *json, jsmntok_t *tokens, const char *label, uint32_t count,
 *                     void *user) {
 *   for (uint32_t i = 0; i < count; ++i)
 *     if (tokens[i].type == JSON_TOKEN_STRING)
 *       printf("%.*s\n", (int)(tokens[i].end - tokens[i].start), json + tokens[i].start);
 *   return 0;
 * }
 * parseJson("/etc/demo.json", "demo", show, NULL);
 * @endcode
 *
 * **Thread safety.** Every function is reentrant. A text and its tokens may be read by several
 * threads as long as nobody writes them.
 *
 * **What surprises users.** jsmn is lenient: `[1 2]`, `[1,]`, `{"a"}` and `{"a":nul}` are accepted,
 * so a key can have no value, or two. A comma before the closing brace of an object is refused. A
 * NUL byte ends the text silently. Numbers are converted with the process's locale. Each malformed
 * file that parseJson() refuses costs one descriptor and one token array for good: check documents
 * that may be malformed with parseJsonBuffer(), which loses nothing.
 *
 * **Limits.** A document has at most 2 GiB - 2 bytes, and may be nested as deep as it is long; jsmn
 * takes a time that grows with the square of that depth, which is felt from some 10,000 levels on.
 *
 * A program that uses jsmn.h itself defines JSMN_PARENT_LINKS and includes jsmn.h before this
 * header; both then share one token record. The token types in records from this library are always
 * those of JsonTokenType, whatever jsmn.h calls them: compare `(int)token.type` with these names.
 */
#ifndef COMMONUTILITIES_JSONPARSER_H
#define COMMONUTILITIES_JSONPARSER_H

#include "commonutilities_api.h"

CU_BEGIN_DECLS

/** Types of tokens; single bits, so that a set of types is a sum. */
enum JsonTokenType {
  JSON_TOKEN_UNDEFINED = 0, /**< none */
  JSON_TOKEN_OBJECT = 1,    /**< from brace to brace */
  JSON_TOKEN_ARRAY = 2,     /**< from bracket to bracket */
  JSON_TOKEN_STRING = 4,    /**< a text without its quotes, escapes as written */
  JSON_TOKEN_PRIMITIVE =
      8 /**< a number, true, false or null, unchecked beyond its first character */
};

#ifdef JSMN_H
#ifndef JSMN_PARENT_LINKS
#error "define JSMN_PARENT_LINKS before including jsmn.h: without it jsmn has another token record"
#endif
/** The same check for a definition that came too late. */
typedef char jsmn_h_needs_JSMN_PARENT_LINKS[sizeof(jsmntok_t) == 20 ? 1 : -1];
#else

/** The token types under jsmn's own names. */
enum {
  JSMN_UNDEFINED = JSON_TOKEN_UNDEFINED,
  JSMN_OBJECT = JSON_TOKEN_OBJECT,
  JSMN_ARRAY = JSON_TOKEN_ARRAY,
  JSMN_STRING = JSON_TOKEN_STRING,
  JSMN_PRIMITIVE = JSON_TOKEN_PRIMITIVE
};

/** A token; all offsets are bytes into the document's text. */
typedef struct jsmn_h_must_be_included_before_jsonparser_h {
  int32_t type;   /**< a JsonTokenType */
  int32_t start;  /**< first character; of a string, the one after the opening quote */
  int32_t end;    /**< one past the last character; of a string, the closing quote */
  int32_t size;   /**< direct children: keys, elements, or 1 for a key that has its value */
  int32_t parent; /**< index of the enclosing token, -1 at top level */
} jsmntok_t;

#endif

/**
 * @brief What a loader calls once per document.
 *
 * @param json   the text, NUL-terminated; null for an empty file.
 * @param tokens the tokens; may be changed, valid during the call like @p json.
 * @param label  the label given to the loader.
 * @param count  number of tokens.
 * @param user   the pointer given to the loader.
 * @return 0 for success; parseJson() ignores it, parseJsonBuffer() reports it.
 */
typedef int32_t (*JsonDocumentCallback)(const char *json, jsmntok_t *tokens, const char *label,
                                        uint32_t count, void *user);

/** What getPrimitive() stores. */
enum JsonPrimitiveKind {
  JSON_PRIMITIVE_UINT8 = 0,   /**< a uint8_t */
  JSON_PRIMITIVE_UINT16 = 1,  /**< a uint16_t */
  JSON_PRIMITIVE_UINT32 = 2,  /**< a uint32_t */
  JSON_PRIMITIVE_UINT64 = 3,  /**< a uint64_t */
  JSON_PRIMITIVE_BOOLEAN = 4, /**< a uint8_t, 0 or 1 */
  JSON_PRIMITIVE_INT8 = 5,    /**< an int8_t */
  JSON_PRIMITIVE_INT16 = 6,   /**< an int16_t */
  JSON_PRIMITIVE_INT32 = 7,   /**< an int32_t */
  JSON_PRIMITIVE_INT64 = 8,   /**< an int64_t */
  JSON_PRIMITIVE_FLOAT = 9,   /**< a float */
  JSON_PRIMITIVE_DOUBLE = 10  /**< a double */
};

/**
 * @brief Loads a file and calls @p callback once with its tokens.
 *
 * @param path     the file; it is read as long as it was when it was opened.
 * @param label    passed to the callback; may be null.
 * @param callback its result is ignored.
 * @param user     passed to the callback; may be null.
 * @return 1 when the callback was called, else 0: a missing or unreadable file, a malformed
 *         document and a null @p path or @p callback look the same.
 *
 * @note A document that jsmn refuses leaves one descriptor open and its token array allocated,
 *       every time; a comma before a closing brace and a lack of memory lose nothing. An empty
 *       file, and a device or kernel file that says that it is empty, calls the callback with a
 *       null text and 0 tokens.
 */
CU_API int32_t parseJson(const char *path, const char *label, JsonDocumentCallback callback,
                         void *user);

/**
 * @brief Loads @p length bytes of text and calls @p callback once with its tokens.
 *
 * @param text     need not be terminated; the callback gets a terminated copy.
 * @param length   bytes of @p text.
 * @param label    passed to the callback as a pointer-sized value: (int32_t)(intptr_t)label.
 * @param callback only its 0 is a success.
 * @param user     passed to the callback; may be null.
 * @return 1 when the callback was called and returned 0, else 0. Releases everything on every path.
 */
CU_API int32_t parseJsonBuffer(const char *text, uint32_t length, int32_t label,
                               JsonDocumentCallback callback, void *user);

/**
 * @brief Compares a string token with a text.
 *
 * @param json  the document's text.
 * @param token any of its tokens.
 * @param s     the text that is looked for, as it stands in the document, escapes and all.
 * @return 0 when the token is a string whose text is exactly @p s; else -1, also for a null
 *         argument.
 */
CU_API int32_t jsoneq(const char *json, const jsmntok_t *token, const char *s);

/**
 * @brief Copies a string token's text, terminated, into @p dst.
 *
 * @param json  the document's text.
 * @param token any of its tokens.
 * @param dst   holds at least token->end - token->start + 1 bytes: nothing bounds the copy. Where
 *              the document may be hostile, call getJsonKeyAlloc().
 * @return 0; or -1, and nothing is written, when the token is not a string or an argument is null.
 */
CU_API int32_t getJsonKey(const char *json, const jsmntok_t *token, char *dst);

/**
 * @brief Copies a string token's text into a new string, which the caller frees.
 *
 * @param json  the document's text.
 * @param token any of its tokens.
 * @param out   receives the string, null when there is no memory: look at it, not only at the
 *              result.
 * @return 0; or -1, and @p out is left alone, when the token is not a string or an argument is
 *         null.
 */
CU_API int32_t getJsonKeyAlloc(const char *json, const jsmntok_t *token, char **out);

/**
 * @brief Copies the text from @p start to @p end, terminated, into @p dst.
 *
 * @param json  the document's text.
 * @param start offset of the first byte.
 * @param end   offset one past the last byte.
 * @param dst   holds at least end - start + 1 bytes: nothing bounds the copy.
 * @return 0; or 1, and nothing is written, for a null argument or when @p end is before @p start.
 */
CU_API int32_t getString(const char *json, int32_t start, int32_t end, char *dst);

/**
 * @brief Converts the text from @p start to @p end and stores it in the width of its kind.
 *
 * Integers are read in base 10; out-of-range text saturates at 32 bits (at 64 bits for the 64-bit
 * kinds), and the low bits are stored. A text that is no number gives 0. A boolean is 0 for "false"
 * and for every prefix of it, also the empty one, and 1 for anything else.
 *
 * @param json  the document's text.
 * @param start offset of the first byte.
 * @param end   offset one past the last byte.
 * @param dst   as many bytes as @p kind says; need not be aligned.
 * @param kind  a JsonPrimitiveKind.
 * @return 0; or 1, and nothing is stored, for another kind, a null argument, an @p end before
 *         @p start or without memory, which texts of 64 bytes and more need.
 */
CU_API int32_t getPrimitive(const char *json, int32_t start, int32_t end, void *dst, uint32_t kind);

/**
 * @brief The number of tokens of the subtree at @p token, itself included. Prints nothing.
 *
 * A container counts with all its keys, elements and values, a key alone without its value. A
 * deserializer (see rfvalues.h) passes an unwanted value over with it.
 *
 * @param json  not used.
 * @param token the subtree's first token; null gives 0.
 * @param count looks at no more than this many tokens; 0 gives 0.
 * @param depth not used.
 * @return at least 1 for a token of a known type; 0 for any other, and without memory, which more
 *         than 32 containers that are open at a time need.
 */
CU_API int32_t dump(const char *json, const jsmntok_t *token, uint32_t count, int32_t depth);

/**
 * @brief The parent of the nearest object around token @p index: normally the array or key that
 *        holds the object, despite the name.
 *
 * @param tokens all tokens of the document.
 * @param index  one of them; the search begins at its parent.
 * @return a token index; -1 when the object is the root, when there is none, for a null argument
 *         and for a negative @p index.
 */
CU_API int32_t getParentArrayForCurrentPrimitive(const jsmntok_t *tokens, int32_t index);

/**
 * @brief Walks up from @p index to an object, twice; nothing in the library calls it.
 *
 * Useful only for documents whose first token is a string, or with an empty @p key: the text that
 * is compared with @p key is always that of token 0.
 *
 * @param json   the document's text.
 * @param key    while token 0 begins with it, the walk takes two steps at a time instead of one.
 * @param tokens all tokens of the document.
 * @param index  one of them.
 * @return the index reached, or -1 for a null argument or when no object is there.
 */
CU_API int32_t findParentObjectKey(const char *json, const char *key, const jsmntok_t *tokens,
                                   int32_t index);

/**
 * @brief Resizes a token array; null gives a new zeroed one.
 *
 * @param tokens the array, from malloc(), or null.
 * @param count  tokens that it is to hold; those that are gained are not zeroed.
 * @return the array, which the caller frees; or null when there is no memory or @p count is 0: the
 *         old array is then freed.
 */
CU_API CU_MUST_USE jsmntok_t *realloc_it(jsmntok_t *tokens, uint32_t count);

/**
 * @brief Resizes a byte buffer; null gives a new zeroed one.
 *
 * @param buffer the buffer, from malloc(), or null.
 * @param size   bytes that it is to hold; those that are gained are not zeroed.
 * @return the buffer, which the caller frees; or null when there is no memory or @p size is 0: the
 *         old buffer is then freed.
 */
CU_API CU_MUST_USE char *realloc_char(char *buffer, uint32_t size);

CU_END_DECLS

#endif

/**
 * @file stringutils.h
 * @brief Searching, joining and splitting of terminated byte strings.
 *
 * Small functions without state. A new string is zero-filled heap memory that the caller releases
 * with free().
 *
 * @code
 * TokenList fields = {0, NULL};
 * if (tokenizeString("fan1,fan2", ",", &fields)) {
 *   for (unsigned i = 0; i < fields.count; ++i) puts(fields.tokens[i]);
 *   FreeTokens(&fields);
 * }
 * @endcode
 *
 * **Null arguments.** A null string, record or destination gives the function's failure result,
 * which each comment names, and nothing is written.
 *
 * **Thread safety.** Any thread may call any function at any time on memory of its own. Nothing is
 * logged.
 *
 * **What surprises users.**
 * - ext_match() answers 0 for a match and leaves the last byte out of the comparison.
 * - get_last_index_of() misses occurrences that stand before a partial match.
 * - concatPath() always inserts a '/', joinPath() only where one is missing.
 * - strtok_safe() skips one leading delimiter and then takes the next byte as it is: ",,a" split at
 *   ",;" is the single token ",a".
 * - FreeTokens() leaves the count as it was.
 */
#ifndef COMMONUTILITIES_STRINGUTILS_H
#define COMMONUTILITIES_STRINGUTILS_H

#include "commonutilities_api.h"

CU_BEGIN_DECLS

/**
 * @brief A list of heap strings, filled by tokenizeString() and released by FreeTokens().
 *
 * Zero it before the first use. It holds at most 255 tokens.
 */
typedef struct TokenList {
  uint8_t count; /**< number of tokens; out of date after FreeTokens() */
  char **tokens; /**< heap array of heap strings, or null when the list is empty */
} TokenList;

/** What get_index_of() returns when the needle does not occur. */
#define STRING_INDEX_NONE 0xFFFFFFFFU

/**
 * @brief Compares two strings over one byte fewer than the shorter one has.
 *
 * @param a a name.
 * @param b another one.
 * @return 0 when those bytes are equal, else 1. Mind the sense, and that the last byte of the
 *         shorter string is not looked at: "abc" matches "abX". With an empty string nothing is
 *         compared: 0. 1 for a null string.
 */
CU_API int ext_match(const char *a, const char *b);

/**
 * @brief Replaces every byte @p from by @p to.
 *
 * @param buffer any bytes, changed in place.
 * @param length bytes in the buffer; terminators do not end the work.
 * @param from   the byte to replace.
 * @param to     what it becomes.
 * @return 1, or 0 for a null buffer.
 */
CU_API int ambrelFindandReplace(uint8_t *buffer, uint32_t length, uint8_t from, uint8_t to);

/**
 * @brief A new string: @p a followed by @p b.
 *
 * @param a the beginning.
 * @param b the end.
 * @return the string, which the caller frees; null for a null string or without memory.
 */
CU_API CU_MUST_USE char *concatStrings(const char *a, const char *b);

/**
 * @brief A new string: @p directory, a '/' unless the directory ends in one, and @p name.
 *
 * An empty directory gives "/name". Null for a null string or without memory.
 *
 * @param directory the directory.
 * @param name      the name in it.
 * @return the string, which the caller frees, or null.
 */
CU_API CU_MUST_USE char *joinPath(const char *directory, const char *name);

/**
 * @brief Writes @p directory, always a '/', and @p name into a buffer of the caller.
 *
 * "/tmp/" and "f" give "/tmp//f", which names the same file.
 *
 * @param destination receives at most @p size bytes with the terminator; the rest of a longer path
 *                    is cut. It may be the directory's own buffer. Nothing is written when size is
 *                    0.
 * @param directory   the directory.
 * @param name        the name in it.
 * @param size        bytes of the destination.
 * @return @p destination, or null when any pointer is null.
 */
CU_API char *concatPath(char *destination, const char *directory, const char *name, uint32_t size);

/**
 * @brief Finds the first @p needle in @p haystack.
 *
 * @param haystack where to look.
 * @param needle   what for.
 * @return its index, or STRING_INDEX_NONE (also for null).
 */
CU_API uint32_t get_index_of(const char *haystack, const char *needle);

/**
 * @brief Searches backwards for @p substring, in one scan that never steps back.
 *
 * The scan goes from the string's end to its start and from the substring's end to its start. After
 * a partial match it stays at the character of the substring that it had reached, so occurrences
 * that stand before a partial match are missed: "abxb" does not hold "ab" for this function.
 * Daemons rely on what it finds; where every occurrence matters, search with get_index_of().
 *
 * @param string    where to look.
 * @param substring what for.
 * @return index at which the occurrence found begins, or -1 (also for null and for an empty
 *         substring).
 */
CU_API int32_t get_last_index_of(const char *string, const char *substring);

/**
 * @brief Whether @p needle occurs in @p haystack.
 *
 * @param haystack where to look.
 * @param needle   what for.
 * @return 1 if so, else 0 (also for null).
 */
CU_API int str_contains(const char *haystack, const char *needle);

/**
 * @brief str_contains() without regard to case, as the process locale sees it.
 *
 * @param haystack where to look.
 * @param needle   what for.
 * @return as str_contains().
 */
CU_API int str_ncontains(const char *haystack, const char *needle);

/**
 * @brief A new string: what stands before the first occurrence of @p delimiter, a whole string.
 *
 * @param string    the string.
 * @param delimiter what ends the copy.
 * @return the new string; null when the delimiter does not occur, for null, or without memory.
 */
CU_API CU_MUST_USE char *get_until(const char *string, const char *delimiter);

/**
 * @brief Copies a string in lower case.
 *
 * @param string the string.
 * @return the copy, which the caller frees; null for null or without memory.
 */
CU_API CU_MUST_USE char *toLower(const char *string);

/**
 * @brief Compares two lengths.
 *
 * @param a a length.
 * @param b another one.
 * @return the smaller one.
 */
CU_API uint32_t minlen(uint32_t a, uint32_t b);

/**
 * @brief Compares the lengths of two strings; a null string has length 0.
 *
 * @param a a string.
 * @param b another one.
 * @return the length of the longer one.
 */
CU_API uint32_t maxlen(const char *a, const char *b);

/**
 * @brief Copies an option's value without the one blank that may stand before it.
 *
 * @param destination receives @p length bytes, or one fewer when @p source begins with a blank. No
 *                    terminator is added.
 * @param source      at least @p length bytes.
 * @param length      bytes of the source, the blank included; 0 copies nothing.
 */
CU_API void copyOptionValue(char *destination, const char *source, uint32_t length);

/**
 * @brief A copy of a string whose length the caller knows.
 *
 * @param source at least @p length + 1 readable bytes.
 * @param length characters to copy.
 * @return the new string; null when the source is null, when its byte at @p length is not the
 *         terminator, or without memory.
 */
CU_API CU_MUST_USE char *ambrelCloneString(const char *source, uint32_t length);

/**
 * @brief Cuts the next token off a string, which it changes: the library's one tokenizer.
 *
 * Start with the string and a save pointer that is null, go on with a null string and the same save
 * pointer:
 *
 * @code
 * char *save = NULL;
 * char *token = strtok_safe(line, ",", &save);
 * for (; token != NULL; token = strtok_safe(NULL, ",", &save)) use(token);
 * @endcode
 *
 * Any byte of @p delimiters ends a token. It differs from strtok_r() where delimiters stand
 * together. At the start of a token one delimiter is skipped; the byte behind it is then tested
 * only against those members of @p delimiters that follow the skipped one, so with a single
 * delimiter it is always taken into the token: "a,,b" split at "," is "a", "b", but "a,,,b" is "a",
 * ",b" and "a,,,,b" is "a", ",", "b". A trailing delimiter adds no token. Where the text ends
 * behind skipped delimiters, the token is empty: "," split at ",", and ",;" split at ",;", are one
 * empty token, and "a,," split at "," is "a" and an empty one.
 *
 * @param string     what to split, or null to go on.
 * @param delimiters every single byte separates; an empty set separates nothing.
 * @param save       the position, the caller's variable. Once it is set, only a null @p string is
 *                   accepted; set it to null to begin again.
 * @return the token, inside the caller's string; null at the end, and for null arguments.
 */
CU_API char *strtok_safe(char *string, const char *delimiters, char **save);

/**
 * @brief Appends the tokens of a string, cut as by strtok_safe(), to a list.
 *
 * @param string stays as it is.
 * @param delimiters as for strtok_safe().
 * @param list zeroed, just released by FreeTokens(), or holding earlier tokens.
 * @return 1; 0 without memory or when a 256th token would be needed, and the list is then released
 *         (all its tokens, also earlier ones). 0 for null arguments, and the list is left alone.
 */
CU_API int tokenizeString(const char *string, const char *delimiters, TokenList *list);

/**
 * @brief tokenizeString() that leaves every blank (' ' alone) out of the tokens.
 *
 * @param string     stays as it is.
 * @param delimiters as for strtok_safe().
 * @param list       as for tokenizeString().
 * @return as tokenizeString().
 */
CU_API int tokenizeStringWithNoSpaces(const char *string, const char *delimiters, TokenList *list);

/**
 * @brief Frees the tokens and the array and sets @p list->tokens to null.
 *
 * @p list->count keeps its value: test `tokens`, not `count`, to see whether a list holds anything.
 * A second call does nothing, and the list may be filled again.
 *
 * @param list the list.
 */
CU_API void FreeTokens(TokenList *list);

CU_END_DECLS

#endif

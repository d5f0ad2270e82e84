/**
 * @file stringtemplate.h
 * @brief New strings from templates and arguments, a growable buffer, ISO 8601 time, random names.
 *
 * A new string belongs to the caller, who releases it with free().
 *
 * @code
 * const NamedArg args[] = {{"dev", "gpio5"}};
 * char *path;
 * if (ambrel_createstring_namedargs("/sys/{dev}/value", 1, args, &path)) {
 *   puts(path);  // "/sys/gpio5/value"
 *   free(path);
 * }
 * @endcode
 *
 * **Thread safety.** Any thread may call any function on memory of its own at any time.
 * aeCreateTemporaryName() reseeds rand() for the whole process.
 *
 * **What surprises users.**
 * - CreateStringWithArgs() is not printf(): "%ld" prints the number and then a "d", widths are
 *   unknown, integers are cut to 9 characters, and its two notices go to standard output.
 * - Unknown "{names}" vanish silently, and "}" never reaches the output except where several follow
 *   one another.
 * - Two temporary names made within one second are the same; never use them for security.
 */
#ifndef COMMONUTILITIES_STRINGTEMPLATE_H
#define COMMONUTILITIES_STRINGTEMPLATE_H

#include <stdarg.h>
#include <time.h>

#include "commonutilities_api.h"

CU_BEGIN_DECLS

/**
 * @brief Bytes that grow as more are added, always with a terminator behind them.
 *
 * Zero it before the first use; release it with free() of `data`.
 */
typedef struct BufferBox {
  char *data;        /**< heap memory, or null while the box is empty */
  uint32_t length;   /**< bytes held, without the terminator */
  uint32_t capacity; /**< bytes counted as allocated */
} BufferBox;

/** A placeholder's name and the text that replaces it. */
typedef struct NamedArg {
  const char *name;  /**< without the braces; a null name is never found */
  const char *value; /**< null stands for an empty text */
} NamedArg;

/** Characters that ae_random_char() knows. */
#define AE_RANDOM_CHARS 62U

/**
 * @brief A new string from a small printf-like format.
 *
 * | conversion | argument | text |
 * |---|---|---|
 * | "%%" | none | "%" |
 * | "%c" | int | its low byte |
 * | "%s" | string | the string; nothing for null, which does not count as an argument |
 * | "%f" | double | four decimals, as getDoubleAsString() prints it |
 * | "%d", "%i" | int | as getIntegerAsString() prints it: at most 9 characters |
 * | "%l" | 32-bit integer | the number; only the "l" is consumed: "%ld" adds a "d" |
 *
 * Anything else after "%" writes "Not implemented" to standard output and is left out, so "%5d"
 * yields "d" and consumes no argument. A "%" at the end is left out.
 *
 * @param format       the template.
 * @param out          receives the new string; left alone on failure.
 * @param expectedArgs number of arguments passed. A conversion beyond it writes "We have more args
 *                     than we expected" and a line break to standard output and is formatted all
 *                     the same, so its argument must be there.
 * @return 1; 0 for a null format or @p out, or without memory.
 */
CU_API CU_MUST_USE int CreateStringWithArgs(const char *format, char **out, uint32_t expectedArgs,
                                            ...);

/**
 * @brief Appends bytes to a box.
 *
 * The capacity becomes exactly the new length plus 1 whenever it must grow.
 *
 * @param box   the box.
 * @param bytes must not lie inside the box.
 * @param count how many bytes.
 * @return 1; 0 for null arguments or a @p count of 0, and the box is left alone; 0 without memory
 *         or when the length would pass 32 bits, and the box is then empty and its bytes released.
 */
CU_API int AddDataToBufferBox(BufferBox *box, const void *bytes, uint32_t count);

/**
 * @brief A new string: a template with each "{name}" replaced by the named argument's value.
 *
 * Unknown names are left out. The text is cut at each "}" as strtok_safe() cuts, so a single "}"
 * never reaches the output; in a piece the first "{" begins the name. A "{" without "}" counts up
 * to the template's end.
 *
 * @param text  the template.
 * @param count number of @p args.
 * @param args  the pairs; the first with a name wins. Not null, even when @p count is 0.
 * @param out   receives the new string; left alone on failure.
 * @return 1; 0 when @p text, @p args or @p out is null, or without memory.
 */
CU_API CU_MUST_USE int ambrel_createstring_namedargs(const char *text, uint32_t count,
                                                     const NamedArg *args, char **out);

/**
 * @brief Looks up a name.
 *
 * @param name  the name, exactly.
 * @param count number of @p args.
 * @param args  the pairs.
 * @return the first pair with this name, or null; null for null arguments too.
 */
CU_API const NamedArg *ambrelFindNamedParameter(const char *name, uint32_t count,
                                                const NamedArg *args);

/**
 * @brief Copies a string.
 *
 * @param string the string.
 * @return the copy, which the caller frees; null for null or without memory.
 */
CU_API CU_MUST_USE char *AmbrelSetStringValue(const char *string);

/**
 * @brief vsnprintf() into a new string of the right size.
 *
 * @param format printf-like.
 * @param args   left as vsnprintf() leaves it: the caller calls va_end() and uses it no more.
 * @param out    receives the new string; null on failure.
 * @return the number of characters; -1 for a null format or @p out, for a format that vsnprintf()
 *         refuses, or without memory.
 */
CU_API int ambrel_vsnprintf(const char *format, va_list args, char **out) CU_PRINTF(1, 0);

/**
 * @brief Writes a local time as "2024-03-05T14:07:09+01:00".
 *
 * @param dst  receives the text and a terminator.
 * @param size bytes at @p dst; 26 or more for years of four digits.
 * @param t    the time.
 * @return 1; 0 when @p size is too small, the time has no local form, or a pointer is null.
 */
CU_API int getExtendedISOTime(char *dst, uint32_t size, const time_t *t);

/**
 * @brief The characters "a" to "z", "A" to "Z", "0" to "9".
 *
 * @param index which.
 * @return the character; 0 from AE_RANDOM_CHARS on.
 */
CU_API char ae_random_char(uint32_t index);

/**
 * @brief A new string: a prefix followed by @p count characters drawn with rand().
 *
 * Each call seeds rand() for the whole process with the wall clock's second. So two calls within a
 * second give the same name, and anyone can guess it: create files with mkstemp() instead.
 *
 * @param prefix null counts as empty.
 * @param count  how many.
 * @param out    receives the new string; null without memory.
 * @return always 1: test `*out`.
 */
CU_API int aeCreateTemporaryName(const char *prefix, uint32_t count, char **out);

CU_END_DECLS

#endif

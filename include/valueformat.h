/**
 * @file valueformat.h
 * @brief Typed values as new heap strings, and conversions between UUIDs, hexadecimal text and
 * bytes.
 *
 * Each `get...AsString(value, out)` allocates a zero-filled string of a fixed size, prints the
 * value into it, stores its address in `*out` and returns it. The caller releases it with free().
 * Without memory `*out` and the result are null; a null `out` gives null.
 *
 * @code
 * char *text;
 * if (getIntegerAsString(-42, &text) != NULL) {
 *   puts(text);
 *   free(text);
 * }
 * @endcode
 *
 * **Thread safety.** Any thread may call any function at any time. Nothing is logged.
 *
 * **What surprises users.**
 * - The fixed sizes cut long values: the 32-bit formatters keep 9 characters (1234567890 prints as
 *   "123456789"), the signed 8-bit one keeps 3 (-128 prints as "-12"). Use getLongAsString() or
 *   getUnsignedLongAsString() for values that can be long.
 * - Floating-point text follows the process locale: after setlocale() the decimal point may be a
 *   comma.
 * - Hexadecimal digits are not checked, and byteCompare() calls null equal to anything.
 * - convertUUIDToUniformFormat() writes one character more than its maximum and no terminator.
 *
 * **Shared arguments and results.**
 * - `value`: what to print.
 * - `out`: receives the new string.
 * - `precision`: decimals.
 * - Result of `get*`: the new string, to be released with free(); null without memory or for a null
 *   `out`.
 */
#ifndef COMMONUTILITIES_VALUEFORMAT_H
#define COMMONUTILITIES_VALUEFORMAT_H

#include "commonutilities_api.h"

CU_BEGIN_DECLS

/** Bytes of a binary UUID. */
#define UUID_BINARY_SIZE 16

/** @brief "%d" in a buffer of 11 bytes, cut after 9 characters: -2147483648 is "-21474836". */
CU_API char *getIntegerAsString(int32_t value, char **out);

/** @brief "%u" in a buffer of 11 bytes, cut after 9 characters: 4294967295 is "429496729". */
CU_API char *getUnsignedIntegerAsString(uint32_t value, char **out);

/** @brief "%ld" of a 32-bit value in a buffer of 21 bytes; never cut. */
CU_API char *getLongAsString(int32_t value, char **out);

/** @brief "%llu" in a buffer of 21 bytes; never cut. */
CU_API char *getUnsignedLongAsString(uint64_t value, char **out);

/** @brief "%hd" in a buffer of 7 bytes; never cut. */
CU_API char *getShortAsString(int16_t value, char **out);

/** @brief "%hu" in a buffer of 7 bytes; never cut. */
CU_API char *getUnsignedShortAsString(uint16_t value, char **out);

/** @brief "%hhd" in a buffer of 4 bytes: -128 to -100 lose their last digit (-128 is "-12"). */
CU_API char *getInteger8AsString(int8_t value, char **out);

/** @brief "%hhu" in a buffer of 4 bytes; never cut. */
CU_API char *getUnsignedInteger8AsString(uint8_t value, char **out);

/** @brief "%03hhu" in a buffer of 4 bytes: always three digits, as "007". */
CU_API char *getUnsignedInteger8AsStringPad(uint8_t value, char **out);

/** @brief "true" for any value but 0, else "false". */
CU_API char *getBooleanAsString(uint8_t value, char **out);

/**
 * @brief A fixed-point number, rounded exactly as printf() rounds.
 *
 * @param precision decimals; more than 9 count as 9.
 * @param out       receives the new string of @p precision + 11 bytes, in which at most
 *                  @p precision + 9 characters are kept: with 9 decimals 2147483648 is
 *                  "2147483648.0000000".
 * @return `*out`.
 */
CU_API char *getFloatAsString(uint8_t precision, char **out, float value);

/**
 * @brief As getFloatAsString(), in @p precision + 21 bytes, of which all but one are used.
 */
CU_API char *getDoubleAsString(uint8_t precision, char **out, double value);

/**
 * @brief A whole number without decimals, any other as getDoubleAsString() prints it.
 *
 * 42.0 is "42", 2.5 with 2 decimals "2.50". Whole numbers outside 32 bits, infinity among them,
 * print as the limits "2147483647" and "-2147483648".
 */
CU_API char *getDoubleAsIntOrDoubleString(uint8_t precision, char **out, double value);

/**
 * @brief Whether two binary UUIDs of UUID_BINARY_SIZE bytes are equal.
 *
 * @param a one.
 * @param b the other.
 * @return 1 if so, else 0 (also for null).
 */
CU_API int compareUUID(const uint8_t *a, const uint8_t *b);

/**
 * @brief Copies a UUID's text without its '-' characters.
 *
 * Only the first 256 characters of the text are looked at.
 *
 * @param uuid        the text; its terminator ends the copy.
 * @param destination receives up to @p maximum + 1 characters and no terminator: clear a buffer of
 *                    at least @p maximum + 2 bytes before the call.
 * @param maximum     the copy stops after the character that makes it longer than this.
 * @return 1, or 0 when a pointer is null.
 */
CU_API int convertUUIDToUniformFormat(const char *uuid, char *destination, uint32_t maximum);

/**
 * @brief Converts pairs of hexadecimal digits of either case to bytes.
 *
 * Other characters are not refused and give some value: check the text before when it comes from
 * outside.
 *
 * @param hex         at least @p length characters.
 * @param length      characters; must be twice @p count.
 * @param destination receives @p count bytes.
 * @param count       bytes to make.
 * @return 1; 0 when a pointer is null or the length does not fit, and nothing is written.
 */
CU_API int convertHexStringToByteArray(const char *hex, uint32_t length, uint8_t *destination,
                                       uint32_t count);

/**
 * @brief Copies bytes into a new string with a terminator behind them.
 *
 * @param bytes  the bytes.
 * @param length how many.
 * @return 1 with the string, to be released with free(), in `*out`; 0 for null pointers, and
 *         without memory, when `*out` is null.
 */
CU_API CU_MUST_USE int convertByteArraytoString(const void *bytes, uint32_t length, char **out);

/**
 * @brief Copies a string's characters into a new block without terminator.
 *
 * @param string    the string.
 * @param out       receives the block.
 * @param outLength receives the number of bytes. An empty string gives 0 and a pointer that may be
 *                  freed.
 * @return 1 with the block, to be released with free(), in `*out`; 0 for null pointers, and without
 *         memory, when `*out` is null and the length 0.
 */
CU_API CU_MUST_USE int convertStringToByteArray(const char *string, uint8_t **out,
                                                uint32_t *outLength);

/**
 * @brief Compares two blocks of bytes.
 *
 * @param a       a block.
 * @param lengthA its bytes.
 * @param b       another block.
 * @param lengthB its bytes.
 * @return -1 when a byte differs within the shorter length, else 1 when the lengths differ, else 0.
 *         Not an order: swapping the blocks does not change the result. 0, as for equal blocks,
 *         when either pointer is null: test for null before.
 */
CU_API int byteCompare(const void *a, uint32_t lengthA, const void *b, uint32_t lengthB);

/**
 * @brief The number base that a text's second character tells.
 *
 * @param text the text of a number, or null.
 * @return 16 for 'x' or 'X', 2 for 'b' or 'B', else 10; 10 for null and for texts of fewer than
 *         three characters. The first character is not looked at.
 */
CU_API int AmbrelGetParameterBaseOfString(const char *text);

CU_END_DECLS

#endif

/**
 * @file configparams.h
 * @brief Typed access to the parameters of a configuration document.
 *
 * Look a group and a parameter up by name, read the value as the type that the document gives it,
 * write values back as text, copy lists, and fill "<name>" placeholders.
 *
 * @code
 * rfAECommonConfigConfigObj *net;
 * rfAECommonConfigConfigParam *mtu;
 * uint16_t value = 1500;
 * if (getAEParameterGroup(&config.ConfigObj, "net", &net) &&
 *     getAEParameterinArray(&net->ConfigParam, "mtu", &mtu)) {
 *   getAEParameterAsUnsignedInteger16(mtu, &value);
 * }
 * @endcode
 *
 * **Results.** 1 for success and 0 for failure, also for null arguments; on failure nothing is
 * stored, except that setAEIntegerParameterValue() and setAEFloatParameterValue() leave a null
 * value where memory runs out.
 *
 * **Thread safety.** Records have no lock: any number of threads may read one at a time when no
 * thread changes it.
 *
 * **What surprises users.**
 * - Each getter accepts its own types only: an "integer" cannot be read as unsigned.
 * - A prefix is not cut off before the conversion: "0b101" is read with base 2 and is 0 where
 *   strtol() does not know the prefix.
 * - Every boolean text that does not begin with "false" is true: "no" and "0" are, too.
 * - A setter loses the old value's memory: keep the old pointer and free it after a success.
 * - A value that a setter writes is cut as by the formatters of valueformat.h: integers and
 *   unsigned integers keep 9 characters.
 */
#ifndef COMMONUTILITIES_CONFIGPARAMS_H
#define COMMONUTILITIES_CONFIGPARAMS_H

#include "commonconfig.h"

CU_BEGIN_DECLS

/** @name Lookups
 *  Each stores the first element with exactly this name in `*out`. A list whose count does not fit
 *  31 bits counts as empty, and elements without a name are skipped.
 *
 *  **Shared arguments and results.**
 *  - `groups`: the list to search.
 *  - `params`: the list to search.
 *  - `name`: the name, exactly.
 *  - `out`: receives the element, which stays the list's; left alone when there is none.
 *  - Result: 1; 0 when there is none, and for null arguments.
 *  @{ */

/** @brief Finds a group by its name. */
CU_API int getAEParameterGroup(const rfAECommonConfigConfigObjArray *groups, const char *name,
                               rfAECommonConfigConfigObj **out);

/** @brief The same as getAEParameterGroup(). */
CU_API int getAEParameterGroupFromArray(const rfAECommonConfigConfigObjArray *groups,
                                        const char *name, rfAECommonConfigConfigObj **out);

/** @brief Finds a parameter by its name. */
CU_API int getAEParameterinGroup(const rfAECommonConfigConfigParamArray *params, const char *name,
                                 rfAECommonConfigConfigParam **out);

/** @brief The same as getAEParameterinGroup(). */
CU_API int getAEParameterinArray(const rfAECommonConfigConfigParamArray *params, const char *name,
                                 rfAECommonConfigConfigParam **out);

/** @brief The same as getAEParameterinGroup(), by the name for those who want to change it. */
CU_API int getAEModifyParameterinArray(const rfAECommonConfigConfigParamArray *params,
                                       const char *name, rfAECommonConfigConfigParam **out);
/** @} */

/** @name Getters
 *  Each converts the value's text when the parameter has one of the types listed. Integer texts are
 *  read with the base that getParameterBase() tells, whole, and saturate at the limits of the
 *  conversion; a `long` has 32 bits there. Text that is no number gives 0.
 *
 *  A parameter without value gives 0 (false), if its type is right; for the 16- and 8-bit getters
 *  whatever its type.
 *
 *  **Shared arguments and results.**
 *  - `param`: the parameter.
 *  - `out`: receives the value; left alone when there is none.
 *  - Result: 1; 0 for another type, and for null arguments.
 *  @{ */

/** @brief "unsigned integer", by strtoul(). */
CU_API int getAEParameterAsUnsignedInteger(const rfAECommonConfigConfigParam *param, uint32_t *out);

/** @brief "integer", by strtol(). */
CU_API int getAEParameterAsInteger(const rfAECommonConfigConfigParam *param, int32_t *out);

/** @brief "uint64", by strtoull(). */
CU_API int getAEParameterAsUnsignedInteger64(const rfAECommonConfigConfigParam *param,
                                             uint64_t *out);

/** @brief "long", by strtoll(). */
CU_API int getAEParameterAsInteger64(const rfAECommonConfigConfigParam *param, int64_t *out);

/** @brief "unsigned integer" or "uint16": the low 16 bits of what strtoul() gives. */
CU_API int getAEParameterAsUnsignedInteger16(const rfAECommonConfigConfigParam *param,
                                             uint16_t *out);

/** @brief "unsigned integer" or "uint8": the low 8 bits of what strtoul() gives. */
CU_API int getAEParameterAsUnsignedInteger8(const rfAECommonConfigConfigParam *param, uint8_t *out);

/** @brief "float", by strtof(): after setlocale() with the locale's decimal point. */
CU_API int getAEParameterAsFloat(const rfAECommonConfigConfigParam *param, float *out);

/** @brief "boolean": 0 for no value and for texts that begin with "false" in any case, else 1. */
CU_API int getAEParameterAsBoolean(const rfAECommonConfigConfigParam *param, uint8_t *out);

/**
 * @brief The number base that a text's second character tells.
 *
 * @param text the text of a number, or null.
 * @return 16 for 'x' or 'X', 2 for 'b' or 'B', else 10; 10 for null and for texts of fewer than
 *         three characters. The first character is not looked at.
 */
CU_API int getParameterBase(const char *text);
/** @} */

/** @name Setters
 *  Each stores new text as the value. The old text is not freed, so that holders of its pointer are
 *  not affected: free it yourself when nobody uses it any more. The type stays.
 *
 *  **Shared arguments.**
 *  - `param`: the parameter to change.
 *  - `value`: the number.
 *  @{ */

/**
 * @brief Stores a copy of @p length bytes with a terminator, whatever the type.
 *
 * @param bytes  the text.
 * @param length its bytes.
 * @return 1; 0 for null arguments or without memory, and the value is left alone.
 */
CU_API int setAEParameterValue(rfAECommonConfigConfigParam *param, const void *bytes,
                               uint32_t length);

/**
 * @brief Stores an integer as text, printed as the type asks for.
 *
 * | type | bits | printed by |
 * |---|---|---|
 * | "unsigned integer" | low 32 | getUnsignedIntegerAsString(), at most 9 characters |
 * | "integer" | low 32 | getIntegerAsString(), at most 9 characters |
 * | "long", "uint8" | low 32 | getLongAsString() |
 * | "boolean" | all | getBooleanAsString() |
 * | "uint16" | low 16 | getUnsignedShortAsString() |
 * | "uint64" | all | getUnsignedLongAsString() |
 *
 * @return 1; 0 for other types, and the value is left alone; 0 without memory, and the value is
 *         then null.
 */
CU_API int setAEIntegerParameterValue(rfAECommonConfigConfigParam *param, int64_t value);

/**
 * @brief Stores a number as text with 6 decimals, by getFloatAsString(), for the type "float".
 *
 * @return 1; 0 for other types, and the value is left alone; 0 without memory, and the value is
 *         then null.
 */
CU_API int setAEFloatParameterValue(rfAECommonConfigConfigParam *param, float value);
/** @} */

/**
 * @brief Copies a list with all its texts.
 *
 * Release the copy with free_rfAECommonConfigConfigParamArray().
 *
 * @param source the list to copy.
 * @param copy   written over; left alone when @p source has no parameters, and on failure.
 * @return 1; 0 for null arguments or without memory.
 */
CU_API int cloneAmbrelCommonConfigParamList(const rfAECommonConfigConfigParamArray *source,
                                            rfAECommonConfigConfigParamArray *copy);

/**
 * @brief A new string: a template with each "<name>" replaced by that parameter's value.
 *
 * With "speed" at "100", "rate=<speed>;" gives "rate=100;". Unknown names and parameters without
 * value are left out. The text is cut at each ">" as strtok_safe() cuts, so a single ">" never
 * reaches the output; in a piece the first "<" begins the name. A "<" without ">" counts up to the
 * template's end.
 *
 * @param text   the template.
 * @param params the parameters to look the names up in.
 * @param out    receives the new string, to be released with free(); left alone on failure.
 * @return 1; 0 for null arguments or without memory.
 */
CU_API CU_MUST_USE int SubAmbrelCommonConfigParamListIntoTokenString(
    const char *text, const rfAECommonConfigConfigParamArray *params, char **out);

/**
 * @brief Checks that a configuration path exists, and complains on standard error if not.
 *
 * Writes "Invalid configuration path provided PATH" for a path that does not exist, and "Not a
 * directory PATH" for another file where a directory is wanted; both end with a line break.
 *
 * @param path          the path.
 * @param wantDirectory 0 when any file will do.
 * @return 1 when the path exists, or @p wantDirectory itself when that is not 0 and the path is a
 *         directory; else 0, also for a null path, about which nothing is written.
 */
CU_API int checkForFileDirExistance(const char *path, int32_t wantDirectory);

CU_END_DECLS

#endif

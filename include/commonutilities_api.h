/**
 * @file commonutilities_api.h
 * @brief What every public header needs: linkage and compile-time help.
 *
 * Conventions that hold for every header of the library:
 *
 * - Functions are plain C functions over plain records, usable from C99 and C++.
 * - Memory that a function hands out comes from malloc() and is the caller's to free(), unless its
 *   comment names another owner.
 * - Records are the caller's own memory; a record's fields stand in a fixed order, and daemons may
 *   read and write them.
 * - A null required argument gives the function's failure result unless its comment says otherwise.
 * - `long` stands for 32 bits everywhere, whatever the host.
 * - The library starts no thread, installs nothing and allocates nothing before the first call.
 */
#ifndef COMMONUTILITIES_API_H
#define COMMONUTILITIES_API_H

#include <stddef.h>
#include <stdint.h>

/** @def CU_BEGIN_DECLS
 *  Begins declarations with C linkage, in C++ too. */
/** @def CU_END_DECLS
 *  Ends them. */
#ifdef __cplusplus
#define CU_BEGIN_DECLS extern "C" {
#define CU_END_DECLS }
#else
#define CU_BEGIN_DECLS
#define CU_END_DECLS
#endif

#if defined(__GNUC__)
/** Marks a name that the library exports. */
#define CU_API __attribute__((visibility("default")))
/** Lets the compiler check a printf-like format against its arguments. */
#define CU_PRINTF(format_index, first_argument) \
  __attribute__((format(printf, format_index, first_argument)))
/** Marks a result that must not be dropped, because it is memory or the only report of a failure.
 */
#define CU_MUST_USE __attribute__((warn_unused_result))
#else
#define CU_API
#define CU_PRINTF(format_index, first_argument)
#define CU_MUST_USE
#endif

#endif

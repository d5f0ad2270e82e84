/**
 * @file rpn.h
 * @brief Evaluates postfix (reverse Polish) expressions over numbers and numbered parameters.
 *
 * An expression is a text of tokens with single blanks between them. Numbers are decimal ("2.5") or
 * hexadecimal ("0x1F"); "%1" is the first parameter; operators take the two values before them:
 *
 * @code
 * char *parameters[] = {"42.5", "0x10"};
 * double result;
 * doRPN("%1 9 * 5 / 32 + %2 -", parameters, 2, &result);      // 92.5
 * doRPN("%1 40 >= ? 100 : 0", parameters, 2, &result);        // 100
 * @endcode
 *
 * | operator       | result, for "a b operator" |
 * |----------------|----------------------------|
 * | + - * / ^      | arithmetic in single precision; dividing by 0 fails |
 * | & \|           | bitwise, of the values as unsigned 64-bit integers |
 * | ! (on a alone) | 1 when a as an unsigned 64-bit integer is 0, else 0 |
 * | << >>          | shifts of unsigned 64-bit integers, by the low 8 bits of b; 64 on give 0 |
 * | >= <=          | both: 1 when a is *greater* than b, else 0; see below |
 * | ==             | 1 when a equals b, else 0 |
 * | !=             | "!" of b alone; see below |
 * | max min        | the larger, the smaller |
 * | ? and :        | "condition ? first : second", in doRPN() alone |
 *
 * Values become integers by dropping their fraction; those out of range become the nearest limit,
 * and not-a-number becomes 0.
 *
 * **Thread safety.** Any thread may call any function at any time; a context belongs to one call at
 * a time, so its callbacks must not evaluate it again.
 *
 * **What surprises users.** A token is an operator as soon as it and an operator's name agree over
 * the length of the shorter one, and the first such operator counts:
 * - ">" is ">>" and "<" is "<<": both shift.
 * - ">=" is the operator ">", which answers whether a is greater than b, both as unsigned integers:
 *   "5 5 >=" and "5.5 5 >=" are 0, and negative values count as 0.
 * - "<=" is the operator "<", which also answers whether a is *greater* than b, of the values as
 *   they are: "5 3 <=" and "5.5 5 <=" are 1, "5 5 <=" is 0. For "a is less than b" write
 *   "b a <=", for "a is at least b" "b a <= !".
 * - "!=" is "!", which looks at one value alone. For "a differs from b" write "a b == !".
 * - Negative numbers cannot be written ("-5" is a subtraction); write "0 5 -" or pass a parameter.
 * - A result is exact in 24 bits only. Whatever is no number counts as 0.
 * - Blanks count: the end of "5 3 +  " (two blanks) is one more, empty token, which is the
 *   number 0.
 * - "? :" with nothing between them skips the second branch as well.
 * - Numbers follow the process locale: after setlocale() a decimal comma is read.
 */
#ifndef COMMONUTILITIES_RPN_H
#define COMMONUTILITIES_RPN_H

#include "commonutilities_api.h"
#include "stringutils.h"

CU_BEGIN_DECLS

/** Operators, as isOperator() finds and processOperand() takes them. */
enum RpnOperatorId {
  RPN_ADD = 0,
  RPN_SUBTRACT = 1,
  RPN_MULTIPLY = 2,
  RPN_DIVIDE = 3,
  RPN_POWER = 4,
  RPN_AND = 5,
  RPN_OR = 6,
  RPN_NOT = 7,
  RPN_SHIFT_LEFT = 8,
  RPN_SHIFT_RIGHT = 9,
  RPN_GREATER = 10, /**< compares unsigned integers */
  RPN_LESS = 11, /**< 1 when a is greater than b, like RPN_GREATER, but of the values as they are */
  RPN_GREATER_EQUAL = 12,
  RPN_LESS_EQUAL = 13,
  RPN_EQUAL = 14,
  RPN_NOT_EQUAL = 15,
  RPN_MAX = 16,
  RPN_MIN = 17,
  RPN_IF = 18,
  RPN_ELSE = 19,
  RPN_NO_OPERATOR = 20 /**< what isOperator() stores for any other token */
};

/** Number of operators. */
#define RPN_OPERATOR_COUNT 20

/** An entry of the operator table. */
typedef struct RpnOperator {
  uint32_t id;   /**< one of RpnOperatorId; equals the entry's index */
  char name[12]; /**< the operator as it is written */
} RpnOperator;

/** The operators in the order in which isOperator() tries them. */
extern CU_API const RpnOperator supportedList[RPN_OPERATOR_COUNT];

/** Types that a result can be stored as. */
enum RpnDataType {
  RPN_TYPE_UINT8 = 1,
  RPN_TYPE_UINT16 = 2,
  RPN_TYPE_UINT32 = 3,
  RPN_TYPE_UINT64 = 4,
  RPN_TYPE_INT8 = 5,
  RPN_TYPE_INT16 = 6,
  RPN_TYPE_INT32 = 7,
  RPN_TYPE_INT64 = 8,
  RPN_TYPE_FLOAT = 9,
  RPN_TYPE_DOUBLE = 10,
  RPN_TYPE_TEXT = 11 /**< only read, never produced by convertRPNFloatToDataType() */
};

/** A typed result. */
typedef struct RpnDataValue {
  uint32_t length;   /**< bytes of the value; 1 for RPN_TYPE_UINT16 too */
  uint32_t dataType; /**< one of RpnDataType */
  union {
    uint8_t uint8;
    uint16_t uint16;
    uint32_t uint32;
    uint64_t uint64;
    int8_t int8;
    int16_t int16;
    int32_t int32;
    int64_t int64;
    float single;
    double number;
    char *text; /**< RPN_TYPE_TEXT: length bytes, a terminator is not needed */
  } value;      /**< the value, in the member of its type */
} RpnDataValue;

/** What doRPNExtended() evaluates, and where its parameters come from. */
typedef struct RpnExtendedContext {
  /** The expression. Only read while tokens is empty. */
  const char *expression;
  /**
   * Fetches parameter number @p index + 1 into `*out`; nonzero on success, 0 fails the evaluation.
   * Called on the evaluating thread, once for each "%" token, in order. "%0" asks for the index
   * 0xFFFFFFFF: refuse every index from the number of parameters on.
   */
  int (*getParameter)(uint32_t index, void *userData, double *out);
  /** Tells the number of parameters; called once, before the first getParameter. */
  uint32_t (*getParameterCount)(void *userData);
  /** Nonzero keeps the tokens for the next evaluation; then release them with FreeTokens(). */
  uint8_t keepTokens;
  /** The expression's tokens. Zero it before the first evaluation. */
  TokenList tokens;
  /** Handed to both callbacks. */
  void *userData;
} RpnExtendedContext;

/**
 * @brief Tells whether a token is an operator.
 *
 * The token is compared with each name of supportedList in order, over the shorter of the two
 * lengths, and the first that agrees counts: "<" is "<<", "m" is "max", "-5" is "-".
 *
 * @param token the token.
 * @param id    receives the operator's id, or RPN_NO_OPERATOR.
 * @return 1 for an operator; 0 for any other token, an empty token or a null argument.
 */
CU_API int isOperator(const char *token, uint32_t *id);

/**
 * @brief The result of one operation.
 *
 * @param id    one of RpnOperatorId.
 * @param error set to 1 for a division by 0 and for an @p id of RPN_IF and above, else to 0. May be
 *              null.
 * @param a     the value pushed first, and the only one for RPN_NOT.
 * @param b     the value pushed last.
 * @return the result; 0 with @p error set.
 */
CU_API float processOperand(uint32_t id, uint8_t *error, float a, float b);

/**
 * @brief Evaluates an expression over parameters given as texts.
 *
 * @param expression     the expression.
 * @param parameters     the texts of "%1" to "%n": decimal (a sign is allowed) or hexadecimal
 *                       ("0x10", at most 31 bits; larger ones count as the largest).
 * @param parameterCount number of parameters; a higher number in the expression, or "%0", fails.
 * @param result         receives the value on top of the stack at the end.
 * @return 1; 0 with @p result left alone for a null expression or result, a missing value, a
 *         division by 0, a ":" without "?", an unknown or null parameter, or without memory.
 *
 * @note Expressions that keep at most 32 values pending, and whose tokens are shorter than 64
 *       characters, need no heap memory.
 */
CU_API int doRPN(const char *expression, char **parameters, uint32_t parameterCount,
                 double *result);

/**
 * @brief Evaluates an expression over parameters that a callback fetches.
 *
 * The first evaluation splits the expression into tokens (at most 255); with keepTokens set, later
 * ones reuse them without looking at the expression again. There is no conditional: "?" and ":"
 * fail.
 *
 * @param context expression, callbacks and tokens.
 * @param result  receives the value on top of the stack at the end.
 * @return 1; 0 with @p result left alone for a null argument or callback, and for the failures of
 *         doRPN(). Unless keepTokens is set, the tokens are released either way; only a null
 *         argument or callback leaves the whole context alone.
 */
CU_API int doRPNExtended(RpnExtendedContext *context, double *result);

/**
 * @brief Stores a number as a value of the given type.
 *
 * Integers of 8 and 16 bits keep the low bits of the number as a 32-bit integer: 300 as
 * RPN_TYPE_UINT8 is 44. Numbers out of the range of 32 (or 64) bits become the nearest limit, and
 * not-a-number becomes 0.
 *
 * @param dataType RPN_TYPE_UINT8 to RPN_TYPE_DOUBLE.
 * @param out      receives type, length and value.
 * @param value    the number.
 * @return 1; 0 with @p out left alone for another type or a null @p out.
 */
CU_API int convertRPNFloatToDataType(uint32_t dataType, RpnDataValue *out, double value);

/**
 * @brief Prints a typed value with the formatters of valueformat.h, including their limits.
 *
 * RPN_TYPE_INT64 prints its low 32 bits alone, and 32-bit values print at most 9 characters.
 *
 * @param value     the value.
 * @param out       receives a new string, to be released with free().
 * @param precision decimals of RPN_TYPE_FLOAT and RPN_TYPE_DOUBLE; more than 9 count as 9.
 * @return 1; 0 for another type, an empty text, a null argument, or without memory.
 */
CU_API CU_MUST_USE int getRPMDataTypeAsString(const RpnDataValue *value, char **out,
                                              uint32_t precision);

CU_END_DECLS

#endif

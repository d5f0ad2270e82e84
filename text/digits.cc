#include "text/digits.hpp"

#include <string.h>

namespace cu {
namespace {

// Two digits a division: half as many divisions as digits.
constexpr char kPairs[] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
    "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
    "8081828384858687888990919293949596979899";

char *PairBefore(char *end, uint32_t value) {
  memcpy(end - 2, &kPairs[2 * value], 2);
  return end - 2;
}

}  // namespace

char *DigitsBefore(char *end, uint32_t value) {
  for (; value >= 100; value /= 100) end = PairBefore(end, value % 100);
  if (value >= 10) return PairBefore(end, value);
  *--end = static_cast<char>('0' + value);
  return end;
}

char *DigitsBefore(char *end, uint64_t value) {
  // 64-bit divisions are slow where words have 32 bits: one for nine digits.
  constexpr uint32_t kNineDigits = 1000000000;
  while (value > UINT32_MAX) {
    const uint64_t rest = value / kNineDigits;
    end = PaddedDigitsBefore(end, static_cast<uint32_t>(value - rest * kNineDigits), 9);
    value = rest;
  }
  return DigitsBefore(end, static_cast<uint32_t>(value));
}

char *PaddedDigitsBefore(char *end, uint32_t value, size_t count) {
  for (; count >= 2; count -= 2, value /= 100) end = PairBefore(end, value % 100);
  if (count != 0) *--end = static_cast<char>('0' + value % 10);
  return end;
}

}  // namespace cu

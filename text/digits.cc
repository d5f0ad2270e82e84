#include "text/digits.hpp"

#include <string.h>

#include <bit>

namespace cu {
namespace {

constexpr uint32_t kNineDigits = 1000000000;

constexpr uint32_t kPowersOf10[] = {1,      10,      100,      1000,      10000,
                                    100000, 1000000, 10000000, 100000000, kNineDigits};

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

size_t CountDigits(uint32_t value) {
  // 1233 / 4096 is log10(2): this is one digit short where the value reaches the next power of 10.
  const auto bits = static_cast<unsigned>(std::bit_width(value | 1));
  const size_t digits = bits * 1233 >> 12;
  return value >= kPowersOf10[digits] ? digits + 1 : digits + (value == 0);
}

size_t CountDigits(uint64_t value) {
  size_t digits = 0;
  for (; value > UINT32_MAX; value /= kNineDigits) digits += 9;
  return digits + CountDigits(static_cast<uint32_t>(value));
}

char *DigitsBefore(char *end, uint32_t value) {
  for (; value >= 100; value /= 100) end = PairBefore(end, value % 100);
  if (value >= 10) return PairBefore(end, value);
  *--end = static_cast<char>('0' + value);
  return end;
}

char *DigitsBefore(char *end, uint64_t value) {
  // 64-bit divisions are slow where words have 32 bits: one for nine digits.
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

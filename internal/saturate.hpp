// Floating-point numbers to integers, as the library converts them everywhere: the fraction is
// dropped, values out of range become the nearest limit, and not-a-number becomes 0. Plain casts
// leave the last two undefined.
#ifndef COMMONUTILITIES_INTERNAL_SATURATE_HPP
#define COMMONUTILITIES_INTERNAL_SATURATE_HPP

#include <limits>

namespace cu {

template <typename Integer, typename Real>
constexpr Integer SaturateTo(Real value) {
  using Limits = std::numeric_limits<Integer>;
  // Both ends of the open range are 0 or powers of two, which every floating-point type holds
  // exactly.
  // NOLINTNEXTLINE(bugprone-integer-division): half of the limit, rounded down, is meant.
  constexpr Real above = static_cast<Real>(Limits::max() / 2 + 1) * 2;
  constexpr Real lowest = static_cast<Real>(Limits::min());
  if (value >= above) return Limits::max();
  if (value > lowest) return static_cast<Integer>(value);
  return value <= lowest ? Limits::min() : Integer{0};
}

}  // namespace cu

#endif

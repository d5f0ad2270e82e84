// The cut that some of the number formatters make, for those who write into memory of their own.
#ifndef COMMONUTILITIES_TEXT_NUMBER_FORMAT_HPP
#define COMMONUTILITIES_TEXT_NUMBER_FORMAT_HPP

#include <stddef.h>

namespace cu {

/// Characters that getIntegerAsString() and getUnsignedIntegerAsString() keep.
inline constexpr size_t kIntegerCharactersKept = 9;

}  // namespace cu

#endif

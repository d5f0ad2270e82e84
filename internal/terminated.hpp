// A text of a record's field, which has no terminator there when it fills the field.
#ifndef COMMONUTILITIES_INTERNAL_TERMINATED_HPP
#define COMMONUTILITIES_INTERNAL_TERMINATED_HPP

#include <stddef.h>
#include <string.h>

namespace cu {

/// A terminated copy of the field.
template <size_t kSize>
class Terminated {
 public:
  explicit Terminated(const char (&field)[kSize]) {
    memcpy(text_, field, kSize);
    text_[kSize] = '\0';
  }

  const char *c_str() const { return text_; }

 private:
  char text_[kSize + 1];
};

}  // namespace cu

#endif

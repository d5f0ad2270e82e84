#include "expr/rpn_numbers.hpp"

#include <float.h>
#include <langinfo.h>
#include <stdlib.h>
#include <string.h>

#include "internal/long32.hpp"
#include "internal/owned.hpp"

namespace cu {
namespace {

/// Digits that a double holds exactly whatever they are; the powers of ten up to this one are exact
/// too.
constexpr int kExactDigits = 15;
constexpr double kPowersOfTen[kExactDigits + 1] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                                   1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

/// Whether the point is the decimal point of the process's locale, and a division is rounded once.
bool MayReadFractions() {
  if constexpr (FLT_EVAL_METHOD != 0) return false;
  const char *const radix = nl_langinfo(RADIXCHAR);
  return radix[0] == '.' && radix[1] == '\0';
}

/// The second character announces the number base, in texts of three characters and more.
bool IsHexadecimal(const char *text) {
  return text[0] != '\0' && (text[1] == 'x' || text[1] == 'X') && text[2] != '\0';
}

/// A token with a terminator behind it, for the functions of the C library.
class TerminatedToken {
 public:
  explicit TerminatedToken(std::string_view token) : text_(local_) {
    if (token.size() >= sizeof local_) {
      heap_ = CopyString(token.data(), token.size());
      text_ = heap_.get();
      return;
    }
    memcpy(local_, token.data(), token.size());
    local_[token.size()] = '\0';
  }
  TerminatedToken(const TerminatedToken &) = delete;
  TerminatedToken &operator=(const TerminatedToken &) = delete;

  /// Null when there was no memory.
  const char *text() const { return text_; }

 private:
  char local_[64];
  Owned<char> heap_;
  const char *text_;
};

}  // namespace

double NumberOfText(const char *text) {
  if (IsHexadecimal(text)) return static_cast<float>(StrToL32(text, nullptr, 16));
  return atof(text);
}

uint32_t IndexOfText(const char *text) {
  return static_cast<uint32_t>(StrToL32(text, nullptr, 10));
}

const char *ReadPlainNumber(const char *text, double &value) {
  int64_t digits = 0;
  int count = 0;
  const char *next = text;
  for (; IsDigit(*next); ++next) {
    if (++count > kExactDigits) return nullptr;
    digits = digits * 10 + (*next - '0');
  }
  int decimals = 0;
  if (*next == '.') {
    if (!MayReadFractions()) return nullptr;
    for (++next; IsDigit(*next); ++next, ++decimals) {
      if (++count > kExactDigits) return nullptr;
      digits = digits * 10 + (*next - '0');
    }
  }
  if (count == 0) return nullptr;
  value = static_cast<double>(digits);
  if (decimals != 0) value /= kPowersOfTen[decimals];
  return next;
}

bool NumberOfToken(std::string_view token, double &value) {
  if (ReadPlainNumber(token.data(), value) == token.data() + token.size()) return true;
  const TerminatedToken terminated(token);
  if (terminated.text() == nullptr) return false;
  value = NumberOfText(terminated.text());
  return true;
}

bool IndexOfToken(std::string_view token, uint32_t &index) {
  if (ReadPlainIndex(token.data(), index) == token.data() + token.size()) return true;
  const TerminatedToken terminated(token);
  if (terminated.text() == nullptr) return false;
  index = IndexOfText(terminated.text());
  return true;
}

}  // namespace cu

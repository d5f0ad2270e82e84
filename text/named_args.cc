#include "include/stringtemplate.h"

#include <string_view>

#include "text/substitute.hpp"

namespace {

const NamedArg *Find(std::string_view name, uint32_t count, const NamedArg *args) {
  for (const NamedArg *arg = args; arg != args + count; ++arg) {
    if (arg->name != nullptr && name == arg->name) return arg;
  }
  return nullptr;
}

}  // namespace

const NamedArg *ambrelFindNamedParameter(const char *name, uint32_t count, const NamedArg *args) {
  return name == nullptr || args == nullptr ? nullptr : Find(name, count, args);
}

int ambrel_createstring_namedargs(const char *text, uint32_t count, const NamedArg *args,
                                  char **out) {
  if (text == nullptr || args == nullptr || out == nullptr) return 0;
  cu::Owned<char> filled = cu::Substitute(text, '{', '}', [=](std::string_view name) {
    const NamedArg *const arg = Find(name, count, args);
    return arg == nullptr ? nullptr : arg->value;
  });
  if (!filled) return 0;
  *out = filled.release();
  return 1;
}

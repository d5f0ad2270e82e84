// Any texts through the string, value and template functions.
#include <fuzzer/FuzzedDataProvider.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <string>
#include <vector>

#include "include/stringtemplate.h"
#include "include/stringutils.h"
#include "include/valueformat.h"

namespace {

void Strings(const std::string &a, const std::string &b) {
  ext_match(a.c_str(), b.c_str());
  get_index_of(a.c_str(), b.c_str());
  get_last_index_of(a.c_str(), b.c_str());
  if (str_contains(a.c_str(), b.c_str()) != (strstr(a.c_str(), b.c_str()) != nullptr)) abort();
  str_ncontains(a.c_str(), b.c_str());
  if (maxlen(a.c_str(), b.c_str()) <
      minlen(static_cast<uint32_t>(strlen(a.c_str())), static_cast<uint32_t>(strlen(b.c_str()))))
    abort();
  free(concatStrings(a.c_str(), b.c_str()));
  free(joinPath(a.c_str(), b.c_str()));
  free(get_until(a.c_str(), b.c_str()));
  free(toLower(a.c_str()));
  free(ambrelCloneString(a.c_str(), static_cast<uint32_t>(strlen(a.c_str()))));
  free(AmbrelSetStringValue(b.c_str()));
  std::string option(a);
  copyOptionValue(option.data(), a.data(), static_cast<uint32_t>(a.size()));
  copyOptionValue(option.data(), option.data(), static_cast<uint32_t>(option.size()));
  char path[40];
  concatPath(path, a.c_str(), b.c_str(), sizeof path);

  TokenList tokens = {}, packed = {};
  tokenizeString(a.c_str(), b.c_str(), &tokens);
  FreeTokens(&tokens);
  tokenizeStringWithNoSpaces(a.c_str(), b.c_str(), &packed);
  FreeTokens(&packed);
  std::string copy(a.c_str());
  char *save = nullptr;
  for (char *one = strtok_safe(copy.data(), b.c_str(), &save); one != nullptr;
       one = strtok_safe(nullptr, b.c_str(), &save)) {
    if (one < copy.data() || one > copy.data() + copy.size()) abort();
  }
}

void Bytes(const std::string &a, const std::string &b) {
  const auto *const bytes = reinterpret_cast<const uint8_t *>(a.data());
  const uint32_t length = static_cast<uint32_t>(a.size());
  char *text = nullptr;
  if (convertByteArraytoString(bytes, length, &text)) free(text);
  uint8_t *out = nullptr;
  uint32_t out_length = 0;
  if (convertStringToByteArray(a.c_str(), &out, &out_length)) free(out);
  std::vector<uint8_t> hex(length / 2 + 1);
  convertHexStringToByteArray(a.data(), length, hex.data(), length / 2);
  std::vector<char> uuid(300);
  convertUUIDToUniformFormat(a.c_str(), uuid.data(), 36);
  std::string replaced = a;
  ambrelFindandReplace(reinterpret_cast<uint8_t *>(replaced.data()), length, b.empty() ? 'a' : b[0],
                       '-');
  if (!b.empty() && b[0] != '-' && replaced.find(b[0]) != std::string::npos) abort();
  if (a.size() >= UUID_BINARY_SIZE && b.size() >= UUID_BINARY_SIZE) {
    const auto *const other = reinterpret_cast<const uint8_t *>(b.data());
    if (compareUUID(bytes, other) != (memcmp(bytes, other, UUID_BINARY_SIZE) == 0)) abort();
  }
  byteCompare(bytes, length, reinterpret_cast<const uint8_t *>(b.data()),
              static_cast<uint32_t>(b.size()));
  AmbrelGetParameterBaseOfString(a.c_str());
}

int Print(char **out, const char *format, ...) {
  va_list args;
  va_start(args, format);
  const int length = ambrel_vsnprintf(format, args, out);
  va_end(args);
  return length;
}

/// Every conversion, with the arguments that it wants, between any texts.
void Formatted(const std::string &a, const std::string &b) {
  char *out = nullptr;
  if (Print(&out, "%.*s|%5d|%s", static_cast<int>(a.size()), a.c_str(), static_cast<int>(b.size()),
            b.c_str()) >= 0)
    free(out);
  std::string plain = a.c_str();
  std::replace(plain.begin(), plain.end(), '%', '_');
  const std::string format = plain + "%s%%%c" + plain + "%d%f%i%l" + plain;
  out = nullptr;
  if (CreateStringWithArgs(format.c_str(), &out, 6, b.c_str(), 'x', 1, 2.5, -3, INT32_MIN))
    free(out);
}

void Templates(const std::string &a, const std::string &b) {
  std::string name = b.substr(0, b.size() / 2), value = b.substr(b.size() / 2);
  const NamedArg arguments[] = {{name.c_str(), value.c_str()}, {"a", nullptr}};
  char *out = nullptr;
  if (ambrel_createstring_namedargs(a.c_str(), 2, arguments, &out)) free(out);
  out = nullptr;
  // Conversions that take an argument find one of their width; more than four would find none.
  std::string format = a;
  int conversions = 0;
  for (size_t i = 0; i < format.size(); ++i)
    if (format[i] == '%' && (++conversions > 4 || strchr("sfl", format[i + 1]) != nullptr))
      format[i] = '_';
  if (CreateStringWithArgs(format.c_str(), &out, 4, 1, 2, 3, 4)) free(out);
  ambrelFindNamedParameter(a.c_str(), 2, arguments);
  BufferBox box = {};
  AddDataToBufferBox(&box, a.data(), static_cast<uint32_t>(a.size()));
  AddDataToBufferBox(&box, b.data(), static_cast<uint32_t>(b.size()));
  if (box.data != nullptr && box.data[box.length] != '\0') abort();
  free(box.data);
}

void Numbers(FuzzedDataProvider &input) {
  const uint8_t precision = input.ConsumeIntegral<uint8_t>();
  char *out = nullptr;
  free(getFloatAsString(precision, &out, input.ConsumeFloatingPoint<float>()));
  free(getDoubleAsString(precision, &out, input.ConsumeFloatingPoint<double>()));
  free(getDoubleAsIntOrDoubleString(precision, &out, input.ConsumeFloatingPoint<double>()));
  const uint64_t bits = input.ConsumeIntegral<uint64_t>();
  free(getIntegerAsString(static_cast<int32_t>(bits), &out));
  free(getUnsignedIntegerAsString(static_cast<uint32_t>(bits), &out));
  free(getLongAsString(static_cast<int32_t>(bits), &out));
  free(getUnsignedLongAsString(bits, &out));
  free(getShortAsString(static_cast<int16_t>(bits), &out));
  free(getUnsignedShortAsString(static_cast<uint16_t>(bits), &out));
  free(getInteger8AsString(static_cast<int8_t>(bits), &out));
  free(getUnsignedInteger8AsString(static_cast<uint8_t>(bits), &out));
  free(getUnsignedInteger8AsStringPad(static_cast<uint8_t>(bits), &out));
  free(getBooleanAsString(static_cast<uint8_t>(bits), &out));
  if ((ae_random_char(precision) != 0) != (precision < AE_RANDOM_CHARS)) abort();
  out = nullptr;
  aeCreateTemporaryName("name-", precision, &out);
  if (out == nullptr || strlen(out) != 5U + precision) abort();
  free(out);
  char text[40];
  const time_t time = static_cast<time_t>(bits);
  const uint32_t room = precision % sizeof text;
  if (getExtendedISOTime(text, room, &time) && strlen(text) >= room) abort();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
  // Notices go to standard output.
  if (freopen("/dev/null", "w", stdout) == nullptr) abort();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  FuzzedDataProvider input(data, size);
  Numbers(input);
  const std::string a = input.ConsumeRandomLengthString(size);
  const std::string b = input.ConsumeRemainingBytesAsString();
  Strings(a, b);
  Bytes(a, b);
  Templates(a, b);
  Formatted(a, b);
  return 0;
}

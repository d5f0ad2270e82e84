// Any texts through the string, value and template functions.
#include <fuzzer/FuzzedDataProvider.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

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
  maxlen(a.c_str(), b.c_str());
  free(concatStrings(a.c_str(), b.c_str()));
  free(joinPath(a.c_str(), b.c_str()));
  free(get_until(a.c_str(), b.c_str()));
  free(toLower(a.c_str()));
  free(ambrelCloneString(a.c_str(), static_cast<uint32_t>(strlen(a.c_str()))));
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
  byteCompare(bytes, length, reinterpret_cast<const uint8_t *>(b.data()),
              static_cast<uint32_t>(b.size()));
  AmbrelGetParameterBaseOfString(a.c_str());
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
  free(getIntegerAsString(input.ConsumeIntegral<int32_t>(), &out));
  free(getUnsignedLongAsString(input.ConsumeIntegral<uint64_t>(), &out));
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
  return 0;
}

// Malformed, truncated and hostile documents with what the loaders are to make of them.
#ifndef COMMONUTILITIES_TESTS_JSON_HOSTILE_DOCUMENTS_HPP
#define COMMONUTILITIES_TESTS_JSON_HOSTILE_DOCUMENTS_HPP

#include <algorithm>
#include <string>
#include <vector>

namespace cu_test {

struct HostileDocument {
  std::string text;
  bool loads;
};

/// Written by hand, one peculiarity each.
inline std::vector<HostileDocument> ListedDocuments() {
  using namespace std::string_literals;
  return {
      // No root, or not an object.
      {"", true},
      {" ", true},
      {"\t\r\n ", true},
      {"[]", true},
      {"[[]]", true},
      {"{}", true},
      {" {} ", true},
      {R"("text")", true},
      {R"("")", true},
      {"7", false},
      {"-", false},
      {"true", false},
      {"null", false},
      {"7 ", true},  // a primitive ends at a blank
      {"tru ", true},
      {"nonsense", false},
      {"{}{}", true},
      {"[][]", true},
      {"{}[]{}", true},
      {R"({"a":1}{"b":2})", true},
      {"{} x", false},
      {"{}}", false},
      {"[]]", false},
      {"{}]", false},
      {",", true},
      {":", true},
      {",,,:::", true},
      {":{}", true},
      {":[1]", true},
      {"\"a\":1 ", true},
      {"\"a\":\"b\"", true},

      // Brackets that do not fit.
      {"{", false},
      {"[", false},
      {"}", false},
      {"]", false},
      {"{]", false},
      {"[}", false},
      {"{[}]", false},
      {"[{]}", false},
      {"{{}}", false},
      {"{[]}", false},
      {"{\"a\":[}", false},
      {"{\"a\":{]}", false},
      {"[[[]]", false},
      {"[[]]]", false},
      {"{\"a\":1]", false},
      {"[1}", false},
      {"(1)", false},
      {"<a>", false},

      // Commas and colons where they should not be, or not where they should.
      {R"({"a":1,})", false},
      {R"({"a":1 , })", false},
      {"{\"a\":1,\n}", false},
      {"{\"a\":1,\t\r\n }", false},
      {R"({,})", false},
      {R"({,,})", false},
      {R"({ , })", false},
      {R"([{,}])", false},
      {R"({"a":{,}})", false},
      {R"({"a":{"b":1,}})", false},
      {R"({"a":[{"b":1,}]})", false},
      {R"({"a",})", false},
      {R"({"a":,})", false},
      {R"({"a":1,,})", false},
      {R"({,"a":1})", true},
      {R"({"a":1,,"b":2})", true},
      {R"({"a"})", true},
      {R"({"a":})", true},
      {R"({"a"::1})", true},
      {R"({"a" "b"})", true},
      {R"({"a" 1})", false},  // a primitive cannot be a key
      {R"({"a":1 "b":2})", true},
      {R"({"a":1 2})", false},  // nor a second value
      {R"({"a":1:2})", true},
      {R"({"a":"b":"c"})", true},
      {R"({"a":"b" "c"})", true},
      {R"({"a","b"})", true},
      {R"({"a":1;"b":2})", true},  // the value is 1;"b":2
      {R"({"a"=1})", false},
      {"[1,]", true},
      {"[,1]", true},
      {"[,]", true},
      {"[,,]", true},
      {"[1,,2]", true},
      {"[1 2]", true},
      {"[1:2]", true},  // one primitive, which does not end at a colon
      {R"(["a":1])", true},
      {R"(["a" "b"])", true},
      {R"({"a":[1,]})", true},
      {R"({"a":[1,],"b":[2,]})", true},
      {"{1:2}", false},
      {"{true:1}", false},
      {"{null:1}", false},
      {"{{}:1}", false},
      {"{[]:1}", false},
      {"{a:1}", false},
      {"{'a':1}", false},

      // Texts.
      {R"(["a)", false},
      {R"(["a\)", false},
      {R"(["a\"])", false},
      {R"("a)", false},
      {R"(")", false},
      {R"({"a)", false},
      {R"({"a":"b)", false},
      {R"(["\"\\\/\b\f\n\r\t"])", true},
      {R"(["\u0000"])", true},
      {R"(["\uD800"])", true},
      {R"(["\uD83D\uDE00"])", true},
      {R"(["\uABCD\uabcd"])", true},
      {R"(["\u12"])", false},
      {R"(["\u123"])", false},
      {R"(["\u12G4"])", false},
      {R"(["\U1234"])", false},
      {R"(["\x41"])", false},
      {R"(["\a"])", false},
      {R"(["\'"])", false},
      {R"(["\ "])", false},
      {R"(["\)", false},
      {"[\"\\\n\"]", false},
      {"[\"a\nb\"]", true},
      {"[\"a\tb\"]", true},
      {"[\"\x01\x02\x1f\x7f\"]", true},
      {"[\"\xc3\xa9\"]", true},
      {"[\"\xff\xfe\"]", true},
      {"[\"\x80\"]", true},
      {"[\"\xc0\x80\"]", true},
      {"[\"\xed\xa0\x80\"]", true},
      {"[\"\xf4\x90\x80\x80\"]", true},
      {"[\"\xe2\x82\"]", true},
      {"{\"\xff\":\"\xff\"}", true},
      {"[\xff]", false},
      {"[\xc3\xa9]", false},
      {"\xef\xbb\xbf{}", false},  // a byte order mark
      {"\xff\xfe{\0}\0"s, false},
      {"{\0}\0"s, false},  // UTF-16
      {"['a']", false},
      {"[`a`]", false},

      // NUL bytes end the text.
      {"\0"s, true},
      {"{}\0garbage{[\""s, true},
      {"[1,2]\0,3]"s, true},
      {"[1,2\0]"s, false},
      {"[\"a\0b\"]"s, false},
      {"{\"ipcName\":\"a\"}\0}"s, true},
      {"{\"ipcName\":\"a\0\"}"s, false},
      {" \0{"s, true},

      // Primitives.
      {"[0]", true},
      {"[-0]", true},
      {"[01]", true},
      {"[-]", true},
      {"[--1]", true},
      {"[1.]", true},
      {"[.1]", false},
      {"[1e]", true},
      {"[1e+]", true},
      {"[1E400]", true},
      {"[-1E400]", true},
      {"[1.2.3]", true},
      {"[0x1F]", true},
      {"[1_000]", true},
      {"[+1]", false},
      {"[Infinity]", false},
      {"[NaN]", false},
      {"[nan]", true},
      {"[nul]", true},
      {"[nulll]", true},
      {"[tru]", true},
      {"[truee]", true},
      {"[fals]", true},
      {"[f]", true},
      {"[True]", false},
      {"[FALSE]", false},
      {"[undefined]", false},
      {"[t\x01]", false},
      {"[1\x7f]", false},
      {"[1\x80]", false},
      {"[1{}]", false},
      {"[1\"a\"]", true},  // all of it one primitive
      {"[1[2]]", false},
      {"[123456789012345678901234567890]", true},
      {"[-123456789012345678901234567890]", true},
      {"[18446744073709551616]", true},
      {"[0.00000000000000000000000000000000001]", true},
      {"[1", false},
      {"[1,", false},
      {"[t", false},
      {R"({"a":1)", false},
      {R"({"a":t)", false},

      // Comments and other dialects.
      {"// comment\n{}", false},
      {"/* comment */{}", false},
      {"# comment\n{}", false},
      {"{/**/}", false},
      {"[1,/**/2]", false},
      {"[1//\n]", true},  // all of it one primitive
      {"{\"a\":0b101}", true},
      {"*", false},
      {"@", false},
      {"$ref", false},
      {"\\", false},
      {"\x1b[31m", false},
      {"<?xml?>", false},
      {"---\na: 1\n", false},

      // Documents cut off.
      {R"({"ipcName")", false},
      {R"({"ipcName":)", false},
      {R"({"ipcName":")", false},
      {R"({"ConfigObj":[)", false},
      {R"({"ConfigObj":[{)", false},
      {R"({"ConfigObj":[{"ConfigParam":[{"parameterName":"a")", false},

      // Configurations in odd shapes.
      {R"({"ConfigObj":{}})", true},
      {R"({"ConfigObj":[]})", true},
      {R"({"ConfigObj":[[]]})", true},
      {R"({"ConfigObj":[[{}]]})", true},
      {R"({"ConfigObj":[[[{"parameterGroup":"g"}]]]})", true},
      {R"({"ConfigObj":[{},{},{}]})", true},
      {R"({"ConfigObj":[{},{"parameterGroup":"g"}]})", true},
      {R"({"ConfigObj":[1,"a",null,[],{}]})", true},
      {R"({"ConfigObj":[{"ConfigParam":{}}]})", true},
      {R"({"ConfigObj":[{"ConfigParam":[[{"type":"x"}]]}]})", true},
      {R"({"ConfigObj":[{"ConfigParam":[{},{},{"type":"blob"}]}]})", true},
      {R"({"ConfigObj":{"ConfigParam":{"parameterName":"n"}}})", true},
      {R"({"ConfigObj":{"ConfigObj":{"ConfigObj":{"parameterGroup":"g"}}}})", true},
      {R"({"ConfigObj":"ConfigObj"})", true},
      {R"({"ConfigObj":["ConfigParam",{"ConfigParam":["type"]}]})", true},
      {R"(["ConfigObj",["ConfigObj",["ConfigParam"]]])", true},
      {R"([{"ipcName":"q"}])", true},
      {R"({"":{"":{"":""}}})", true},
      {R"({"extra":{"ipcName":"evil"}})", true},
      {R"({"u":[1,2,3],"ipcName":"q"})", true},
      {R"({"u":[[1],[2,3]],"ipcName":"q"})", true},
      {R"({"ipcName"})", true},
      {R"({"ipcName":})", true},
      {R"({"ConfigObj"})", true},
      {R"({"ConfigObj":})", true},
      {R"({"ConfigObj":[{"ConfigParam"}]})", true},
      {R"({"ConfigObj":[{"ConfigParam":[{"type"}]}]})", true},
      {R"({"logFileSize":1e400})", true},
      {R"({"logFileSize":"0x7fffffffffffffff"})", true},
  };
}

inline std::string Repeated(const std::string &piece, size_t times) {
  std::string text;
  text.reserve(piece.size() * times);
  for (size_t i = 0; i < times; ++i) text += piece;
  return text;
}

/// An object with so many members, from "k0" on, each with its number.
inline std::string ManyMembers(size_t count) {
  std::string text = "{";
  text.reserve(count * 18);
  for (size_t i = 0; i < count; ++i)
    text += (i == 0 ? "\"k" : ",\"k") + std::to_string(i) + "\":" + std::to_string(i);
  return text + "}";
}

/// An object with one member so many times, each with its number for a text.
inline std::string EqualKeys(const std::string &key, size_t count) {
  std::string text = "{";
  text.reserve(count * (key.size() + 13));
  for (size_t i = 0; i < count; ++i)
    text += (i == 0 ? "\"" : ",\"") + key + "\":\"" + std::to_string(i) + "\"";
  return text + "}";
}

/// Large and deep ones, and every key with every type of value.
inline std::vector<HostileDocument> GeneratedDocuments() {
  std::vector<HostileDocument> documents;
  for (size_t depth : {10u, 100u, 512u, 1000u, 3000u}) {
    documents.push_back({Repeated("[", depth), false});
    documents.push_back({Repeated("]", depth), false});
    documents.push_back({Repeated("{", depth), false});
    documents.push_back({Repeated("[{\"a\":", depth), false});
    documents.push_back({Repeated("[", depth) + Repeated("]", depth), true});
    documents.push_back({Repeated("[", depth) + Repeated("]", depth - 1), false});
    documents.push_back({Repeated("{\"a\":", depth) + "1" + Repeated("}", depth), true});
    documents.push_back({Repeated("{\"ConfigObj\":", depth) + "{}" + Repeated("}", depth), true});
    documents.push_back({Repeated("{\"ConfigObj\":[", depth) + Repeated("]}", depth), true});
    documents.push_back(
        {Repeated("{\"ConfigObj\":[{\"ConfigParam\":[", depth) + Repeated("]}]}", depth), true});
    documents.push_back({Repeated("[1,", depth) + "1" + Repeated("]", depth), true});
  }
  documents.push_back({Repeated("[", 1000000), false});
  documents.push_back({Repeated("[", 10000) + Repeated("]", 10000), true});
  for (size_t length : {63u, 64u, 99u, 100u, 101u, 255u, 256u, 65536u, 300000u}) {
    const std::string text(length, 'k');
    documents.push_back({"{\"" + text + "\":1}", true});
    documents.push_back({"{\"ipcName\":\"" + text + "\"}", true});
    documents.push_back({"{\"logFileSize\":" + std::string(length, '9') + "}", true});
    documents.push_back({R"({"ConfigObj":[{"ConfigParam":[{"type":")" + text + "\"}]}]}", true});
    documents.push_back({"{\"ConfigObj\":[" + text + "]}", false});
    documents.push_back({std::string(length, ' '), true});
    documents.push_back({"[" + std::string(length, ','), false});
    documents.push_back({std::string(length, ':'), true});
    documents.push_back({"[\"" + Repeated("\\\"", length) + "\"]", true});
    documents.push_back({"[\"" + Repeated("\\\"", length) + "]", false});
    documents.push_back({"[" + Repeated("{},", length) + "{}]", true});
    // Each element moves the list where realloc() always moves, as under AddressSanitizer.
    const size_t elements = std::min<size_t>(length, 4096);
    documents.push_back({"{\"ConfigObj\":[" + Repeated("[],", elements) + "[]]}", true});
    documents.push_back({"{\"ConfigObj\":[" + Repeated("0,", elements) + "0]}", true});
  }
  constexpr const char *kValues[] = {
      "null",      "true",       "false",          "0",           "-1",
      "1e99",      "\"\"",       "\"text\"",       "[]",          "[1]",
      "[1,2,3]",   "[\"a\"]",    "[[]]",           "[[1],[2]]",   "{}",
      "{\"a\":1}", "{\"a\":{}}", "[{\"a\":1},{}]", "\"\\u0000\"", "[null,{\"type\":[]}]"};
  constexpr const char *kTopKeys[] = {"ipcName", "logCtrlFile", "logfile", "logFileSize",
                                      "ConfigObj"};
  constexpr const char *kGroupKeys[] = {"parameterGroup", "ConfigParam"};
  constexpr const char *kParamKeys[] = {"parameterName", "parameterValue", "type"};
  const auto member = [](const char *key, const char *value) {
    return "\"" + std::string(key) + "\":" + value;
  };
  for (const char *value : kValues) {
    for (const char *key : kTopKeys) {
      documents.push_back({"{" + member(key, value) + "}", true});
      documents.push_back({"{" + member(key, value) + R"(,"z":{"y":[1]}})", true});
    }
    for (const char *key : kGroupKeys)
      documents.push_back({R"({"ConfigObj":[{)" + member(key, value) + "},{}]}", true});
    for (const char *key : kParamKeys)
      documents.push_back(
          {R"({"ConfigObj":[{"ConfigParam":[{)" + member(key, value) + "},{}]},{}]}", true});
  }
  return documents;
}

}  // namespace cu_test

#endif

// processObject(): which calls a document makes, in which order, with which keys, indices and
// values. A trace shows a call as key@index=value, "-" for a null key, and ">" for each level of
// nested reading.
#include <commonutilities/rfvalues.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <string.h>

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "json/document.hpp"
#include "support/sanitizers.hpp"

namespace {

using cu_test::Document;
using testing::ElementsAre;
using testing::IsEmpty;

using Trace = std::vector<std::string>;

/// The record of the walks below: it writes calls down and reads the values of some keys nested.
struct Recorder {
  explicit Recorder(const Document &source) : document(source) {}

  const Document &document;
  std::set<std::string> nested;            // keys whose values are walked into
  std::map<std::string, int32_t> results;  // what the deserializer returns, 1 for other keys
  int32_t null_key_result = 1;
  std::function<void(JsonWalkContext *, const char *key)> on_call;

  Trace trace;
  int depth = 0;
};

int32_t Record(JsonWalkContext *context, int32_t start, int32_t end, const char *key,
               uint32_t index, void *record) {
  Recorder &recorder = *static_cast<Recorder *>(record);
  recorder.trace.push_back(std::string(static_cast<size_t>(recorder.depth), '>') +
                           (key == nullptr ? "-" : key) + "@" + std::to_string(index) + "=" +
                           recorder.document.text(start, end));
  if (recorder.on_call) recorder.on_call(context, key);
  if (key == nullptr) return recorder.null_key_result;
  if (recorder.nested.count(key) != 0) {
    ++recorder.depth;
    const int32_t result = processObject(context, key, start, end, index, record, Record);
    --recorder.depth;
    return result;
  }
  const auto found = recorder.results.find(key);
  return found == recorder.results.end() ? 1 : found->second;
}

/// A walk over a whole document.
struct Walk {
  explicit Walk(const char *text, std::set<std::string> nested = {}, uint8_t strict = 0)
      : document(text), recorder(document) {
    EXPECT_TRUE(document.loaded()) << text;
    recorder.nested = std::move(nested);
    context = {document.json(), document.tokens(), 0, 0, document.count(), strict};
  }

  Walk &Run() {
    result = processObject(&context, "label", 0, static_cast<int32_t>(strlen(document.json())), 0,
                           &recorder, Record);
    return *this;
  }

  const Trace &trace() const { return recorder.trace; }

  Document document;
  Recorder recorder;
  JsonWalkContext context = {};
  int32_t result = -1;
};

Trace TraceOf(const char *text, std::set<std::string> nested = {}) {
  Walk walk(text, std::move(nested));
  walk.Run();
  EXPECT_EQ(walk.result, 1) << text;
  return walk.trace();
}

// ---- objects ------------------------------------------------------------------------------------

TEST(ProcessObject, CallsOncePerPropertyWithIndexZero) {
  EXPECT_THAT(TraceOf(R"({"a":1,"b":"x","c":null})"), ElementsAre("a@0=1", "b@0=x", "c@0=null"));
}

TEST(ProcessObject, EndsWithCurrentBehindTheLastToken) {
  Walk walk(R"({"a":1,"b":"x"})");
  EXPECT_EQ(walk.Run().result, 1);
  EXPECT_EQ(walk.context.current, 5u);
}

TEST(ProcessObject, PointsCurrentAtTheValueDuringACall) {
  Walk walk(R"({"a":1,"b":"x"})");
  std::vector<uint32_t> values;
  walk.recorder.on_call = [&](JsonWalkContext *context, const char *) {
    values.push_back(context->current);
  };
  walk.Run();
  EXPECT_THAT(values, ElementsAre(2u, 4u));
}

TEST(ProcessObject, ReadsNestedObjectsAndGoesOnBehindThem) {
  EXPECT_THAT(
      TraceOf(R"({"a":{"b":1,"c":{"d":2}},"e":3})", {"a", "c"}),
      ElementsAre(R"(a@0={"b":1,"c":{"d":2}})", ">b@0=1", R"(>c@0={"d":2})", ">>d@0=2", "e@0=3"));
}

TEST(ProcessObject, LeavesCurrentOnTheLastTokenOfANestedValue) {
  Walk walk(R"({"a":{"b":{"c":1},"d":2},"e":3})", {"a", "b"});
  // 0 object, 1 "a", 2 object, 3 "b", 4 object, 5 "c", 6 1, 7 "d", 8 2, 9 "e", 10 3
  std::vector<uint32_t> seen;
  walk.recorder.on_call = [&](JsonWalkContext *context, const char *key) {
    if (strcmp(key, "d") == 0 || strcmp(key, "e") == 0) seen.push_back(context->current);
  };
  walk.Run();
  EXPECT_THAT(seen, ElementsAre(8u, 10u));
  EXPECT_THAT(walk.trace(), ElementsAre(R"(a@0={"b":{"c":1},"d":2})", R"(>b@0={"c":1})", ">>c@0=1",
                                        ">d@0=2", "e@0=3"));

  Walk inner(R"({"a":{"b":1},"e":3})");
  inner.context.current = 2;
  EXPECT_EQ(processObject(&inner.context, "a", 5, 12, 0, &inner.recorder, Record), 1);
  EXPECT_THAT(inner.trace(), ElementsAre("b@0=1"));
  EXPECT_EQ(inner.context.current, 4u);
}

TEST(ProcessObject, CallsNothingForTheContentOfEmptyContainers) {
  EXPECT_THAT(TraceOf(R"({"a":[],"b":{},"c":1})"), ElementsAre("a@0=[]", "b@0={}", "c@0=1"));
  EXPECT_THAT(TraceOf(R"({"a":[],"b":{},"c":1})", {"a", "b"}),
              ElementsAre("a@0=[]", "b@0={}", "c@0=1"));
  EXPECT_THAT(TraceOf(R"({"x":{"a":{}},"c":1})", {"x", "a"}),
              ElementsAre(R"(x@0={"a":{}})", ">a@0={}", "c@0=1"));
  EXPECT_THAT(TraceOf("{}"), IsEmpty());
  EXPECT_THAT(TraceOf("[]"), IsEmpty());
}

TEST(ProcessObject, SkipsUnknownKeysAndReadsTheNext) {
  Walk walk(R"({"unknown":1,"b":2})");
  walk.recorder.results = {{"unknown", 0}};
  EXPECT_EQ(walk.Run().result, 1);
  EXPECT_THAT(walk.trace(), ElementsAre("unknown@0=1", "b@0=2"));
}

TEST(ProcessObject, GivesTheEmptyKey) {
  EXPECT_THAT(TraceOf(R"({"":1,"b":2})"), ElementsAre("@0=1", "b@0=2"));
}

TEST(ProcessObject, GivesKeysOfAnyLengthWhole) {
  for (size_t length : {46u, 47u, 48u, 49u, 100000u}) {
    const std::string key(length, 'k');
    EXPECT_THAT(TraceOf((R"({")" + key + R"(":1,"b":2})").c_str()),
                ElementsAre(key + "@0=1", "b@0=2"));
  }
}

TEST(ProcessObject, KeepsEscapesInKeys) {
  EXPECT_THAT(TraceOf(R"({"a\n\u0041":1})"), ElementsAre(R"(a\n\u0041@0=1)"));
}

// ---- arrays -------------------------------------------------------------------------------------

TEST(ProcessObject, CallsOncePerStringElementWithTheTextAsKey) {
  EXPECT_THAT(TraceOf(R"({"k":["a","b"]})", {"k"}),
              ElementsAre(R"(k@0=["a","b"])", ">a@0=a", ">b@1=b"));
  EXPECT_THAT(TraceOf(R"(["a","b","c"])"), ElementsAre("a@0=a", "b@1=b", "c@2=c"));
}

TEST(ProcessObject, CallsOncePerPrimitiveElementWithANullKey) {
  EXPECT_THAT(TraceOf(R"({"k":[1,2],"z":3})", {"k"}),
              ElementsAre("k@0=[1,2]", ">-@0=1", ">-@1=2", "z@0=3"));
  EXPECT_THAT(TraceOf("[1,true]"), ElementsAre("-@0=1", "-@1=true"));
}

TEST(ProcessObject, TakesAPrimitivesKeyFromTheFirstTokenOfTheDocument) {
  EXPECT_THAT(TraceOf(R"("k":[1,2])"), ElementsAre("k@0=[1,2]", "k@0=2"));
  Walk walk(R"("k":[1,2])");
  walk.context.current = 1;
  walk.Run();
  EXPECT_THAT(walk.trace(), ElementsAre("k@0=1", "k@1=2"));
}

TEST(ProcessObject, CallsOncePerKeyOfEachObjectInAnArray) {
  EXPECT_THAT(TraceOf(R"({"k":[{"a":1,"b":2},{"a":3}],"z":4})", {"k"}),
              ElementsAre(R"(k@0=[{"a":1,"b":2},{"a":3}])", ">a@0=1", ">b@0=2", ">a@1=3", "z@0=4"));
}

TEST(ProcessObject, ReadsArraysWithinArraysOfObjects) {
  EXPECT_THAT(
      TraceOf(R"({"g":[{"p":[{"n":1},{"n":2}],"t":3},{"t":4,"p":[{"n":5}]}],"z":6})", {"g", "p"}),
      ElementsAre(R"(g@0=[{"p":[{"n":1},{"n":2}],"t":3},{"t":4,"p":[{"n":5}]}])",
                  R"(>p@0=[{"n":1},{"n":2}])", ">>n@0=1", ">>n@1=2", ">t@0=3", ">t@1=4",
                  R"(>p@1=[{"n":5}])", ">>n@0=5", "z@0=6"));
}

TEST(ProcessObject, GivesAnEmptyElementAnIndexButNoCall) {
  EXPECT_THAT(TraceOf(R"({"k":[{},{"a":1}],"z":2})", {"k"}),
              ElementsAre(R"(k@0=[{},{"a":1}])", ">a@1=1", "z@0=2"));
  EXPECT_THAT(TraceOf(R"({"k":[{"a":1},{},{"b":2}]})", {"k"}),
              ElementsAre(R"(k@0=[{"a":1},{},{"b":2}])", ">a@0=1", ">b@2=2"));
  EXPECT_THAT(TraceOf(R"({"k":[{"a":1},{}],"z":2})", {"k"}),
              ElementsAre(R"(k@0=[{"a":1},{}])", ">a@0=1", "z@0=2"));
  EXPECT_THAT(TraceOf(R"({"k":[{},{}],"z":2})", {"k"}), ElementsAre("k@0=[{},{}]", "z@0=2"));
}

TEST(ProcessObject, GivesAnEmptyArrayElementAnIndexButNoCall) {
  // The first element lets the array itself be called, see below.
  EXPECT_THAT(TraceOf(R"([1,[],2])"), ElementsAre("-@0=1", "-@2=2"));
}

// An array that begins with an array is called as its own element; the inner array then takes the
// place of the outer one, whose elements left are forgotten.
TEST(ProcessObject, CallsAnArrayThatBeginsWithAnArrayItself) {
  EXPECT_THAT(TraceOf("[[1,2],[3]]"), ElementsAre("-@0=[[1,2],[3]]", "-@1=1", "-@2=2", "-@0=3"));
  EXPECT_THAT(TraceOf("[[[1]]]"), ElementsAre("-@0=[[[1]]]", "-@0=[[1]]", "-@0=1"));
  EXPECT_THAT(TraceOf("[[],[1]]"), ElementsAre("-@0=[[],[1]]", "-@0=1"));
}

// The walk does not forget that it has been inside an object: elements after one are then read as
// keys, and their values are what follows, wherever that stands.
TEST(ProcessObject, ReadsStringsAfterAnObjectInAnArrayAsKeys) {
  EXPECT_THAT(TraceOf(R"(["a",{"b":1},"c"])"), ElementsAre("a@0=a", "b@1=1"));
  EXPECT_THAT(TraceOf(R"({"k":["a",{"b":1},"c"],"d":2})", {"k"}),
              ElementsAre(R"(k@0=["a",{"b":1},"c"])", ">a@0=a", ">b@1=1", ">c@2=d"));
}

// ---- what nobody consumes -----------------------------------------------------------------------

TEST(ProcessObject, GivesTheMembersOfAnUnknownObjectToTheEnclosingRecord) {
  EXPECT_THAT(TraceOf(R"({"extra":{"ipcName":"evil"},"z":1})"),
              ElementsAre(R"(extra@0={"ipcName":"evil"})", "ipcName@0=evil", "z@0=1"));
}

TEST(ProcessObject, PairsTheElementsOfAnUnknownArrayOfStrings) {
  EXPECT_THAT(TraceOf(R"({"u":["a","b"],"x":"y"})"),
              ElementsAre(R"(u@0=["a","b"])", "a@0=b", "x@0=y"));
}

TEST(ProcessObject, ShiftsWhatFollowsAnUnknownArrayOfOddLength) {
  EXPECT_THAT(TraceOf(R"({"u":[1,2,3],"x":"y"})"), ElementsAre("u@0=[1,2,3]", "-@0=2", "-@0=x"));
  EXPECT_THAT(TraceOf(R"({"u":[1,2],"x":"y"})"), ElementsAre("u@0=[1,2]", "-@0=2", "x@0=y"));
  EXPECT_THAT(TraceOf(R"({"u":["a"],"x":"y","z":1})"),
              ElementsAre(R"(u@0=["a"])", "a@0=x", "y@0=z"));
}

// The elements of an unknown array are counted as those of the array around it, so the indices
// stand for other elements.
TEST(ProcessObject, ShiftsTheIndicesOfWhatFollowsAnUnknownArrayOfObjects) {
  EXPECT_THAT(TraceOf(R"({"k":[{"u":[{"a":1},{"a":2}]},{"b":3}],"z":4})", {"k"}),
              ElementsAre(R"(k@0=[{"u":[{"a":1},{"a":2}]},{"b":3}])", R"(>u@0=[{"a":1},{"a":2}])",
                          ">a@1=1", ">a@0=2", ">b@0=3", "z@0=4"));
}

TEST(ProcessObject, LetsADeserializerPassOverAValueByMovingCurrent) {
  Walk walk(R"({"u":[1,2,3],"x":"y"})");
  walk.recorder.on_call = [](JsonWalkContext *context, const char *key) {
    if (key != nullptr && strcmp(key, "u") == 0) context->current += 3;
  };
  walk.Run();
  EXPECT_THAT(walk.trace(), ElementsAre("u@0=[1,2,3]", "x@0=y"));
}

// The safe way for a deserializer that reads documents from strangers.
TEST(ProcessObject, LetsADeserializerPassOverUnknownValuesWithDump) {
  for (const char *text :
       {R"({"u":[1,2,3],"x":"y"})", R"({"u":{"x":"evil","v":[{}]},"x":"y"})",
        R"({"u":[[],[[1]]],"x":"y"})", R"({"u":7,"x":"y"})", R"({"u":{},"x":"y"})"}) {
    Walk walk(text);
    walk.recorder.on_call = [](JsonWalkContext *context, const char *key) {
      if (key != nullptr && strcmp(key, "x") == 0) return;
      context->current +=
          static_cast<uint32_t>(dump(context->json, &context->tokens[context->current],
                                     context->tokenCount - context->current, 0)) -
          1;
    };
    walk.Run();
    ASSERT_EQ(walk.trace().size(), 2u) << text;
    EXPECT_EQ(walk.trace()[1], "x@0=y") << text;
  }
}

// A deserializer that walks into a value that is no container takes the next key for its value.
TEST(ProcessObject, TakesTheNextTokensForAStringThatIsWalkedInto) {
  EXPECT_THAT(TraceOf(R"({"k":"v","x":"y","z":1})", {"k"}),
              ElementsAre("k@0=v", ">v@0=x", "y@0=z"));
  EXPECT_THAT(TraceOf(R"({"k":7,"x":"y","z":1})", {"k"}), ElementsAre("k@0=7", ">-@0=x", "y@0=z"));
}

// ---- the ends of a document ---------------------------------------------------------------------

TEST(ProcessObject, EndsWithoutACallWhereAValueIsMissing) {
  for (const char *text : {R"({"a"})", R"({"a":})"}) {
    Walk walk(text);
    EXPECT_EQ(walk.Run().result, 1) << text;
    EXPECT_THAT(walk.trace(), IsEmpty()) << text;
    EXPECT_EQ(walk.context.current, 2u) << text;
  }
}

TEST(ProcessObject, TakesTheNextKeyForAMissingValue) {
  EXPECT_THAT(TraceOf(R"({"a","b":1})"), ElementsAre("a@0=b"));
}

TEST(ProcessObject, EndsANestedWalkWhereAValueIsMissing) {
  Walk walk(R"({"a":{"b"}})", {"a"});
  EXPECT_EQ(walk.Run().result, 1);
  EXPECT_THAT(walk.trace(), ElementsAre(R"(a@0={"b"})"));
  EXPECT_THAT(TraceOf(R"({"a":{"b"}})"), ElementsAre(R"(a@0={"b"})"));
}

TEST(ProcessObject, CallsNothingForATextWithoutTokens) {
  Walk walk("  ");
  jsmntok_t none;
  walk.context.tokens = &none;
  EXPECT_EQ(walk.Run().result, 1);
  EXPECT_THAT(walk.trace(), IsEmpty());
}

TEST(ProcessObject, CallsNothingForASingleString) {
  EXPECT_THAT(TraceOf(R"("s")"), IsEmpty());
}

TEST(ProcessObject, ReadsSeveralRootsOneAfterTheOther) {
  EXPECT_THAT(TraceOf(R"({"a":1}{"b":2})"), ElementsAre("a@0=1", "b@0=2"));
}

TEST(ProcessObject, ReadsNoTokenFromTokenCountOn) {
  // 0 object, 1 "a", 2 1, 3 "b", 4 2
  const Trace expected[] = {{}, {}, {}, {"a@0=1"}, {"a@0=1"}, {"a@0=1", "b@0=2"}};
  for (uint32_t count = 0; count <= 5; ++count) {
    Walk walk(R"({"a":1,"b":2})");
    std::vector<jsmntok_t> tokens(walk.document.token(0), walk.document.token(0) + count);
    jsmntok_t none;
    walk.context.tokens = count == 0 ? &none : tokens.data();
    walk.context.tokenCount = count;
    EXPECT_EQ(walk.Run().result, 1);
    EXPECT_EQ(walk.trace(), expected[count]) << count;
    EXPECT_GE(walk.context.current, count);
  }
}

TEST(ProcessObject, ReadsNoTokenFromTokenCountOnInsideArrays) {
  for (const char *text : {R"([{"a":1},{"b":[2,{"c":3}]}])", "[[1,2],[3]]", R"({"a":[],"b":{}})"})
    for (const bool nested : {false, true}) {
      const Document document(text);
      for (uint32_t count = 1; count <= document.count(); ++count) {
        Walk walk(text);
        if (nested) walk.recorder.nested = {"a", "b"};
        std::vector<jsmntok_t> tokens(document.token(0), document.token(0) + count);
        walk.context.tokens = tokens.data();
        walk.context.tokenCount = count;
        EXPECT_EQ(walk.Run().result, 1) << text << count;
      }
    }
}

// ---- the end offset -----------------------------------------------------------------------------

TEST(ProcessObject, EndsAtTheFirstTokenBeyondItsEnd) {
  const char *const text = R"({"a":1,"b":2})";
  Walk walk(text);  // "b" begins at 8
  EXPECT_EQ(processObject(&walk.context, "l", 0, 7, 0, &walk.recorder, Record), 1);
  EXPECT_THAT(walk.trace(), ElementsAre("a@0=1"));
  EXPECT_EQ(walk.context.current, 2u);

  Walk up_to(text);
  EXPECT_EQ(processObject(&up_to.context, "l", 0, 8, 0, &up_to.recorder, Record), 1);
  EXPECT_THAT(up_to.trace(), ElementsAre("a@0=1", "b@0=2"));
}

TEST(ProcessObject, StepsBackWhenTheFirstTokenIsBeyondItsEnd) {
  Walk walk(R"({"a":1,"b":2})");
  walk.context.current = 3;
  EXPECT_EQ(processObject(&walk.context, "l", 0, 2, 0, &walk.recorder, Record), 1);
  EXPECT_EQ(walk.context.current, 2u);
  EXPECT_THAT(walk.trace(), IsEmpty());
}

TEST(ProcessObject, StaysAtTheFirstTokenWhenThereIsNoneToStepBackTo) {
  Walk walk("[1]");
  EXPECT_EQ(processObject(&walk.context, "l", 0, -1, 0, &walk.recorder, Record), 1);
  EXPECT_EQ(walk.context.current, 0u);
  EXPECT_THAT(walk.trace(), IsEmpty());
}

// ---- results ------------------------------------------------------------------------------------

TEST(ProcessObject, EndsAtAFailureUnderStrictTypes) {
  Walk walk(R"({"a":1,"b":2,"c":3})", {}, 1);
  walk.recorder.results = {{"b", 0}};
  EXPECT_EQ(walk.Run().result, 0);
  EXPECT_THAT(walk.trace(), ElementsAre("a@0=1", "b@0=2"));
  EXPECT_EQ(walk.context.current, 4u);
}

TEST(ProcessObject, EndsAtAFailureUnderStrictTypesWithALongKey) {
  const std::string key(1000, 'k');
  Walk walk((R"({")" + key + R"(":1})").c_str(), {}, 1);
  walk.recorder.results = {{key, 0}};
  EXPECT_EQ(walk.Run().result, 0);  // LeakSanitizer would tell of the key
}

TEST(ProcessObject, PassesANestedFailureUnderStrictTypesOut) {
  Walk walk(R"({"a":{"b":{"c":1},"d":2},"e":3})", {"a", "b"}, 1);
  walk.recorder.results = {{"c", 0}};
  EXPECT_EQ(walk.Run().result, 0);
  EXPECT_THAT(walk.trace(),
              ElementsAre(R"(a@0={"b":{"c":1},"d":2})", R"(>b@0={"c":1})", ">>c@0=1"));
}

TEST(ProcessObject, IgnoresFailuresWithoutStrictTypes) {
  Walk walk(R"({"a":1,"b":2})");
  walk.recorder.results = {{"a", 0}, {"b", 0}};
  EXPECT_EQ(walk.Run().result, 1);
  EXPECT_THAT(walk.trace(), ElementsAre("a@0=1", "b@0=2"));
}

TEST(ProcessObject, ReturnsTheLowByteOfTheLastResult) {
  struct Row {
    uint8_t strict;
    int32_t given;
    int32_t result;
  };
  constexpr Row kRows[] = {{1, 1, 1},     {1, 6, 6}, {1, -1, 255},  {1, 0x103, 3},
                           {1, 0x100, 0},  // a result whose low byte is 0 is a failure
                           {0, 6, 7},     {0, 0, 1}, {0, 0x100, 1}, {0, -2, 255}};
  for (const Row &row : kRows) {
    Walk walk(R"({"a":1})", {}, row.strict);
    walk.recorder.results = {{"a", row.given}};
    EXPECT_EQ(walk.Run().result, row.result) << row.given;

    Walk beyond(R"({"a":1,"b":2})", {}, row.strict);
    beyond.recorder.results = {{"a", row.given}};
    EXPECT_EQ(processObject(&beyond.context, "l", 0, 5, 0, &beyond.recorder, Record), row.result);
  }
}

TEST(ProcessObject, ReturnsOneWhenNoKeyIsHeld) {
  for (const char *text : {"[1]", "[1,2,3]"}) {
    Walk walk(text, {}, 1);
    walk.recorder.null_key_result = 6;
    EXPECT_EQ(walk.Run().result, 1);
  }
}

TEST(ProcessObject, ReturnsZeroForNullArguments) {
  Walk walk(R"({"a":1})");
  EXPECT_EQ(processObject(&walk.context, "l", 0, 7, 0, nullptr, Record), 0);
  EXPECT_EQ(processObject(nullptr, "l", 0, 7, 0, &walk.recorder, Record), 0);
  EXPECT_EQ(processObject(&walk.context, "l", 0, 7, 0, &walk.recorder, nullptr), 0);
  JsonWalkContext without_text = {nullptr, walk.document.tokens(), 0, 0, 3, 0};
  EXPECT_EQ(processObject(&without_text, "l", 0, 7, 0, &walk.recorder, Record), 0);
  JsonWalkContext without_tokens = {walk.document.json(), nullptr, 0, 0, 3, 0};
  EXPECT_EQ(processObject(&without_tokens, "l", 0, 7, 0, &walk.recorder, Record), 0);
  EXPECT_THAT(walk.trace(), IsEmpty());
}

TEST(ProcessObject, ReadsNeitherKeyNorStartNorIndex) {
  Walk walk(R"({"a":1})");
  EXPECT_EQ(processObject(&walk.context, nullptr, 99, 7, 42, &walk.recorder, Record), 1);
  EXPECT_THAT(walk.trace(), ElementsAre("a@0=1"));
}

TEST(ProcessObject, LeavesTheSpareWordAlone) {
  Walk walk(R"({"a":1})");
  walk.context.unused = 0x1234;
  walk.Run();
  EXPECT_EQ(walk.context.unused, 0x1234u);
}

// ---- what no tokenizer makes --------------------------------------------------------------------

TEST(ProcessObject, EndsOnTokensOfNoKnownType) {
  const Document document("x");
  Recorder recorder(document);
  jsmntok_t tokens[3] = {};  // type 0
  JsonWalkContext context = {"", tokens, 0, 0, 3, 0};
  EXPECT_EQ(processObject(&context, "l", 0, 9, 0, &recorder, Record), 1);
  tokens[0] = {JSMN_ARRAY, 0, 0, 2, -1};
  context.current = 0;
  EXPECT_EQ(processObject(&context, "l", 0, 9, 0, &recorder, Record), 1);
}

TEST(ProcessObject, EndsWhenADeserializerKeepsMovingBack) {
  Walk walk(R"({"a":1,"b":2})");
  walk.recorder.on_call = [](JsonWalkContext *context, const char *) { context->current = 0; };
  EXPECT_EQ(walk.Run().result, 1);
  EXPECT_LT(walk.trace().size(), 10u);
}

TEST(ProcessObject, TakesNoKeyFromImpossibleOffsets) {
  const Document document("0123456789");
  const Document text("[\"0123456789\"]");
  Recorder recorder(text);
  jsmntok_t tokens[] = {{JSMN_OBJECT, 0, 9, 2, -1},
                        {JSMN_STRING, 5, 2, 1, 0},
                        {JSMN_PRIMITIVE, 2, 3, 0, 1},
                        {JSMN_STRING, -7, 2, 1, 0},
                        {JSMN_PRIMITIVE, 3, 4, 0, 1}};
  JsonWalkContext context = {text.json(), tokens, 0, 0, 5, 0};
  EXPECT_EQ(processObject(&context, "l", 0, 9, 0, &recorder, Record), 1);
  EXPECT_THAT(recorder.trace, ElementsAre("-@0=0", "-@0=1"));
}

// ---- deep documents on small stacks -------------------------------------------------------------

void *WalkDeep(void *text) {
  Walk walk(static_cast<const std::string *>(text)->c_str(), {"k"});
  walk.recorder.trace.reserve(2000);
  walk.Run();
  return reinterpret_cast<void *>(walk.trace().size());
}

/// Runs on a thread with a stack of 128 KiB, or of what a sanitizer needs.
size_t OnASmallStack(std::string &text) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
#if CU_ADDRESS_SANITIZER || CU_THREAD_SANITIZER
  pthread_attr_setstacksize(&attributes, 4096 * 1024);
#else
  pthread_attr_setstacksize(&attributes, 128 * 1024);
#endif
  pthread_t thread;
  void *calls = nullptr;
  EXPECT_EQ(pthread_create(&thread, &attributes, WalkDeep, &text), 0);
  pthread_join(thread, &calls);
  pthread_attr_destroy(&attributes);
  return reinterpret_cast<size_t>(calls);
}

TEST(ProcessObject, PassesOverUnknownNestingWithoutNestingItself) {
  std::string text;
  for (int i = 0; i < 1500; ++i) text += R"({"u":)";
  text += "1" + std::string(1500, '}');
  EXPECT_EQ(OnASmallStack(text), 1500u);
}

}  // namespace

// processObject1(). A trace shows a call as key@index=value, "-" for a null key.
#include <commonutilities/rfvalues.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string.h>

#include <functional>
#include <string>
#include <vector>

#include "json/document.hpp"
#include "support/child.hpp"

namespace {

using cu_test::Document;
using testing::ElementsAre;
using testing::IsEmpty;

struct Recorder {
  const Document &document;
  std::vector<std::string> trace;
  int32_t result = 1;
  std::function<void(JsonWalkContext *, const char *key)> on_call;
};

int32_t Record(JsonWalkContext *context, int32_t start, int32_t end, const char *key,
               uint32_t index, void *record) {
  Recorder &recorder = *static_cast<Recorder *>(record);
  recorder.trace.push_back(std::string(key == nullptr ? "-" : key) + "@" + std::to_string(index) +
                           "=" + recorder.document.text(start, end));
  if (recorder.on_call) recorder.on_call(context, key);
  return recorder.result;
}

struct Walk {
  explicit Walk(const char *text) : document(text), recorder{document, {}, 1, {}} {
    EXPECT_TRUE(document.loaded()) << text;
    context = {document.json(), document.tokens(), 0, 0, document.count(), 0};
  }

  Walk &Run(int32_t end = INT32_MAX) {
    result = processObject1(&context, "label", end, 7, &recorder, Record);
    return *this;
  }

  Document document;
  Recorder recorder;
  JsonWalkContext context = {};
  int32_t result = -1;
};

std::vector<std::string> TraceOf(const char *text) {
  Walk walk(text);
  EXPECT_EQ(walk.Run().result, 1) << text;
  return walk.recorder.trace;
}

TEST(ProcessObject1, CallsOncePerProperty) {
  Walk walk(R"({"a":1,"b":"x"})");
  EXPECT_EQ(walk.Run().result, 1);
  EXPECT_THAT(walk.recorder.trace, ElementsAre("a@0=1", "b@0=x"));
  EXPECT_EQ(walk.context.current, 5u);
}

TEST(ProcessObject1, CallsOncePerElementOfAnArrayUnderAKey) {
  EXPECT_THAT(TraceOf(R"({"a":[1,"x",true],"b":2})"),
              ElementsAre("a@0=1", "a@1=x", "a@2=true", "b@0=2"));
}

TEST(ProcessObject1, TakesConsecutiveTokensForTheElements) {
  // The members of the first object are taken for the second and third element.
  EXPECT_THAT(TraceOf(R"({"a":[{"x":1},{"y":2},3]})"),
              ElementsAre(R"(a@0={"x":1})", "a@1=x", "a@2=1", "y@0=2"));
}

TEST(ProcessObject1, GoesOnBehindWhatADeserializerConsumed) {
  Walk walk(R"({"a":[{"x":1},{"y":2}],"b":3})");
  walk.recorder.on_call = [](JsonWalkContext *context, const char *key) {
    if (strcmp(key, "a") == 0) context->current += 2;
  };
  walk.Run();
  EXPECT_THAT(walk.recorder.trace, ElementsAre(R"(a@0={"x":1})", R"(a@1={"y":2})", "b@0=3"));
}

TEST(ProcessObject1, CallsNothingForAnEmptyArray) {
  EXPECT_THAT(TraceOf(R"({"a":[],"b":2})"), ElementsAre("b@0=2"));
}

TEST(ProcessObject1, StepsOverObjects) {
  EXPECT_THAT(TraceOf(R"({"a":{"b":1}})"), ElementsAre(R"(a@0={"b":1})", "b@0=1"));
  EXPECT_THAT(TraceOf(R"({}{}{"a":1})"), ElementsAre("a@0=1"));
}

TEST(ProcessObject1, PrintsAndSkipsAnEmptyObjectUnderAKey) {
  cu_test::Child child([] {
    Walk walk(R"({"a":{},"b":2})");
    walk.Run();
    return walk.recorder.trace == std::vector<std::string>{"b@0=2"} ? 0 : 1;
  });
  EXPECT_EQ(child.Wait().status(), 0);
  EXPECT_EQ(child.out(), "we have an empty object");
  EXPECT_EQ(child.err(), "");
}

// It ends there: daemons of old would have hung.
TEST(ProcessObject1, DoesNotPassAnArrayWithoutAKey) {
  Walk walk(R"([{"a":1}])");
  EXPECT_EQ(walk.Run().result, 1);
  EXPECT_THAT(walk.recorder.trace, IsEmpty());
  EXPECT_EQ(walk.context.current, 0u);
}

TEST(ProcessObject1, CallsForTheTokenAfterAPrimitiveWithTheKeyOfTheFirstToken) {
  Walk walk(R"({"a":[1,2],"b":3})");
  walk.context.current = 3;
  EXPECT_EQ(walk.Run().result, 1);
  EXPECT_THAT(walk.recorder.trace, ElementsAre("-@0=2", "b@0=3"));

  Walk with_text(R"("t":[1,2,3,4])");
  with_text.context.current = 2;
  EXPECT_EQ(with_text.Run().result, 1);
  EXPECT_THAT(with_text.recorder.trace, ElementsAre("t@0=2", "t@0=4"));
}

TEST(ProcessObject1, IgnoresWhatTheDeserializerReturnsAlsoUnderStrictTypes) {
  Walk walk(R"({"a":1,"b":[2,3]})");
  walk.recorder.result = 0;
  walk.context.strictTypes = 1;
  EXPECT_EQ(walk.Run().result, 1);
  EXPECT_THAT(walk.recorder.trace, ElementsAre("a@0=1", "b@0=2", "b@1=3"));
}

TEST(ProcessObject1, EndsAtTheFirstTokenBeyondItsEndWithCurrentOnTheValue) {
  Walk walk(R"({"a":1,"b":2})");
  EXPECT_EQ(walk.Run(7).result, 1);
  EXPECT_THAT(walk.recorder.trace, ElementsAre("a@0=1"));
  EXPECT_EQ(walk.context.current, 2u);

  Walk in_array(R"({"a":[1,2,3],"b":2})");
  EXPECT_EQ(in_array.Run(7).result, 1);
  EXPECT_THAT(in_array.recorder.trace, ElementsAre("a@0=1"));
  EXPECT_EQ(in_array.context.current, 3u);
}

TEST(ProcessObject1, StepsBackWhenTheFirstTokenIsBeyondItsEnd) {
  Walk walk(R"({"a":1,"b":2})");
  walk.context.current = 3;
  EXPECT_EQ(walk.Run(2).result, 1);
  EXPECT_EQ(walk.context.current, 2u);

  Walk at_start("[1]");
  EXPECT_EQ(at_start.Run(-1).result, 1);
  EXPECT_EQ(at_start.context.current, 0u);
}

TEST(ProcessObject1, EndsWhereAValueIsMissing) {
  EXPECT_THAT(TraceOf(R"({"a"})"), IsEmpty());
  EXPECT_THAT(TraceOf(R"({"a":[1],"b"})"), ElementsAre("a@0=1"));
  EXPECT_THAT(TraceOf(R"({"a","b":1})"), ElementsAre("a@0=b"));
}

TEST(ProcessObject1, ReadsNoTokenFromTokenCountOn) {
  const char *const text = R"({"a":[1,2],"b":{},"c":3})";
  const Document document(text);
  for (uint32_t count = 1; count <= document.count(); ++count) {
    Walk walk(text);
    std::vector<jsmntok_t> tokens(document.token(0), document.token(0) + count);
    walk.context.tokens = tokens.data();
    walk.context.tokenCount = count;
    EXPECT_EQ(walk.Run().result, 1) << count;
  }
}

TEST(ProcessObject1, EndsWhenADeserializerKeepsMovingBack) {
  Walk walk(R"({"a":1,"b":2})");
  walk.recorder.on_call = [](JsonWalkContext *context, const char *) { context->current = 0; };
  EXPECT_EQ(walk.Run().result, 1);
  EXPECT_EQ(walk.recorder.trace.size(), 1u);
}

TEST(ProcessObject1, EndsOnTokensOfNoKnownType) {
  const Document document("x");
  Recorder recorder{document, {}, 1, {}};
  jsmntok_t tokens[3] = {};
  JsonWalkContext context = {"", tokens, 0, 0, 3, 0};
  EXPECT_EQ(processObject1(&context, "l", 9, 0, &recorder, Record), 1);
}

TEST(ProcessObject1, GivesKeysOfAnyLengthWhole) {
  const std::string key(100000, 'k');
  EXPECT_THAT(TraceOf((R"({")" + key + R"(":1})").c_str()), ElementsAre(key + "@0=1"));
}

TEST(ProcessObject1, ReturnsZeroForNullArguments) {
  Walk walk(R"({"a":1})");
  EXPECT_EQ(processObject1(&walk.context, "l", 7, 0, nullptr, Record), 0);
  EXPECT_EQ(processObject1(nullptr, "l", 7, 0, &walk.recorder, Record), 0);
  EXPECT_EQ(processObject1(&walk.context, "l", 7, 0, &walk.recorder, nullptr), 0);
  JsonWalkContext empty = {};
  EXPECT_EQ(processObject1(&empty, "l", 7, 0, &walk.recorder, Record), 0);
  EXPECT_THAT(walk.recorder.trace, IsEmpty());
}

}  // namespace

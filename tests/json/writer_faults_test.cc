#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <string>

#include "include/jsonwriter.h"
#include "support/faults.hpp"

namespace {

TEST(JsonWriterFaults, ElementsReturnOneAndTheTextIsLost) {
  JsonBox box = {};
  JsonStartObject(nullptr, &box);
  {
    const cu_test::Fault fault(cu_test::Call::kMemory, 1);
    EXPECT_EQ(JsonAddIntegerElement(&box, "a", 1), 1);
    EXPECT_TRUE(fault.fired());
  }
  EXPECT_EQ(box.data, nullptr);
  EXPECT_EQ(box.capacity, 0U);
  EXPECT_EQ(JsonFinalize(&box), 0);
  EXPECT_EQ(JsonAddIntegerElement(&box, "b", 2), 1);
  EXPECT_STREQ(box.data, "\"b\" : 2,\n");
  JsonFreeBox(&box);
}

TEST(JsonWriterFaults, EachElementReturnsOneWithoutMemory) {
  char text[] = "text";
  rfStringElement element = {4, text};
  const rfStringArray array = {1, &element};
  const std::function<int(JsonBox *)> elements[] = {
      [](JsonBox *box) { return JsonStartObject("k", box); },
      [](JsonBox *box) { return JsonStartArray("k", box); },
      [](JsonBox *box) { return JsonEndObject(box); },
      [](JsonBox *box) { return JsonEndArray(box); },
      [](JsonBox *box) { return JsonAddStringElement(box, "k", "v"); },
      [](JsonBox *box) { return JsonAddBooleanElement(box, "k", 1); },
      [](JsonBox *box) { return JsonAddIntegerElement(box, "k", 1); },
      [](JsonBox *box) { return JsonAddUnsignedIntegerElement(box, "k", 1); },
      [](JsonBox *box) { return JsonAddHexElement(box, "k", 1); },
      [](JsonBox *box) { return JsonAddFloatElement(box, "k", 2, 1.5F); },
      [&](JsonBox *box) { return serializeRFCharArray(&array, "k", box, 1); },
      [&](JsonBox *box) { return serialize_rfStringArray(box, "k", &array, 0, box); }};
  for (const auto &add : elements) {
    SCOPED_TRACE(&add - elements);
    JsonBox box = {};
    const cu_test::Fault fault(cu_test::Call::kMemory, 1);
    EXPECT_EQ(add(&box), 1);
    EXPECT_TRUE(fault.fired());
    EXPECT_EQ(box.data, nullptr);
  }
}

TEST(JsonWriterFaults, AppendReportsTheFailure) {
  JsonBox box = {};
  const cu_test::Fault fault(cu_test::Call::kMemory, 1);
  EXPECT_EQ(jsonAppendString(&box, "x", 1), 0);
  EXPECT_EQ(box.data, nullptr);
}

TEST(JsonWriterFaults, EveryAllocationOfADocumentCanFail) {
  rfStringElement element = {1, const_cast<char *>("t")};
  const rfStringArray array = {1, &element};
  for (long k = 1;; ++k) {
    JsonBox box = {};
    const cu_test::Fault fault(cu_test::Call::kMemory, k);
    JsonStartObject(nullptr, &box);
    JsonStartArray("list", &box);
    JsonAddStringElement(&box, nullptr, "value");
    JsonAddFloatElement(&box, nullptr, 3, 2.5F);
    JsonEndArray(&box);
    serialize_rfStringArray(&array, "texts", &array, 0, &box);
    serializeRFCharArray(&array, "texts", &box, 1);
    JsonEndObject(&box);
    JsonFinalize(&box);
    JsonFreeBox(&box);
    if (!fault.fired()) break;
    ASSERT_LT(k, 100);
  }
}

TEST(JsonWriterFaults, CopiesWithoutMemoryAreNull) {
  char *copy = const_cast<char *>("before");
  const cu_test::Fault fault(cu_test::Call::kMemory, 1);
  EXPECT_EQ(SetJsonStringValue("text", &copy), 1);
  EXPECT_EQ(copy, nullptr);
}

}  // namespace

#include <gtest/gtest.h>

#include <cstdlib>
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

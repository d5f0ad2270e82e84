#include <gtest/gtest.h>

#include <string.h>

#include <string>

#include "include/jsonnode.h"
#include "json/document_tokens.hpp"
#include "support/faults.hpp"

namespace {

using cu_test::Call;
using cu_test::Document;
using cu_test::Fault;
using cu_test::Reach;

TEST(CreateDictionary, IsRefusedWithNothingLeftBehindAtEachFailedAllocation) {
  for (const char *json :
       {"\"text\"", R"({"a":1,"b":{"c":[1,2,{"d":"x"}],"a":2},"a":{"y":[]},"c":3,"e":4,"f":5})",
        "[0,1,2,3,4,5,6,7,8,9,10,11]"}) {
    const Document document(json);
    for (const Reach reach : {Reach::kOnce, Reach::kFromThen}) {
      for (long k = 1;; ++k) {
        JsonNode root = {};
        int32_t used;
        bool fired;
        {
          const Fault fault(Call::kMemory, k, 0, reach);
          used = CreateDictionary(document.text.c_str(), document.tokens.data(), document.count(),
                                  &root);
          fired = fault.fired();
        }
        EXPECT_EQ(used, fired ? 0 : static_cast<int32_t>(document.count()));
        const JsonNode empty = {};
        EXPECT_EQ(memcmp(&root, &empty, sizeof root) == 0, fired);
        AmbrelFreeJsonNode(&root);
        if (!fired) break;
      }
    }
  }
}

TEST(FindJsonNode, NeedsNoMemory) {
  const Document document(R"({"a":{"b":[{"c":1}]}})");
  JsonNode root = {};
  ASSERT_GT(
      CreateDictionary(document.text.c_str(), document.tokens.data(), document.count(), &root), 0);
  {
    const Fault fault(Call::kMemory, 1);
    JsonNode *out = nullptr;
    EXPECT_EQ(AmbrelFindJsonNode(&root, "a/b", nullptr, &out), 1);
    EXPECT_NE(AmbrelFindElementInArray(out, "c", "1"), nullptr);
    EXPECT_EQ(fault.calls(), 0);
  }
  AmbrelFreeJsonNode(&root);
}

TEST(TypedValues, GiveZeroWithoutMemory) {
  uint8_t bytes[] = {1, 2, 3};
  JsonTypedValue value = {3, JSON_TYPE_HEX, {.bytes = bytes}};
  JsonTypedValue target = {7, 7, {.uint64 = 7}};
  {
    const Fault fault(Call::kMemory, 1);
    EXPECT_EQ(aeConvertDataBytesToJsonDataType(JSON_TYPE_STRING, bytes, 3, &target), 0);
    EXPECT_EQ(target.type, static_cast<uint32_t>(JSON_TYPE_STRING));
    EXPECT_EQ(target.length, 7u);
  }
  target = {7, 7, {.uint64 = 7}};
  {
    const Fault fault(Call::kMemory, 1);
    EXPECT_EQ(aeStoreJsonDataTypeInAEByteArray(&value, &target), 0);
    EXPECT_EQ(target.type, static_cast<uint32_t>(JSON_TYPE_STRING));
    EXPECT_EQ(target.length, 7u);
  }
  target = {7, 7, {.uint64 = 7}};
  {
    const Fault fault(Call::kMemory, 1);
    EXPECT_EQ(aeConvertJsonDateTypeToJsonDataType(&value, JSON_TYPE_UINT8, &target), 0);
    EXPECT_EQ(target.type, 7u);
    EXPECT_EQ(target.length, 7u);
  }
  char *out = nullptr;
  const JsonTypedValue number = {4, JSON_TYPE_INT32, {.int32 = 5}};
  const Fault fault(Call::kMemory, 1);
  EXPECT_EQ(getJsonDataTypeAsString(&number, &out), 0);
  EXPECT_EQ(out, nullptr);
}

}  // namespace

// A program's own jsmn.h beside jsonparser.h; the orders that do not compile are tests of their
// own.
#include <gtest/gtest.h>

extern "C" int load_with_own_jsmn(void);
extern "C" int load_with_own_jsmn_cpp();

namespace {

TEST(JsmnOrder, IncludedFirstSharesTheTokenRecordInC) {
  EXPECT_EQ(load_with_own_jsmn(), 1);
}

TEST(JsmnOrder, IncludedFirstSharesTheTokenRecordInCpp) {
  EXPECT_EQ(load_with_own_jsmn_cpp(), 1);
}

}  // namespace

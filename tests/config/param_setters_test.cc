#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "config/param.hpp"
#include "include/configparams.h"

namespace {

/// A parameter whose value is not on the heap, so that it shows whether a setter frees it.
struct Fixed : rfAECommonConfigConfigParam {
  explicit Fixed(uint64_t of_type) : rfAECommonConfigConfigParam{} {
    type = of_type;
    parameterValue = old;
  }
  ~Fixed() {
    if (parameterValue != old) free(parameterValue);
  }
  Fixed(const Fixed &) = delete;
  Fixed &operator=(const Fixed &) = delete;

  bool unchanged() const { return parameterValue == old && strcmp(old, "old") == 0; }

  char old[4] = "old";
};

TEST(SetAEParameterValue, StoresATerminatedCopyOfTheBytes) {
  const char bytes[] = {'1', '2', '3', '4'};
  Fixed param(CONFIG_TYPE_INTEGER);
  EXPECT_EQ(setAEParameterValue(&param, bytes, 3), 1);
  EXPECT_STREQ(param.parameterValue, "123");
  EXPECT_STREQ(param.old, "old");
}

TEST(SetAEParameterValue, LeavesTheTypeAsItIs) {
  Fixed param(12345);
  EXPECT_EQ(setAEParameterValue(&param, "x", 1), 1);
  EXPECT_EQ(param.type, 12345U);
}

TEST(SetAEParameterValue, StoresAnEmptyText) {
  Fixed param(CONFIG_TYPE_STRING);
  EXPECT_EQ(setAEParameterValue(&param, "x", 0), 1);
  EXPECT_STREQ(param.parameterValue, "");
}

TEST(SetAEParameterValue, DoesNotFreeTheOldValue) {
  rfAECommonConfigConfigParam param = {};
  ASSERT_EQ(setAEParameterValue(&param, "first", 5), 1);
  char *const first = param.parameterValue;
  ASSERT_EQ(setAEParameterValue(&param, "second", 6), 1);
  EXPECT_STREQ(first, "first");
  free(first);
  free(param.parameterValue);
}

#if UINTPTR_MAX == UINT32_MAX
TEST(SetAEParameterValue, KeepsTheValueWhereTheCopyWouldPassTheAddressSpace) {
  Fixed param(CONFIG_TYPE_STRING);
  EXPECT_EQ(setAEParameterValue(&param, "x", 0xFFFFFFFF), 0);
  EXPECT_TRUE(param.unchanged());
}
#endif

TEST(SetAEParameterValue, Gives0ForNull) {
  Fixed param(CONFIG_TYPE_STRING);
  EXPECT_EQ(setAEParameterValue(nullptr, "x", 1), 0);
  EXPECT_EQ(setAEParameterValue(&param, nullptr, 1), 0);
  EXPECT_TRUE(param.unchanged());
}

/// The text that a setter stores, or "unchanged".
std::string IntegerText(uint64_t type, int64_t value) {
  Fixed param(type);
  const int result = setAEIntegerParameterValue(&param, value);
  EXPECT_EQ(result, param.unchanged() ? 0 : 1) << "type " << type;
  EXPECT_EQ(param.type, type);
  return param.unchanged() ? "unchanged" : param.parameterValue;
}

TEST(SetAEIntegerParameterValue, PrintsAnUnsignedIntegerCutTo9Characters) {
  EXPECT_EQ(IntegerText(CONFIG_TYPE_UNSIGNED_INTEGER, 42), "42");
  EXPECT_EQ(IntegerText(CONFIG_TYPE_UNSIGNED_INTEGER, 4294967295), "429496729");
  EXPECT_EQ(IntegerText(CONFIG_TYPE_UNSIGNED_INTEGER, -1), "429496729");
  EXPECT_EQ(IntegerText(CONFIG_TYPE_UNSIGNED_INTEGER, INT64_C(0x100000007)), "7");
}

TEST(SetAEIntegerParameterValue, PrintsAnIntegerCutTo9Characters) {
  EXPECT_EQ(IntegerText(CONFIG_TYPE_INTEGER, -42), "-42");
  EXPECT_EQ(IntegerText(CONFIG_TYPE_INTEGER, 2147483647), "214748364");
  EXPECT_EQ(IntegerText(CONFIG_TYPE_INTEGER, INT64_C(0x1FFFFFFFF)), "-1");
}

TEST(SetAEIntegerParameterValue, PrintsLongAndUint8AsALong) {
  for (const uint64_t type : {CONFIG_TYPE_LONG, CONFIG_TYPE_UINT8}) {
    EXPECT_EQ(IntegerText(type, 2147483647), "2147483647");
    EXPECT_EQ(IntegerText(type, -2147483648), "-2147483648");
    EXPECT_EQ(IntegerText(type, 300), "300");
    EXPECT_EQ(IntegerText(type, INT64_C(0x100000001)), "1");
  }
}

TEST(SetAEIntegerParameterValue, PrintsABooleanAsAWord) {
  EXPECT_EQ(IntegerText(CONFIG_TYPE_BOOLEAN, 0), "false");
  EXPECT_EQ(IntegerText(CONFIG_TYPE_BOOLEAN, 1), "true");
  EXPECT_EQ(IntegerText(CONFIG_TYPE_BOOLEAN, -1), "true");
  EXPECT_EQ(IntegerText(CONFIG_TYPE_BOOLEAN, INT64_C(0x100000000)), "true");
}

TEST(SetAEIntegerParameterValue, PrintsTheLow16BitsOfAUint16) {
  EXPECT_EQ(IntegerText(CONFIG_TYPE_UINT16, 65535), "65535");
  EXPECT_EQ(IntegerText(CONFIG_TYPE_UINT16, 65536), "0");
  EXPECT_EQ(IntegerText(CONFIG_TYPE_UINT16, -1), "65535");
}

TEST(SetAEIntegerParameterValue, PrintsAll64BitsOfAUint64) {
  EXPECT_EQ(IntegerText(CONFIG_TYPE_UINT64, -1), "18446744073709551615");
  EXPECT_EQ(IntegerText(CONFIG_TYPE_UINT64, INT64_MAX), "9223372036854775807");
}

TEST(SetAEIntegerParameterValue, RefusesOtherTypesAndLeavesTheValueAlone) {
  for (const uint64_t type : {uint64_t{CONFIG_TYPE_STRING}, uint64_t{CONFIG_TYPE_FLOAT},
                              uint64_t{CONFIG_TYPE_BLOB}, uint64_t{10}, UINT64_C(0x100000002)}) {
    EXPECT_EQ(IntegerText(type, 5), "unchanged") << "type " << type;
  }
  EXPECT_EQ(setAEIntegerParameterValue(nullptr, 5), 0);
}

TEST(SetAEIntegerParameterValue, WritesWhatTheGetterReads) {
  cu_test::Param param(CONFIG_TYPE_UINT64, nullptr);
  ASSERT_EQ(setAEIntegerParameterValue(&param, INT64_C(1234567890123)), 1);
  uint64_t value = 0;
  ASSERT_EQ(getAEParameterAsUnsignedInteger64(&param, &value), 1);
  EXPECT_EQ(value, 1234567890123U);
}

TEST(SetAEFloatParameterValue, PrintsSixDecimals) {
  Fixed param(CONFIG_TYPE_FLOAT);
  EXPECT_EQ(setAEFloatParameterValue(&param, 2.5F), 1);
  EXPECT_STREQ(param.parameterValue, "2.500000");
  EXPECT_STREQ(param.old, "old");
}

TEST(SetAEFloatParameterValue, CutsAsItsFormatterDoes) {
  Fixed param(CONFIG_TYPE_FLOAT);
  EXPECT_EQ(setAEFloatParameterValue(&param, 1e12F), 1);
  EXPECT_STREQ(param.parameterValue, "999999995904.00");
}

TEST(SetAEFloatParameterValue, RefusesOtherTypesAndLeavesTheValueAlone) {
  for (uint64_t type = 0; type < 12; ++type) {
    if (type == CONFIG_TYPE_FLOAT) continue;
    Fixed param(type);
    EXPECT_EQ(setAEFloatParameterValue(&param, 2.5F), 0) << "type " << type;
    EXPECT_TRUE(param.unchanged());
  }
  Fixed beyond(UINT64_C(0x100000003));
  EXPECT_EQ(setAEFloatParameterValue(&beyond, 2.5F), 0);
  EXPECT_EQ(setAEFloatParameterValue(nullptr, 2.5F), 0);
}

}  // namespace

// dataTypeToEnum().
#include <commonutilities/commonconfig.h>
#include <gtest/gtest.h>

#include <string>

namespace {

uint32_t TypeOf(const std::string &name) {
  uint32_t type = 77;
  EXPECT_EQ(dataTypeToEnum(name.c_str(), 0, static_cast<int32_t>(name.size()), &type), 0);
  return type;
}

struct Row {
  const char *name;
  uint32_t type;
};

TEST(DataTypeToEnum, KnowsTenNames) {
  constexpr Row kRows[] = {{"string", 0},  {"unsigned integer", 1},
                           {"integer", 2}, {"float", 3},
                           {"long", 4},    {"boolean", 5},
                           {"uint8", 6},   {"uint16", 7},
                           {"uint64", 8},  {"blob", 9}};
  for (const Row &row : kRows) EXPECT_EQ(TypeOf(row.name), row.type) << row.name;
}

TEST(DataTypeToEnum, TakesAPrefixForTheFirstNameThatBeginsWithIt) {
  constexpr Row kRows[] = {{"int", 2},  {"i", 2},     {"uint", 6},      {"u", 1}, {"unsigned", 1},
                           {"bool", 5}, {"uint1", 7}, {"uint6", 8},     {"b", 5}, {"bl", 9},
                           {"s", 0},    {"f", 3},     {"unsigned i", 1}};
  for (const Row &row : kRows) EXPECT_EQ(TypeOf(row.name), row.type) << row.name;
}

TEST(DataTypeToEnum, TakesALongerTextForTheNameThatItBeginsWith) {
  constexpr Row kRows[] = {{"float32", 3}, {"string-list", 0}, {"uint88", 6},
                           {"longest", 4}, {"integers", 2},    {"blobs", 9}};
  for (const Row &row : kRows) EXPECT_EQ(TypeOf(row.name), row.type) << row.name;
}

TEST(DataTypeToEnum, TakesTheEmptyTextForString) {
  EXPECT_EQ(TypeOf(""), 0u);
}

TEST(DataTypeToEnum, TakesEveryUnknownNameForBoolean) {
  for (const char *name : {"Integer", "String", "double", "uint32", "int32", " string", "x"})
    EXPECT_EQ(TypeOf(name), 5u) << name;
}

TEST(DataTypeToEnum, TakesTextsOfAnyLength) {
  EXPECT_EQ(TypeOf("blob" + std::string(100000, 'x')), 9u);
  EXPECT_EQ(TypeOf(std::string(100000, 'x')), 5u);
  for (size_t length : {95u, 96u, 99u, 100u, 101u}) {
    const std::string name = "long" + std::string(length - 4, 'g');
    EXPECT_EQ(TypeOf(name), 4u) << length;
  }
}

TEST(DataTypeToEnum, ReadsOnlyBetweenTheOffsets) {
  uint32_t type = 77;
  EXPECT_EQ(dataTypeToEnum(R"({"type":"uint16"})", 9, 14, &type), 0);
  EXPECT_EQ(type, 7u);
}

TEST(DataTypeToEnum, ReturnsZeroForNullAndImpossibleArgumentsAndStoresNothing) {
  uint32_t type = 77;
  EXPECT_EQ(dataTypeToEnum(nullptr, 0, 3, &type), 0);
  EXPECT_EQ(dataTypeToEnum("blob", 0, 4, nullptr), 0);
  EXPECT_EQ(dataTypeToEnum("blob", 3, 1, &type), 0);
  EXPECT_EQ(dataTypeToEnum("blob", -1, 1, &type), 0);
  EXPECT_EQ(type, 77u);
}

}  // namespace

#include <gtest/gtest.h>

#include <stddef.h>
#include <string.h>

#include <string>
#include <vector>

#include "include/genericparser.h"

namespace {

CounterObject Entry(int32_t token, uint8_t counter = 0) {
  return {token, 0, counter};
}

TEST(CounterObject, TakesTwelveBytes) {
  EXPECT_EQ(sizeof(CounterObject), 12u);
  EXPECT_EQ(offsetof(CounterObject, word), 4u);
  EXPECT_EQ(offsetof(CounterObject, counter), 8u);
}

TEST(GetCounterObjectIndex, FindsTheFirstOfTheEntriesInUse) {
  const CounterObject table[] = {Entry(5), Entry(7), Entry(5), Entry(9)};
  EXPECT_EQ(getCounterObjectIndex(table, 4, 5), 0);
  EXPECT_EQ(getCounterObjectIndex(table, 4, 7), 1);
  EXPECT_EQ(getCounterObjectIndex(table, 4, 9), 3);
  EXPECT_EQ(getCounterObjectIndex(table, 3, 9), -1);
  EXPECT_EQ(getCounterObjectIndex(table, 4, 6), -1);
  EXPECT_EQ(getCounterObjectIndex(table, 0, 5), -1);
  EXPECT_EQ(getCounterObjectIndex(nullptr, 0, 5), -1);
}

TEST(IsBackAtParent, MarksTheEntryBehindTheOneFound) {
  CounterObject table[] = {Entry(5, 3), Entry(7, 2), Entry(9, 1)};
  EXPECT_EQ(isBackAtParent(table, 3, 5), 1);
  EXPECT_EQ(table[0].tokenIndex, 5);
  EXPECT_EQ(table[1].tokenIndex, -1);
  EXPECT_EQ(table[2].tokenIndex, 9);
  EXPECT_EQ(table[1].counter, 2);
}

TEST(IsBackAtParent, ChangesNothingAtTheLastEntryInUse) {
  CounterObject table[] = {Entry(5), Entry(7), Entry(9)};
  EXPECT_EQ(isBackAtParent(table, 3, 9), 0);
  EXPECT_EQ(isBackAtParent(table, 2, 7), 0);
  EXPECT_EQ(isBackAtParent(table, 1, 5), 0);
  EXPECT_EQ(table[1].tokenIndex, 7);
  EXPECT_EQ(table[2].tokenIndex, 9);
}

TEST(IsBackAtParent, ChangesNothingForUnknownTokensAndNoEntries) {
  CounterObject table[] = {Entry(5), Entry(7)};
  EXPECT_EQ(isBackAtParent(table, 2, 6), 0);
  EXPECT_EQ(isBackAtParent(table, 0, 5), 0);
  EXPECT_EQ(isBackAtParent(nullptr, 0, 5), 0);
  EXPECT_EQ(table[1].tokenIndex, 7);
}

TEST(IsBackAtParent, LooksAtTheFirstEntryOfTheToken) {
  CounterObject table[] = {Entry(5), Entry(7), Entry(5)};
  EXPECT_EQ(isBackAtParent(table, 3, 5), 1);
  EXPECT_EQ(table[1].tokenIndex, -1);
}

TEST(ConversionTable, HasTheLayoutThatSchemasAreBuiltFor) {
  EXPECT_EQ(offsetof(ConversionTable, names), 0u);
  EXPECT_EQ(offsetof(ConversionTable, first), 4096u);
  EXPECT_EQ(offsetof(ConversionTable, second), 4352u);
  EXPECT_EQ(offsetof(ConversionTable, count), 4608u);
  EXPECT_EQ(offsetof(ConversionTable, fn), 4616u);
}

/// The arguments of the last conversion.
std::vector<uint32_t> g_arguments;

int Remember(uint32_t value, uint32_t second, uint32_t third, uint32_t first_parameter,
             uint32_t second_parameter) {
  g_arguments = {value, second, third, first_parameter, second_parameter};
  return -42;
}

int Other(uint32_t, uint32_t, uint32_t, uint32_t first_parameter, uint32_t) {
  return static_cast<int>(first_parameter);
}

class ConversionCallbackTest : public testing::Test {
 protected:
  ConversionCallbackTest() : tables_(2) {
    memset(tables_.data(), 0, tables_.size() * sizeof(ConversionTable));
    tables_[0].fn = Remember;
    tables_[1].fn = Other;
    Add(0, "speed", 10, 11);
    Add(0, "limit", 20, 21);
    Add(1, "speed", 30, 31);
    Add(1, "name", 40, 41);
    g_arguments.clear();
  }

  void Add(size_t table, const char *name, uint32_t first, uint32_t second) {
    ConversionTable &entries = tables_[table];
    strncpy(entries.names[entries.count], name, 64);
    entries.first[entries.count] = first;
    entries.second[entries.count] = second;
    ++entries.count;
  }

  int Call(const char *name, uint32_t count = 2) {
    return callConversionCallback(tables_.data(), count, 1, 2, 3, name);
  }

  std::vector<ConversionTable> tables_;
};

TEST_F(ConversionCallbackTest, PassesTheValuesAndTheEntrysParameters) {
  EXPECT_EQ(Call("limit"), -42);
  EXPECT_EQ(g_arguments, (std::vector<uint32_t>{1, 2, 3, 20, 21}));
}

TEST_F(ConversionCallbackTest, TakesTheFirstMatchOfTheFirstTable) {
  EXPECT_EQ(Call("speed"), -42);
  EXPECT_EQ(g_arguments[3], 10u);
  EXPECT_EQ(Call("name"), 40);
  Add(0, "limit", 99, 99);
  EXPECT_EQ(Call("limit"), -42);
  EXPECT_EQ(g_arguments[3], 20u);
}

TEST_F(ConversionCallbackTest, GivesOneWhenNothingMatches) {
  for (const char *name : {"", "spee", "speeds", "Speed", "speed ", "other"}) {
    EXPECT_EQ(Call(name), 1) << name;
  }
  EXPECT_EQ(Call("name", 1), 1);  // in a table that was not given
  EXPECT_EQ(Call("speed", 0), 1);
  EXPECT_TRUE(g_arguments.empty());
}

TEST_F(ConversionCallbackTest, MatchesAnEmptyNameWithAnEmptyEntry) {
  Add(1, "", 50, 51);
  EXPECT_EQ(Call(""), 50);
}

TEST_F(ConversionCallbackTest, LooksAtTheEntriesInUseAlone) {
  tables_[0].count = 1;
  EXPECT_EQ(Call("limit"), 1);
}

TEST_F(ConversionCallbackTest, ReadsNamesWithoutTerminatorWithinTheirField) {
  const std::string longest(64, 'n');
  Add(0, longest.c_str(), 60, 61);
  Add(0, "next", 70, 71);  // follows at once
  EXPECT_EQ(Call(longest.c_str()), -42);
  EXPECT_EQ(g_arguments[3], 60u);
  EXPECT_EQ(Call((longest + "next").c_str()), 1);
  EXPECT_EQ(Call(longest.substr(0, 63).c_str()), 1);
}

TEST_F(ConversionCallbackTest, ReadsAtMostTheEntriesThatATableHas) {
  tables_.resize(1);
  tables_.shrink_to_fit();  // AddressSanitizer watches
  tables_[0].count = 255;
  EXPECT_EQ(Call("none", 1), 1);
  strcpy(tables_[0].names[63], "last");
  tables_[0].first[63] = 63;
  EXPECT_EQ(Call("last", 1), -42);
  EXPECT_EQ(g_arguments[3], 63u);
}

TEST_F(ConversionCallbackTest, RefusesNullArguments) {
  EXPECT_EQ(callConversionCallback(nullptr, 1, 1, 2, 3, "speed"), 1);
  EXPECT_EQ(Call(nullptr), 1);
  tables_[0].fn = nullptr;
  EXPECT_EQ(Call("limit"), 1);
}

}  // namespace

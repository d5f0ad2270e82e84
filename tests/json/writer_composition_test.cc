// Elements are composed in one append; here each is compared with the same pieces appended one by
// one, over random sequences: text, length and capacity must agree after every call.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <nlohmann/json.hpp>
#include <random>
#include <string>

#include "include/jsonwriter.h"
#include "include/valueformat.h"

namespace {

void Append(JsonBox &box, const std::string &piece) {
  jsonAppendString(&box, piece.data(), static_cast<uint32_t>(piece.size()));
}

/// The writer as it is described: piece by piece.
class Piecewise {
 public:
  ~Piecewise() { free(box.data); }

  void Key(const char *key) {
    if (key == nullptr) return;
    Append(box, "\"");
    Append(box, key);
    Append(box, "\"");
    Append(box, " : ");
  }
  void Separator() {
    Append(box, ",");
    Append(box, "\n");
  }
  void Value(const char *key, const std::string &text) {
    Key(key);
    Append(box, text);
    Separator();
  }
  void Open(const char *key, const char *bracket) {
    Key(key);
    Append(box, bracket);
  }
  void Close(const char *bracket) {
    if (box.data != nullptr && box.length >= 2) {
      if (box.data[box.length] == '\0') box.data[box.length] = ' ';
      if (box.data[box.length - 2] == ',') box.data[box.length - 2] = ' ';
    }
    Append(box, bracket);
    Separator();
  }

  JsonBox box = {};
};

TEST(JsonWriterComposition, AgreesWithPiecewiseAppends) {
  std::mt19937 random(20);
  for (int run = 0; run < 300; ++run) {
    Piecewise expected;
    JsonBox box = {};
    for (int step = 0; step < 40; ++step) {
      const std::string name(random() % 12, static_cast<char>('a' + random() % 26));
      const char *const key = random() % 4 == 0 ? nullptr : name.c_str();
      char *text = nullptr;
      switch (random() % 10) {
        case 0:
          JsonStartObject(key, &box);
          expected.Open(key, "{\n");
          break;
        case 1:
          JsonStartArray(key, &box);
          expected.Open(key, "[\n");
          break;
        case 2:
          JsonEndObject(&box);
          expected.Close("}");
          break;
        case 3:
          JsonEndArray(&box);
          expected.Close("]");
          break;
        case 4: {
          const std::string value(random() % 300, 'v');
          JsonAddStringElement(&box, key, value.c_str());
          expected.Value(key, "\"" + value + "\"");
          break;
        }
        case 5: {
          const auto value = static_cast<int32_t>(random());
          JsonAddIntegerElement(&box, key, value);
          expected.Value(key, getLongAsString(value, &text));
          break;
        }
        case 6: {
          const uint64_t value = uint64_t{random()} << (random() % 33);
          JsonAddUnsignedIntegerElement(&box, key, value);
          expected.Value(key, getUnsignedLongAsString(value, &text));
          break;
        }
        case 7: {
          const auto value = static_cast<float>(static_cast<int32_t>(random())) / 1024.0F;
          const auto precision = static_cast<uint8_t>(random() % 12);
          JsonAddFloatElement(&box, key, precision, value);
          expected.Value(key, getFloatAsString(precision, &text, value));
          break;
        }
        case 8:
          JsonAddBooleanElement(&box, key, step % 2);
          expected.Value(key, step % 2 == 0 ? "false" : "true");
          break;
        default:
          // A finalised box has room left: what follows fits without growth for a while.
          EXPECT_EQ(JsonFinalize(&box), JsonFinalize(&expected.box));
          break;
      }
      free(text);
      ASSERT_EQ(box.length, expected.box.length) << "run " << run << " step " << step;
      ASSERT_EQ(box.capacity, expected.box.capacity) << "run " << run << " step " << step;
      ASSERT_STREQ(box.data, expected.box.data);
    }
    JsonFreeBox(&box);
  }
}

TEST(JsonWriterComposition, AStrictReaderTakesWhatIsWritten) {
  std::mt19937 random(21);
  for (int run = 0; run < 200; ++run) {
    JsonBox box = {};
    std::string closers;
    JsonStartObject(nullptr, &box);
    for (int step = 0, member = 0; step < 60; ++step) {
      const bool in_array = !closers.empty() && closers.back() == ']';
      const std::string name = "m" + std::to_string(member++);
      const char *const key = in_array ? nullptr : name.c_str();
      switch (random() % 6) {
        case 0:
          JsonStartObject(key, &box);
          closers += '}';
          break;
        case 1:
          JsonStartArray(key, &box);
          closers += ']';
          break;
        case 2:
          if (closers.empty()) break;
          closers.back() == '}' ? JsonEndObject(&box) : JsonEndArray(&box);
          closers.pop_back();
          break;
        case 3:
          JsonAddStringElement(&box, key, "text");
          break;
        case 4:
          JsonAddIntegerElement(&box, key, static_cast<int32_t>(random()));
          break;
        default:
          JsonAddFloatElement(&box, key, 3, 2.5F);
          break;
      }
    }
    for (; !closers.empty(); closers.pop_back())
      closers.back() == '}' ? JsonEndObject(&box) : JsonEndArray(&box);
    JsonEndObject(&box);
    ASSERT_EQ(JsonFinalize(&box), 1);
    EXPECT_TRUE(nlohmann::json::accept(std::string(box.data))) << box.data;
    JsonFreeBox(&box);
  }
}

}  // namespace

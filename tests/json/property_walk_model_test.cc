// processObject() against a model that takes its description step by step, over documents of random
// pieces and deserializers of random behaviour.
#include <commonutilities/rfvalues.h>
#include <gtest/gtest.h>
#include <string.h>

#include <optional>
#include <random>
#include <string>
#include <vector>

#include "json/document.hpp"

namespace {

using cu_test::Document;

using Walk = int32_t (*)(JsonWalkContext *context, int32_t end, void *record,
                         rfDeserializeFn deserializer);

std::optional<std::string> KeyText(const JsonWalkContext &context, uint32_t index) {
  const jsmntok_t &token = context.tokens[index];
  if (token.type != JSMN_STRING) return std::nullopt;
  return std::string(context.json + token.start, context.json + token.end);
}

/// The walk as it is described, with its two safeguards: it ends where the tokens end.
int32_t WalkByTheBook(JsonWalkContext *context, int32_t end, void *record,
                      rfDeserializeFn deserializer) {
  if (record == nullptr) return 0;
  const auto type_at = [&](uint32_t at) {
    return at < context->tokenCount ? context->tokens[at].type : 0;
  };
  uint32_t position = context->current;
  std::optional<std::string> key;
  bool in_array = false;
  bool in_object = false;
  do {
    int32_t array_counter = 0;
    uint32_t index = 0;
    do {
      int32_t object_counter = 0;
      do {
        if (position >= context->tokenCount) {
          context->current = context->tokenCount;
          return 1;
        }
        if (context->tokens[position].start > end) {
          --context->current;
          return 1;
        }
        if (type_at(position) == JSMN_ARRAY) {
          const int32_t size = context->tokens[position].size;
          ++position;
          in_array = true;
          if (size == 0) {
            context->current = position;
            break;
          }
          array_counter = size;
        }
        if (type_at(position) == JSMN_OBJECT) {
          const int32_t size = context->tokens[position].size;
          ++position;
          in_object = true;
          if (size == 0) {
            context->current = position;
            break;
          }
          object_counter = size;
        }
        if (position >= context->tokenCount) {
          context->current = context->tokenCount;
          return 1;
        }
        if (type_at(position) == JSMN_STRING) {
          key = KeyText(*context, position);
          ++position;
        } else if (type_at(position) == JSMN_PRIMITIVE) {
          ++position;
          key = KeyText(*context, 0);
        }
        uint32_t value = position;
        if (in_array && !in_object) value = position - 1;
        if (value >= context->tokenCount) {
          context->current = context->tokenCount;
          return 1;
        }
        context->current = value;
        const int32_t given =
            deserializer(context, context->tokens[value].start, context->tokens[value].end,
                         key ? key->c_str() : nullptr, index, record);
        const int32_t step_result = (given | (context->strictTypes == 0 ? 1 : 0)) & 0xFF;
        if (step_result == 0) return 0;
        position = context->current + 1;
        context->current = position;
        if (object_counter > 0) --object_counter;
        if (position >= context->tokenCount) return key ? step_result : 1;
        if (context->tokens[position].start > end) {
          context->current = position - 1;
          return key ? step_result : 1;
        }
      } while (object_counter > 0);
      --array_counter;
      ++index;
    } while (array_counter > 0);
  } while (context->current < context->tokenCount);
  return 1;
}

int32_t WalkByTheLibrary(JsonWalkContext *context, int32_t end, void *record,
                         rfDeserializeFn deserializer) {
  return processObject(context, "label", 0, end, 0, record, deserializer);
}

/// What a deserializer does, drawn from a number that is the same for both walks.
struct Recorder {
  const Document &document;
  Walk walk;
  uint32_t seed;
  std::vector<std::string> trace;
  int depth = 0;
};

int32_t Record(JsonWalkContext *context, int32_t start, int32_t end, const char *key,
               uint32_t index, void *record) {
  Recorder &recorder = *static_cast<Recorder *>(record);
  recorder.trace.push_back(std::to_string(recorder.depth) + " " + (key == nullptr ? "-" : key) +
                           "@" + std::to_string(index) + "=" + recorder.document.text(start, end) +
                           " " + std::to_string(context->current));
  std::minstd_rand random(recorder.seed + static_cast<uint32_t>(recorder.trace.size()) * 7919);
  random.discard(3);
  switch (random() % 8) {
    case 0:
      return 0;
    case 1:
      return 6;
    case 2:
      return 0x200;
    case 3:
    case 4:
    case 5: {
      if (recorder.depth > 20 || recorder.trace.size() > 500) return 1;
      ++recorder.depth;
      const int32_t result = recorder.walk(context, end, record, Record);
      --recorder.depth;
      return result;
    }
    default:
      return 1;
  }
}

/// A walk's outcome: its result, where it ended, and its calls.
std::vector<std::string> Outcome(Document &document, Walk walk, uint32_t seed, uint8_t strict,
                                 uint32_t count, uint32_t first, int32_t end) {
  Recorder recorder{document, walk, seed, {}};
  JsonWalkContext context = {document.json(), document.tokens(), first, 0, count, strict};
  const int32_t result = walk(&context, end, &recorder, Record);
  recorder.trace.push_back("result " + std::to_string(result) + ", current " +
                           std::to_string(context.current));
  return recorder.trace;
}

std::string RandomDocument(std::mt19937 &random) {
  static constexpr const char *kPieces[] = {"{",   "}",     "[",      "]",     ",",      "1,",
                                            "2 ",  "\"a\"", "\"b\":", "\"c\"", "\"d\":", "{}",
                                            "[],", "[1]",   "null,",  ",",     ":",      "\"k\":["};
  std::string text;
  std::string closing;
  for (size_t pieces = 1 + random() % 25; pieces > 0; --pieces) {
    const std::string piece = kPieces[random() % std::size(kPieces)];
    for (char c : piece) {
      if (c == '{') closing.push_back('}');
      if (c == '[') closing.push_back(']');
      if ((c == '}' || c == ']') && (closing.empty() || closing.back() != c)) continue;
      if (c == '}' || c == ']') closing.pop_back();
      text += c;
    }
  }
  return text + std::string(closing.rbegin(), closing.rend());
}

TEST(ProcessObject, WalksEveryDocumentAsDescribed) {
  std::mt19937 random(20240301);
  int walked = 0;
  for (int i = 0; i < 20000; ++i) {
    const std::string text = RandomDocument(random);
    Document document(text);
    if (!document.loaded() || document.count() == 0) continue;
    ++walked;
    const auto seed = static_cast<uint32_t>(random());
    const auto strict = static_cast<uint8_t>(random() % 2);
    const bool part = random() % 3 == 0;
    const uint32_t count = part ? 1 + random() % document.count() : document.count();
    const uint32_t first = part ? random() % count : 0;
    const int32_t end = part ? document.token(first)->end : static_cast<int32_t>(text.size());
    ASSERT_EQ(Outcome(document, WalkByTheLibrary, seed, strict, count, first, end),
              Outcome(document, WalkByTheBook, seed, strict, count, first, end))
        << text << " from " << first << " of " << count;
  }
  EXPECT_GT(walked, 2000);
}

}  // namespace

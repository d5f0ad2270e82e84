// Every hostile document either loads or is refused, as stated, by both loaders; whatever loads can
// be walked, read token by token, and released.
#include "json/hostile_documents.hpp"

#include <commonutilities/commonconfig.h>
#include <commonutilities/jsonnode.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

#include <random>
#include <string>

#include "json/document.hpp"
#include "support/child.hpp"
#include "support/files.hpp"
#include "support/leaks.hpp"
#include "support/threads.hpp"

namespace {

using cu_test::HostileDocument;

constexpr size_t kShown = 120;  // characters of a document in a failure

std::string Shown(const std::string &text) {
  return text.substr(0, kShown) + (text.size() > kShown ? "..." : "");
}

/// Reads every token with everything that reads tokens.
int32_t ReadTokens(const char *json, jsmntok_t *tokens, const char *, uint32_t count, void *) {
  for (uint32_t i = 0; i < count; ++i) {
    const jsmntok_t &token = tokens[i];
    EXPECT_TRUE(token.type == JSMN_OBJECT || token.type == JSMN_ARRAY ||
                token.type == JSMN_STRING || token.type == JSMN_PRIMITIVE);
    EXPECT_GE(token.start, 0);
    EXPECT_GE(token.end, token.start);
    EXPECT_LT(token.parent, static_cast<int32_t>(i));
    char *key = nullptr;
    if (getJsonKeyAlloc(json, &token, &key) == 0) {
      EXPECT_EQ(jsoneq(json, &token, key), 0);
      free(key);
    }
    uint64_t value = 0;
    for (uint32_t kind = 0; kind <= 10 && token.end - token.start < 1000; ++kind)
      EXPECT_EQ(getPrimitive(json, token.start, token.end, &value, kind), 0);
    if (i < 100 || i % 1000 == 0) {
      const int32_t size = dump(json, &token, count - i, 0);
      EXPECT_GE(size, 1);
      EXPECT_LE(static_cast<uint32_t>(size), count - i);
      getParentArrayForCurrentPrimitive(tokens, static_cast<int32_t>(i));
      findParentObjectKey(json, "a", tokens, static_cast<int32_t>(i));
      findParentObjectKey(json, "", tokens, static_cast<int32_t>(i));
    }
  }
  return 0;
}

/// Whether both loaders take a document, which they must agree on.
bool Loads(const std::string &text) {
  const auto size = static_cast<uint32_t>(text.size());
  const bool loads = parseJsonBuffer(text.data(), size, 0, ReadTokens, nullptr) == 1;

  rfAECommonConfig config = {};
  EXPECT_EQ(parseJsonBuffer(text.data(), size, 1, ProcessDecoderDefinitions, &config),
            loads ? 1 : 0);
  aeFreeConfiguration(&config);

  static cu_test::TempDir *const dir = new cu_test::TempDir;
  static const std::string path = dir->file("document.json");
  cu_test::WriteFile(path, text);
  const int next_descriptor = dup(STDIN_FILENO);
  close(next_descriptor);
  EXPECT_EQ(aeloadConfiguration(path.c_str(), &config), loads ? 1 : 0);
  if (!loads) close(next_descriptor);  // the one that a malformed file costs
  aeFreeConfiguration(&config);
  return loads;
}

void ExpectVerdicts(const std::vector<HostileDocument> &documents) {
  // Refused files keep their tokens, and repeated or shifted keys lose earlier values.
  const cu_test::MayLeak lost;
  for (const HostileDocument &document : documents)
    EXPECT_EQ(Loads(document.text), document.loads) << Shown(document.text);
}

TEST(HostileDocuments, AreMoreThanTwoHundred) {
  EXPECT_GE(cu_test::ListedDocuments().size(), 200u);
  EXPECT_GE(cu_test::GeneratedDocuments().size(), 200u);
}

TEST(HostileDocuments, ListedLoadOrAreRefused) {
  ExpectVerdicts(cu_test::ListedDocuments());
}

TEST(HostileDocuments, GeneratedLoadOrAreRefused) {
  ExpectVerdicts(cu_test::GeneratedDocuments());
}

constexpr const char *kConfiguration =
    R"({"ipcName":"/q","logFileSize":4096,"ConfigObj":[{"parameterGroup":"g","ConfigParam":[)"
    R"({"parameterName":"n","type":"uint8","parameterValue":"7"},{"type":"blob"}]},{}],)"
    R"("logfile":"\u00e9\\"})";

TEST(HostileDocuments, CutAnywhereAreRefused) {
  const cu_test::MayLeak lost;
  const std::string text = kConfiguration;
  for (size_t length = 1; length < text.size(); ++length)
    EXPECT_FALSE(Loads(text.substr(0, length))) << length;
  EXPECT_TRUE(Loads(text));
}

// One byte changed, dropped or doubled at every place: no verdict is asked for, only that nothing
// breaks.
TEST(HostileDocuments, WithOneByteChangedDoNoHarm) {
  const cu_test::MayLeak lost;
  const std::string text = kConfiguration;
  for (size_t at = 0; at < text.size(); ++at) {
    for (char byte : {'{', '}', '[', ']', '"', ':', ',', '\\', '\0', '\xff', ' ', '1'}) {
      std::string changed = text;
      changed[at] = byte;
      Loads(changed);
    }
    Loads(text.substr(0, at) + text.substr(at + 1));
    Loads(text.substr(0, at) + text[at] + text.substr(at));
  }
}

TEST(HostileDocuments, MadeOfRandomPiecesDoNoHarm) {
  const cu_test::MayLeak lost;
  constexpr const char *kPieces[] = {"{",
                                     "}",
                                     "[",
                                     "]",
                                     ",",
                                     ":",
                                     "1",
                                     "\"a\"",
                                     "\"ConfigObj\":",
                                     "\"ConfigParam\":",
                                     "\"type\":",
                                     "\"ipcName\":",
                                     "{}",
                                     "[]",
                                     "null",
                                     " ",
                                     "\"parameterGroup\":",
                                     "\"\"",
                                     "{\"a\":"};
  std::mt19937 random(20240229);
  int loaded = 0;
  for (int i = 0; i < 1500; ++i) {
    std::string text = random() % 2 == 0 ? "{" : "[";
    for (size_t pieces = random() % 30; pieces > 0; --pieces)
      text += kPieces[random() % std::size(kPieces)];
    loaded += Loads(text) ? 1 : 0;
    loaded += Loads(text + (text[0] == '{' ? "}" : "]")) ? 1 : 0;
  }
  EXPECT_GT(loaded, 50);
}

// ---- very large ones ----------------------------------------------------------------------------

const auto kLongKey = static_cast<size_t>(cu_test::Rounds(10 << 20));
const auto kManyMembers = static_cast<size_t>(cu_test::Rounds(1'000'000));
const auto kEqualKeys = static_cast<size_t>(cu_test::Rounds(100'000));

std::string LongKey() {
  return "{\"" + std::string(kLongKey, 'k') + "\":1}";
}

/// Bytes of memory that this process has used at most.
double PeakMemory() {
  rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) * 1024;
}

/// Does some work in a process of its own, which must not take a minute of processor time, nor more
/// than so many bytes where neither a sanitizer nor an emulator takes its own.
template <typename Work>
void ExpectBounded(double most_bytes, Work work) {
  cu_test::Child child([&] {
    const double before = PeakMemory();
    work();
    timespec used;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    EXPECT_LT(used.tv_sec, 60);
    if (CU_OWN_SPEED) {
      EXPECT_LT(PeakMemory() - before, most_bytes);
    }
    return testing::Test::HasFailure() ? 1 : 0;
  });
  EXPECT_EQ(0, child.Wait().status()) << child.out() << child.err();
}

/// For a text in the caller's hands: two copies of it, and the tokens in an array that doubles.
double LoadingCosts(const std::string &text, size_t tokens) {
  return 3.0 * static_cast<double>(text.size()) + 2.5 * 20 * static_cast<double>(tokens) +
         (8 << 20);
}

TEST(LargeDocuments, WithAKeyOfTenMebibytesLoad) {
  const std::string text = LongKey();
  ExpectBounded(LoadingCosts(text, 3), [&] { EXPECT_TRUE(Loads(text)); });
}

TEST(LargeDocuments, WithAMillionMembersLoad) {
  const std::string text = cu_test::ManyMembers(kManyMembers);
  ExpectBounded(LoadingCosts(text, 2 * kManyMembers + 1), [&] { EXPECT_TRUE(Loads(text)); });
}

TEST(LargeDocuments, WithAHundredThousandEqualKeysLoad) {
  const std::string text = cu_test::EqualKeys("k", kEqualKeys);
  ExpectBounded(LoadingCosts(text, 2 * kEqualKeys + 1), [&] { EXPECT_TRUE(Loads(text)); });
}

TEST(LargeDocuments, WithEqualKeysOfASettingLeaveTheLastAndLoseTheOthers) {
  const std::string text = cu_test::EqualKeys("ipcName", kEqualKeys);
  const double lost = 40.0 * static_cast<double>(kEqualKeys);
  ExpectBounded(LoadingCosts(text, 2 * kEqualKeys + 1) + lost, [&] {
    rfAECommonConfig config = {};
    EXPECT_EQ(1, parseJsonBuffer(text.data(), static_cast<uint32_t>(text.size()), 1,
                                 ProcessDecoderDefinitions, &config));
    EXPECT_EQ(std::to_string(kEqualKeys - 1), config.ipcName);
    aeFreeConfiguration(&config);
  });
}

TEST(LargeDocuments, CutBeforeTheirEndAreRefused) {
  for (std::string text :
       {LongKey(), cu_test::ManyMembers(kManyMembers), cu_test::EqualKeys("k", kEqualKeys)}) {
    text.pop_back();
    ExpectBounded(LoadingCosts(text, 2 * kManyMembers + 1), [&] { EXPECT_FALSE(Loads(text)); });
  }
}

/// Builds the tree of a document, lets `look` look at it and releases it, with nothing left over.
template <typename Look>
void ExpectTree(const std::string &text, double bytes_each, Look look) {
  const cu_test::Document document(text);
  ASSERT_TRUE(document.loaded());
  ExpectBounded(
      bytes_each * document.count() + 3.0 * static_cast<double>(text.size()) + (8 << 20), [&] {
        const size_t before = cu_test::AllocatedBytes();
        JsonNode root = {};
        EXPECT_EQ(static_cast<int32_t>(document.count()),
                  CreateDictionary(document.json(), document.token(0), document.count(), &root));
        look(root);
        EXPECT_EQ(1, AmbrelFreeJsonNode(&root));
        EXPECT_LE(cu_test::AllocatedBytes(), before + 10000);
      });
}

constexpr double kNodeBytes = 300;  // with its place in the map, for each two tokens

/// The text of a member; "none" when there is none.
std::string Find(JsonNode &root, const std::string &name) {
  JsonNode *node = nullptr;
  if (AmbrelFindJsonNode(&root, name.c_str(), nullptr, &node) != 1) return "none";
  return AmbrelGetValueFromElement(node);
}

TEST(LargeDocuments, WithAKeyOfTenMebibytesBecomeATree) {
  ExpectTree(LongKey(), kNodeBytes, [](JsonNode &root) {
    EXPECT_EQ("1", Find(root, std::string(kLongKey, 'k')));
    EXPECT_EQ("none", Find(root, std::string(kLongKey - 1, 'k')));
  });
}

TEST(LargeDocuments, WithAMillionMembersBecomeATree) {
  ExpectTree(cu_test::ManyMembers(kManyMembers), kNodeBytes, [](JsonNode &root) {
    EXPECT_EQ(kManyMembers, root.body.map.nnodes);
    for (size_t i = 0; i < kManyMembers; ++i)
      ASSERT_EQ(std::to_string(i), Find(root, "k" + std::to_string(i)));
    EXPECT_EQ("none", Find(root, "k" + std::to_string(kManyMembers)));
  });
}

TEST(LargeDocuments, WithAHundredThousandEqualKeysBecomeATreeOfOne) {
  ExpectTree(cu_test::EqualKeys("k", kEqualKeys), 0, [](JsonNode &root) {
    EXPECT_EQ(1u, root.body.map.nnodes);
    EXPECT_EQ(std::to_string(kEqualKeys - 1), Find(root, "k"));
  });
}

}  // namespace

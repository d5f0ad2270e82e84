// Thousands of operations in random order, each followed by a comparison, byte for byte, of file,
// backup and entries with a model of the store.
#include "include/AmbrelDataStorage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <random>

#include "storage/private_var.hpp"
#include "storage/store_fixture.hpp"
#include "storage/store_model.hpp"
#include "support/threads.hpp"

namespace cu_test {
namespace {

class StoreModelTest : public StoreTest, public testing::WithParamInterface<unsigned> {
 protected:
  void SetUp() override {
    StoreTest::SetUp();
    std::filesystem::create_directories(primary_directory());
  }

  unsigned Pick(unsigned below) { return static_cast<unsigned>(random_()) % below; }

  std::string RandomPayload(size_t size) {
    std::string payload(size, '\0');
    for (char &byte : payload) byte = static_cast<char>(random_());
    return payload;
  }
  /// Mostly short, often empty, now and then larger than any buffer.
  size_t RandomSize() {
    switch (Pick(12)) {
      case 0:
        return 0;
      case 1:
        return 32;
      case 2:
        return Pick(4) == 0 ? 60000 + Pick(20000) : 4064 + Pick(64);
      default:
        return Pick(80);
    }
  }

  /// One random operation on the store and on the model; its name.
  std::string Step() {
    switch (Pick(20)) {
      case 0:
        return StepStart();
      case 1:
      case 2:
        return StepFullSave();
      case 3:
        return StepCompact();
      case 4:
        return StepInvalidate();
      case 5:
        return StepFreeAll();
      case 6:
        return StepRefresh();
      case 7:
        return StepTamper();
      case 8:
      case 9:
      case 10:
        return StepChange(false);
      case 11:
        return StepChange(true);
      default:
        return StepCreate();
    }
  }

  std::string StepStart() {
    Stop();
    if (Pick(12) == 0) model_.file = SealedFile(Pick(100), {{.id = Pick(9), .payload = "placed"}});
    WriteFile(primary(), model_.file);
    EXPECT_TRUE(Start());
    model_.Start();
    if (Pick(8) == 0) return "start";
    EXPECT_EQ(0U, loadAllAmbrelStorageEntries(store_));
    model_.Load();
    return "start and load";
  }
  std::string StepFullSave() {
    EXPECT_EQ(model_.FullSave(), FullSave());
    return "full save";
  }
  std::string StepCompact() {
    if (!CanWriteVar()) return "";
    EXPECT_EQ(0U, Compact(Pick(1000), Pick(2) ? 604800 : 1));
    model_.Compact();
    return "compaction";
  }
  std::string StepInvalidate() {
    const size_t i = PickEntry();
    if (i == SIZE_MAX) return "";
    store_->entries[i]->valid = model_.entries[i]->valid = 0;
    return "invalidation";
  }
  std::string StepFreeAll() {
    if (Pick(10) != 0) return "";
    EXPECT_EQ(1U, FreeAllAmbrelStorageEntries(store_, 0));
    model_.FreeAll();
    return "free all";
  }
  std::string StepRefresh() {
    EXPECT_EQ(model_.Refresh(), updateAmbrelStorageCRC(store_, 0));
    return "refresh";
  }
  /// Damages the file behind the store's back.
  std::string StepTamper() {
    if (Pick(15) != 0 || model_.file.size() < 17) return "";
    const size_t at = 16 + Pick(static_cast<unsigned>(model_.file.size()) - 16);
    model_.file[at] = static_cast<char>(random_());
    if (Pick(3) == 0) model_.file.resize(at);
    WriteFile(primary(), model_.file);
    // A store reads its file anew after each operation; an unread stream may still hold old bytes.
    EXPECT_EQ(1U, updateAmbrelFileHandlerInfo(store_, 0));
    return "damage";
  }
  std::string StepChange(bool same_length) {
    const size_t i = PickEntry();
    if (i == SIZE_MAX) return "";
    const std::string payload =
        RandomPayload(same_length ? model_.entries[i]->payload.size() : RandomSize());
    return "change, " + SaveAs(i, payload);
  }
  std::string StepCreate() {
    if (model_.entries.size() > 150) return "";
    const AmbrelStorageEntry *const entry = Create();
    model_.Create(RecordOf(*entry));
    return "create, " + SaveAs(model_.entries.size() - 1, RandomPayload(RandomSize()));
  }

  std::string SaveAs(size_t i, const std::string &payload) {
    SetPayload(store_->entries[i], payload);
    model_.entries[i]->payload = payload;
    const unsigned how = Pick(4);
    if (how == 0) return "no save";
    EXPECT_EQ(model_.Save(*model_.entries[i], how == 1), Save(store_->entries[i], how == 1));
    return how == 1 ? "save with refresh" : "save";
  }

  size_t PickEntry() {
    if (!model_.has_array || model_.entries.empty()) return SIZE_MAX;
    const size_t i = Pick(static_cast<unsigned>(model_.entries.size()));
    return model_.entries[i] ? i : SIZE_MAX;
  }

  void Compare() {
    ASSERT_EQ(model_.file.size(), File().size());
    const std::string file = File();
    const auto differ = std::mismatch(file.begin(), file.end(), model_.file.begin());
    ASSERT_TRUE(model_.file == file) << "at offset " << differ.first - file.begin();
    ASSERT_EQ(model_.backup.has_value(), std::filesystem::exists(backup()));
    ASSERT_TRUE(model_.backup.value_or("") == Backup());
    ASSERT_EQ(model_.header.bytes(),
              std::string(reinterpret_cast<const char *>(&store_->header), kFileHeader));
    ASSERT_EQ(model_.next_id, store_->nextRecordId);
    ASSERT_EQ(model_.loaded, store_->loadedCount);
    ASSERT_EQ(model_.entries.size(), store_->entryCount);
    ASSERT_EQ(model_.has_array, store_->entries != nullptr);
    for (size_t i = 0; model_.has_array && i < model_.entries.size(); ++i) {
      ASSERT_EQ(model_.entries[i].has_value(), store_->entries[i] != nullptr);
      if (!model_.entries[i]) continue;
      ASSERT_TRUE(RecordBytes(*model_.entries[i]) == RecordBytes(RecordOf(*store_->entries[i])));
    }
  }

  StoreModel model_;
  std::mt19937 random_{GetParam()};
};

TEST_P(StoreModelTest, FileBackupAndEntriesAreTheModels) {
  StepStart();
  const int steps = static_cast<int>(Rounds(4000)) + 100;
  std::string history;
  for (int i = 0; i < steps; ++i) {
    const std::string step = Step();
    history += step.empty() ? "" : "\n  " + step;
    if (history.size() > 400) history.erase(0, history.size() - 400);
    Compare();
    ASSERT_FALSE(HasFailure()) << "seed " << GetParam() << ", step " << i << ":" << history;
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, StoreModelTest, testing::Range(1U, 9U));

}  // namespace
}  // namespace cu_test

// Loading and unloading plug-ins that this test's build has made.
#include <dlfcn.h>
#include <elf.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "include/customaction.h"
#include "support/child.hpp"
#include "support/files.hpp"

namespace {

using cu_test::ReadFile;
using cu_test::TempDir;
using cu_test::WriteFile;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

const std::string kPlugin = LAZY_PLUGIN;  // its path
const std::string kDirectory = std::filesystem::path(kPlugin).parent_path();
const std::string kFile = std::filesystem::path(kPlugin).filename();

/// Tries to load something that cannot be; gives what is said on standard error.
std::string ComplaintOver(const std::string &directory, const std::string &file) {
  void *handle = &handle;
  testing::internal::CaptureStderr();
  EXPECT_EQ(0U, AmbrelLoadChildLibrary(directory.c_str(), file.c_str(), &handle));
  EXPECT_EQ(nullptr, handle);
  return testing::internal::GetCapturedStderr();
}

bool IsLoaded() {
  void *const handle = dlopen(kPlugin.c_str(), RTLD_LAZY | RTLD_NOLOAD);
  if (handle != nullptr) dlclose(handle);
  return handle != nullptr;
}

TEST(AmbrelLoadChildLibrary, OpensAPlugInForLookups) {
  void *handle = nullptr;
  ASSERT_EQ(1U, AmbrelLoadChildLibrary(kDirectory.c_str(), kFile.c_str(), &handle));
  const auto answer = reinterpret_cast<int (*)()>(dlsym(handle, "answer"));
  ASSERT_NE(nullptr, answer);
  EXPECT_EQ(42, answer());
  EXPECT_EQ(1U, AmbrelUnloadChildLibrary(handle));
}

TEST(AmbrelLoadChildLibrary, BindsFunctionsWhenTheyAreFirstCalled) {
  void *handle = nullptr;
  EXPECT_EQ(nullptr, dlopen(kPlugin.c_str(), RTLD_NOW));  // the plug-in is short of a function
  EXPECT_EQ(1U, AmbrelLoadChildLibrary(kDirectory.c_str(), kFile.c_str(), &handle));
  AmbrelUnloadChildLibrary(handle);
}

TEST(AmbrelLoadChildLibrary, KeepsAPlugInsNamesToItself) {
  void *handle = nullptr;
  ASSERT_EQ(1U, AmbrelLoadChildLibrary(kDirectory.c_str(), kFile.c_str(), &handle));
  EXPECT_EQ(nullptr, dlsym(RTLD_DEFAULT, "answer"));
  AmbrelUnloadChildLibrary(handle);
}

TEST(AmbrelLoadChildLibrary, SaysNothingOnSuccess) {
  void *handle = nullptr;
  testing::internal::CaptureStderr();
  ASSERT_EQ(1U, AmbrelLoadChildLibrary(kDirectory.c_str(), kFile.c_str(), &handle));
  EXPECT_EQ("", testing::internal::GetCapturedStderr());
  AmbrelUnloadChildLibrary(handle);
}

TEST(AmbrelLoadChildLibrary, OfAMissingFileGivesTheReasonWithoutALineEnd) {
  EXPECT_EQ("/nowhere/libnone.so: cannot open shared object file: No such file or directory",
            ComplaintOver("/nowhere", "libnone.so"));
}

TEST(AmbrelLoadChildLibrary, PutsASlashBetweenAlsoAfterASlash) {
  EXPECT_THAT(ComplaintOver("/nowhere/", "libnone.so"), StartsWith("/nowhere//libnone.so: "));
  EXPECT_THAT(ComplaintOver("", "libnone.so"), StartsWith("/libnone.so: "));
  void *handle = nullptr;
  EXPECT_EQ(1U, AmbrelLoadChildLibrary((kDirectory + "/").c_str(), kFile.c_str(), &handle));
  AmbrelUnloadChildLibrary(handle);
}

TEST(AmbrelLoadChildLibrary, NeverSearchesTheLibraryPath) {
  EXPECT_THAT(ComplaintOver("", "libc.so.6"), StartsWith("/libc.so.6: "));
}

TEST(AmbrelLoadChildLibrary, FollowsDots) {
  void *handle = nullptr;
  const std::string name = std::filesystem::path(kDirectory).filename();
  EXPECT_EQ(1U, AmbrelLoadChildLibrary((kDirectory + "/../" + name + "/.").c_str(), kFile.c_str(),
                                       &handle));
  AmbrelUnloadChildLibrary(handle);
}

TEST(AmbrelLoadChildLibrary, RefusesWhatIsNoLibrary) {
  TempDir dir;
  std::filesystem::create_directory(dir.file("folder"));
  WriteFile(dir.file("empty"), "");
  WriteFile(dir.file("text"), std::string(4096, 'x'));
  WriteFile(dir.file("cut"), ReadFile(kPlugin).substr(0, 100));
  std::string other = ReadFile(kPlugin);
  other[offsetof(Elf32_Ehdr, e_machine)] = static_cast<char>(EM_68K);
  WriteFile(dir.file("other machine"), other);
  for (const std::string file : {"folder", "empty", "text", "cut", "other machine"}) {
    EXPECT_THAT(ComplaintOver(dir.path(), file), StartsWith(dir.file(file) + ": ")) << file;
  }
}

/// The plug-in's directory, made longer until the joined path has `length` characters.
std::string LongDirectory(size_t length) {
  std::string directory = kDirectory;
  const size_t wanted = length - kFile.size() - 1;
  while (directory.size() + 2 <= wanted) directory += "/.";
  directory.append(wanted - directory.size(), '/');
  return directory;
}

TEST(AmbrelLoadChildLibrary, OpensAPathOf1023Characters) {
  void *handle = nullptr;
  EXPECT_EQ(1U, AmbrelLoadChildLibrary(LongDirectory(1023).c_str(), kFile.c_str(), &handle));
  AmbrelUnloadChildLibrary(handle);
}

TEST(AmbrelLoadChildLibrary, RefusesALongerPathSilently) {
  EXPECT_EQ("", ComplaintOver(LongDirectory(1024), kFile));
  EXPECT_EQ("", ComplaintOver(LongDirectory(5000), kFile));
  EXPECT_EQ("", ComplaintOver("/nowhere", std::string(100000, 'x')));
}

TEST(AmbrelLoadChildLibrary, NeverOpensThePathThatACutWouldLeave) {
  EXPECT_EQ("", ComplaintOver(LongDirectory(1023), kFile + "x"));
}

TEST(AmbrelLoadChildLibrary, RunsThePlugInsConstructors) {
  cu_test::Child child([] {
    const std::filesystem::path plugin = EXITING_PLUGIN;
    void *handle = nullptr;
    AmbrelLoadChildLibrary(plugin.parent_path().c_str(), plugin.filename().c_str(), &handle);
    return 0;
  });
  EXPECT_EQ(9, child.Wait().status());
}

TEST(AmbrelLoadChildLibrary, WithoutAnArgumentStoresNothing) {
  void *handle = &handle;
  EXPECT_EQ(0U, AmbrelLoadChildLibrary(nullptr, kFile.c_str(), &handle));
  EXPECT_EQ(0U, AmbrelLoadChildLibrary(kDirectory.c_str(), nullptr, &handle));
  EXPECT_EQ(&handle, handle);
  EXPECT_EQ(0U, AmbrelLoadChildLibrary(kDirectory.c_str(), kFile.c_str(), nullptr));
}

TEST(AmbrelUnloadChildLibrary, UnloadsThePlugIn) {
  void *handle = nullptr;
  ASSERT_EQ(1U, AmbrelLoadChildLibrary(kDirectory.c_str(), kFile.c_str(), &handle));
  EXPECT_TRUE(IsLoaded());
  EXPECT_EQ(1U, AmbrelUnloadChildLibrary(handle));
  EXPECT_FALSE(IsLoaded());
}

TEST(AmbrelUnloadChildLibrary, UnloadsOnceALoad) {
  void *first = nullptr, *second = nullptr;
  ASSERT_EQ(1U, AmbrelLoadChildLibrary(kDirectory.c_str(), kFile.c_str(), &first));
  ASSERT_EQ(1U, AmbrelLoadChildLibrary(kDirectory.c_str(), kFile.c_str(), &second));
  AmbrelUnloadChildLibrary(first);
  EXPECT_TRUE(IsLoaded());
  AmbrelUnloadChildLibrary(second);
  EXPECT_FALSE(IsLoaded());
}

TEST(AmbrelUnloadChildLibrary, OfNullGivesZero) {
  EXPECT_EQ(0U, AmbrelUnloadChildLibrary(nullptr));
}

}  // namespace

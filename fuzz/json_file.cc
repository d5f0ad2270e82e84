// Any file through parseJson(): what it accepts is what parseJsonBuffer() accepts.
#include <sanitizer/allocator_interface.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include "fuzz/scratch_file.hpp"
#include "include/jsonparser.h"

// The library's calls of fopen() and fclose() come to this file: the linker's --wrap.
extern "C" {
FILE *__real_fopen(const char *path, const char *mode);
int __real_fclose(FILE *stream);
}

namespace {

/// What was taken since Begin() and not given back.
template <typename T>
class Ledger {
 public:
  void Begin() { open_ = true; }
  void Taken(T *item) {
    if (!open_ || item == nullptr) return;
    if (count_ == kMost) abort();
    items_[count_++] = item;
  }
  void Given(const volatile void *item) {
    for (int i = open_ ? count_ : 0; i-- > 0;) {
      if (items_[i] != item) continue;
      items_[i] = items_[--count_];
      return;
    }
  }
  template <typename Release>
  void End(Release release) {
    open_ = false;
    while (count_ > 0) release(items_[--count_]);
  }

 private:
  static constexpr int kMost = 64;
  bool open_ = false;
  int count_ = 0;
  T *items_[kMost];
};

Ledger<void> g_blocks;
Ledger<FILE> g_streams;

/// parseJson() loses its stream and its tokens to a malformed file. A run is longer than the
/// process's table of descriptors and its memory: this releases them.
class NothingLost {
 public:
  NothingLost() {
    static const int installed = __sanitizer_install_malloc_and_free_hooks(
        [](const volatile void *block, size_t) { g_blocks.Taken(const_cast<void *>(block)); },
        [](const volatile void *block) { g_blocks.Given(block); });
    if (installed == 0) abort();
    g_streams.Begin();
    g_blocks.Begin();
  }
  ~NothingLost() {
    g_streams.End([](FILE *stream) { __real_fclose(stream); });
    g_blocks.End([](void *block) { free(block); });
  }
};

int32_t Count(const char *, jsmntok_t *, const char *, uint32_t count, void *user) {
  *static_cast<uint32_t *>(user) = count;
  return 0;
}

}  // namespace

extern "C" FILE *__wrap_fopen(const char *path, const char *mode) {
  FILE *const stream = __real_fopen(path, mode);
  g_streams.Taken(stream);
  return stream;
}

extern "C" int __wrap_fclose(FILE *stream) {
  g_streams.Given(stream);
  return __real_fclose(stream);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string path = cu_fuzz::WriteScratchFile("document.json", data, size);
  const NothingLost scope;
  uint32_t from_file = 0, from_buffer = 0;
  const int32_t file_ok = parseJson(path.c_str(), "fuzz", Count, &from_file);
  const int32_t buffer_ok = parseJsonBuffer(reinterpret_cast<const char *>(data),
                                            static_cast<uint32_t>(size), 0, Count, &from_buffer);
  if (file_ok != buffer_ok || from_file != from_buffer) abort();
  return 0;
}

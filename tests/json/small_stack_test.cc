// Deeply nested documents on a thread with the small stack that daemons give theirs.
#include <gtest/gtest.h>

#include <pthread.h>

#include <functional>
#include <string>

#include "include/jsonnode.h"
#include "json/document_tokens.hpp"

namespace {

using cu_test::Document;

constexpr size_t kDaemonStack = 128 * 1024;

/// Runs `work` on a thread with the small stack.
void OnSmallStack(std::function<void()> work) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, kDaemonStack), 0);
  pthread_t thread;
  ASSERT_EQ(pthread_create(
                &thread, &attributes,
                [](void *run) -> void * {
                  (*static_cast<std::function<void()> *>(run))();
                  return nullptr;
                },
                &work),
            0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}

TEST(SmallStack, HoldsTheDeepestTree) {
  const Document arrays = cu_test::NestedArrays(JSON_NODE_MAX_DEPTH);
  const Document objects = cu_test::NestedObjects(JSON_NODE_MAX_DEPTH);
  OnSmallStack([&] {
    for (const Document *const document : {&arrays, &objects}) {
      JsonNode root = {};
      EXPECT_EQ(CreateDictionary(document->text.c_str(), document->tokens.data(), document->count(),
                                 &root),
                static_cast<int32_t>(document->count()));
      AmbrelFreeJsonNode(&root);
    }
  });
}

TEST(SmallStack, HoldsTheRefusalOfAMillionLevels) {
  const Document document = cu_test::NestedArrays(1000000);
  OnSmallStack([&] {
    JsonNode root = {};
    EXPECT_EQ(
        CreateDictionary(document.text.c_str(), document.tokens.data(), document.count(), &root),
        0);
    AmbrelFreeJsonNode(&root);
  });
}

}  // namespace

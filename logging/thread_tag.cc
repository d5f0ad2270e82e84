#include "logging/thread_tag.hpp"

#include <pthread.h>
#include <stdint.h>
#include <string.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <charconv>

#include "include/dbglog.h"

namespace cu {
namespace {

/// Counts the forks on the way from the first process to this one, from 1 on; 0 while forks are not
/// watched.
uint32_t g_generation = 0;

struct Tag {
  uint32_t generation;  // of the process that made the text; 0 in a new thread
  uint8_t length;
  char text[kThreadTagSize];
};

/// Initial-exec: the first line of a thread must not allocate its thread-local storage.
[[gnu::tls_model("initial-exec")]] thread_local Tag t_tag;

char *AppendNumber(char *dst, long value) {
  return std::to_chars(dst, dst + 11, value).ptr;
}

char *AppendText(char *dst, const char *text, size_t length) {
  memcpy(dst, text, length);
  return dst + length;
}

char *ComposeTag(char *dst) {
  *dst++ = '[';
  dst = AppendNumber(dst, getpid());
  dst = AppendText(dst, " : ", 3);
  dst = AppendNumber(dst, syscall(SYS_gettid));
  *dst++ = ' ';
  return dst;
}

/// A signal handler that logs in the middle of this finds no text yet, and makes its own.
void KeepTag(const char *text, size_t length, uint32_t generation) {
  t_tag.generation = 0;
  __atomic_signal_fence(__ATOMIC_SEQ_CST);
  memcpy(t_tag.text, text, length);
  t_tag.length = static_cast<uint8_t>(length);
  __atomic_signal_fence(__ATOMIC_SEQ_CST);
  t_tag.generation = generation;
}

void ForkedChild() {
  __atomic_store_n(&g_generation, g_generation + 1, __ATOMIC_RELAXED);
  DBGLogCtrl *const block = gDBGLogCtrl;
  if (block == nullptr || block->magic != DBGLOG_MAGIC) return;
  // The thread that held the lock does not exist in this process.
  if (pthread_mutex_trylock(&block->lock) == 0) {
    pthread_mutex_unlock(&block->lock);
  } else {
    pthread_mutex_init(&block->lock, nullptr);
  }
}

void RegisterForkedChild() {
  if (pthread_atfork(nullptr, nullptr, ForkedChild) != 0) return;
  __atomic_store_n(&g_generation, 1U, __ATOMIC_RELAXED);
}

pthread_once_t g_registered = PTHREAD_ONCE_INIT;

}  // namespace

void WatchForks() {
  pthread_once(&g_registered, RegisterForkedChild);
}

char *AppendThreadTag(char *dst) {
  const uint32_t generation = __atomic_load_n(&g_generation, __ATOMIC_RELAXED);
  if (generation != 0 && t_tag.generation == generation) {
    return AppendText(dst, t_tag.text, t_tag.length);
  }
  char *const end = ComposeTag(dst);
  if (generation != 0) KeepTag(dst, static_cast<size_t>(end - dst), generation);
  return end;
}

}  // namespace cu

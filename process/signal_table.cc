#include "include/AmbrelSignalHndlr.h"

#include <stdio.h>

#include "process/signal_table.hpp"

namespace {

struct SignalCallbackEntry {
  uint32_t signalMask;
  AmbrelSignalCallback callback;
  uint32_t id;  // slot index + 1, 0 while the slot is free
  void *argument;
};

SignalCallbackEntry g_callbacks[AMBREL_SIGNAL_CALLBACKS];

// A handler may run between any two instructions of a registration. The id is therefore published
// after the other fields are complete, and withdrawn before they go: a handler on the registering
// thread sees an entry whole or not at all. One that is running on another thread may have read the
// id already and then sees a removal in part.
uint32_t LoadId(const SignalCallbackEntry &entry) {
  return __atomic_load_n(&entry.id, __ATOMIC_ACQUIRE);
}

void ClearEntry(SignalCallbackEntry &entry) {
  __atomic_store_n(&entry.id, 0, __ATOMIC_SEQ_CST);
  entry.signalMask = 0;
  entry.callback = nullptr;
  entry.argument = nullptr;
}

}  // namespace

namespace cu {

void ClearSignalTable() {
  for (SignalCallbackEntry &entry : g_callbacks) ClearEntry(entry);
}

void DispatchSignal(int signal) {
  printf("Sig#: %d\n", signal);
  for (const SignalCallbackEntry &entry : g_callbacks) {
    if (LoadId(entry) == 0) continue;
    printf("Sig# found: %d\n", signal);
    if ((entry.signalMask >> signal & 1U) == 0) continue;
    printf("Sig# found: %d\n", signal);
    // Read once, since a removal on another thread may set it to null behind the test.
    const auto callback = __atomic_load_n(&entry.callback, __ATOMIC_RELAXED);
    if (callback != nullptr) callback(entry.argument);
    return;
  }
}

}  // namespace cu

int32_t InitSignalsWithCallback(AmbrelSignalCallback callback, uint32_t mask, void *argument) {
  for (uint32_t index = 0; index < AMBREL_SIGNAL_CALLBACKS; ++index) {
    SignalCallbackEntry &entry = g_callbacks[index];
    if (LoadId(entry) != 0) continue;
    entry.signalMask = mask;
    entry.callback = callback;
    entry.argument = argument;
    __atomic_store_n(&entry.id, index + 1, __ATOMIC_RELEASE);
    return static_cast<int32_t>(index);
  }
  return 0;
}

void RemoveSignalCallback(uint32_t id) {
  for (SignalCallbackEntry &entry : g_callbacks) {
    if (LoadId(entry) == id) ClearEntry(entry);
  }
}

#include "include/stackmap.h"

#include <stdlib.h>

#include "internal/grow.hpp"

#if UINTPTR_MAX == UINT32_MAX
static_assert(sizeof(Stack) == 24 && offsetof(Stack, count) == 4 && offsetof(Stack, top) == 8);
static_assert(offsetof(Stack, capacity) == 12 && offsetof(Stack, readIndex) == 16);
static_assert(offsetof(Stack, fifoMode) == 20);
#endif

namespace {

/// Slots of a fresh stack, and what each growth adds.
constexpr uint32_t kGrowth = 10;

/// Makes sure that the next push has a slot. The array is also missing when stack_init_() found no
/// memory for it, or was never called on a zeroed record.
bool MakeRoom(Stack &stack) {
  const bool full = stack.count >= stack.capacity;
  if (!full && stack.items != nullptr) return true;
  if (full && stack.count > UINT32_MAX - kGrowth) return false;
  const uint32_t capacity = full ? stack.count + kGrowth : stack.capacity;
  void **const grown = cu::ReallocArray(stack.items, capacity);
  if (grown == nullptr) return false;
  stack.items = grown;
  stack.capacity = capacity;
  return true;
}

void *TakeLast(Stack &stack) {
  --stack.count;
  --stack.top;
  return stack.items[stack.top];
}

}  // namespace

void **stack_init_(Stack *stack) {
  if (stack == nullptr) return nullptr;
  *stack = {};
  stack->items = static_cast<void **>(calloc(kGrowth, sizeof(void *)));
  stack->capacity = kGrowth;
  return stack->items;
}

uint32_t stack_get_size_(const Stack *stack) {
  return stack == nullptr ? 0 : stack->count;
}

void *stack_get_(const Stack *stack, uint32_t index) {
  return stack != nullptr && index < stack->count ? stack->items[index] : nullptr;
}

int stack_push_(Stack *stack, void *item, uint32_t size) {
  if (stack == nullptr || size == 0 || !MakeRoom(*stack)) return 0;
  stack->items[stack->top] = item;
  ++stack->count;
  ++stack->top;
  return 1;
}

void *stack_pop_(Stack *stack) {
  if (stack == nullptr) return nullptr;
  if (stack->fifoMode != 0) {
    return stack->readIndex < stack->count ? stack->items[stack->readIndex++] : nullptr;
  }
  return stack->top == 0 ? nullptr : TakeLast(*stack);
}

void *stack_popfront_(Stack *stack) {
  return stack == nullptr || stack->count == 0 ? nullptr : TakeLast(*stack);
}

void stack_deinit_(Stack *stack, uint32_t freeItems) {
  if (stack == nullptr) return;
  if ((freeItems & 1U) != 0) {
    for (uint32_t i = 0; i < stack->count; ++i) free(stack->items[i]);
  }
  free(stack->items);
}

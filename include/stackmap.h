/**
 * @file stackmap.h
 * @brief Two small containers: a growable stack of pointers and a hash map of copied values.
 *
 * Both are records of the caller. A stack begins with stack_init_() and ends with stack_deinit_().
 * A map begins as a zero-filled record whose key type is set, and ends with map_deinit_().
 *
 * @code
 * Map limits = {0};
 * limits.keyType = MAP_KEY_STRING;
 * uint32_t celsius = 85;
 * map_set_(&limits, "cpu", &celsius, sizeof celsius);
 *
 * const void *value = map_get_(&limits, "cpu");
 * if (value != NULL) memcpy(&celsius, value, sizeof celsius);
 *
 * MapIter iter = map_iter_();
 * for (const char *key; (key = map_next_(&limits, &iter)) != NULL;) puts(key);
 * map_deinit_(&limits);
 * @endcode
 *
 * **Thread safety.** Neither container locks or keeps global state. Reading one from several
 * threads at once is safe as long as none of them changes it.
 *
 * **What surprises users.**
 * - stack_popfront_() takes the item that was pushed last.
 * - A stack in FIFO mode keeps the items that it has handed out.
 * - All values of one map must have one size: replacing a value never resizes its memory.
 * - A map compares keys by their 64-bit hashes alone. The hashes are public and unseeded, so do not
 *   use keys that a stranger chooses where two keys that count as one would do harm.
 * - Values lie at multiples of 4 bytes: read pointers and 64-bit values with memcpy().
 *
 * **Shared arguments.**
 * - `stack`: the stack.
 * - `map`: the map.
 */
#ifndef COMMONUTILITIES_STACKMAP_H
#define COMMONUTILITIES_STACKMAP_H

#include "commonutilities_api.h"

CU_BEGIN_DECLS

/** A growable array of pointers. It never copies or owns what they point to. */
typedef struct Stack {
  void **items;       /**< the pushed pointers; heap memory of the stack */
  uint32_t count;     /**< items held */
  uint32_t top;       /**< index of the next free slot; equals count */
  uint32_t capacity;  /**< slots allocated; grows by 10 */
  uint32_t readIndex; /**< next item that FIFO reading hands out */
  uint32_t fifoMode;  /**< nonzero: stack_pop_() reads from the front; set it after stack_init_() */
} Stack;

/** How a map reads and hashes its keys. Any other value counts as MAP_KEY_STRING. */
enum MapKeyType {
  MAP_KEY_U32 = 0,    /**< keys point to a uint32_t */
  MAP_KEY_STRING = 1, /**< keys are terminated strings */
  MAP_KEY_U64 = 2,    /**< keys point to a uint64_t */
  MAP_KEY_U16 = 3     /**< keys point to a uint16_t */
};

/**
 * One entry of a map: a single heap block of this header, the key bytes and the value bytes.
 *
 * A numeric key takes 12 bytes, of which its own width holds the key and the rest is zero. A string
 * key takes its length and terminator, rounded up to a multiple of 4 with zeros.
 */
typedef struct MapNode {
  uint64_t hash;        /**< 64-bit hash of the key */
  void *value;          /**< the value bytes, behind the key in this block */
  struct MapNode *next; /**< next entry of the same bucket */
} MapNode;

/** A hash map. Zero-fill it and set keyType before the first use. */
typedef struct Map {
  MapNode **buckets; /**< heads of the buckets' chains; null while the map has no bucket */
  uint32_t nbuckets; /**< number of buckets: 0 or a power of two */
  uint32_t nnodes;   /**< number of entries */
  uint32_t keyType;  /**< one of MapKeyType; never change it while the map holds entries */
} Map;

/** A position in a map, made by map_iter_(). Adding or removing entries makes it invalid. */
typedef struct MapIter {
  uint32_t bucketIdx; /**< current bucket; 0xFFFFFFFF before the first */
  MapNode *node;      /**< current entry, or null */
} MapIter;

/**
 * @brief Makes an empty stack with 10 slots. Whatever the record held before is forgotten.
 *
 * @return the slot array; null for a null stack or without memory. A stack without a slot array is
 *         usable all the same: its first push tries again.
 */
CU_API void **stack_init_(Stack *stack);

/**
 * @brief How many items the stack holds, in FIFO mode also those already handed out.
 *
 * @return their number; 0 for a null stack.
 */
CU_API uint32_t stack_get_size_(const Stack *stack);

/**
 * @brief Looks at an item, which stays.
 *
 * @param index 0 is the one pushed first.
 * @return the item; null beyond the last one.
 */
CU_API void *stack_get_(const Stack *stack, uint32_t index);

/**
 * @brief Pushes a pointer. The stack grows by 10 slots when it is full.
 *
 * @param item the pointer to store; null is stored like any other.
 * @param size size of what @p item points to. It is only tested: 0 means there is nothing to push.
 * @return 1, or 0 with the stack unchanged for a null stack, a @p size of 0, or without memory.
 */
CU_API int stack_push_(Stack *stack, void *item, uint32_t size);

/**
 * @brief Takes the item pushed last, or, in FIFO mode, hands out the next one from the front.
 *
 * FIFO reading removes nothing: each item is handed out once, and the size stays what it was.
 *
 * @return the item; null when none is left or for a null stack.
 */
CU_API void *stack_pop_(Stack *stack);

/**
 * @brief Takes the item pushed last, whatever the mode.
 *
 * Despite its name it does not take from the front. To read a stack from its front, use
 * stack_get_() or FIFO mode.
 *
 * @return the item; null for an empty or null stack.
 */
CU_API void *stack_popfront_(Stack *stack);

/**
 * @brief Frees the slot array, and the items first when bit 0 of @p freeItems is set.
 *
 * The record's fields stay as they are, so the stack must not be used or released again before
 * another stack_init_(). Does nothing for a null stack.
 *
 * @param freeItems bit 0 set: every item that is not null goes to free().
 */
CU_API void stack_deinit_(Stack *stack, uint32_t freeItems);

/**
 * @brief The value bytes stored under a key.
 *
 * @param key points to the key as the map's key type says; only the key's own width is read.
 * @return the stored bytes, valid until the entry is removed or the map released, and writable in
 *         place; null for a null argument or an absent key.
 */
CU_API void *map_get_(const Map *map, const void *key);

/**
 * @brief Stores a copy of a value under a key, replacing the value that is there.
 *
 * @param key       points to the key as the map's key type says; copied.
 * @param value     bytes to copy.
 * @param valueSize number of bytes. Give the same size for every value of a map: a replaced value
 *                  is overwritten in place, and one that is larger than the first runs over its
 *                  end.
 * @return 0; -1 for a null argument or without memory, with the entries unchanged.
 */
CU_API int map_set_(Map *map, const void *key, const void *value, uint32_t valueSize);

/**
 * @brief Removes an entry. Does nothing for a null argument or an absent key.
 *
 * @param key as for map_get_().
 */
CU_API void map_remove_(Map *map, const void *key);

/**
 * @brief Frees every entry and the buckets; the map is then empty and may be used again.
 *
 * Memory that values point to is the caller's: free it first. Does nothing for a null map.
 */
CU_API void map_deinit_(Map *map);

/** @brief Starts a walk over the entries. @return a position before the first entry. */
CU_API MapIter map_iter_(void);

/**
 * @brief Moves to the next entry.
 *
 * Entries come by bucket, and within a bucket the newest first.
 *
 * @param iter the walk.
 * @return the entry's stored key, valid as long as the entry: a string, or a number at an address
 *         that is a multiple of 4; null at the end and from then on, or for a null argument.
 */
CU_API const void *map_next_(const Map *map, MapIter *iter);

/** @brief How many entries the map has. @return their number; 0xFFFFFFFF for a null map. */
CU_API uint32_t map_get_numElements_(const Map *map);

/**
 * @brief Copies of all keys, in the order of map_next_().
 *
 * @param outCount receives the number of keys.
 * @return a heap array of heap copies, each as wide as a key of the map's type (strings with their
 *         terminator): free() each of them and then the array, which is there for an empty map too.
 *         Null, with a count of 0, for a null argument or without memory.
 */
CU_API CU_MUST_USE void **map_get_keys_(const Map *map, uint32_t *outCount);

CU_END_DECLS

#endif

/**
 * @file messagequeue.h
 * @brief A circular log of messages in memory, and the byte stream that it is kept in.
 *
 * The queue keeps `capacity` messages; a further one overwrites the slot it lands in. Readers walk
 * over it with an iterator and get copies of their own.
 *
 * @code
 * MessageQueue log;
 * MessageQueueInit(&log, 100);
 * MessageQueueAdd(&log, "fan 3 stopped", 13);
 * MessageQueueAddWithParameters(&log, "sensor %d: %d degrees", sensor, degrees);
 *
 * MessageQueueIter iter;
 * MessageEntry *message;
 * MessageQueueGetIter(&log, &iter);
 * while (MessageQueueGetMessage(&iter, &message) == 0) {
 *   puts((const char *)message->data);
 *   FreeMessageEntry(message);
 * }
 *
 * void *stream;
 * uint32_t length;
 * SerializeMsgQueue(&log, &stream, &length);  // keep it in a file; DeSerializeMsgQueue() reads it
 * free(stream);
 * MessageQueueDeInit(&log);
 * @endcode
 *
 * **The stream** is a row of records without header, count or end mark. A record is, packed and in
 * the machine's byte order: 4 bytes reference count (always 1), 4 bytes length, 1 byte type, and
 * length bytes of data.
 *
 * **Thread safety.** Any threads may use one queue at the same time, between MessageQueueInit() and
 * MessageQueueDeInit(). An iterator belongs to one thread. The messages that readers get are copies
 * and need no lock.
 *
 * **What surprises users.**
 * - Once the queue has wrapped, only the messages since the last wrap are visited and serialised;
 *   older ones stay in their slots unseen. Right after a wrap that is one message.
 * - A stream of 15 bytes or fewer is written but cannot be loaded: a single text of up to 5
 *   characters is lost.
 * - A stream that breaks off within a record loads the records before that and reports success.
 * - Formatted text is cut to twice the length of the format, less one.
 *
 * **Shared arguments.**
 * - `queue`: the queue.
 */
#ifndef COMMONUTILITIES_MESSAGEQUEUE_H
#define COMMONUTILITIES_MESSAGEQUEUE_H

#include <pthread.h>

#include "commonutilities_api.h"

CU_BEGIN_DECLS

/** A message; on the heap, as is its data. */
typedef struct MessageEntry {
  uint32_t refCount; /**< references; FreeMessageEntry() drops one */
  uint32_t length;   /**< bytes of `data`; a text's terminator counts */
  uint8_t type;      /**< 0 for text; other values are the users' own */
  void *data;        /**< `length` bytes from malloc(), or null */
} MessageEntry;

/** A circular log of messages; the owner's memory. */
typedef struct MessageQueue {
  uint16_t count;         /**< messages added since the last wrap */
  uint16_t writeIndex;    /**< slot of the next message */
  uint16_t capacity;      /**< slots */
  uint8_t wraps;          /**< wraps so far, modulo 256 */
  pthread_mutex_t mutex;  /**< guards the fields above and the slots; default attributes */
  MessageEntry **entries; /**< the slots */
  uint8_t initialised;    /**< 1 between MessageQueueInit() and MessageQueueDeInit() */
} MessageQueue;

/** A reader's walk over a queue. */
typedef struct MessageQueueIter {
  MessageQueue *queue; /**< the queue; null after a failed MessageQueueGetIter() */
  uint16_t index;      /**< the next slot */
  uint8_t wraps;       /**< times that the walk passed the last slot */
  uint16_t read;       /**< messages returned so far */
  uint16_t limit;      /**< the queue's `count` when the walk began */
} MessageQueueIter;

/**
 * @brief Makes an empty queue, whatever the record held before.
 * @param capacity number of slots, at least 1.
 * @return 0; -1 for null, a capacity of 0, or when there is no memory.
 */
CU_API int MessageQueueInit(MessageQueue *queue, uint16_t capacity);

/** @brief Releases every message and the slots; the record may be initialised again. */
CU_API void MessageQueueDeInit(MessageQueue *queue);

/**
 * @brief Releases every message. `count` and `writeIndex` stay as they are.
 *
 * So the next message goes to the slot where it would have gone anyway, and until the queue has
 * wrapped a walk finds an empty slot first and ends.
 *
 * @return 1; 0 for null.
 */
CU_API int ClearMessageQueue(MessageQueue *queue);

/**
 * @brief Adds a copy of a text, as type 0; a message in the way is released.
 *
 * @param text   @p length + 1 readable bytes, all of which are stored: normally the terminator is
 *               the last. A byte beyond the message's `length` is always a terminator, so `data`
 *               can be read as a string even when a longer text was cut.
 * @param length characters without the terminator.
 * @return 0; -1 when @p queue or @p text is null, the queue is not initialised, or there is no
 *         memory (the queue is then as before).
 */
CU_API int MessageQueueAdd(MessageQueue *queue, const char *text, uint16_t length);

/**
 * @brief Formats a text and adds it as MessageQueueAdd() does.
 *
 * The text is cut to 2 x strlen(@p format) - 1 characters: "%d" leaves 3 of 123456. Pass
 * "%s" only with short texts, or format yourself and use MessageQueueAdd(). Of a text of 65,536
 * characters or more, the first (length modulo 65,536) characters are stored.
 *
 * @param format printf-like; an empty one adds "".
 * @return 0, also when the text could not be added; -1 when @p format is null or there is no
 *         memory.
 */
CU_API int MessageQueueAddWithParameters(MessageQueue *queue, const char *format, ...)
    CU_PRINTF(2, 3);

/**
 * @brief Adds a message that the caller made; a message in the way is released.
 *
 * @param entry from malloc(), as is its `data`. On success it belongs to the queue, which sets its
 *              `refCount` to 1; on failure it stays the caller's. Never add one entry twice.
 * @return 0; -1 when either is null or the queue is not initialised.
 */
CU_API CU_MUST_USE int MessageQueueAddEntry(MessageQueue *queue, MessageEntry *entry);

/**
 * @brief Starts a walk over the messages added since the last wrap, oldest first.
 *
 * @param iter receives the start of the walk.
 * @return 0; -1 when either is null or the queue is not initialised: the iterator's `queue` is
 *         null.
 */
CU_API int MessageQueueGetIter(MessageQueue *queue, MessageQueueIter *iter);

/**
 * @brief Copies the walk's next message.
 *
 * Messages that are added during the walk may take the place of those not yet visited.
 *
 * @param iter the walk.
 * @param out  receives a message of the caller's own, to be released with FreeMessageEntry(); null
 *             when the result is not 0.
 * @return 0; 2 at the end; -1 when the next slot is empty, the iterator has no queue, either
 *         argument is null, or there is no memory. The walk does not move on then.
 */
CU_API int MessageQueueGetMessage(MessageQueueIter *iter, MessageEntry **out);

/**
 * @brief Copies a message, with a reference count of 1.
 *
 * @param entry the message.
 * @param out   receives the copy, to be released with FreeMessageEntry(); null on failure.
 * @return 0; -1 when either is null or there is no memory.
 */
CU_API int MessageQueueCloneEntry(const MessageEntry *entry, MessageEntry **out);

/**
 * @brief Drops a reference; the last one frees the message and its data.
 *
 * Does nothing for null and for a message whose `refCount` is 0. Takes no lock: it is for messages
 * of the caller's own.
 *
 * @param entry the message.
 */
CU_API void FreeMessageEntry(MessageEntry *entry);

/**
 * @brief Writes the messages that a walk would visit into one stream of records.
 *
 * Messages whose `data` is null are left out. The whole stream shows the queue at one moment.
 *
 * @param out    receives the stream, to be freed with free(); without messages a block of 0 bytes.
 *               Null when the queue is not initialised or there is no memory.
 * @param length receives the stream's bytes; 0 whenever @p out is null.
 * @return 1, also when there is no memory; 0 for a null argument.
 */
CU_API int SerializeMsgQueue(MessageQueue *queue, void **out, uint32_t *length);

/**
 * @brief Adds the messages of a stream to those that the queue holds.
 *
 * The stream may come from anywhere: a record that reaches beyond its end, or a rest too short for
 * a record, ends the loading.
 *
 * @param buffer the stream, at any address; read only.
 * @param length its bytes, at least 16.
 * @return 1, also when the stream broke off, the queue is not initialised or there is no memory; 0
 *         when either pointer is null or @p length is 15 or less.
 */
CU_API int DeSerializeMsgQueue(MessageQueue *queue, const void *buffer, int32_t length);

CU_END_DECLS

#endif

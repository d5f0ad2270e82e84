// Messages as the message queue makes them, shared with the stream that it is kept in.
#ifndef COMMONUTILITIES_MESSAGING_MESSAGE_QUEUE_HPP
#define COMMONUTILITIES_MESSAGING_MESSAGE_QUEUE_HPP

#include <stdint.h>

#include <memory>

#include "include/messagequeue.h"

namespace cu {

struct MessageDeleter {
  void operator()(MessageEntry *message) const { FreeMessageEntry(message); }
};
using OwnedMessage = std::unique_ptr<MessageEntry, MessageDeleter>;

/// A message with a copy of `length` bytes and one reference; null when there is no memory. A
/// terminator follows the copy, so that data of any origin can be read as a string.
OwnedMessage NewMessage(uint8_t type, const void *data, uint32_t length);

/// Whether a queue's lock and slots exist; needs no lock.
bool IsInitialised(const MessageQueue *queue);

}  // namespace cu

#endif

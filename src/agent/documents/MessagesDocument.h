// The kept log messages as JSON.
#pragma once

#include <cstdint>
#include <memory>

#include "agent/documents/Document.h"
#include "agent/logs/MessageStore.h"
#include "base/JsonText.h"

namespace Agent {

// An object with everything of a message.
void writeMessage(Base::JsonWriter & writer, StoredMessage const & stored);

// {"messages": [...]}: those with a number above `after`, oldest first. It is written while it is read,
// message by message, up to the latest one at the call. Messages that are dropped meanwhile are left out. The
// store must outlive it.
std::unique_ptr<Document> messagesDocument(MessageStore const & store, std::uint64_t after);

}  // namespace Agent

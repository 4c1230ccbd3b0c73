// The history of one disk as JSON.
#pragma once

#include <memory>

#include "agent/documents/Document.h"
#include "agent/history/History.h"

namespace Agent {

// The latest hours, oldest row first, as an array per figure, all of one length; times in seconds since 1970.
// An array has null where nothing was read. It also has null for a row that was dropped after the document
// was begun, as it may be for a reader that takes very long. A disk without a history has empty arrays.
//
// `utcOffset` is UTC minus framework time. The history must outlive the document.
std::unique_ptr<Document> historyDocument(History const & history, Pelm::String const & serial,
                                          unsigned hours, Vorn::Seconds utcOffset);

}  // namespace Agent

// The whole text of a document that is written while it is read.
#pragma once

#include <string>
#include <utility>

#include "agent/documents/Document.h"
#include "agent/documents/PiecedJson.h"

namespace Support {

inline std::string documentText(Agent::Document & document) {
   std::string text;
   for (std::string_view piece = document.next(); !piece.empty(); piece = document.next())
      text += piece;
   return text;
}

inline std::string documentText(Agent::JsonValue value) {
   Agent::PiecedJson document{std::move(value)};
   return documentText(document);
}

}  // namespace Support

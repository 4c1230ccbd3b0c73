#include "command/CatalogueText.h"

#include "base/JsonText.h"
#include "base/Text.h"

namespace Command {

namespace {

void writeEntry(Base::JsonWriter & writer, CatalogueEntry const & entry) {
   writer.StartObject();
   Base::writeMember(writer, "name", entry.name);
   Base::writeMember(writer, "severity", entry.severity);
   Base::writeMember(writer, "format", entry.format);
   Base::writeMember(writer, "explanation", entry.explanation);
   if (entry.standardAction)
      Base::writeMember(writer, "recommendedAction", *entry.standardAction);
   else
      Base::writeMember(writer, "recommendedAction", entry.recommendedAction);
   writer.EndObject();
}

}  // namespace

std::string catalogueJson(std::span<CatalogueEntry const> entries) {
   Base::JsonBuffer buffer;
   Base::JsonWriter writer{buffer};
   writer.StartObject();
   writer.Key("messages");
   writer.StartArray();
   for (CatalogueEntry const & entry : entries)
      writeEntry(writer, entry);
   writer.EndArray();
   writer.EndObject();
   return std::string{buffer.GetString(), buffer.GetSize()} + "\n";
}

std::string catalogueText(std::span<CatalogueEntry const> entries) {
   std::string result;
   for (CatalogueEntry const & entry : entries) {
      result += result.empty() ? "" : "\n";
      result += Base::escaped(entry.name) + " (" + std::string{Base::severityWord(entry.severity)} + ")\n";
      result += "   " + Base::escaped(entry.format) + "\n";
      result += "   Meaning: " + Base::escaped(entry.explanation) + "\n";
      result += "   Action:  " + Base::escaped(entry.recommendedAction) + "\n";
   }
   return result;
}

}  // namespace Command

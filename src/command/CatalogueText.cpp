#include "command/CatalogueText.h"

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include "base/Text.h"

namespace Agent {

namespace {

using Writer = rapidjson::PrettyWriter<rapidjson::StringBuffer>;

void writeText(Writer & writer, std::string_view text) {
   std::string const valid = Base::validUtf8(text);
   writer.String(valid.data(), static_cast<rapidjson::SizeType>(valid.size()));
}

void writeEntry(Writer & writer, CatalogueEntry const & entry) {
   writer.StartObject();
   writer.Key("name");
   writeText(writer, entry.name);
   writer.Key("severity");
   writer.Int(entry.severity);
   writer.Key("format");
   writeText(writer, entry.format);
   writer.Key("explanation");
   writeText(writer, entry.explanation);
   writer.Key("recommendedAction");
   if (entry.standardAction)
      writer.Uint(*entry.standardAction);
   else
      writeText(writer, entry.recommendedAction);
   writer.EndObject();
}

}  // namespace

std::string catalogueJson(std::span<CatalogueEntry const> entries) {
   rapidjson::StringBuffer buffer;
   Writer writer{buffer};
   writer.SetIndent(' ', 2);
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

}  // namespace Agent

#include "nvme-compat/NvmeLayout.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <new>
#include <optional>

#include "nvme-compat/JsonIndex.h"
#include "nvme-compat/ListLayout.h"
#include "nvme-compat/WholeNumber.h"

namespace NvmeCompat {

namespace {

using Kind = JsonIndex::Kind;
using Value = JsonIndex::Value;

// The keys of a smart log that the library reads.
constexpr std::string_view temperature = "temperature";
constexpr std::string_view smartLogKeys[] = {
    "critical_warning",    "temperature",          "avail_spare",         "spare_thresh",
    "percent_used",        "data_units_read",      "data_units_written",  "host_read_commands",
    "host_write_commands", "controller_busy_time", "power_cycles",        "power_on_hours",
    "unsafe_shutdowns",    "media_errors",         "num_err_log_entries", "warning_temp_time",
    "critical_comp_time"};

bool isSmartLogKey(std::string_view name) {
   return std::find(std::begin(smartLogKeys), std::end(smartLogKeys), name) != std::end(smartLogKeys);
}

bool hasExpectedKeys(NvmeCommand command, JsonIndex const & json) {
   auto const members = json.children(json.root());
   return std::any_of(members.begin(), members.end(), [command](Value const * member) {
      return command == NvmeCommand::list ? member->name == "Devices" : isSmartLogKey(member->name);
   });
}

std::string smartLog(JsonIndex const & json) {
   std::vector<Edit> edits;
   for (Value const * const member : json.children(json.root())) {
      if (!isSmartLogKey(member->name))
         continue;
      Value const * const spread = json.member(member, "value");
      Value const & value = spread != nullptr ? *spread : *member;
      std::optional<std::int64_t> number;
      if (value.kind == Kind::number)
         number = truncatedJsonNumber(json.written(value));
      else if (value.kind == Kind::string)
         number = truncatedQuotedNumber(value.text);
      // The library reads a temperature of 32 bits; no drive's reading exceeds them.
      if (number && (member->name != temperature || *number <= std::numeric_limits<std::int32_t>::max()))
         edits.push_back({member->begin, member->end, std::to_string(*number)});
   }
   return edited(json.text(), edits);
}

// The tool prints an error as {"error": "…"} or as an "error" that is an object. It may also stand under a
// heading such as "Error: smart log": [{"error": "…", "type": "nvme"}].
Value const * errorOf(JsonIndex const & json) {
   if (Value const * const error = json.member(&json.root(), "error"))
      return error;
   for (Value const * const member : json.children(json.root())) {
      bool const isHeading = member->name.starts_with("Error: ") || member->name.starts_with("status: ");
      if (isHeading && (member->kind == Kind::object || member->kind == Kind::array))
         return member;
   }
   return nullptr;
}

std::string inOneLine(std::string text) {
   constexpr std::size_t longest = 1000;
   std::replace_if(
       text.begin(), text.end(), [](unsigned char c) { return c < 0x20 || c == 0x7f; }, ' ');
   return text.substr(0, longest);
}

std::string errorText(JsonIndex const & json, Value const & error) {
   std::string text = error.kind == Kind::string ? error.text : std::string(json.written(error));
   if (error.name != "error")
      text.insert(0, error.name + ": ");
   return inOneLine(text);
}

// The object that is the output, or that ends it behind other text. Only the first few braces behind such a
// text are tried, since each attempt reads the rest.
std::optional<JsonIndex> documentIn(std::string_view output) {
   std::size_t begin = output.find('{');
   if (begin == output.find_first_not_of(" \t\r\n"))
      return JsonIndex::of(output);  // a part of a damaged document is not the requested one
   for (int tries = 8; tries > 0 && begin != std::string_view::npos; --tries) {
      if (auto json = JsonIndex::of(output.substr(begin)))
         return json;
      std::size_t const line = output.find("\n{", begin);
      begin = line == std::string_view::npos ? line : line + 1;
   }
   return std::nullopt;
}

Layout layoutOf(NvmeCommand command, std::string_view output) {
   auto const json = documentIn(output);
   if (!json)
      return {};
   if (!hasExpectedKeys(command, *json)) {
      Value const * const error = errorOf(*json);
      return error != nullptr ? Layout{Layout::Kind::error, errorText(*json, *error)} : Layout{};
   }
   std::string text = command == NvmeCommand::list ? listLayout(*json) : smartLog(*json);
   if (text == output)
      return {};
   return {Layout::Kind::rewritten, std::move(text)};
}

}  // namespace

Layout knownLayout(NvmeCommand command, std::string_view output) {
   try {
      return layoutOf(command, output);
   } catch (std::bad_alloc const &) {
      return {};
   }
}

}  // namespace NvmeCompat

#include "manual/ManualTables.h"

#include "base/Text.h"

namespace Manual {

namespace {

// What a device puts into the text of a reason is named by this word.
constexpr char detail[] = "\u2026";

std::string trimmed(std::string_view text) {
   auto const begin = text.find_first_not_of(" \t");
   if (begin == std::string_view::npos)
      return {};
   return std::string{text.substr(begin, text.find_last_not_of(" \t") - begin + 1)};
}

// A comment of several lines becomes one paragraph.
void addSentence(std::string & paragraph, std::string_view line) {
   paragraph += paragraph.empty() ? "" : " ";
   paragraph += trimmed(line);
}

std::string entry(std::string_view term, std::string_view meaning) {
   return "*" + plain(term) + "*\n\t" + plain(meaning) + "\n\n";
}

// "{serial, name}"; empty without a label.
std::string labelsOf(Agent::MetricDefinition const & metric) {
   std::string labels;
   for (char const * const label : metric.labels)
      if (label)
         labels.append(labels.empty() ? "{" : ", ").append(label);
   return labels.empty() ? labels : labels + "}";
}

// The reader of the installed configuration, line by line.
class Configuration {
 public:
   void add(std::string_view line);
   std::string table() && { return std::move(table_); }

 private:
   void addSetting(std::string_view setting, std::string_view comment);

   std::string table_;
   std::string before_;  // the comment above a key
};

void Configuration::add(std::string_view line) {
   bool const isComment = trimmed(line).starts_with("# ");
   if (isComment && line.starts_with(' ')) {
      table_.resize(table_.size() - 2);  // the rest of the comment beside the last key
      table_ += " " + plain(trimmed(trimmed(line).substr(1))) + "\n\n";
   } else if (isComment) {
      addSentence(before_, line.substr(1));
   } else if (line.empty()) {
      before_.clear();
   } else {
      std::string_view const setting = line.starts_with('#') ? line.substr(1) : line;
      auto const comment = setting.rfind(" # ");
      bool const hasComment = comment != std::string_view::npos;
      addSetting(trimmed(setting.substr(0, comment)), hasComment ? setting.substr(comment + 3) : "");
   }
}

void Configuration::addSetting(std::string_view setting, std::string_view comment) {
   addSentence(before_, comment);
   std::string const meaning = trimmed(before_);
   before_.clear();
   if (setting.starts_with('['))
      table_ += "## " + plain(setting) + "\n\n" + (meaning.empty() ? "" : plain(meaning) + "\n\n");
   else
      table_ += entry(setting, meaning.empty() ? "An example." : meaning);
}

}  // namespace

std::string plain(std::string_view text) {
   std::string result;
   for (char const c : text) {
      if (std::string_view{"\\*_<>#"}.find(c) != std::string_view::npos)
         result += '\\';
      result += c;
   }
   return result;
}

std::string messagesTable(std::span<Vorn::LogDescriptor const> messages) {
   std::string table;
   for (Vorn::LogDescriptor const & message : messages)
      table += "## " + plain(message.name) + "\n\n" + plain(message.format) + "\n\n" +
               entry("Severity", Base::severityWord(message.severity)) +
               entry("Meaning", message.explanation) + entry("Action", message.recommendedAction.text());
   return table;
}

std::string verdictsTable(std::span<Agent::VerdictRule const> rules) {
   std::string table;
   char const * section = nullptr;
   for (Agent::VerdictRule const & rule : rules) {
      char const * const verdict = Agent::verdictWord(rule.verdict);
      if (section != verdict)
         table += std::string{"## "} + verdict + "\n\n";
      section = verdict;
      table += entry(rule.code, reasonText(rule, {detail}));
   }
   return table;
}

std::string metricsTable(std::span<Agent::MetricDefinition const * const> metrics) {
   std::string table;
   for (Agent::MetricDefinition const * const metric : metrics)
      table += "*" + plain(metric->name) + "*" + plain(labelsOf(*metric)) + ", " +
               Agent::typeWord(metric->type) + "\n\t" + plain(metric->help) + "\n\n";
   return table;
}

std::string configurationTable(std::istream & configuration) {
   Configuration reader;
   for (std::string line; std::getline(configuration, line);)
      reader.add(line);
   return std::move(reader).table();
}

}  // namespace Manual

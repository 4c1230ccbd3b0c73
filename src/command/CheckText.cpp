// The line of the plugin. Monitoring systems cut long ones, so every part of it has a bound.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "base/Text.h"
#include "command/Check.h"

namespace Command {

namespace {

constexpr std::size_t maxText = 2000;  // bytes before the performance data
constexpr std::size_t maxLine = 8000;  // bytes
constexpr std::size_t maxName = 64;    // cells of a serial number or a device
constexpr std::size_t maxReason = 300;

// A bar would begin the performance data. Some monitoring pages show angle brackets as markup.
std::string plain(std::string_view text, std::size_t width) {
   std::string result = Base::cutToWidth(Base::escaped(text.substr(0, 4 * width)), width);
   std::replace(result.begin(), result.end(), '|', '/');
   std::replace(result.begin(), result.end(), '<', '(');
   std::replace(result.begin(), result.end(), '>', ')');
   return result;
}

std::string nameOf(CheckedDisk const & disk) {
   std::string const device = plain(disk.device, maxName);
   return plain(disk.serial, maxName) + (device.empty() ? "" : " (" + device + ")");
}

// "SERIAL (/dev/sda) failing: a reason, another".
std::string sentenceOf(CheckedDisk const & disk) {
   std::string reasons;
   for (CheckedReason const & reason : disk.reasons)
      reasons.append(reasons.empty() ? "" : ", ").append(reason.text.substr(0, maxReason));
   std::string const verdict = plain(disk.verdict, maxName);
   return nameOf(disk) + " " + verdict + (reasons.empty() ? "" : ": " + plain(reasons, maxReason));
}

// Sentences behind each other while there is room, then the number of the others.
class Sentences {
 public:
   void add(std::string const & sentence) {
      constexpr std::size_t reserve = sizeof "; and 18446744073709551615 more";
      bool const fits = left_ == 0 && text_.size() + sentence.size() + reserve <= maxText;
      if (fits)
         text_.append(text_.empty() ? "" : "; ").append(sentence);
      else
         ++left_;
   }
   std::string text() const {
      return left_ == 0 ? text_ : text_ + "; and " + std::to_string(left_) + " more";
   }

 private:
   std::string text_;
   std::size_t left_ = 0;
};

std::string sentencesOf(CheckResult const & result) {
   Sentences sentences;
   auto const addDisks = [&](bool critical) {
      for (CheckedDisk const & disk : result.disks)
         if ((disk.status == PluginStatus::critical) == critical)
            sentences.add(sentenceOf(disk));
   };
   addDisks(true);
   for (std::string const & mountPoint : result.missing)
      sentences.add(plain(mountPoint, maxName) + " missing: no disk is connected for it");
   if (!result.remark.empty())
      sentences.add(plain(result.remark, maxReason));
   addDisks(false);
   return sentences.text();
}

std::string number(double value) {
   std::array<char, 32> text{};
   std::snprintf(text.data(), text.size(), "%.6g", value);
   return text.data();
}

// Digits, a point and a sign alone are allowed in a value.
bool isPlainNumber(double value) {
   return std::isfinite(value) && std::abs(value) < 1e6 && (value == 0 || std::abs(value) >= 1e-3);
}

std::string number(std::optional<double> const & value) {
   return value && isPlainNumber(*value) ? number(*value) : "";
}

// A label is quoted, and has neither an equals sign nor a quote. Other characters that a monitoring system or
// its shell may read are written as %XX too.
std::string label(std::string_view text) {
   constexpr std::string_view allowed = " ._:-+/";
   std::string result = "'";
   for (char const c : text) {
      bool const isWord = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
      std::array<char, 4> code{};
      std::snprintf(code.data(), code.size(), "%%%02X", static_cast<unsigned char>(c));
      if (isWord || allowed.find(c) != std::string_view::npos)
         result += c;
      else
         result += code.data();
   }
   return result + "'";
}

// 'label'=value[unit];warning;critical;least;greatest, without the separators at the end.
std::string datum(std::string_view name, std::string const & value, std::string thresholds) {
   while (thresholds.ends_with(';'))
      thresholds.pop_back();
   return " " + label(name) + "=" + value + thresholds;
}

std::string countData(CheckResult const & result) {
   std::string text;
   for (auto const & [verdict, count] : result.counts) {
      char const * const thresholds = statusOf(verdict) == PluginStatus::critical  ? ";;0;0"
                                      : statusOf(verdict) == PluginStatus::warning ? ";0;;0"
                                                                                   : ";;;0";
      text += datum(verdict, std::to_string(count), thresholds);
   }
   return text + datum("missing", std::to_string(result.missing.size()), ";;0;0");
}

std::string diskData(CheckedDisk const & disk, CheckResult const & result) {
   std::string const serial = disk.serial.substr(0, maxName);
   std::string text;
   if (disk.temperature && isPlainNumber(*disk.temperature))
      text += datum(serial + " temperature", number(*disk.temperature),
                    ";" + number(disk.overheat) + ";" + number(disk.critical));
   // A range from a value upwards: alarm below it.
   auto const least = [](std::string const & value) { return ";" + value + (value.empty() ? "" : ":"); };
   if (disk.lifeLeft && isPlainNumber(*disk.lifeLeft))
      text += datum(serial + " life left", number(*disk.lifeLeft) + "%",
                    least(number(result.lifeWarning)) + least(number(result.lifeFailing)) + ";0;100");
   return text;
}

// The disks by serial number, so that the same ones are left out each time.
std::string performanceData(CheckResult const & result, std::size_t room) {
   std::string text = countData(result);
   std::map<std::string, std::string> bySerial;
   for (CheckedDisk const & disk : result.disks)
      bySerial[disk.serial] = diskData(disk, result);
   for (auto const & [serial, data] : bySerial)
      if (text.size() + data.size() <= room)
         text += data;
   return text;
}

std::string headOf(PluginStatus status) {
   return "STORAGE " + std::string{statusWord(status)} + " - ";
}

}  // namespace

std::string checkLine(CheckResult const & result) {
   std::string const text = headOf(result.status) + sentencesOf(result) + " |";
   return text + performanceData(result, maxLine - text.size() - 1) + "\n";
}

std::string unknownLine(std::string_view why) {
   return headOf(PluginStatus::unknown) + plain(why, maxText) + "\n";
}

}  // namespace Command

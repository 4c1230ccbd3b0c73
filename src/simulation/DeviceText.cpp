#include "simulation/DeviceText.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace StorageDevices::Simulation {

namespace {

bool printable(char c) {
   return c >= 0x20 && c < 0x7f;
}

bool printable(std::string_view text) {
   return std::all_of(text.begin(), text.end(), [](char c) { return printable(c); });
}

void nameChecked(std::string_view name) {
   bool const good = !name.empty() && printable(name) && name.find('=') == std::string_view::npos &&
                     name.front() != '/' && name.find("..") == std::string_view::npos;
   if (!good)
      throw std::invalid_argument("'" + std::string(name) + "' is no name of a property or attribute");
}

// udev's properties are lines of the file "uevent".
void propertyValueChecked(std::string_view name, std::string_view value) {
   if (value.find_first_of(std::string_view("\n\0", 2)) != std::string_view::npos)
      throw std::invalid_argument("property " + std::string(name) + " holds a line feed or NUL");
}

std::string hexadecimal(std::string_view bytes) {
   static constexpr std::string_view digits = "0123456789ABCDEF";
   std::string text;
   for (char const c : bytes) {
      auto const byte = static_cast<unsigned char>(c);
      text += digits[byte >> 4U];
      text += digits[byte & 15U];
   }
   return text;
}

std::string attributeLine(std::string const & name, std::string const & value) {
   bool const endsLine = !value.empty() && value.back() == '\n';
   std::string_view const line(value.data(), value.size() - (endsLine ? 1 : 0));
   if (!printable(line) || line.find('\\') != std::string_view::npos)
      return "H: " + name + "=" + hexadecimal(value) + "\n";
   return "A: " + name + "=" + std::string(line) + (endsLine ? "\\n" : "") + "\n";
}

}  // namespace

std::string_view DeviceRecord::name() const {
   return std::string_view(path).substr(path.rfind('/') + 1);
}

DeviceText::DeviceText(std::string path, std::string_view subsystem)
    : path_(std::move(path)), subsystem_(subsystem) {
   if (!path_.starts_with("/devices/") || path_.ends_with('/') || !printable(path_) ||
       path_.find("..") != std::string::npos || path_.find("//") != std::string::npos)
      throw std::invalid_argument("'" + path_ + "' is no path of a device");
}

DeviceText & DeviceText::node(std::string_view name) {
   node_ = name;
   return property("DEVNAME", "/dev/" + node_);
}

DeviceText & DeviceText::property(std::string_view name, std::string_view value) {
   properties_.insert_or_assign(std::string(name), std::string(value));
   return *this;
}

DeviceText & DeviceText::attribute(std::string_view name, std::string_view value) {
   attributes_.insert_or_assign(std::string(name), std::string(value) + '\n');
   return *this;
}

DeviceText & DeviceText::link(std::string_view name, std::string_view target) {
   links_.insert_or_assign(std::string(name), std::string(target));
   return *this;
}

DeviceText & DeviceText::propertiesAre(std::map<std::string, std::string> const & values) {
   for (auto const & [name, value] : values)
      property(name, value);
   return *this;
}

DeviceText & DeviceText::attributesAre(std::map<std::string, std::string> const & values) {
   for (auto const & [name, value] : values)
      attribute(name, value);
   return *this;
}

DeviceText & DeviceText::absentAre(std::set<std::string> const & names) {
   for (auto const & name : names) {
      properties_.erase(name);
      attributes_.erase(name);
   }
   return *this;
}

DeviceRecord DeviceText::record() const {
   DeviceRecord record{path_, subsystem_, "P: " + path_ + "\n", {}};
   if (!node_.empty() && properties_.contains("DEVNAME"))
      record.text += "N: " + node_ + "\n";
   record.text += "E: SUBSYSTEM=" + subsystem_ + "\n";
   for (auto const & [name, value] : properties_) {
      nameChecked(name);
      propertyValueChecked(name, value);
      if (printable(value))
         record.text.append("E: ").append(name).append("=").append(value).append("\n");
      else
         record.rawProperties.emplace_back(name, value);
   }
   for (auto const & [name, value] : attributes_) {
      nameChecked(name);
      record.text += attributeLine(name, value);
   }
   for (auto const & [name, target] : links_)
      record.text.append("L: ").append(name).append("=").append(target).append("\n");
   return record;
}

}  // namespace StorageDevices::Simulation

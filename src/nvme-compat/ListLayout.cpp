#include "nvme-compat/ListLayout.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include "nvme-compat/WholeNumber.h"

namespace NvmeCompat {

namespace {

using Kind = JsonIndex::Kind;
using Value = JsonIndex::Value;

constexpr std::int64_t int32Max = std::numeric_limits<std::int32_t>::max();

std::optional<std::int64_t> numberOf(JsonIndex const & json, Value const * value) {
   if (value == nullptr)
      return std::nullopt;
   if (value->kind == Kind::string)
      return truncatedQuotedNumber(value->text);
   if (value->kind != Kind::number)
      return std::nullopt;
   std::string_view const written = json.written(*value);
   if (!written.starts_with('-'))
      return truncatedJsonNumber(written);
   auto const amount = truncatedJsonNumber(written.substr(1));
   return amount ? std::optional{-*amount} : std::nullopt;
}

// A drive of n gigabytes has `of50` + (n - 50) * `each` sectors, by the rule that the manufacturers agreed
// on.
struct SectorRule {
   std::int64_t sectorSize;
   std::int64_t of50;
   std::int64_t each;
};
constexpr SectorRule sectorRules[] = {{512, 97696368, 1953504}, {4096, 12212046, 244188}};

// The size for the lower 32 bits of the number of sectors. The rule's counts differ in these bits far beyond
// the sizes tried here, so the first match is the only one.
std::optional<std::int64_t> sizeFromLowBits(std::int64_t sectorSize, std::uint32_t lowBits) {
   constexpr std::int64_t highest = 63;
   for (SectorRule const & rule : sectorRules)
      for (std::int64_t high = 0; rule.sectorSize == sectorSize && high <= highest; ++high) {
         std::int64_t const sectors = high * (std::int64_t{1} << 32U) + lowBits;
         if (sectors >= rule.of50 && (sectors - rule.of50) % rule.each == 0)
            return sectors * sectorSize;
      }
   return std::nullopt;
}

std::optional<std::int64_t> sizeFromSectors(JsonIndex const & json, Value const & device) {
   auto const sectorSize = numberOf(json, json.member(&device, "SectorSize"));
   auto const sectors = numberOf(json, json.member(&device, "MaximumLBA"));
   if (!sectorSize || !sectors || *sectors < -int32Max - 1 || *sectors > int32Max)
      return std::nullopt;
   return sizeFromLowBits(*sectorSize, static_cast<std::uint32_t>(*sectors));
}

// The size as JSON.
std::string sizeOf(JsonIndex const & json, Value const & device, Value const & size) {
   auto number = numberOf(json, &size);
   if (!number)
      return std::string(json.written(size));
   // The largest number of 32 bits stands for an overflow: no drive has an odd number of bytes.
   if (*number < 0 || *number == int32Max)
      number = sizeFromSectors(json, device);
   return number ? std::to_string(*number) : "null";
}

bool isNested(JsonIndex const & json, Value const & device) {
   return json.member(&device, "Subsystems") != nullptr && json.member(&device, "DevicePath") == nullptr;
}

// For a device of the flat layout.
std::optional<Edit> sizeEdit(JsonIndex const & json, Value const & device) {
   Value const * const size = json.member(&device, "PhysicalSize");
   if (size == nullptr)
      return std::nullopt;
   return Edit{size->begin, size->end, sizeOf(json, device, *size)};
}

// The objects in the array of that name.
std::vector<Value const *> objectsIn(JsonIndex const & json, Value const & value, std::string_view name) {
   std::vector<Value const *> objects;
   Value const * const array = json.member(&value, name);
   if (array == nullptr || array->kind != Kind::array)
      return objects;
   for (Value const * const element : json.children(*array))
      if (element->kind == Kind::object)
         objects.push_back(element);
   return objects;
}

class Flattening {
 public:
   explicit Flattening(JsonIndex const & json) : json_(json) {}

   void add(Value const & device) {
      if (!isNested(json_, device))
         return addFlat(device);
      for (Value const * const subsystem : objectsIn(json_, device, "Subsystems"))
         addSubsystem(*subsystem);
   }

   std::string text() const { return '[' + elements_ + ']'; }

 private:
   void addFlat(Value const & device) {
      std::vector<Edit> edits;
      if (auto edit = sizeEdit(json_, device))
         edits.push_back({edit->begin - device.begin, edit->end - device.begin, edit->text});
      push(edited(json_.written(device), edits));
   }

   void addSubsystem(Value const & subsystem) {
      auto const controllers = objectsIn(json_, subsystem, "Controllers");
      for (Value const * const controller : controllers)
         for (Value const * const space : objectsIn(json_, *controller, "Namespaces"))
            addNamespace(*space, controller);
      for (Value const * const space : objectsIn(json_, subsystem, "Namespaces")) {
         auto const paths = objectsIn(json_, *space, "Paths");
         if (!controllers.empty())
            addNamespace(*space, controllers.front());
         else
            addNamespace(*space, paths.empty() ? nullptr : paths.front());
      }
   }

   void addNamespace(Value const & space, Value const * identity) {
      Value const * const name = json_.member(&space, "NameSpace");
      if (name == nullptr || name->kind != Kind::string || name->text.empty() ||
          name->text.find('/') != std::string::npos)
         return;
      std::string text = "{\"DevicePath\":\"/dev/";
      text.append(json_.written(*name).substr(1));
      for (std::string_view const key : {"Firmware", "ModelNumber", "SerialNumber"})
         append(text, key, json_.member(identity, key));
      for (std::string_view const key : {"NSID", "UsedBytes", "MaximumLBA", "SectorSize"})
         append(text, key == "NSID" ? "NameSpace" : key, json_.member(&space, key));
      if (Value const * const size = json_.member(&space, "PhysicalSize"))
         text.append(",\"PhysicalSize\":").append(sizeOf(json_, space, *size));
      push(text + '}');
   }

   // Every namespace repeats an identity. One longer than a drive's (40 characters, possibly escaped) could
   // make a list of gigabytes.
   void append(std::string & text, std::string_view key, Value const * value) const {
      constexpr std::size_t longest = 256;
      if (value != nullptr && json_.written(*value).size() <= longest)
         text.append(",\"").append(key).append("\":").append(json_.written(*value));
   }

   void push(std::string const & element) {
      elements_ += elements_.empty() ? "\n" : ",\n";
      elements_ += element;
   }

   JsonIndex const & json_;
   std::string elements_;
};

}  // namespace

std::string listLayout(JsonIndex const & json) {
   Value const * const devices = json.member(&json.root(), "Devices");
   if (devices == nullptr || devices->kind != Kind::array)
      return std::string(json.text());
   auto const elements = json.children(*devices);
   std::vector<Edit> edits;
   if (std::any_of(elements.begin(), elements.end(),
                   [&json](Value const * device) { return isNested(json, *device); })) {
      Flattening flattening(json);
      for (Value const * const device : elements)
         flattening.add(*device);
      edits.push_back({devices->begin, devices->end, flattening.text()});
   } else {
      for (Value const * const device : elements)
         if (auto edit = sizeEdit(json, *device))
            edits.push_back(std::move(*edit));
   }
   return edited(json.text(), edits);
}

}  // namespace NvmeCompat

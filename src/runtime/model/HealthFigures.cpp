#include "runtime/model/HealthFigures.h"

#include <algorithm>
#include <charconv>
#include <string>
#include <string_view>

namespace StorageDevices {

namespace {

constexpr double percentWhole = 100;

// The row says how much is used, and its value rises with it: as a normalised value that cannot be trusted.
bool valueRisesWithUse(SmartAttr const & attr) {
   constexpr std::uint8_t half = 50;
   return attr.name.view().find("Used") != std::string_view::npos && attr.raw == attr.value &&
          attr.value != half && attr.reportedValue == attr.value;
}

// Bytes of a unit of attribute 241; 0: not known.
double unitOfWrites(std::string_view name) {
   if (name == "Total_LBAs_Written")
      return 512;
   return name == "Host_Writes_32MiB" ? 32 * 1048576.0 : 0;
}

std::optional<double> plausibleHours(double hours) {
   constexpr double aCentury = 876600;
   return hours >= 0 && hours <= aCentury ? std::optional{hours} : std::nullopt;
}

std::optional<double> leadingNumber(std::string_view text) {
   std::uint32_t number = 0;
   auto const read = std::from_chars(text.data(), text.data() + text.size(), number);
   return read.ec == std::errc{} ? std::optional<double>{number} : std::nullopt;
}

// Empty for a value that was never read.
std::optional<double> valueOf(NvmeAttr const & attr) {
   return attr.name.empty() ? std::nullopt : std::optional<double>{static_cast<double>(attr.value)};
}

}  // namespace

std::optional<double> lifeLeft(DeviceSmartData const & record) {
   auto const & attr = record.lifetimeRemaining();
   if (!attr || valueRisesWithUse(*attr))
      return std::nullopt;
   auto const left = static_cast<double>(attr->reportedValue);
   return left >= 0 && left <= percentWhole ? std::optional{left} : std::nullopt;
}

std::optional<double> lifeLeft(DeviceNvmeData const & record) {
   auto const used = valueOf(record.percentageUsed());
   return used ? std::optional{std::clamp(percentWhole - *used, 0.0, percentWhole)} : std::nullopt;
}

std::optional<double> lifeLeft(DeviceEmmcData const & record) {
   std::optional<double> left;
   for (int const percent :
        {record.lifetimeEstTypA().percentValue(), record.lifetimeEstTypB().percentValue()})
      if (percent >= 0)
         left = std::min<double>(left.value_or(percentWhole), percent);
   return left;
}

std::optional<double> bytesWritten(DeviceSmartData const & record) {
   auto const & attr = record.totalLbasWritten();
   double const unit = attr ? unitOfWrites(attr->name.view()) : 0;
   if (unit == 0 || attr->raw < 0)
      return std::nullopt;
   return static_cast<double>(attr->raw) * unit;
}

std::optional<double> bytesWritten(DeviceNvmeData const & record) {
   constexpr double dataUnit = 512000;
   auto const units = valueOf(record.dataUnitsWritten());
   return units && *units >= 0 ? std::optional{*units * dataUnit} : std::nullopt;
}

std::optional<double> bytesWritten(IOStat const & history) {
   auto const newest = history.topMeasurement();
   return newest ? std::optional{static_cast<double>(newest->bytesWritten)} : std::nullopt;
}

std::optional<double> powerOnHours(DeviceSmartData const & record) {
   auto const & attr = record.powerOnHours();
   if (!attr)
      return std::nullopt;
   auto const rendered = leadingNumber(attr->rawString.view());
   return plausibleHours(rendered.value_or(static_cast<double>(attr->reportedValue)));
}

std::optional<double> powerOnHours(DeviceNvmeData const & record) {
   auto const hours = valueOf(record.powerOnHours());
   return hours ? plausibleHours(*hours) : std::nullopt;
}

std::optional<double> temperature(DeviceSmartData const & record) {
   auto const & attr = record.temperatureCelsius();
   return attr ? std::optional{static_cast<double>(attr->reportedValue)} : std::nullopt;
}

std::optional<double> temperature(DeviceNvmeData const & record) {
   constexpr double absoluteZero = -273;
   constexpr double impossible = 1000;
   auto const degrees = valueOf(record.temperatureCelsius());
   return degrees && *degrees > absoluteZero && *degrees < impossible ? degrees : std::nullopt;
}

std::optional<std::uint64_t> plainCount(SmartAttr const & attr, std::uint64_t largest) {
   if (attr.raw < 0 || static_cast<std::uint64_t>(attr.raw) > largest)
      return std::nullopt;
   if (!attr.rawString.empty() && attr.rawString != std::to_string(attr.raw))
      return std::nullopt;
   return static_cast<std::uint64_t>(attr.raw);
}

}  // namespace StorageDevices

#include "agent/verdict/VerdictRules.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "agent/verdict/DiskFigures.h"
#include "agent/verdict/SmartCounts.h"

namespace Agent {

namespace {

using Limits = Config::VerdictLimits;
using Found = std::optional<Finding>;
using Alarm = Environment::Temperature::TempSensorStatus::Alarm;
using Test = FileSystemTests::Result;

Found when(bool applies) {
   return applies ? Found{Finding{}} : std::nullopt;
}

std::string wholeText(double value) {
   return std::to_string(std::llround(value));
}

Found selfAssessmentFailed(DiskRecords const & records, Limits const &) {
   return when(records.smart && records.smart->healthStatusRead() && !records.smart->healthStatusOk());
}

Found attributeBelowThreshold(DiskRecords const & records, Limits const &) {
   if (!records.smart || !records.smart->attrsRead() || records.smart->allAttrsPassing())
      return std::nullopt;
   return Finding{attrsBelowThreshold(*records.smart)};
}

// A bit of the critical warning in an NVMe drive's log.
template <unsigned bit>
Found nvmeWarns(DiskRecords const & records, Limits const &) {
   return when(records.nvme && (records.nvme->criticalWarning().value >> bit & 1) != 0);
}

Found emmcLifeExceeded(DiskRecords const & records, Limits const &) {
   constexpr std::uint8_t exceeded = 0x0B;
   return when(records.emmc && (records.emmc->lifetimeEstTypA().raw() == exceeded ||
                                records.emmc->lifetimeEstTypB().raw() == exceeded));
}

template <std::uint8_t level>
Found emmcSpareIs(DiskRecords const & records, Limits const &) {
   return when(records.emmc && records.emmc->preEolInfo().raw() == level);
}

Found lifeIsAtMost(DiskRecords const & records, double percent) {
   auto const left = lifeLeft(records);
   return left && *left <= percent ? Found{Finding{wholeText(*left)}} : std::nullopt;
}

Found lifeUsedUp(DiskRecords const & records, Limits const & limits) {
   return emmcLifeExceeded(records, limits) ? std::nullopt : lifeIsAtMost(records, limits.lifeFailing);
}

Found lifeLow(DiskRecords const & records, Limits const & limits) {
   bool const worse = lifeIsAtMost(records, limits.lifeFailing).has_value();
   return worse ? std::nullopt : lifeIsAtMost(records, limits.lifeWarning);
}

Found degrees(DiskRecords const & records) {
   auto const celsius = temperature(records);
   return Finding{celsius ? wholeText(*celsius) + " °C" : "the drive reports it"};
}

Found criticalTemperature(DiskRecords const & records, Limits const &) {
   bool const alarms = records.sensor && records.sensor->alarm() == Alarm::critical;
   return alarms ? degrees(records) : std::nullopt;
}

// A drive has its own limits too, which its log reports.
Found overheat(DiskRecords const & records, Limits const & limits) {
   constexpr unsigned temperatureBit = 1;
   bool const alarms = records.sensor && records.sensor->alarm() == Alarm::overheat;
   bool const warns = nvmeWarns<temperatureBit>(records, limits).has_value();
   bool const worse = criticalTemperature(records, limits).has_value();
   return (alarms || warns) && !worse ? degrees(records) : std::nullopt;
}

Found writeTestFailed(DiskRecords const & records, Limits const &) {
   switch (records.test) {
      case Test::notWritten:
         return Finding{};
      case Test::notBegun:
         return Finding{": its file cannot be prepared"};
      case Test::noDirectory:
         return Finding{": the mount point is no directory"};
      default:
         return std::nullopt;
   }
}

Found readTestFailed(DiskRecords const & records, Limits const &) {
   if (records.test == Test::notTheSame)
      return Finding{": what was read is not what was written"};
   return when(records.test == Test::notRead);
}

template <MountFault fault>
Found mountIs(DiskRecords const & records, Limits const &) {
   return records.mount == fault ? Found{Finding{records.disk->mountPoint().str()}} : std::nullopt;
}

Found kernelErrors(DiskRecords const & records, Limits const &) {
   constexpr Vorn::Seconds day = 86400;
   if (!records.kernelErrors || records.kernelErrors->syslogTimestamp() == 0)
      return std::nullopt;
   Vorn::Seconds const last = records.kernelErrors->syslogTimestamp();
   return records.utc - last <= day ? Found{Finding{{}, last}} : std::nullopt;
}

Found removed(DiskRecords const & records, Limits const &) {
   return when(!records.present);
}

template <SmartCount const & count>
Found smartCounts(DiskRecords const & records, Limits const &) {
   auto const found = records.smart ? smartCount(*records.smart, count) : 0;
   return found > 0 ? Found{Finding{std::to_string(found)}} : std::nullopt;
}

Found uncorrectableErrors(DiskRecords const & records, Limits const & limits) {
   auto found = smartCounts<reportedUncorrectable>(records, limits);
   return found ? found : smartCounts<offlineUncorrectable>(records, limits);
}

Found mediaErrors(DiskRecords const & records, Limits const &) {
   auto const errors = records.nvme ? records.nvme->mediaErrors().value : 0;
   return errors > 0 ? Found{Finding{std::to_string(errors)}} : std::nullopt;
}

// Nine tenths of what lies above the drive's own limit are used.
bool isLow(double spare, double limit) {
   constexpr double whole = 100;
   return spare > 0 && spare < whole && spare - limit <= (whole - limit) / 10;
}

// A log without these figures reads as 0 too; a spare that is used up sets a bit of its own.
Found spareLow(DiskRecords const & records, Limits const &) {
   if (records.nvme) {
      auto const spare = static_cast<double>(records.nvme->availableSpare().value);
      auto const limit = static_cast<double>(records.nvme->availableSpareThreshold().value);
      return limit > 0 && isLow(spare, limit) ? Found{Finding{wholeText(spare)}} : std::nullopt;
   }
   if (!records.smart || !records.smart->availableReservedSpace())
      return std::nullopt;
   auto const & attr = *records.smart->availableReservedSpace();
   return attr.thresh > 0 && isLow(attr.value, attr.thresh) ? Found{Finding{wholeText(attr.value)}}
                                                            : std::nullopt;
}

Found fileSystemFull(DiskRecords const & records, Limits const &) {
   if (!records.fileSystem || !records.fileSystem->utilThresholdExceeded())
      return std::nullopt;
   return Finding{std::to_string(records.fileSystem->highUtilThreshold())};
}

// The sources that `selected` takes; since the first of them failed.
template <class Selected>
Found sources(DiskRecords const & records, Selected selected) {
   Found found;
   for (Reading const & reading : records.readings) {
      if (!selected(reading))
         continue;
      found = found.value_or(Finding{});
      found->detail.append(found->detail.empty() ? "" : ", ").append(reading.source);
      if (reading.failure)
         found->since = std::min(found->since.value_or(reading.failure->since), reading.failure->since);
   }
   return found;
}

bool hangs(Reading const & reading) {
   return reading.failure && reading.failure->hangs;
}

bool fails(Reading const & reading) {
   constexpr unsigned inARow = 3;
   return reading.failure && !hangs(reading) && reading.failure->polls >= inARow;
}

Found toolHangs(DiskRecords const & records, Limits const &) {
   return sources(records, hangs);
}

Found readingFails(DiskRecords const & records, Limits const &) {
   return sources(records, fails);
}

Found notReadYet(DiskRecords const & records, Limits const &) {
   return sources(records, [](Reading const & reading) {
      return !reading.lastGood && !hangs(reading) && !fails(reading) &&
             std::string_view{reading.source} != "iostat";
   });
}

constexpr VerdictRule rules[] = {
    {"self-assessment-failed", Verdict::failing, selfAssessmentFailed,
     "the drive reports that it is failing"},
    {"attribute-below-threshold", Verdict::failing, attributeBelowThreshold,
     "{} at or below the drive's threshold"},
    {"nvme-spare-exhausted", Verdict::failing, nvmeWarns<0>, "spare blocks are below the drive's threshold"},
    {"nvme-unreliable", Verdict::failing, nvmeWarns<2>, "the drive reports reduced reliability"},
    {"nvme-read-only", Verdict::failing, nvmeWarns<3>, "the drive is read-only"},
    {"nvme-backup-failed", Verdict::failing, nvmeWarns<4>, "the backup of the drive's memory has failed"},
    {"emmc-life-exceeded", Verdict::failing, emmcLifeExceeded, "its rated life is exceeded"},
    {"emmc-spare-urgent", Verdict::failing, emmcSpareIs<3>, "90 % of its reserved blocks are used"},
    {"life-used-up", Verdict::failing, lifeUsedUp, "{} % of its rated life is left"},
    {"critical-temperature", Verdict::failing, criticalTemperature, "critical temperature: {}"},
    {"write-test-failed", Verdict::failing, writeTestFailed, "write test failed{}"},
    {"read-test-failed", Verdict::failing, readTestFailed, "read test failed{}"},
    {"mounted-read-only", Verdict::failing, mountIs<MountFault::readOnly>, "{} is mounted read-only"},
    {"mount-changed", Verdict::failing, mountIs<MountFault::changed>, "another device is mounted at {}"},
    {"mount-gone", Verdict::failing, mountIs<MountFault::gone>, "nothing is mounted at {}"},
    {"kernel-errors", Verdict::failing, kernelErrors, "the kernel reports errors on it"},
    {"removed", Verdict::absent, removed, "removed"},
    {"pending-sectors", Verdict::warning, smartCounts<pendingSectors>, "pending sectors: {}"},
    {"uncorrectable-errors", Verdict::warning, uncorrectableErrors, "uncorrectable errors: {}"},
    {"reallocated-sectors", Verdict::warning, smartCounts<reallocatedSectors>, "reallocated sectors: {}"},
    {"command-timeouts", Verdict::warning, smartCounts<commandTimeouts>, "command timeouts: {}"},
    {"media-errors", Verdict::warning, mediaErrors, "media errors: {}"},
    {"spare-low", Verdict::warning, spareLow, "{} % of its spare blocks are left"},
    {"emmc-spare-low", Verdict::warning, emmcSpareIs<2>, "80 % of its reserved blocks are used"},
    {"life-low", Verdict::warning, lifeLow, "{} % of its rated life is left"},
    {"overheat", Verdict::warning, overheat, "high temperature: {}"},
    {"file-system-full", Verdict::warning, fileSystemFull, "its file system is more than {} % full"},
    {"not-read-yet", Verdict::unknown, notReadYet, "not read yet: {}"},
    {"reading-fails", Verdict::unknown, readingFails, "readings fail: {}"},
    {"tool-hangs", Verdict::unknown, toolHangs, "tools that hang: {}"},
};

constexpr auto worse = [](VerdictRule const & a, VerdictRule const & b) { return a.verdict > b.verdict; };
static_assert(std::is_sorted(std::begin(rules), std::end(rules), worse));

}  // namespace

std::span<VerdictRule const> verdictRules() {
   return rules;
}

std::string reasonText(VerdictRule const & rule, Finding const & finding) {
   std::string text = rule.text;
   if (auto const place = text.find("{}"); place != std::string::npos)
      text.replace(place, 2, finding.detail);
   return text;
}

}  // namespace Agent

// Short texts of the system and its operator: addresses, processes, registers of eMMC devices, the service
// manager's environment, and what becomes of any text that is shown.
#include <arpa/inet.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "Check.h"
#include "StorageDevices/EmmcDataMonitorSm.h"
#include "StorageDevices/PathPattern.h"
#include "agent/service/ServiceManager.h"
#include "agent/tools/ChildList.h"
#include "base/HttpAddress.h"
#include "base/Text.h"
#include "tests/support/TempDir.h"

namespace {

void checkAddress(std::string const & text) {
   auto const address = Base::parseHttpAddress(text);
   if (address) {
      FUZZ_CHECK(address->port > 0 && Base::parseHttpAddress(address->text()) == address);
      FUZZ_CHECK(address->isNamedBy(address->text()) && address->isNamedBy("LocalHost:1"));
   }
   // A web page's own name is never that of this machine.
   Base::HttpAddress const everywhere{"0.0.0.0", 9634};
   bool const hasNameOfSite = text.find_first_of("ghijkmnpqrsuvwxyz") != std::string::npos;
   FUZZ_CHECK(!hasNameOfSite || !everywhere.isNamedBy(text));
}

// "pid (name) state parent … start" with the name's own brackets.
void checkProcess(std::string const & text) {
   auto const child = Agent::childIn(text, 7);
   if (child) {
      std::string const pid = std::to_string(child->pid);
      FUZZ_CHECK(text.find(pid) != std::string::npos || text.starts_with('0') || text.starts_with("-0"));
      FUZZ_CHECK(text.find(child->state) != std::string::npos && text.find(')') != std::string::npos);
   }
   std::string fields;
   for (int i = 0; i < 17; ++i)
      fields += " 1";
   auto const made = Agent::childIn("12 (" + text + ") S 7" + fields + " 99 1", 7);
   FUZZ_CHECK(made == (Agent::Child{12, 'S', 99}));
}

// A register has one byte, or the file cannot be read.
void checkRegisters(std::string const & text) {
   static Support::TempDir const folder;
   folder.write("life_time", text);
   folder.write("pre_eol_info", text);
   auto const record = Pelm::make<StorageDevices::DeviceEmmcData>("SN1");
   bool const isRead = StorageDevices::EmmcDataAccess::getEmmcAttrs(folder.string(), *record);
   FUZZ_CHECK(isRead == record->lifetimeEstTypA().present() && isRead == record->preEolInfo().present());
   FUZZ_CHECK(!isRead || record->preEolInfo().raw() == record->lifetimeEstTypA().raw());
   int const left = record->lifetimeEstTypB().percentValue();
   FUZZ_CHECK(left >= -1 && left <= 100);
   FUZZ_CHECK(!isRead || text.find_first_of("0123456789abcdefABCDEF") != std::string::npos);
}

void checkEnvironment(std::string const & text) {
   std::string const value = text.substr(0, text.find('\0'));
   // To a place where nobody listens.
   setenv("NOTIFY_SOCKET", ("/nonexistent/" + value).c_str(), 1);
   setenv("WATCHDOG_USEC", value.c_str(), 1);
   unsetenv("WATCHDOG_PID");
   Agent::ServiceManager const manager;
   manager.notify("READY=1");
   auto const patience = manager.patience();
   FUZZ_CHECK(!patience || *patience > 0);
   setenv("WATCHDOG_PID", value.c_str(), 1);
   FUZZ_CHECK(!Agent::ServiceManager{}.patience() || value.empty() || value == std::to_string(getpid()));
}

// The text with a byte for each \xNN.
std::string restored(std::string_view text) {
   constexpr std::string_view digits = "0123456789abcdef";
   std::string result;
   while (!text.empty()) {
      bool const isByte = text.size() >= 4 && text.starts_with("\\x") &&
                          digits.find(text[2]) != std::string_view::npos &&
                          digits.find(text[3]) != std::string_view::npos;
      result += isByte ? static_cast<char>(digits.find(text[2]) * 16 + digits.find(text[3])) : text[0];
      text.remove_prefix(isByte ? 4 : 1);
   }
   return result;
}

void checkShown(std::string const & text) {
   FUZZ_CHECK(restored(Base::validUtf8(text)) == text);
   std::string const escaped = Base::escaped(text);
   FUZZ_CHECK(Base::escaped(escaped) == escaped);
   FUZZ_CHECK(
       std::none_of(escaped.begin(), escaped.end(), [](unsigned char c) { return c < ' ' || c == 0x7f; }));
   for (std::size_t const width : {0, 1, 7, 40}) {
      std::string const cut = Base::cutToWidth(escaped, width);
      FUZZ_CHECK(Base::displayWidth(cut) <= width);
      FUZZ_CHECK((cut == escaped) == (Base::displayWidth(escaped) <= width));
   }
   FUZZ_CHECK(StorageDevices::pathFromPattern("/sys/block/%s/stat", text).starts_with("/sys/block/"));
   FUZZ_CHECK(StorageDevices::pathFromPattern(text, "sda").size() <= StorageDevices::maxPathLength);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
   std::string const text(data, data + size);
   checkAddress(text);
   checkProcess(text);
   checkRegisters(text);
   checkEnvironment(text);
   checkShown(text);
   return 0;
}

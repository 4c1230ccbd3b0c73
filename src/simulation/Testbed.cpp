#include "simulation/Testbed.h"

#include <umockdev.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>

#include "simulation/SimulatedUnit.h"

namespace StorageDevices::Simulation {

namespace {

struct FreeText {
   void operator()(gchar * text) const { g_free(text); }
};
using Text = std::unique_ptr<gchar, FreeText>;

struct FreeError {
   void operator()(GError * error) const { g_error_free(error); }
};

// A socket's path has at most 107 bytes; the unit's folder and its sockets are below this folder.
constexpr std::size_t longestTemporaryFolder = 70;

// umockdev passes its folder to the preloaded library in a single environment variable.
bool testbedLives = false;

std::string sysPath(std::string_view devicePath) {
   return "/sys" + std::string(devicePath);
}

void circumstancesChecked() {
   if (testbedLives)
      throw std::runtime_error("only one simulated unit can exist in a process at a time");
   std::string const folder = g_get_tmp_dir();
   if (access(folder.c_str(), W_OK | X_OK) != 0)
      throw std::runtime_error("cannot write to " + folder + ": set TMPDIR to a folder of yours");
   if (folder.size() > longestTemporaryFolder)
      throw std::runtime_error(folder + " is too long for a socket's path: set TMPDIR to a shorter folder");
}

}  // namespace

struct Testbed::Handle {
   Handle() : testbed(umockdev_testbed_new()) {
      if (testbed == nullptr)
         throw std::runtime_error("cannot make a umockdev test bed");
      testbedLives = true;
   }
   ~Handle() {
      g_object_unref(testbed);
      testbedLives = false;
   }
   Handle(Handle const &) = delete;
   Handle & operator=(Handle const &) = delete;

   UMockdevTestbed * testbed;
};

Testbed::Testbed() {
   circumstancesChecked();
   handle_ = std::make_unique<Handle>();
   // The preloaded library answers only while a test bed exists.
   if (umockdev_in_mock_environment() == FALSE)
      throw std::runtime_error(
          "the simulation needs " + std::string(preloadLibrary) +
          " preloaded: install the package umockdev and start the program with umockdev-wrapper");
   folder_ = Text(umockdev_testbed_get_root_dir(handle_->testbed)).get();
}

Testbed::~Testbed() = default;

std::filesystem::path Testbed::sysFolder(std::string_view devicePath) const {
   return folder_.string() + sysPath(devicePath);
}

void Testbed::deviceIs(DeviceRecord const & record) {
   GError * failure = nullptr;
   bool const added =
       umockdev_testbed_add_from_string(handle_->testbed, record.text.c_str(), &failure) != FALSE;
   std::unique_ptr<GError, FreeError> const error(failure);
   if (!added || error)
      throw std::invalid_argument(record.path + ": " + (error ? error->message : "not understood"));
   for (auto const & [name, value] : record.rawProperties)
      propertyIs(record.path, name, value);
}

void Testbed::deviceDel(DeviceRecord const & record) {
   std::string number;
   std::ifstream(sysFolder(record.path) / "dev") >> number;
   umockdev_testbed_remove_device(handle_->testbed, sysPath(record.path).c_str());
   // umockdev does not remove these links, and would fail on one when the disk comes back.
   if (record.subsystem == "block")
      std::filesystem::remove(folder_ / "sys/block" / record.name());
   if (!number.empty())
      for (auto const * kind : {"block", "char"})
         std::filesystem::remove(folder_ / "sys/dev" / kind / number);
}

void Testbed::propertyIs(std::string_view devicePath, std::string_view name, std::string_view value) {
   umockdev_testbed_set_property(handle_->testbed, sysPath(devicePath).c_str(), std::string(name).c_str(),
                                 std::string(value).c_str());
}

void Testbed::event(std::string_view devicePath, std::string_view action) {
   umockdev_testbed_uevent(handle_->testbed, sysPath(devicePath).c_str(), std::string(action).c_str());
}

}  // namespace StorageDevices::Simulation

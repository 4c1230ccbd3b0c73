#include "StorageDevices/CDevsUtil.h"

#include <fcntl.h>

#include <cerrno>
#include <string>
#include <string_view>

#include "StorageDevices/Udev.h"
#include "runtime/Vorn/BlockingCall.h"
#include "runtime/Vorn/Errno.h"
#include "runtime/Vorn/Process.h"
#include "runtime/Vorn/Trace.h"

namespace StorageDevices {

namespace {

Vorn::TraceHandle traceHandle{"StorageCDevsUtil", true};

}  // namespace

bool CDevsUtil::bashRegexMatch(char const * string, char const * pattern) {
   return askExpr(string, pattern).status == 0;
}

CDevsUtil::ExprAnswer CDevsUtil::askExpr(char const * string, char const * pattern) {
   constexpr int cannotRun = 127;
   Vorn::BlockingCall const call{"classification", string};  // many devices at once take long
   int const devNull = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
   if (devNull < 0)
      VORN_TRACE(traceHandle, 0) << " could not open /dev/null";
   // spawnProcess takes ownership of the descriptor.
   pid_t const pid = Vorn::spawnProcess({"expr", "match", string, pattern}, -1, devNull, devNull);
   if (pid < 0) {
      int const error = errno;
      VORN_TRACE(traceHandle, 0) << " could not run expr: " << Vorn::Errno(error, "spawn");
      return {cannotRun, error};
   }
   int const status = Brul::waitForProcess(pid);
   if (status < 0)
      VORN_TRACE(traceHandle, 0) << " expr exited due to signal:" << -status;
   if (status == Brul::waitFailed)
      VORN_TRACE(traceHandle, 0) << " could not learn how expr ended: does the host ignore SIGCHLD?";
   return {status, 0};
}

Pelm::String CDevsUtil::udevSerial(udev_device * device) {
   Pelm::String const shortSerial = udevProperty(device, "ID_SERIAL_SHORT");
   return shortSerial.empty() ? udevProperty(device, "ID_SERIAL") : shortSerial;
}

Vorn::Optional<Pelm::String> CDevsUtil::getAtaScsiId(udev_device * device) {
   udev_device * const host = udev_device_get_parent_with_subsystem_devtype(device, "scsi", "scsi_host");
   if (!host)
      return {};
   // The id is an attribute of the host's class device.
   std::string const classDevice =
       std::string{udev_device_get_syspath(host)} + "/scsi_host/" + udev_device_get_sysname(host);
   UdevDevicePtr const scsiHost{
       udev_device_new_from_syspath(udev_device_get_udev(device), classDevice.c_str())};
   char const * const id = scsiHost ? udev_device_get_sysattr_value(scsiHost.get(), "unique_id") : nullptr;
   return id ? Vorn::Optional<Pelm::String>{id} : Vorn::Optional<Pelm::String>{};
}

Vorn::Optional<Pelm::String> CDevsUtil::getUsbInterface(udev_device * device) {
   udev_device * const interface =
       udev_device_get_parent_with_subsystem_devtype(device, "usb", "usb_interface");
   if (!interface)
      return {};
   std::string_view const path = udev_device_get_syspath(interface);
   std::string_view const name = path.substr(path.rfind('/') + 1);
   return Pelm::String{name.substr(0, name.find(':'))};
}

Vorn::Optional<Pelm::String> CDevsUtil::getNvme(udev_device * device) {
   Pelm::String const node = udevProperty(device, "DEVNAME");
   std::size_t const at = node.view().find("nvme");
   if (at == std::string_view::npos)
      return {};
   return Pelm::String{node.view().substr(at)};
}

}  // namespace StorageDevices

#include "agent/KernelDeviceName.h"
#include "agent/KernelErrorWords.h"
#include "agent/KernelErrors.h"

namespace Agent {

namespace {

using StorageDevices::between;
using StorageDevices::Cursor;
using StorageDevices::isDigit;
using StorageDevices::isLetter;
using StorageDevices::isLower;
using StorageDevices::isSpace;

// "reset SuperSpeed Plus Gen 2x1 USB device number 4 using xhci_hcd", "reset full speed USB device using
// uhci_hcd and address 2"
std::string resetOfUsb(std::string const & port, Cursor cursor) {
   std::string speed = "super";
   if (!cursor.takes("SuperSpeed")) {
      speed = cursor.run<isLower>();
      if (speed.empty() || !cursor.takes(" speed"))
         return {};
   }
   constexpr std::string_view device = " USB device ";
   constexpr std::size_t longestGeneration = 24;
   std::size_t const at = cursor.rest().find(device);
   if (at > longestGeneration)
      return {};
   cursor.at += at + device.size();
   cursor.takes("number ");
   return port + ": reset " + speed + "-speed USB device number " + std::string{cursor.rest()};
}

// "1-5.2", also of "1-5.2:1.0", "1-5-port2" and "usb1-port5". Empty when there is no port.
std::string takenUsbPort(Cursor & cursor, bool & isHubs) {
   bool const isRoot = cursor.takes("usb");
   auto const * const bus = cursor.at;
   if (!cursor.takesRun<isDigit>())
      return {};
   if (!isRoot && cursor.takes("-") && cursor.takesRun<isDigit>())
      while (cursor.takes(".") && cursor.takesRun<isDigit>())
         continue;
   std::string port{between(bus, cursor.at)};
   isHubs = cursor.takes("-port");
   if (isHubs) {
      port.append(isRoot ? "-" : ".").append(cursor.run<isDigit>());
   } else if (cursor.rest().starts_with(":") && !cursor.rest().starts_with(": ")) {
      cursor.takes(":");
      cursor.takesRun<isDigit>();
      cursor.takes(".");
      cursor.takesRun<isDigit>();
   }
   bool const isPort = isHubs || port.find('-') != port.npos;
   return isPort && cursor.takes(": ") && isDigit(port.back()) ? port : std::string{};
}

std::string usbError(Cursor cursor) {
   if (!cursor.takes("usb "))
      return {};
   bool isHubs = false;
   std::string port = takenUsbPort(cursor, isHubs);
   if (port.empty())
      return {};
   port.insert(0, "usb ");
   std::string_view const event = cursor.rest();
   if (!isHubs && cursor.takes("reset "))
      return resetOfUsb(port, cursor);
   bool const isError =
       isHubs ? startsWithOneOf(event, {"cannot reset (err", "cannot disable (err", "unable to enumerate"})
              : startsWithOneOf(event, {"device not accepting address", "Device not responding to setup",
                                        "can't set config", "can't read configurations, error",
                                        "unable to read config index", "cmd cmplt err", "stat urb: status"});
   return isError ? port + ": device descriptor read: " + std::string{event} : std::string{};
}

bool isAtaError(std::string_view event) {
   if (event.starts_with("status: {"))
      return hasOneOf(event, {" ERR ", " DF "});
   return event == "disabled" ||
          startsWithOneOf(event, {"exception Emask ", "qc timeout ", "failed to IDENTIFY",
                                  "failed to set xfermode", "revalidation failed", "reset failed",
                                  "softreset failed", "SRST failed", "disable device", "failed to recover",
                                  "device not ready (errno", "NCQ disabled due to excessive errors",
                                  "speed down requested but no transfer mode left"});
}

std::string ataError(Cursor cursor) {
   auto const * const port = cursor.at;
   if (!cursor.takes("ata") || !cursor.takesRun<isDigit>())
      return {};
   if (cursor.takes(".") && !cursor.takesRun<isDigit>())
      return {};
   std::string name{between(port, cursor.at)};
   if (!cursor.takes(": ") || !isAtaError(cursor.rest()))
      return {};
   return name.append(": failed command: ").append(cursor.rest());
}

bool isCardError(std::string_view event) {
   if (event.starts_with("mmc_select_"))
      return hasOneOf(event, {" failed, error -"});
   if (startsWithOneOf(event, {"Reset 0x", "Got command interrupt", "Got data interrupt"}))
      return hasOneOf(event, {" never completed", "even though no"});
   return startsWithOneOf(
       event,
       {"error -", "cache flush error", "Card stuck being busy", "Card stuck in programming state",
        "card never left busy state", "cqhci: timeout for tag", "cqhci: error IRQ", "running CQE recovery",
        "recovery failed", "failed to start CQE transfer", "Controller never released inhibit bit",
        "Timeout waiting for", "tuning execution failed", "Unexpected interrupt 0x", "ADMA error",
        "timed out sending", "unknown error -", "response CRC error sending"});
}

std::string cardError(Cursor cursor) {
   auto const * const begin = cursor.at;
   if (!cursor.takes("mmcblk") && !cursor.takes("mmc"))
      return {};
   if (!cursor.takesRun<isDigit>())
      return {};
   cursor.run<StorageDevices::isAlnum>();
   std::string const card = wholeDisk(between(begin, cursor.at));
   return cursor.takes(": ") && isCardError(cursor.rest()) ? unexpected(card, card, cursor.rest())
                                                           : std::string{};
}

// A command failed, and the device says of what. That it was reset, or that there is nothing to say, is none.
bool isFailure(std::string_view senseKey) {
   return !startsWithOneOf(senseKey, {"Unit Attention", "No Sense", "0x6", "0x0"});
}

bool isScsiError(std::string_view event) {
   if (event.starts_with("Add. Sense: "))
      return hasOneOf(event, {" error", " failure", " fault"});
   if (event.starts_with("Device not ready"))
      return true;
   if (hasOneOf(event,
                {"Cache(10) failed: Result:", "Cache(16) failed: Result:", "Capacity(10) failed: Result:",
                 "Capacity(16) failed: Result:", "Unit failed: Result:"}))
      return true;
   // 0x2003: FAILED, of kernels that do not spell it out.
   return startsWithOneOf(event, {"FAILED Result:", "UNKNOWN(0x2003) Result:", "timing out command, waited",
                                  "Unhandled sense code", "data cmplt err", "uas_eh_", "uas_zap_pending",
                                  "Medium access timeout failure", "rejecting I/O to offline device",
                                  "rejecting I/O to dead device", "Device offlined"});
}

// "0:0:1:0:"
bool takesScsiAddress(Cursor & cursor) {
   for (int number = 0; number < 4; ++number)
      if (!cursor.takesRun<isDigit>() || !cursor.takes(":"))
         return false;
   return true;
}

bool takesTag(Cursor & cursor) {
   cursor.run<isSpace>();
   return !cursor.takes("tag#") || (cursor.takesRun<isDigit>() && cursor.takesRun<isSpace>());
}

// Optical drives refuse requests all day long: that is none of their errors.
bool isOpticalFailure(std::string_view senseKey) {
   return isFailure(senseKey) && !startsWithOneOf(senseKey, {"Illegal Request", "Not Ready", "0x5", "0x2"});
}

std::string opticalError(Cursor cursor) {
   if (!cursor.takes("sr ") || !takesScsiAddress(cursor) || !cursor.takes(" ["))
      return {};
   std::string_view const drive = cursor.run<StorageDevices::isAlnum>();
   if (!drive.starts_with("sr") || !cursor.takes("] ") || !takesTag(cursor))
      return {};
   std::string_view const event = cursor.rest();
   bool const isError = cursor.takes("Sense Key : ")
                            ? isOpticalFailure(cursor.rest())
                            : event.starts_with("Add. Sense: ") && isScsiError(event);
   return isError ? unexpected("sr", drive, event) : std::string{};
}

std::string scsiError(Cursor cursor) {
   if (!cursor.takes("sd ") && !cursor.takes("scsi "))
      return {};
   auto const * const address = cursor.at;
   if (!takesScsiAddress(cursor))
      return {};
   std::string subject{"sd "};
   subject.append(between(address, cursor.at));
   if (!cursor.takes(" ["))
      return {};
   subject.append(" [").append(cursor.run<isLetter>()).append("]");
   if (subject.ends_with("[]") || !cursor.takes("] "))
      return {};
   if (!takesTag(cursor))
      return {};
   std::string_view const event = cursor.rest();
   if (cursor.takes("Sense Key : "))
      return isFailure(cursor.rest()) ? subject.append("  ").append(event) : std::string{};
   return isScsiError(event) ? subject.append(" Unhandled error: ").append(event) : std::string{};
}

bool isNvmeControllerError(std::string_view event) {
   if (event.starts_with("I/O "))
      return hasOneOf(event, {" timeout"});
   if (event.starts_with("request 0x"))
      return hasOneOf(event, {" genctr mismatch"});
   if (event.starts_with("invalid id "))
      return hasOneOf(event, {" completed on queue "});
   return startsWithOneOf(
       event, {"Device not ready; aborting", "controller is down; will reset", "Removing after probe failure",
               "frozen state error detected", "Disabling device after reset failure",
               "Identify Controller failed", "Device shutdown incomplete"});
}

// "nvme nvme0: I/O 23 QID 4 timeout, aborting"
std::string nvmeControllerError(Cursor cursor) {
   if (!cursor.takes("nvme "))
      return {};
   auto const * const begin = cursor.at;
   if (!cursor.takes("nvme") || !cursor.takesRun<isDigit>())
      return {};
   std::string const controller{between(begin, cursor.at)};
   return cursor.takes(": ") && isNvmeControllerError(cursor.rest())
              ? unexpected(controller, controller + "n1", cursor.rest())
              : std::string{};
}

// "nvme0n1: I/O Cmd(0x2) @ LBA 8, 8 blocks, Unrecovered Read Error (sct 0x2 / sc 0x81) DNR", "block nvme0n1:
// no available path - failing I/O"
std::string nvmeDiskError(Cursor cursor) {
   bool const isBlock = cursor.takes("block ");
   auto const * const begin = cursor.at;
   if (!cursor.rest().starts_with("nvme"))
      return {};
   cursor.run<StorageDevices::isAlnum>();
   std::string const disk = wholeDisk(between(begin, cursor.at));
   if (!cursor.takes(": ") || disk.find('n', 1) == disk.npos)
      return {};
   std::string_view const event = cursor.rest();
   bool const isError = isBlock ? event.starts_with("no available path - failing I/O")
                                : hasOneOf(event, {") @ LBA "}) && hasOneOf(event, {" (sct 0x"});
   return isError ? unexpected(disk, disk, event) : std::string{};
}

}  // namespace

std::string driverError(std::string_view text) {
   Cursor const cursor = cursorOf(text);
   for (auto const reader :
        {usbError, ataError, cardError, scsiError, opticalError, nvmeControllerError, nvmeDiskError})
      if (std::string result = reader(cursor); !result.empty())
         return result;
   return {};
}

}  // namespace Agent

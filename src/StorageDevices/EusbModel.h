// Reads the model of an embedded USB flash disk from udev's links to it.
#pragma once

#include <string>
#include <string_view>

namespace StorageDevices {

// The model in the first /dev/disk/by-id/ link: the text between the link's first hyphen and the character
// before the serial. /dev/disk/by-id/usb-Vendor_Flash_Drive_0123ABCD-0:0 with the serial 0123ABCD gives
// Vendor_Flash_Drive.
//
// Answers `model` itself when there is no such link, when fewer than two characters follow its first hyphen,
// and when the serial is empty. It does so too when the serial is not found from the second of those
// characters on. A serial found at the second character gives an empty model.
//
// `devlinks` is udev's property "DEVLINKS": paths separated by white space, or empty.
std::string eusbModel(std::string_view devlinks, std::string_view serial, std::string_view model);

// The identity that goes into the disk record. No field is empty: "Unknown" replaces an empty text.
struct EusbIdentity {
   std::string model;
   std::string serial;
   std::string firmware;

   bool operator==(EusbIdentity const &) const = default;
};

// The model comes from the links; the serial and the firmware revision are the arguments.
EusbIdentity eusbIdentity(std::string_view devlinks, std::string_view serial, std::string_view model,
                          std::string_view firmware);

}  // namespace StorageDevices

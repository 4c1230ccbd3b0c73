// Tells the model of an embedded USB flash disk by the links that udev makes for it.
#pragma once

#include <string>
#include <string_view>

namespace StorageDevices {

// The model that stands in the first /dev/disk/by-id/ link, between the link's first hyphen and the character
// before the serial: /dev/disk/by-id/usb-Vendor_Flash_Drive_0123ABCD-0:0 with the serial 0123ABCD gives
// Vendor_Flash_Drive. `model` itself when there is no such link, when it has no hyphen with at least two
// characters behind it, when the serial is not found from the second of these on, or when it is empty. A
// serial found at the second one leaves no model: the result is empty.
//
// `devlinks` is udev's property "DEVLINKS", paths separated by white space, empty when the disk has none.
std::string eusbModel(std::string_view devlinks, std::string_view serial, std::string_view model);

// The texts by which a disk record knows the disk. None is empty: "Unknown" stands in.
struct EusbIdentity {
   std::string model;
   std::string serial;
   std::string firmware;

   bool operator==(EusbIdentity const &) const = default;
};

// The model told by the links, the serial and the firmware revision as given.
EusbIdentity eusbIdentity(std::string_view devlinks, std::string_view serial, std::string_view model,
                          std::string_view firmware);

}  // namespace StorageDevices

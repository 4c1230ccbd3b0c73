#include "agent/kernel/KernelMessages.h"

namespace Agent {

namespace {

using enum KernelForm;

// Texts that the device itself supplies.
constexpr KernelMessage usbIdentities[]{
    {"<Product|Manufacturer|SerialNumber>: ", nobody, "usb 1-1: Product: USB disconnect, device number", ""},
};

constexpr KernelMessage devices[]{
    {"USB disconnect, <device number|address> %num", asIs, "usb 1-1.2.5: USB disconnect, device number 7",
     "usb 1-1.2.5"},
    {"device descriptor read", asIs, "usb 2-1:1.0: device descriptor read/64, error -110", "usb 2-1"},
    {"reset <low|full|high|super>-speed USB device number", asIs,
     "usb 4-1.3: reset high-speed USB device number 5 using xhci_hcd", "usb 4-1.3"},
    {"reset <low|full|high> speed USB device ", usb,
     "usb 1-1: reset full speed USB device using uhci_hcd and address 2", "usb 1-1"},
    {"reset SuperSpeed%any USB device number %event", usbReset,
     "usb 2-1: reset SuperSpeed Gen 1 USB device number 4 using xhci_hcd", "usb 2-1"},
    {"device not accepting address %num", usb, "usb 1-1.4: device not accepting address 4, error -32",
     "usb 1-1.4"},
    {"Device not responding to setup <address|context>", usb,
     "usb 1-1: Device not responding to setup address.", "usb 1-1"},
    {"ERROR: Incompatible device for <setup|endpoint configure|evaluate context>", usb,
     "usb 1-1: ERROR: Incompatible device for setup address command", "usb 1-1"},
    {"hub failed to enable device, error %num", usb, "usb 1-1: hub failed to enable device, error -22",
     "usb 1-1"},
    {"<device reset changed ep0 maxpacket size|Invalid ep0 maxpacket>", usb,
     "usb 1-1: Invalid ep0 maxpacket: 9", "usb 1-1"},
    {"got a wrong device descriptor", usb, "usb 2-1: got a wrong device descriptor, warm reset device",
     "usb 2-1"},
    {"can't re-read device descriptor", usb,
     "usb 1-1: can't re-read device descriptor for authorization: -71", "usb 1-1"},
    {"can't set config #%num, error %num", usb, "usb 1-1: can't set config #1, error -110", "usb 1-1"},
    {"can't read configurations, error %num", usb, "usb 1-1: can't read configurations, error -71",
     "usb 1-1"},
    {"unable to read config index %num descriptor", usb,
     "usb 1-1: unable to read config index 0 descriptor/start: -71", "usb 1-1"},
    {"string descriptor 0 read error", usb, "usb 1-1: string descriptor 0 read error: -71", "usb 1-1"},
    {"can't restore configuration #%num (error=%num)", usb,
     "usb 1-1: can't restore configuration #1 (error=-71)", "usb 1-1"},
    {"failed to restore interface %num altsetting %num", usb,
     "usb 1-1: failed to restore interface 0 altsetting 0 (error=-71)", "usb 1-1"},
};

constexpr KernelMessage ports[]{
    {"cannot <warm reset|reset|disable> (err", usb, "usb 1-5-port2: cannot reset (err = -71)", "usb 1-5.2"},
    {"unable to enumerate USB device", usb, "usb usb1-port3: unable to enumerate USB device", "usb 1-3"},
    {"over-current condition", usb, "usb usb1-port3: over-current condition", "usb 1-3"},
    {"Cannot enable. Maybe the USB cable is bad?", usb,
     "usb usb1-port3: Cannot enable. Maybe the USB cable is bad?", "usb 1-3"},
    {"disabled by hub (EMI?), re-enabling", usb, "usb 1-5-port2: disabled by hub (EMI?), re-enabling...",
     "usb 1-5.2"},
    {"config error", usb, "usb usb2-port2: config error", "usb 2-2"},
    {"connect-debounce failed", usb, "usb 1-5-port2: connect-debounce failed", "usb 1-5.2"},
};

constexpr KernelMessage bulkStreams[]{
    {"cmd cmplt err %num", usb, "usb 4-1: cmd cmplt err -108", "usb 4-1"},
    {"stat urb: <status|no pending cmd for uas-tag> %num", usb, "usb 4-1: stat urb: status -71", "usb 4-1"},
};

constexpr KernelMessageGroup usbGroups[]{
    {"drivers/usb/core/hub.c", "%usb: ", usbIdentities},
    {"drivers/usb/core/hub.c, message.c, config.c, drivers/usb/host/xhci.c", "%usb: ", devices},
    {"drivers/usb/core/hub.c", "%usb: ", ports},
    {"drivers/usb/storage/uas.c", "%usb: ", bulkStreams},
};

}  // namespace

KernelMessageGroups usbMessages() {
   return usbGroups;
}

}  // namespace Agent

// A configuration that sets every key to another value than its default.
#pragma once

#include "agent/config/Config.h"

namespace Support {

inline constexpr char everyKey[] = R"toml(
poll_interval = 5

[appliance]
etc_dir = "/etc/appliance"
expected_mounts = ["flash", "drive2"]
mount_source_dir = "/run/mounts"

[appliance.sensors]
S3EVNX0K123456 = "DriveTemp1"
"SN WITH BLANK" = "DriveTemp1"

[sensors.DriveTemp1]
description = "Drive 1 temperature"
overheat = 70.5
critical = 80

[tools]
timeout = 0
path = "/opt/tools:/usr/local/sbin"
accept_exit_bits = { smartctl = [0, 7], nvme = [] }
nvme_compat = false

[kernel_messages]
socket = "/run/k.sock"
forward_kmsg = false
modern_kernels = false

[status]
socket = "/run/s.sock"
http = "0.0.0.0:9634"
allow_remote = true
socket_group = "storage"

[log]
destination = "stderr"

[history]
hours = 12.5
file = ""

[verdict]
life_warning = 20
life_failing = 2.5

[trace]
StorageSmartDataMonitorSm = 2
DeviceDetectionSm = 9

[clock]
time_scale = 250
)toml";

inline Agent::Config everyValue() {
   using namespace Agent;
   Config config;
   config.pollInterval = 5;
   config.appliance = {"/etc/appliance",
                       {"flash", "drive2"},
                       "/run/mounts",
                       {{"S3EVNX0K123456", "DriveTemp1"}, {"SN WITH BLANK", "DriveTemp1"}}};
   config.sensors = {{"DriveTemp1", {"Drive 1 temperature", 70.5, 80}}};
   config.tools = {0, "/opt/tools:/usr/local/sbin", {{"smartctl", 0x81}, {"nvme", 0}}, false};
   config.kernelMessages = {"/run/k.sock", false, false};
   config.status = {"/run/s.sock", Base::HttpAddress{"0.0.0.0", 9634}, true, "storage"};
   config.history = {12.5, ""};
   config.verdict = {20, 2.5};
   config.logDestination = LogDestination::standardError;
   config.trace = {{"StorageSmartDataMonitorSm", 2}, {"DeviceDetectionSm", 9}};
   config.timeScale = 250;
   return config;
}

}  // namespace Support

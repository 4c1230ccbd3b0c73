// Marks what the runtime's shared library exports to hosts and monitors.
#pragma once

#define VORN_API __attribute__((visibility("default")))

// Marks what the runtime's shared library exports to hosts and monitors.
#pragma once

#define RUNTIME_API __attribute__((visibility("default")))

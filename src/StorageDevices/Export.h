// Marks what the library exports: its factories.
#pragma once

#define STORAGEDEVICES_API __attribute__((visibility("default")))

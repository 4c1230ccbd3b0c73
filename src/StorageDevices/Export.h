// Marks what the library exports: all that its installed headers declare.
#pragma once

#define STORAGEDEVICES_API __attribute__((visibility("default")))

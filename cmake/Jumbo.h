// Stands before each of several sources that are compiled as one.
#pragma once

// These warnings mean one source alone.
#pragma GCC diagnostic ignored "-Wshadow"
#ifndef __clang__
#pragma GCC diagnostic ignored "-Wsubobject-linkage"
#endif

// Each source has its own; CMake gives SOURCE_ID another value before each of them.
#define traceHandle SOURCE_ID

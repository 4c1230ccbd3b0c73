// Stands before each of several test sources that are compiled as one: these warnings mean one source alone.
#pragma once

#pragma GCC diagnostic ignored "-Wshadow"
#ifndef __clang__
#pragma GCC diagnostic ignored "-Wsubobject-linkage"
#endif

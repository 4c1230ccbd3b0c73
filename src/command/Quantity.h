// Quantities for operators to read.
#pragma once

#include <string>

namespace Command {

// A span of time in its largest whole unit: "12 s", "3 min", "2 h", "5 d". Negative spans are "0 s".
std::string spanText(double seconds);

// Bytes in decimal units, as drive makers count them: "512 B", "3.2 GB", "81 TB". Empty for a number
// that is no amount of bytes.
std::string bytesText(double bytes);

}  // namespace Command

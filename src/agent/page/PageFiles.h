// The files of the page (`web/`, and the library that draws its plots), as they were at the build. They are
// read-only data of the program.
#pragma once

#include <span>
#include <string_view>

namespace Agent {

struct PageFile {
   std::string_view path;  // at which it is served, such as "/main.js"
   std::string_view text;
};

std::span<PageFile const> pageFiles();

// The file that is served at the path; "/" is the page itself. Null without one.
PageFile const * pageFile(std::string_view path);

// As a browser must know it, by the ending of the path; empty for an ending that is not known.
char const * contentType(std::string_view path);

}  // namespace Agent

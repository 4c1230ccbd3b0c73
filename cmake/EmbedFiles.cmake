# Writes a C++ source that carries files as read-only data, and answers them by `Agent::pageFiles()`:
#   cmake -DOUTPUT=<source> "-DFILES=</path it is served at>|<file>;..." -P EmbedFiles.cmake
# The assembler reads the files, so that the compiler need not.
set(data "")
set(names "")
set(table "")
set(number 0)
foreach(entry IN LISTS FILES)
  string(REGEX MATCH "^([^|]+)\\|(.+)$" matched "${entry}")
  file(SIZE "${CMAKE_MATCH_2}" size)
  string(APPEND data "pageFile${number}: .incbin \"${CMAKE_MATCH_2}\"\n")
  string(APPEND names "extern \"C\" char const pageFile${number}[];\n")
  string(APPEND table "    {\"${CMAKE_MATCH_1}\", {pageFile${number}, ${size}}},\n")
  math(EXPR number "${number} + 1")
endforeach()
file(WRITE "${OUTPUT}" "// Written by CMake.
#include \"agent/page/PageFiles.h\"

asm(R\"asm(
.pushsection .rodata.page,\"a\"
${data}.popsection
)asm\");
${names}
namespace Agent {

std::span<PageFile const> pageFiles() {
   static constexpr PageFile files[] = {
${table}   };
   return files;
}

}  // namespace Agent
")

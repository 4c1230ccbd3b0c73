#include "agent/page/PageFiles.h"

#include <algorithm>
#include <utility>

namespace Agent {

PageFile const * pageFile(std::string_view path) {
   auto const files = pageFiles();
   std::string_view const wanted = path == "/" ? "/index.html" : path;
   auto const found = std::find_if(files.begin(), files.end(),
                                   [wanted](PageFile const & file) { return file.path == wanted; });
   return found == files.end() ? nullptr : &*found;
}

char const * contentType(std::string_view path) {
   static constexpr std::pair<std::string_view, char const *> types[] = {
       {".html", "text/html; charset=utf-8"},
       {".js", "text/javascript; charset=utf-8"},
       {".css", "text/css; charset=utf-8"},
       {".svg", "image/svg+xml"},
   };
   for (auto const & [ending, type] : types)
      if (path.ends_with(ending))
         return type;
   return "";
}

}  // namespace Agent

// A temporary folder, removed at the end of its scope.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Support {

inline std::string fileContent(std::filesystem::path const & path) {
   std::ifstream stream{path, std::ios::binary};
   return {std::istreambuf_iterator<char>{stream}, std::istreambuf_iterator<char>{}};
}

class TempDir {
 public:
   TempDir() : TempDir{std::filesystem::temp_directory_path()} {}
   // In another folder than the usual.
   explicit TempDir(std::filesystem::path const & parent) {
      std::string name = (parent / "test-XXXXXX").string();
      if (!mkdtemp(name.data()))
         throw std::runtime_error{"no temporary folder"};
      path_ = name;
   }
   TempDir(TempDir const &) = delete;
   TempDir & operator=(TempDir const &) = delete;
   ~TempDir() {
      std::error_code ignored;
      std::filesystem::remove_all(path_, ignored);
   }

   std::filesystem::path const & path() const { return path_; }
   std::string string() const { return path_.string(); }

   std::filesystem::path write(std::string_view name, std::string_view content) const {
      auto path = path_ / name;
      std::ofstream{path, std::ios::binary} << content;
      return path;
   }
   // An executable shell script.
   std::filesystem::path writeScript(std::string_view name, std::string_view body) const {
      auto path = write(name, std::string{"#!/bin/sh\n"}.append(body).append("\n"));
      std::filesystem::permissions(path, std::filesystem::perms::owner_all);
      return path;
   }
   std::string content(std::string_view name) const { return fileContent(path_ / name); }

 private:
   std::filesystem::path path_;
};

}  // namespace Support

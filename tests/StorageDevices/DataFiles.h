// The samples that parser tests read: this project's own under tests/data, and a folder of other people's
// data that the variable STORAGEDEVICES_CORPUS may name.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace StorageDevices::TestData {

inline std::string contentOf(std::filesystem::path const & file) {
   std::ifstream stream(file, std::ios::binary);
   return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

// A file under tests/data, empty when there is none.
inline std::string sample(std::filesystem::path const & name) {
   return contentOf(std::filesystem::path(__FILE__).parent_path().parent_path() / "data" / name);
}

inline bool hasCorpus() {
   return std::getenv("STORAGEDEVICES_CORPUS") != nullptr;
}

// The files of one folder of the corpus, in order of their names.
inline std::vector<std::filesystem::path> corpusFiles(std::string const & folder) {
   std::vector<std::filesystem::path> files;
   for (auto const & entry : std::filesystem::directory_iterator(
            std::filesystem::path(std::getenv("STORAGEDEVICES_CORPUS")) / folder))
      files.push_back(entry.path());
   std::sort(files.begin(), files.end());
   return files;
}

}  // namespace StorageDevices::TestData

#define SKIP_WITHOUT_CORPUS()                    \
   if (!::StorageDevices::TestData::hasCorpus()) \
   GTEST_SKIP() << "STORAGEDEVICES_CORPUS is not set: other people's data not read"

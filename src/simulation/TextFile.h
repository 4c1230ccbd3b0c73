// Writes the simulation's small files.
#pragma once

#include <filesystem>
#include <string_view>

namespace StorageDevices::Simulation {

// Creates or replaces the file atomically: a reader sees the old or the new text. Throws std::runtime_error
// on failure.
void textFileIs(std::filesystem::path const & path, std::string_view text);

}  // namespace StorageDevices::Simulation

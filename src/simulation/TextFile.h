// Writing the simulation's small files.
#pragma once

#include <filesystem>
#include <string_view>

namespace Agent::Simulation {

// Makes or replaces the file in one step: a reader sees the old text or the new one, never a half.
// Throws std::runtime_error when it cannot.
void textFileIs(std::filesystem::path const & path, std::string_view text);

}  // namespace Agent::Simulation

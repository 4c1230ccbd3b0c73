#include "simulation/TextFile.h"

#include <fstream>
#include <stdexcept>

namespace StorageDevices::Simulation {

void textFileIs(std::filesystem::path const & path, std::string_view text) {
   auto const fresh = path.string() + ".new";
   std::ofstream out(fresh, std::ios::binary | std::ios::trunc);
   out << text << std::flush;
   if (!out)
      throw std::runtime_error("cannot write " + fresh);
   out.close();
   std::filesystem::rename(fresh, path);
}

}  // namespace StorageDevices::Simulation

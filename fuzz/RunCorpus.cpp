// Runs a fuzz target without libFuzzer: each sample as it is, then random mutations of the samples.
//
// usage: <target> [-runs=<mutations>] [-seed=<number>] [-max_len=<bytes>] <file or folder>...
// Other options of libFuzzer are ignored. The same seed over the same samples gives the same inputs. An input
// on which the target ends the program is left in the file "crash-input" at -artifact_prefix=<prefix>.
#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size);

// The sanitizers' own, absent without them. They end a program without a signal.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" __attribute__((weak)) void __sanitizer_set_death_callback(void (*callback)());

namespace {

using Input = std::vector<std::uint8_t>;

struct Options {
   std::size_t runs = 0;
   std::uint32_t seed = 1;
   std::size_t maxLength = 4096;
   std::string artifactPrefix;
   std::vector<std::filesystem::path> paths;
};

Options optionsOf(int argc, char ** argv) {
   Options options;
   for (int i = 1; i < argc; ++i) {
      std::string_view const argument(argv[i]);
      std::string const value(argument.substr(std::min(argument.size(), argument.find('=') + 1)));
      if (argument.starts_with("-runs="))
         options.runs = std::strtoul(value.c_str(), nullptr, 10);
      else if (argument.starts_with("-seed="))
         options.seed = static_cast<std::uint32_t>(std::strtoul(value.c_str(), nullptr, 10));
      else if (argument.starts_with("-max_len="))
         options.maxLength = std::strtoul(value.c_str(), nullptr, 10);
      else if (argument.starts_with("-artifact_prefix="))
         options.artifactPrefix = value;
      else if (!argument.starts_with("-"))
         options.paths.emplace_back(argument);
   }
   return options;
}

Input contentOf(std::filesystem::path const & file) {
   std::ifstream stream(file, std::ios::binary);
   return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

std::vector<Input> samplesOf(std::vector<std::filesystem::path> const & paths) {
   std::vector<std::filesystem::path> files;
   for (auto const & path : paths) {
      if (!std::filesystem::is_directory(path)) {
         files.push_back(path);
         continue;
      }
      for (auto const & entry : std::filesystem::recursive_directory_iterator(path)) {
         if (entry.is_regular_file())
            files.push_back(entry.path());
      }
   }
   std::sort(files.begin(), files.end());
   std::vector<Input> samples;
   samples.reserve(files.size());
   for (auto const & file : files)
      samples.push_back(contentOf(file));
   return samples;
}

class Mutator {
 public:
   Mutator(std::vector<Input> const & samples, Options const & options)
       : samples_(samples), random_(options.seed), maxLength_(options.maxLength) {}

   Input next() {
      Input input = samples_[below(samples_.size())];
      for (std::size_t changes = 1 + below(6); changes > 0; --changes)
         change(input);
      input.resize(std::min(input.size(), maxLength_));
      return input;
   }

 private:
   std::size_t below(std::size_t bound) { return bound == 0 ? 0 : random_() % bound; }

   static auto at(Input & input, std::size_t position) {
      return input.begin() + static_cast<Input::difference_type>(position);
   }

   std::uint8_t byte() {
      static constexpr char critical[] = " \t\n\r\0:/-.*$(){}[]\",0\x80\xFF";
      bool const isCritical = below(2) == 0;
      return static_cast<std::uint8_t>(isCritical ? critical[below(sizeof(critical) - 1)] : below(256));
   }

   void change(Input & input) {
      std::size_t const from = below(input.size());
      std::size_t const length = std::min(input.size() - from, 1 + below(below(4) == 0 ? 400 : 8));
      switch (below(6)) {
         case 0:
            input.insert(at(input, from), 1 + below(4), byte());
            break;
         case 1:
            input.erase(at(input, from), at(input, from + length));
            break;
         case 2:
            std::fill_n(at(input, from), length, byte());
            break;
         case 3:
            repeat(input, from, length);
            break;
         case 4:
            splice(input, from);
            break;
         default:
            if (length > 0)
               input[from] = byte();
      }
   }

   void repeat(Input & input, std::size_t from, std::size_t length) {
      Input const piece(at(input, from), at(input, from + length));
      for (std::size_t count = 1 + below(8); count > 0; --count)
         input.insert(at(input, from), piece.begin(), piece.end());
   }

   // Continues with the rest of another sample.
   void splice(Input & input, std::size_t from) {
      Input const & other = samples_[below(samples_.size())];
      input.resize(from);
      input.insert(input.end(), other.begin() + static_cast<Input::difference_type>(below(other.size())),
                   other.end());
   }

   std::vector<Input> const & samples_;
   std::mt19937 random_;
   std::size_t maxLength_;
};

Input current;
std::string artifact;

void leaveInput() {
   if (std::FILE * file = std::fopen(artifact.c_str(), "wb")) {
      std::fwrite(current.data(), 1, current.size(), file);
      std::fclose(file);
      std::fprintf(stderr, "the input is in %s\n", artifact.c_str());
   }
}

void handleAbort(int /*signal*/) {
   leaveInput();
   std::_Exit(1);
}

void run(Input input) {
   current = std::move(input);
   LLVMFuzzerTestOneInput(current.data(), current.size());
}

}  // namespace

int main(int argc, char ** argv) {
   Options const options = optionsOf(argc, argv);
   artifact = options.artifactPrefix + "crash-input";
   std::signal(SIGABRT, handleAbort);
   if (__sanitizer_set_death_callback != nullptr)
      __sanitizer_set_death_callback(leaveInput);
   auto const samples = samplesOf(options.paths);
   if (samples.empty()) {
      std::fprintf(stderr, "no samples\n");
      return 2;
   }
   for (auto const & sample : samples)
      run(sample);
   Mutator mutator(samples, options);
   for (std::size_t i = 0; i < options.runs; ++i)
      run(mutator.next());
   std::printf("%zu samples, %zu mutations\n", samples.size(), options.runs);
   return 0;
}

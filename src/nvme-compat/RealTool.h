// The program that this one stands before on the search path.
#pragma once

#include <optional>
#include <string>

namespace Agent::Compat {

// The first program `name` behind the last entry of `searchPath` that holds this very file, whatever that is
// called there; with no such entry the first of all. So two copies of this program on one path end with the
// real one and never call each other in turn. Empty and relative entries are skipped. Empty: there is none.
std::string findRealTool(std::string const & name, std::string const & searchPath);

// A child with this process's arguments, standard input and error, group and environment.
class ToolRun {
 public:
   // Throws std::system_error when it cannot be started.
   ToolRun(std::string const & program, char ** argv);
   ToolRun(ToolRun const &) = delete;
   ToolRun & operator=(ToolRun const &) = delete;
   ~ToolRun();

   // Reads its standard output until that ends or has more than `limit` bytes: then it stops behind these.
   // Throws std::system_error.
   std::string output(std::size_t limit);
   // Copies what is left of its standard output to this process's own.
   void passOutput();
   // Waits for its end and ends this process in the same way: with its exit code or of its signal. Where
   // `instead` is given, that exit code stands for the child's 0.
   [[noreturn]] void endAlike(int instead = 0);
   // Waits for its end. Whether that was with exit code 0.
   bool succeeded();

 private:
   int pid_ = -1;
   int output_ = -1;
   std::optional<int> status_;
};

// All of the text to this process's standard output. Throws std::system_error.
void print(std::string const & text);

}  // namespace Agent::Compat

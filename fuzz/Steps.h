// Reads an input as steps, so that plain text is a good input: "~" and a letter end each step.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

struct Step {
   std::string_view text;
   char command = '\0';  // behind the text; NUL at the end of the input
};

// Calls `visit` with each step. A tilde is no part of a text.
template <class Visit>
void forEachStep(std::string_view input, Visit visit) {
   while (!input.empty()) {
      std::size_t const end = std::min(input.find('~'), input.size());
      visit(Step{input.substr(0, end), end + 1 < input.size() ? input[end + 1] : '\0'});
      input.remove_prefix(std::min(end + 2, input.size()));
   }
}

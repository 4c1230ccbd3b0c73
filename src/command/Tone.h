// The tones of texts in a terminal, and their ANSI colours.
#pragma once

#include <string>
#include <string_view>

namespace Command {

enum class Tone { plain, title, good, warning, bad };

// The text in the colour of the tone; as it is if it is empty or the tone is plain.
std::string coloured(std::string_view text, Tone tone);

}  // namespace Command

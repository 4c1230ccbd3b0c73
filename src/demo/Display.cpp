#include "demo/Display.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include "base/Terminal.h"
#include "base/Text.h"

namespace Demo {

namespace {

constexpr std::size_t keptLines = 200;

constexpr std::string_view enterScreen = "\x1b[?1049h\x1b[?25l";
constexpr std::string_view leaveScreen = "\x1b[?25h\x1b[?1049l";

// That of a common terminal where the size is not known.
Base::TerminalSize screenSize() {
   auto const size = Base::terminalSize(STDOUT_FILENO);
   return size.rows == 0 || size.columns == 0 ? Base::TerminalSize{24, 80} : size;
}

void write(std::string_view text) {
   std::fwrite(text.data(), 1, text.size(), stdout);
   std::fflush(stdout);
}

std::vector<std::string> split(std::string_view text) {
   std::vector<std::string> lines;
   while (!text.empty()) {
      auto const end = std::min(text.find('\n'), text.size());
      lines.emplace_back(text.substr(0, end));
      text.remove_prefix(std::min(end + 1, text.size()));
   }
   return lines;
}

}  // namespace

void PlainDisplay::line(std::string_view mark, std::string_view text) {
   std::chrono::duration<double> const age = std::chrono::steady_clock::now() - start_;
   std::array<char, 32> stamp{};
   std::snprintf(stamp.data(), stamp.size(), "%6.1f s  ", age.count());
   write(stamp.data() + std::string(mark) + std::string(text) + "\n");
}

void PlainDisplay::stepIs(std::string_view text) {
   line("", text);
}

void PlainDisplay::outcomeIs(std::string_view text) {
   line("   ", text);
}

void PlainDisplay::difference(std::string_view text) {
   line("   ", text);
}

void PlainDisplay::agentLine(std::string_view text) {
   line("   agent: ", Base::escaped(text));
}

LiveDisplay::LiveDisplay() : colour_(Base::takesColour(STDOUT_FILENO)) {
   write(enterScreen);
}

LiveDisplay::~LiveDisplay() {
   write(leaveScreen);
}

void LiveDisplay::stepIs(std::string_view text) {
   step_ = text;
   outcome_.clear();
   draw();
}

void LiveDisplay::outcomeIs(std::string_view text) {
   outcome_ = text;
   draw();
}

void LiveDisplay::difference(std::string_view line) {
   lineIs(std::string(line));
}

void LiveDisplay::agentLine(std::string_view line) {
   lineIs(Base::escaped(line));
}

void LiveDisplay::lineIs(std::string text) {
   lines_.push_back(std::move(text));
   if (lines_.size() > keptLines)
      lines_.pop_front();
}

std::optional<TableForm> LiveDisplay::tableForm() const {
   return TableForm{screenSize().columns, colour_};
}

void LiveDisplay::tableIs(std::string_view text) {
   table_ = split(text);
   draw();
}

void LiveDisplay::draw() const {
   auto const size = screenSize();
   auto screen = table_;
   screen.resize(std::min(screen.size(), size.rows - std::min<std::size_t>(size.rows, 5)));
   screen.emplace_back();
   screen.push_back((colour_ ? "\x1b[1m" : "") + Base::cutToWidth(step_, size.columns) +
                    (colour_ ? "\x1b[0m" : ""));
   screen.push_back(Base::cutToWidth(outcome_, size.columns));
   screen.emplace_back();
   auto const room = size.rows - std::min(size.rows, screen.size());
   auto const shown = std::min(room, lines_.size());
   for (auto line = lines_.end() - static_cast<std::ptrdiff_t>(shown); line != lines_.end(); ++line)
      screen.push_back(Base::cutToWidth(*line, size.columns));
   std::string text = "\x1b[H";
   for (std::size_t row = 0; row < screen.size(); ++row)
      text += (row == 0 ? "" : "\r\n") + screen[row] + "\x1b[K";
   write(text + "\x1b[J");
}

}  // namespace Demo

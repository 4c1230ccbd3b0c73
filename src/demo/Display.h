// Shows the demo: plain lines in a file or pipe, a live screen on a terminal.
#pragma once

#include <chrono>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "demo/AgentCommands.h"

namespace Demo {

class Display {
 public:
   Display() = default;
   Display(Display const &) = delete;
   Display & operator=(Display const &) = delete;
   virtual ~Display() = default;

   // The step of the story that is played.
   virtual void stepIs(std::string_view text) = 0;
   // Whether the agent noticed it.
   virtual void outcomeIs(std::string_view text) = 0;
   // A difference seen in the agent's state.
   virtual void difference(std::string_view line) = 0;
   // A line that the agent has written.
   virtual void agentLine(std::string_view line) = 0;
   // The form in which the status table is to be shown now; nothing for a display without one.
   virtual std::optional<TableForm> tableForm() const = 0;
   virtual void tableIs(std::string_view text) = 0;
   // The pause after each step, so that a reader can follow.
   virtual std::chrono::milliseconds pause() const = 0;
};

// Lines with the seconds since the start.
class PlainDisplay : public Display {
 public:
   void stepIs(std::string_view text) override;
   void outcomeIs(std::string_view text) override;
   void difference(std::string_view line) override;
   void agentLine(std::string_view line) override;
   std::optional<TableForm> tableForm() const override { return std::nullopt; }
   void tableIs(std::string_view) override {}
   std::chrono::milliseconds pause() const override { return std::chrono::milliseconds(300); }

 private:
   void line(std::string_view mark, std::string_view text);

   std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

// The status table, the story and the latest lines below, redrawn in place on the alternate screen.
class LiveDisplay : public Display {
 public:
   LiveDisplay();
   ~LiveDisplay() override;

   void stepIs(std::string_view text) override;
   void outcomeIs(std::string_view text) override;
   void difference(std::string_view line) override;
   void agentLine(std::string_view line) override;
   std::optional<TableForm> tableForm() const override;
   void tableIs(std::string_view text) override;
   std::chrono::milliseconds pause() const override { return std::chrono::milliseconds(3000); }

 private:
   void lineIs(std::string text);
   void draw() const;

   bool colour_;
   std::vector<std::string> table_{"The agent has not answered yet."};
   std::string step_;
   std::string outcome_;
   std::deque<std::string> lines_;
};

}  // namespace Demo

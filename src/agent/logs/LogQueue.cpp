#include "agent/logs/LogQueue.h"

#include <utility>

namespace Agent {

LogQueue::LogQueue(Report report) : report_{std::move(report)} {}

void LogQueue::add(Line line) {
   if (unreported_ > 0 && lines_.size() <= mostLines / 2 && bytes_ <= mostBytes / 2)
      addReport();
   if (unreported_ > 0 || isFullWith(line.bytes.size()))
      drop(line);
   else
      append(std::move(line));
}

std::optional<LogQueue::Line> LogQueue::take() {
   if (lines_.empty() && unreported_ > 0)
      addReport();
   if (lines_.empty())
      return std::nullopt;
   Line line = std::move(lines_.front());
   lines_.pop_front();
   bytes_ -= line.bytes.size();
   return line;
}

void LogQueue::drop(Line const & line) {
   ++dropped_;
   ++unreported_;
   droppedAt_ = line.utc;
}

bool LogQueue::isFullWith(std::size_t bytes) const {
   return lines_.size() >= mostLines || bytes_ + bytes > mostBytes;
}

void LogQueue::addReport() {
   append({report_(unreported_, droppedAt_), droppedAt_});
   unreported_ = 0;
}

void LogQueue::append(Line line) {
   std::size_t const size = line.bytes.size();
   lines_.push_back(std::move(line));
   bytes_ += size;
}

}  // namespace Agent

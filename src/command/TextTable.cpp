#include "command/TextTable.h"

#include <algorithm>
#include <numeric>
#include <string_view>

#include "base/Text.h"

namespace Command {

namespace {

constexpr std::size_t gap = 2;

// A column and the width at which it is shown.
struct SizedColumn {
   Column column;
   std::size_t width = 0;
};

bool isEmpty(Column const & column) {
   return std::all_of(column.cells.begin(), column.cells.end(),
                      [](Cell const & cell) { return cell.text.empty(); });
}

SizedColumn atFullWidth(Column column) {
   std::size_t width = Base::displayWidth(column.title);
   for (Cell const & cell : column.cells)
      width = std::max(width, Base::displayWidth(cell.text));
   return {std::move(column), width};
}

std::size_t leastWidth(SizedColumn const & sized) {
   return std::min(sized.width, sized.column.leastWidth);
}

template <class WidthOf>
std::size_t lineWidth(std::vector<SizedColumn> const & columns, WidthOf widthOf) {
   std::size_t const cells = std::accumulate(
       columns.begin(), columns.end(), std::size_t{0},
       [widthOf](std::size_t sum, SizedColumn const & sized) { return sum + widthOf(sized); });
   return cells + gap * (columns.empty() ? 0 : columns.size() - 1);
}

// The column to leave out next: the rightmost `early` one, then the rightmost `late` one.
std::vector<SizedColumn>::iterator nextToDrop(std::vector<SizedColumn> & columns) {
   for (auto const omit : {Column::Omit::early, Column::Omit::late}) {
      auto const last = std::find_if(columns.rbegin(), columns.rend(),
                                     [omit](SizedColumn const & sized) { return sized.column.omit == omit; });
      if (last != columns.rend())
         return std::prev(last.base());
   }
   return columns.end();
}

// Leaves columns out until the others can be cut to fit. Returns the titles of those left out, in order.
std::string dropColumns(std::vector<SizedColumn> & columns, std::size_t width) {
   std::vector<std::string> titles;
   titles.reserve(columns.size());
   for (SizedColumn const & sized : columns)
      titles.push_back(sized.column.title);
   std::vector<std::string> kept = titles;
   while (lineWidth(columns, leastWidth) > width) {
      auto const next = nextToDrop(columns);
      if (next == columns.end())
         break;
      std::erase(kept, next->column.title);
      columns.erase(next);
   }
   std::string dropped;
   for (std::string const & title : titles)
      if (std::find(kept.begin(), kept.end(), title) == kept.end())
         dropped.append(dropped.empty() ? "" : ", ").append(title);
   return dropped;
}

// Takes cells from whichever column is widest, the rightmost of several, until the line fits.
void shrinkColumns(std::vector<SizedColumn> & columns, std::size_t width) {
   auto const cuttableWidth = [](SizedColumn const & sized) {
      return sized.width > sized.column.leastWidth ? sized.width : 0;
   };
   auto const narrower = [cuttableWidth](SizedColumn const & a, SizedColumn const & b) {
      return cuttableWidth(a) < cuttableWidth(b);
   };
   while (lineWidth(columns, [](SizedColumn const & sized) { return sized.width; }) > width) {
      auto const widest = std::max_element(columns.rbegin(), columns.rend(), narrower);
      if (widest == columns.rend() || cuttableWidth(*widest) == 0)
         break;
      --widest->width;
   }
}

// Puts cells side by side, none beyond the right edge and no blanks at the end.
class Line {
 public:
   explicit Line(std::size_t width) : width_{width} {}

   void add(SizedColumn const & sized, std::string const & cell, Tone tone) {
      std::string text = Base::cutToWidth(cell, sized.width);
      std::size_t const padding = sized.width - Base::displayWidth(text);
      advance(first_ ? 0 : gap);
      first_ = false;
      if (sized.column.right)
         advance(padding);
      put(text, tone);
      if (!sized.column.right)
         advance(padding);
   }

   std::string text() const { return line_ + "\n"; }

 private:
   void advance(std::size_t cells) { blanks_ += cells; }

   void put(std::string const & text, Tone tone) {
      if (text.empty() || full_)
         return;
      std::size_t const room = width_ > used_ + blanks_ ? width_ - used_ - blanks_ : 0;
      std::string const fitting = Base::cutToWidth(text, room);
      full_ = fitting != text;
      if (fitting.empty())
         return;
      line_ += std::string(blanks_, ' ') + coloured(fitting, tone);
      used_ += blanks_ + Base::displayWidth(fitting);
      blanks_ = 0;
   }

   std::size_t width_;
   std::size_t used_ = 0;
   std::size_t blanks_ = 0;
   bool first_ = true;
   bool full_ = false;
   std::string line_;
};

}  // namespace

std::string textTable(std::vector<Column> columns, std::size_t width, bool colour) {
   std::size_t const limit = width == 0 ? SIZE_MAX : width;
   std::vector<SizedColumn> sized;
   for (Column & column : columns)
      if (column.omit == Column::Omit::never || !isEmpty(column))
         sized.push_back(atFullWidth(std::move(column)));
   std::string const dropped = dropColumns(sized, limit);
   shrinkColumns(sized, limit);

   Line header{limit};
   for (SizedColumn const & column : sized)
      header.add(column, column.column.title, colour ? Tone::title : Tone::plain);
   std::string result = header.text();
   std::size_t const rows = sized.empty() ? 0 : sized.front().column.cells.size();
   for (std::size_t row = 0; row < rows; ++row) {
      Line line{limit};
      for (SizedColumn const & column : sized) {
         Cell const & cell = column.column.cells.at(row);
         line.add(column, cell.text, colour ? cell.tone : Tone::plain);
      }
      result += line.text();
   }
   if (!dropped.empty())
      result += Base::cutToWidth("(too narrow for " + dropped + ")", limit) + "\n";
   return result;
}

}  // namespace Command

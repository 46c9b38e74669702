#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Irbmc {

/// Lines text up in columns, in two passes: first every row is shown to `fit`, then printed with
/// `line`; so the rows need not be kept. A plain value.
class Columns {
  public:
    using Row = std::vector<std::string>;

    explicit Columns(const Row& titles) : widths_(titles.size()) { fit(titles); }

    /// Makes room for a row, which has as many cells as the titles.
    void fit(const Row& row);
    /// The row as a line, indented by two blanks, its cells two blanks apart.
    std::string line(const Row& row) const;

  private:
    std::vector<std::size_t> widths_;
};

/// The number of characters of UTF-8 text.
std::size_t characterCount(std::string_view text);

}  // namespace Irbmc

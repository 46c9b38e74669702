#include "Columns.h"

#include <algorithm>

namespace Irbmc {

std::size_t characterCount(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xc0) != 0x80;
    }));
}

void Columns::fit(const Row& row) {
    for (std::size_t i = 0; i < row.size(); ++i) {
        widths_[i] = std::max(widths_[i], characterCount(row[i]));
    }
}

std::string Columns::line(const Row& row) const {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
        line += "  " + row[i];
        if (i + 1 < row.size()) line.append(widths_[i] - characterCount(row[i]), ' ');
    }
    return line + '\n';
}

}  // namespace Irbmc

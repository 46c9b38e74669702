#include "Nearest.h"

#include <algorithm>
#include <numeric>

namespace Irbmc {

namespace {

/// How many characters have to be added, removed or exchanged to make one word of the other.
std::size_t distance(std::string_view left, std::string_view right) {
    std::vector<std::size_t> row(right.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < left.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < right.size(); ++j) {
            const std::size_t exchanged = diagonal + (left[i] == right[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({exchanged, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

}  // namespace

std::string nearest(std::string_view word, const std::vector<std::string>& words) {
    // No command and no option is longer: what is, is none of them misspelt.
    static constexpr std::size_t longest = 64;
    if (word.size() > longest) return {};
    std::string best;
    std::size_t least = std::max<std::size_t>(2, word.size() / 3) + 1;
    for (const std::string& candidate : words) {
        const bool isBeginning = word.size() >= 3 && candidate.starts_with(word);
        const std::size_t changes = isBeginning ? 1 : distance(word, candidate);
        if (changes >= least || changes >= candidate.size()) continue;
        least = changes;
        best = candidate;
    }
    return best;
}

std::string suggestion(std::string_view word, const std::vector<std::string>& words) {
    const std::string meant = nearest(word, words);
    return meant.empty() ? "" : "; did you mean '" + meant + "'?";
}

}  // namespace Irbmc

#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Irbmc {

/// The one of these words that somebody most likely meant; empty if none of them is near.
std::string nearest(std::string_view word, const std::vector<std::string>& words);

/// What is to be added to the refusal of a word: "; did you mean '--json'?", or nothing.
std::string suggestion(std::string_view word, const std::vector<std::string>& words);

}  // namespace Irbmc

// What makes a terminal show text in colour.
#pragma once

#include <string>
#include <string_view>

namespace Irbmc::Replay {

inline constexpr std::string_view green = "\x1b[32m";
inline constexpr std::string_view yellow = "\x1b[33m";
inline constexpr std::string_view red = "\x1b[31m";
inline constexpr std::string_view bold = "\x1b[1m";
inline constexpr std::string_view faint = "\x1b[2m";

/// The text in a colour, or as it is.
inline std::string coloured(bool isColoured, std::string_view colour, std::string_view text) {
    if (!isColoured) return std::string(text);
    return std::string(colour) + std::string(text) + "\x1b[0m";
}

}  // namespace Irbmc::Replay

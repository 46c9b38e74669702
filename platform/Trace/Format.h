// Message formats: literal text in which each {} takes the next argument.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <type_traits>

#include "Trace/ValueTraits.h"

namespace Trace {

inline constexpr std::string_view placeholder = "{}";

constexpr std::size_t placeholderCount(std::string_view format) {
    std::size_t count = 0;
    for (std::size_t at = format.find(placeholder); at != std::string_view::npos;
         at = format.find(placeholder, at + placeholder.size())) {
        ++count;
    }
    return count;
}

/// A format for arguments of these types. It is built when the program is compiled; a format with
/// another number of {} than arguments does not compile.
template <Traceable... Args>
class Format {
  public:
    consteval Format(const char* text) : text_(text) {  // NOLINT(google-explicit-constructor)
        if (placeholderCount(text_) != sizeof...(Args)) {
            throw "the format needs as many {} as there are arguments";
        }
    }
    constexpr std::string_view text() const { return text_; }

  private:
    std::string_view text_;
};

/// Keeps a parameter of this type out of the deduction of the argument types.
template <class... Args>
using FormatFor = std::type_identity_t<Format<Args...>>;

/// Appends to `out` what comes before the next {}, and takes both off `rest`.
inline void appendLiteral(std::string& out, std::string_view& rest) {
    const std::size_t at = std::min(rest.find(placeholder), rest.size());
    out += rest.substr(0, at);
    rest.remove_prefix(std::min(at + placeholder.size(), rest.size()));
}

/// The message's text.
template <Traceable... Args>
std::string formatted(std::string_view format, const Args&... args) {
    std::string out;
    ((appendLiteral(out, format), ValueTraits<Args>::print(out, args)), ...);
    out += format;
    return out;
}

}  // namespace Trace

#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Toggle {

/// A toggle file, decoded: one JSON object (RFC 8259) of names to values, for example
/// {"OismGateway": true}. A plain value. Values that are neither true nor false are kept as text,
/// since they may belong to somebody else; whoever asks for one is told.
class ToggleFile {
  public:
    /// The most bytes that a file may have, and the deepest nesting of arrays and objects in it.
    static constexpr std::size_t maxBytes = 1 << 20;
    static constexpr std::size_t maxDepth = 32;

    struct Value {
        /// true or false; nothing for any other value.
        std::optional<bool> isOn;
        /// As JSON, shortened.
        std::string text;
    };

    /// @throws ToggleFileError if `text` is anything but one such object, or has a name twice
    static ToggleFile parse(std::string_view text);

    /// The value of that name, or null. Valid while this object lives.
    const Value* value(std::string_view name) const;
    /// Every name there is, sorted.
    std::vector<std::string> names() const;

  private:
    std::map<std::string, Value, std::less<>> values_;
};

}  // namespace Toggle

#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace Irbmc::Replay {

/// One JSON value of a recording's line, with what a strict reader needs and a general-purpose
/// tree loses: objects keep the order in which their members were written, and a member written
/// twice is an error. A plain value, owned by whoever parsed it; any thread; lives as long as its
/// owner wants.
class JsonValue {
  public:
    using Array = std::vector<JsonValue>;
    using Object = std::vector<std::pair<std::string, JsonValue>>;
    /// A whole number has the first integer type that holds it; any other number is a double.
    using Content = std::variant<std::nullptr_t, bool, std::int64_t, std::uint64_t, double,
                                 std::string, Array, Object>;

    /// Arrays and objects inside one another, at most. No line of a recording needs more.
    static constexpr std::size_t maxDepth = 16;

    JsonValue() = default;
    explicit JsonValue(Content content) : content_(std::move(content)) {}

    /// The value that `text` spells, surrounded by blanks at most.
    /// @throws FormatError if `text` is no JSON text in UTF-8, has a member twice, or is nested
    ///         deeper than maxDepth
    static JsonValue parse(std::string_view text);

    const Content& content() const { return content_; }
    /// The content if it is a `Type`, else null.
    template <class Type>
    const Type* as() const {
        return std::get_if<Type>(&content_);
    }
    bool isNumber() const;

    /// The value in a message: a scalar as JSON text, shortened if it is long; "an array" or
    /// "an object" for those.
    std::string description() const;
    /// A number as JSON text: the shortest that reads back as the same number. Empty for others.
    std::string numberText() const;

  private:
    friend class JsonBuilder;

    Content content_;
};

/// `text` as a JSON string, in its quotes. Bytes that are not UTF-8 become U+FFFD.
std::string jsonString(std::string_view text);

}  // namespace Irbmc::Replay

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Toggle {

/// A place in a JSON text that moves forward over one token or value at a time. A plain value that
/// looks into a text of its user's. Everything throws ToggleFileError where the text is not JSON.
class JsonCursor {
  public:
    explicit JsonCursor(std::string_view text) : text_(text) {}

    std::size_t position() const { return at_; }
    /// The line of the next token, counted from 1.
    std::size_t line() const;
    /// The text from `begin` to here.
    std::string_view textFrom(std::size_t begin) const { return text_.substr(begin, at_ - begin); }

    void skipBlanks();
    bool isAtEnd() const { return at_ == text_.size(); }
    /// Moves over `c`, blanks before it included, if it is the next token.
    bool takes(char c);
    /// The same, where nothing else is right; `what` says so to people.
    void needs(char c, const char* what);
    /// Moves over a string; what it stands for, in UTF-8.
    std::string string();
    /// Moves over a value of any kind.
    /// @param depth how many arrays and objects there may be one inside another
    void skipValue(std::size_t depth);

    [[noreturn]] void fail(const std::string& what) const;

  private:
    char next() const { return at_ < text_.size() ? text_[at_] : '\0'; }
    void skipMembers(bool isObject, std::size_t depth);
    void skipLiteral();
    void skipNumber();
    void skipDigits();
    void appendEscape(std::string& out);
    unsigned hexUnit();

    std::string_view text_;
    std::size_t at_ = 0;
};

}  // namespace Toggle

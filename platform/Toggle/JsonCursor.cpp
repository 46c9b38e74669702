#include "Toggle/JsonCursor.h"

#include <algorithm>

#include "Toggle/ToggleFileError.h"

namespace Toggle {

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

void appendUtf8(std::string& out, unsigned code) {
    const auto add = [&out](unsigned byte) { out += static_cast<char>(byte); };
    if (code < 0x80) {
        add(code);
    } else if (code < 0x800) {
        add(0xc0 | code >> 6);
        add(0x80 | (code & 0x3f));
    } else if (code < 0x10000) {
        add(0xe0 | code >> 12);
        add(0x80 | (code >> 6 & 0x3f));
        add(0x80 | (code & 0x3f));
    } else {
        add(0xf0 | code >> 18);
        add(0x80 | (code >> 12 & 0x3f));
        add(0x80 | (code >> 6 & 0x3f));
        add(0x80 | (code & 0x3f));
    }
}

}  // namespace

std::size_t JsonCursor::line() const {
    const std::string_view before = text_.substr(0, at_);
    return 1 + static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n'));
}

void JsonCursor::fail(const std::string& what) const {
    throw ToggleFileError(line(), what);
}

void JsonCursor::skipBlanks() {
    at_ = std::min(text_.find_first_not_of(" \t\r\n", at_), text_.size());
}

bool JsonCursor::takes(char c) {
    skipBlanks();
    if (isAtEnd() || text_[at_] != c) return false;
    ++at_;
    return true;
}

void JsonCursor::needs(char c, const char* what) {
    if (!takes(c)) fail(what);
}

std::string JsonCursor::string() {
    needs('"', "a string is missing");
    std::string out;
    for (;;) {
        if (isAtEnd()) fail("a string that does not end");
        const char c = text_[at_];
        if (static_cast<unsigned char>(c) < 0x20) fail("a control character in a string");
        ++at_;
        if (c == '"') return out;
        if (c == '\\') {
            appendEscape(out);
        } else {
            out += c;
        }
    }
}

void JsonCursor::appendEscape(std::string& out) {
    static constexpr std::string_view names = "\"\\/bfnrt";
    static constexpr std::string_view meanings = "\"\\/\b\f\n\r\t";
    const char c = next();
    if (const std::size_t i = names.find(c); i != std::string_view::npos) {
        ++at_;
        out += meanings[i];
        return;
    }
    if (c != 'u') fail("an unknown escape in a string");
    ++at_;
    unsigned code = hexUnit();
    if (code >= 0xd800 && code < 0xdc00) {
        if (text_.substr(at_, 2) != "\\u") fail("half of a surrogate pair in a string");
        at_ += 2;
        const unsigned low = hexUnit();
        if (low < 0xdc00 || low > 0xdfff) fail("half of a surrogate pair in a string");
        code = 0x10000 + ((code - 0xd800) << 10) + (low - 0xdc00);
    } else if (code >= 0xdc00 && code < 0xe000) {
        fail("half of a surrogate pair in a string");
    }
    appendUtf8(out, code);
}

unsigned JsonCursor::hexUnit() {
    static constexpr std::string_view digits = "0123456789abcdef";
    unsigned unit = 0;
    for (int i = 0; i < 4; ++i) {
        const char c = next();
        const char lower = c >= 'A' && c <= 'F' ? static_cast<char>(c - 'A' + 'a') : c;
        const std::size_t digit = digits.find(lower);
        if (digit == std::string_view::npos) fail("\\u without four hexadecimal digits");
        unit = unit * 16 + static_cast<unsigned>(digit);
        ++at_;
    }
    return unit;
}

void JsonCursor::skipValue(std::size_t depth) {
    skipBlanks();
    if (isAtEnd()) fail("a value is missing");
    switch (const char c = next()) {
        case '{':
        case '[':
            if (depth == 0) fail("arrays and objects nested too deep");
            ++at_;
            return skipMembers(c == '{', depth - 1);
        case '"':
            string();
            return;
        default:
            if (c == '-' || isDigit(c)) return skipNumber();
            return skipLiteral();
    }
}

void JsonCursor::skipMembers(bool isObject, std::size_t depth) {
    const char close = isObject ? '}' : ']';
    if (takes(close)) return;
    do {
        if (isObject) {
            string();
            needs(':', "a ':' is missing behind a name");
        }
        skipValue(depth);
    } while (takes(','));
    needs(close, isObject ? "a ',' or '}' is missing" : "a ',' or ']' is missing");
}

void JsonCursor::skipLiteral() {
    for (const std::string_view literal : {"true", "false", "null"}) {
        if (text_.substr(at_).starts_with(literal)) {
            at_ += literal.size();
            return;
        }
    }
    fail("a value is missing");
}

void JsonCursor::skipNumber() {
    if (next() == '-') ++at_;
    if (next() == '0') {
        ++at_;
        if (isDigit(next())) fail("a number with a leading zero");
    } else {
        skipDigits();
    }
    if (next() == '.') {
        ++at_;
        skipDigits();
    }
    if (next() == 'e' || next() == 'E') {
        ++at_;
        if (next() == '+' || next() == '-') ++at_;
        skipDigits();
    }
}

void JsonCursor::skipDigits() {
    if (!isDigit(next())) fail("a malformed number");
    while (isDigit(next()))
        ++at_;
}

}  // namespace Toggle

#include "Trace/StandardError.h"

#include <unistd.h>

#include <cerrno>
#include <string_view>

namespace Trace {

namespace {

std::string printable(const std::string& line) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(line.size() + 1);
    for (const char c : line) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte != 0x7f) {
            text += c;
        } else {
            text += "\\x";
            text += digits[byte >> 4];
            text += digits[byte & 0xf];
        }
    }
    return text;
}

}  // namespace

void writeLine(const std::string& line) {
    const std::string text = printable(line) + '\n';
    std::string_view rest = text;
    while (!rest.empty()) {
        const ssize_t written = ::write(STDERR_FILENO, rest.data(), rest.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return;
        rest.remove_prefix(static_cast<std::size_t>(written));
    }
}

}  // namespace Trace

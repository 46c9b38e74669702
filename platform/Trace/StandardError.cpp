#include "Trace/StandardError.h"

#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <mutex>
#include <string>
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

/// Writes what there is room for.
/// @returns what there was none for; nothing where the write failed for another reason
std::string_view restAfterWriting(std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
        if (written < 0 && errno == EINTR) continue;
        if (written < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return text;
        if (written <= 0) return {};
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return {};
}

/// Standard error as the lines of this process reach it.
class Lines {
  public:
    static Lines& instance() {
        // Never destroyed: static destructors may still trace.
        static Lines& lines = *new Lines;
        return lines;
    }

    void write(const std::string& line) {
        const std::lock_guard lock(mutex_);
        rest_ = std::string(restAfterWriting(rest_));
        if (!rest_.empty()) {
            ++lost_;
            return;
        }
        const std::string text = toldLoss() + line;
        const std::string_view rest = restAfterWriting(text);
        if (rest.size() == text.size()) {
            ++lost_;
            return;
        }
        lost_ = 0;
        rest_ = rest;
    }

  private:
    std::string toldLoss() const {
        if (lost_ == 0) return "";
        return "trace: standard error was full, " + std::to_string(lost_) +
               (lost_ == 1 ? " line is" : " lines are") + " missing here\n";
    }

    std::mutex mutex_;
    // Of the line that was written last, what found no room.
    std::string rest_;
    std::uint64_t lost_ = 0;
};

}  // namespace

void writeLine(const std::string& line) {
    Lines::instance().write(printable(line) + '\n');
}

}  // namespace Trace

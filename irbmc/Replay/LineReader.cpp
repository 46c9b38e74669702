#include "Replay/LineReader.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace Irbmc::Replay {

std::optional<LineReader::Line> LineReader::next() {
    while (isRestLeft_ && (hasBuffered() || refill())) {
        isRestLeft_ = !dropLine();
    }
    text_.clear();
    Line line;
    bool isAny = false;
    while (!line.isCut && (hasBuffered() || refill())) {
        isAny = true;
        if (takeFromBuffer(line)) break;
    }
    if (!isAny) return std::nullopt;
    isRestLeft_ = line.isCut;
    line.number = ++count_;
    line.text = text_;
    return line;
}

bool LineReader::takeFromBuffer(Line& line) {
    const std::string_view buffered(buffer_.data() + begin_, end_ - begin_);
    const std::size_t length = std::min(buffered.find('\n'), buffered.size());
    const std::size_t kept = std::min(length, maxLineLength - text_.size());
    text_ += buffered.substr(0, kept);
    if (kept == length) return dropLine();
    begin_ += kept;
    line.isCut = true;
    return false;
}

bool LineReader::dropLine() {
    const std::string_view buffered(buffer_.data() + begin_, end_ - begin_);
    const auto newline = buffered.find('\n');
    const bool isEnded = newline != std::string_view::npos;
    begin_ = isEnded ? begin_ + newline + 1 : end_;
    return isEnded;
}

bool LineReader::refill() {
    ssize_t count = 0;
    do {
        count = ::read(descriptor_, buffer_.data(), buffer_.size());
    } while (count < 0 && errno == EINTR);
    if (count < 0) throw std::system_error(errno, std::generic_category());
    begin_ = 0;
    end_ = static_cast<std::size_t>(count);
    return count > 0;
}

}  // namespace Irbmc::Replay

#include "Replay/LineReader.h"

#include <algorithm>

#include "Replay/Streams.h"

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
    begin_ = 0;
    end_ = 0;
    end_ = readSome(descriptor_, buffer_.data(), buffer_.size());
    return end_ != 0;
}

}  // namespace Irbmc::Replay

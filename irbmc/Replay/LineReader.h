#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Irbmc::Replay {

/// Reads a file, a pipe or a terminal line by line, in constant memory however long the file and
/// its lines are. Refers to a file descriptor that somebody else owns and closes after it; one
/// thread.
class LineReader {
  public:
    /// The longest line that is given whole, in bytes.
    static constexpr std::size_t maxLineLength = std::size_t{16} << 20;

    struct Line {
        /// Without its newline; cut to maxLineLength. Valid until the next line is read.
        std::string_view text;
        /// Counted from 1.
        std::uint64_t number = 0;
        /// Whether the line is longer than `text`. What follows is read when the next line is.
        bool isCut = false;
    };

    explicit LineReader(int descriptor) : descriptor_(descriptor) {}

    /// The next line, or nothing at the end. Text behind the last newline is a line too.
    /// @throws std::system_error if the file cannot be read
    std::optional<Line> next();
    /// Whether there are bytes to look at before the file is asked for more, which may wait.
    bool hasBuffered() const { return begin_ != end_; }

  private:
    /// Takes what the buffer holds of the line. Returns whether the line ended.
    bool takeFromBuffer(Line& line);
    /// Drops what the buffer holds of the line. Returns whether the line ended.
    bool dropLine();
    /// Fills the empty buffer. Returns false at the end of the file.
    bool refill();

    int descriptor_;
    std::array<char, std::size_t{64} << 10> buffer_{};
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    std::string text_;
    std::uint64_t count_ = 0;
    /// Whether the end of a line that was cut is still to come.
    bool isRestLeft_ = false;
};

}  // namespace Irbmc::Replay

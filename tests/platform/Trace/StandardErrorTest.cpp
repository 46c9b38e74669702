// Lines for people reach standard error whole, or not at all and counted.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <sstream>
#include <string>
#include <vector>

#include "Trace/StandardError.h"

namespace Trace {

namespace {

using testing::ElementsAre;

/// Standard error is a small pipe that does not block, while this lives.
class FullStandardError : public testing::Test {
  protected:
    FullStandardError() : kept_(::dup(STDERR_FILENO)) {
        EXPECT_EQ(::pipe2(ends_.data(), O_CLOEXEC | O_NONBLOCK), 0);
        EXPECT_EQ(::fcntl(ends_[1], F_SETPIPE_SZ, static_cast<int>(room)), static_cast<int>(room));
        ::dup2(ends_[1], STDERR_FILENO);
    }
    ~FullStandardError() override {
        ::dup2(kept_, STDERR_FILENO);
        for (const int descriptor : {kept_, ends_[0], ends_[1]})
            ::close(descriptor);
    }

    /// What is in the pipe.
    std::string read() const {
        std::string text(room, '\0');
        const ssize_t count = ::read(ends_[0], text.data(), text.size());
        text.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
        return text;
    }
    std::vector<std::string> readLines() const {
        std::istringstream text(read());
        std::vector<std::string> lines;
        for (std::string line; std::getline(text, line);)
            lines.push_back(line);
        return lines;
    }

    static constexpr std::size_t room = 4096;

  private:
    const int kept_;
    std::array<int, 2> ends_{-1, -1};
};

TEST_F(FullStandardError, LosesWholeLinesAndTheNextOneSaysHowMany) {
    const std::string line(999, 'x');
    for (int i = 0; i < 7; ++i)
        writeLine(line);
    EXPECT_THAT(readLines(), ElementsAre(line, line, line, line));
    writeLine("afterwards");
    EXPECT_EQ(read(), "trace: standard error was full, 3 lines are missing here\nafterwards\n");
    writeLine("and so on");
    EXPECT_EQ(read(), "and so on\n");
}

TEST_F(FullStandardError, CountsTheLineThatTheMessageOfALossFindsNoRoomFor) {
    const std::string whole(room - 1, 'x');
    writeLine(whole);
    writeLine("lost");
    writeLine("lost, too");
    EXPECT_EQ(read(), whole + '\n');
    writeLine("afterwards");
    EXPECT_THAT(readLines(), ElementsAre("trace: standard error was full, 2 lines are missing here",
                                         "afterwards"));
}

TEST_F(FullStandardError, GetsTheRestOfALongLineAheadOfTheNext) {
    const std::string longer(room + 10, 'x');
    writeLine(longer);
    writeLine("lost");
    EXPECT_EQ(read(), longer.substr(0, room));
    writeLine("afterwards");
    EXPECT_EQ(read(), longer.substr(room) +
                          "\ntrace: standard error was full, 1 line is missing here\nafterwards\n");
}

}  // namespace

}  // namespace Trace

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <string>
#include <system_error>
#include <vector>

#include "Replay/LineReader.h"

namespace {

using Irbmc::Replay::LineReader;

/// A file in memory.
class MemoryFile {
  public:
    explicit MemoryFile(std::string_view content) : descriptor_(memfd_create("lines", 0)) {
        EXPECT_EQ(::write(descriptor_, content.data(), content.size()),
                  static_cast<ssize_t>(content.size()));
        ::lseek(descriptor_, 0, SEEK_SET);
    }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;
    ~MemoryFile() { ::close(descriptor_); }

    int descriptor() const { return descriptor_; }

  private:
    int descriptor_;
};

std::vector<std::string> linesOf(std::string_view content) {
    const MemoryFile file(content);
    LineReader reader(file.descriptor());
    std::vector<std::string> lines;
    while (const auto line = reader.next()) {
        EXPECT_FALSE(line->isCut);
        EXPECT_EQ(line->number, lines.size() + 1);
        lines.emplace_back(line->text);
    }
    return lines;
}

using Lines = std::vector<std::string>;

TEST(LineReader, SplitsAtNewlinesAndNumbersLinesFromOne) {
    EXPECT_EQ(linesOf("one\n\nthree\n"), (Lines{"one", "", "three"}));
}

TEST(LineReader, GivesTextBehindTheLastNewlineAsALine) {
    EXPECT_EQ(linesOf("one\ntwo"), (Lines{"one", "two"}));
}

TEST(LineReader, FindsNoLineInAnEmptyFile) {
    EXPECT_EQ(linesOf(""), Lines());
}

TEST(LineReader, KeepsBytesOfAllValues) {
    const std::string bytes("a\0b\r\xff", 5);
    EXPECT_EQ(linesOf(bytes + "\n"), Lines{bytes});
}

TEST(LineReader, PutsLinesTogetherThatSpanItsBuffer) {
    const std::string text(200000, 'x');
    EXPECT_EQ(linesOf(text + "\ny\n"), (Lines{text, "y"}));
}

TEST(LineReader, CutsALineBeyondTheLimitAndGoesOnBehindIt) {
    const std::string longest(LineReader::maxLineLength, 'x');
    const MemoryFile file(longest + "\n" + longest + "yy\nz\n");
    LineReader reader(file.descriptor());
    EXPECT_FALSE(reader.next()->isCut);
    const auto cut = reader.next();
    EXPECT_TRUE(cut->isCut);
    EXPECT_EQ(cut->text, longest);
    const auto next = reader.next();
    EXPECT_EQ(next->text, "z");
    EXPECT_EQ(next->number, 3u);
    EXPECT_FALSE(next->isCut);
}

TEST(LineReader, GivesALineThatNeverEndsCut) {
    const int zeros = ::open("/dev/zero", O_RDONLY);
    LineReader reader(zeros);
    const auto line = reader.next();
    EXPECT_TRUE(line->isCut);
    EXPECT_EQ(line->text.size(), LineReader::maxLineLength);
    ::close(zeros);
}

TEST(LineReader, FindsNothingBehindACutLineThatIsTheLast) {
    const MemoryFile file(std::string(LineReader::maxLineLength + 100000, 'x'));
    LineReader reader(file.descriptor());
    EXPECT_TRUE(reader.next()->isCut);
    EXPECT_FALSE(reader.next());
}

TEST(LineReader, KnowsWhetherTheNextLineMayHaveToBeWaitedFor) {
    const MemoryFile file("one\ntwo\n");
    LineReader reader(file.descriptor());
    EXPECT_FALSE(reader.hasBuffered());
    reader.next();
    EXPECT_TRUE(reader.hasBuffered());
    reader.next();
    EXPECT_FALSE(reader.hasBuffered());
}

TEST(LineReader, RaisesAnErrorForWhatCannotBeRead) {
    const int folder = ::open("/", O_RDONLY | O_DIRECTORY);
    LineReader reader(folder);
    EXPECT_THROW(reader.next(), std::system_error);
    ::close(folder);
}

}  // namespace

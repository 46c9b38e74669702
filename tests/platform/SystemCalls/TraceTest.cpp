// Calls of the operating system that fail or are interrupted while traces and toggles are read and
// written.
#include "platform/Trace/TraceTest.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <system_error>

#include "FailingCalls.h"
#include "Toggle/FeatureToggle.h"
#include "Toggle/Toggle.h"
#include "Trace/StandardError.h"

namespace {

using Trace::RingReader;

/// What an action raises while a call fails, or the empty text.
std::string errorOf(std::string_view call, int error, std::uint64_t number,
                    const std::function<void()>& action) {
    calls.only = call;
    calls.error = error;
    calls.left = number;
    calls.isCounted = true;
    std::string message;
    try {
        action();
    } catch (const std::system_error& raised) {
        calls.isCounted = false;
        message = raised.what();
    }
    calls.isCounted = false;
    EXPECT_EQ(calls.failed, call);
    calls = {};
    return message;
}

class FailingTraceRing : public testing::Test {
  protected:
    TemporaryDirectory directory_;
    const std::string path_ = directory_.file("ring");
};

TEST_F(FailingTraceRing, IsMadeWholeOrNotAtAll) {
    Trace::ringFileIs(path_, 16);
    TRACE(testHandle(), 5, "f", "before");
    struct {
        const char* call;
        std::uint64_t number;
        const char* expected;
    } const failures[] = {{"open", 1, ": cannot be created"},
                          {"posix_fallocate", 1, ": no space for it"},
                          {"mmap", 1, ": cannot be mapped"},
                          {"rename", 1, ": cannot be put in place"},
                          {"rename", 2, ": cannot be put in place"}};
    for (const auto& [call, number, expected] : failures) {
        const std::string message = errorOf(call, 0, number, [&] { Trace::ringFileIs(path_, 16); });
        EXPECT_NE(message.find("trace ring " + path_), std::string::npos) << call << message;
        EXPECT_NE(message.find(expected), std::string::npos) << call << message;
        for (const auto& file : std::filesystem::directory_iterator(directory_.path()))
            EXPECT_FALSE(file.path().string().ends_with(".new")) << call;
    }
    // The last one had been moved aside already.
    TRACE(testHandle(), 5, "f", "after");
    EXPECT_EQ(testRecords(RingReader::ofProcess()).size(), 2u);
    EXPECT_EQ(testRecords(RingReader::ofFile(path_ + ".previous")).size(), 2u);
}

TEST_F(FailingTraceRing, IsReadThroughInterruptions) {
    Trace::ringFileIs(path_, 16);
    TRACE(testHandle(), 5, "f", "one");
    EXPECT_EQ(errorOf("pread", EINTR, 1,
                      [&] { EXPECT_EQ(testRecords(RingReader::ofFile(path_)).size(), 1u); }),
              "");
    for (const char* call : {"pread", "fstat"}) {
        const std::string message = errorOf(call, EIO, 1, [&] { RingReader::ofFile(path_); });
        EXPECT_NE(message.find("trace ring " + path_), std::string::npos) << call << message;
    }
}

TEST(FailingTraceText, IsWrittenThroughInterruptions) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(errorOf("write", EINTR, 1, [] { Trace::writeLine("whole"); }), "");
    EXPECT_EQ(errorOf("write", EIO, 1, [] { Trace::writeLine("lost"); }), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "whole\n");
}

class FailingToggles : public testing::Test {
  protected:
    FailingToggles() {
        Toggle::toggleDirectoryIs(directory_.path());
        Toggle::forget();
        std::ofstream(directory_.file("T.json")) << R"({"Wanted": true})";
    }
    ~FailingToggles() override {
        Toggle::toggleDirectoryIs("");
        Toggle::forget();
    }

    static bool isWanted() { return Toggle::getToggleState("T.json", "Wanted", false); }

    const TemporaryDirectory directory_;
};

TEST_F(FailingToggles, AreReadThroughInterruptions) {
    EXPECT_EQ(errorOf("read", EINTR, 1, [] { EXPECT_TRUE(isWanted()); }), "");
}

TEST_F(FailingToggles, AreTheDefaultWhereTheirFileCannotBeReadAndThatIsTold) {
    for (const char* call : {"open", "fstat", "read"}) {
        Toggle::forget();
        testing::internal::CaptureStderr();
        EXPECT_EQ(errorOf(call, EIO, 1, [] { EXPECT_FALSE(isWanted()); }), "");
        const std::string text = testing::internal::GetCapturedStderr();
        EXPECT_NE(text.find(directory_.file("T.json") + ": cannot be read"), std::string::npos)
            << call << text;
    }
    EXPECT_TRUE(isWanted());
}

TEST_F(FailingToggles, AreNotCalledMissingWhereTheirDirectoryCannotBeLookedAt) {
    std::filesystem::remove(directory_.file("T.json"));
    testing::internal::CaptureStderr();
    EXPECT_EQ(errorOf("stat", EACCES, 1, [] { EXPECT_FALSE(isWanted()); }), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace

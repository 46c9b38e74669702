#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "platform/Trace/TraceTest.h"

namespace {

using Trace::Ring;
using Trace::RingReader;
using Trace::RingRecord;

/// Runs `function` in a child process; returns its process id.
template <class Function>
pid_t child(Function function) {
    const pid_t process = fork();
    if (process != 0) return process;
    function();
    _exit(0);
}

/// How the child ended, as waitpid has it.
int ended(pid_t process) {
    int status = 0;
    while (waitpid(process, &status, 0) < 0) {
    }
    return status;
}

/// A ring file of a process that is gone, holding the numbers 1 to `count` as messages.
void makeRing(const std::string& path, std::uint32_t slotCount, std::uint32_t count) {
    const int status = ended(child([&] {
        Trace::ringFileIs(path, slotCount);
        for (std::uint32_t i = 1; i <= count; ++i)
            TRACE(testHandle(), 5, "makeRing", "number {}", i);
    }));
    ASSERT_EQ(status, 0);
}

std::string content(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void contentIs(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

std::size_t slotOffset(std::size_t slot) {
    return Trace::ringSlotsOffset + slot * Trace::ringSlotBytes;
}

std::string refusalOf(const std::string& path) {
    try {
        RingReader::ofFile(path);
    } catch (const std::exception& error) {
        return error.what();
    }
    return "not refused";
}

class TraceRingFile : public testing::Test {
  protected:
    TemporaryDirectory directory_;
    const std::string path_ = directory_.file("ring");
};

TEST_F(TraceRingFile, IsDecodedByAnotherProcessAfterItsOwnWasKilled) {
    const pid_t process = child([&] {
        Trace::ringFileIs(path_);
        TRACE_BLOCK(testHandle(), "void f()");
        TRACE(testHandle(), 8, "f", "vlan {}", Bridging::VlanId(10));
        kill(getpid(), SIGKILL);
    });
    EXPECT_TRUE(WIFSIGNALED(ended(process)));
    const RingReader reader = RingReader::ofFile(path_);
    EXPECT_EQ(reader.processId(), static_cast<std::uint32_t>(process));
    EXPECT_EQ(reader.written(), 2u);
    EXPECT_EQ(reader.damaged(), 0u);
    EXPECT_FALSE(reader.isCutOff());
    const auto records = testRecords(reader);
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].type, Trace::RecordType::blockBegin);
    EXPECT_EQ(records[1].text(), "vlan 10");
    EXPECT_EQ(records[1].level, 8u);
}

TEST_F(TraceRingFile, LosesAtMostTheRecordThatAKilledProcessWasWriting) {
    int started[2];
    ASSERT_EQ(pipe(started), 0);
    const pid_t process = child([&] {
        Trace::ringFileIs(path_, 64);
        for (std::uint32_t i = 1;; ++i) {
            TRACE(testHandle(), 5, "f", "{} {}", i, i);
            if (i == 1000 && write(started[1], "x", 1) != 1) _exit(1);
        }
    });
    char byte = 0;
    ASSERT_EQ(read(started[0], &byte, 1), 1);
    kill(process, SIGKILL);
    EXPECT_TRUE(WIFSIGNALED(ended(process)));
    close(started[0]);
    close(started[1]);
    const RingReader reader = RingReader::ofFile(path_);
    EXPECT_GE(reader.written(), 1000u);
    EXPECT_LE(reader.damaged(), 1u);
    EXPECT_EQ(reader.size() + reader.damaged(), 64u);
    for (std::size_t i = 0; i < reader.size(); ++i) {
        const RingRecord record = reader.record(i);
        EXPECT_EQ(record.values.at(0).text(), std::to_string(record.number));
        EXPECT_EQ(record.values.at(1).text(), record.values.at(0).text());
    }
}

TEST_F(TraceRingFile, CanBeReadWhileItsProcessWrites) {
    Trace::ringFileIs(path_, 16);
    TRACE(testHandle(), 5, "f", "one");
    EXPECT_EQ(testRecords(RingReader::ofFile(path_)).size(), 1u);
    TRACE(testHandle(), 5, "f", "two");
    const auto records = testRecords(RingReader::ofFile(path_));
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[1].text(), "two");
    EXPECT_EQ(testRecords(RingReader::ofProcess()).size(), 2u);
}

TEST_F(TraceRingFile, KnowsTheSitesThatTracedBeforeItWasMade) {
    const auto trace = [] { TRACE(testHandle(), 5, "f", "site from before"); };
    trace();
    Trace::ringFileIs(path_, 16);
    trace();
    const auto records = testRecords(RingReader::ofFile(path_));
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].text(), "site from before");
}

TEST_F(TraceRingFile, KeepsTheFileOfTheProcessBefore) {
    makeRing(path_, 16, 3);
    makeRing(path_, 16, 5);
    EXPECT_EQ(testRecords(RingReader::ofFile(path_ + ".previous")).size(), 3u);
    EXPECT_EQ(testRecords(RingReader::ofFile(path_)).size(), 5u);
}

TEST_F(TraceRingFile, RoundsItsSizeUpToAPowerOfTwo) {
    makeRing(path_, 5, 20);
    EXPECT_EQ(std::filesystem::file_size(path_), slotOffset(8));
    const auto records = testRecords(RingReader::ofFile(path_));
    ASSERT_EQ(records.size(), 8u);
    EXPECT_EQ(records.front().text(), "number 13");
    EXPECT_EQ(records.back().text(), "number 20");
}

TEST_F(TraceRingFile, ThatCannotBeMadeIsAnErrorAndLeavesTheRingWhereItWas) {
    const std::string path = directory_.file("missing/ring");
    try {
        Trace::ringFileIs(path);
        FAIL() << "made";
    } catch (const std::system_error& error) {
        EXPECT_NE(std::string(error.what()).find(path), std::string::npos) << error.what();
        EXPECT_EQ(error.code(), std::errc::no_such_file_or_directory);
    }
    EXPECT_THROW(Trace::ringFileIs(path_, Trace::ringMaxSlots + 1), std::system_error);
    std::filesystem::create_directories(path_ + "/of");
    EXPECT_THROW(Trace::ringFileIs(path_ + "/of/.."), std::system_error);
    TRACE(testHandle(), 5, "f", "still traced");
    EXPECT_EQ(testRecords(RingReader::ofProcess()).size(), 1u);
}

TEST_F(TraceRingFile, OfManyThreadsThatOvertakeEachOtherDecodesNothingThatWasNotWritten) {
    Trace::ringFileIs(path_, 4);
    const auto write = [](std::uint32_t writer) {
        for (std::uint32_t i = 0; i < 2000; ++i)
            TRACE(testHandle(), 5, "f", "{} {} {} {}", writer, i, "in between", writer + i);
    };
    std::vector<std::thread> writers;
    for (const std::uint32_t writer : {1000u, 5000u, 9000u})
        writers.emplace_back(write, writer);
    for (int round = 0; round < 200; ++round) {
        for (const RingRecord& record : testRecords(RingReader::ofProcess())) {
            const auto number = [&](std::size_t i) {
                return std::stoul(record.values.at(i).text());
            };
            ASSERT_EQ(number(3), number(0) + number(1));
        }
    }
    for (std::thread& writer : writers)
        writer.join();
    EXPECT_EQ(RingReader::ofFile(path_).written(), 6000u);
}

TEST_F(TraceRingFile, ThatIsMissingIsAnErrorThatNamesIt) {
    EXPECT_THROW(RingReader::ofFile(path_), std::system_error);
    EXPECT_NE(refusalOf(path_).find(path_), std::string::npos);
    EXPECT_THROW(RingReader::ofFile(directory_.file("")), std::system_error) << "a directory";
}

TEST_F(TraceRingFile, ThatIsForeignIsAnErrorThatNamesIt) {
    for (const std::string& bytes : {std::string(), std::string("IRB"), std::string(9000, 'x')}) {
        contentIs(path_, bytes);
        EXPECT_EQ(refusalOf(path_), "trace ring " + path_ + ": not a trace ring");
    }
}

TEST_F(TraceRingFile, OfAnotherVersionOrByteOrderOrWithADamagedHeaderIsAnError) {
    makeRing(path_, 16, 3);
    const std::string whole = content(path_);
    const auto refusalWith = [&](std::size_t offset, char byte) {
        std::string bytes = whole;
        bytes[offset] = byte;
        contentIs(path_, bytes);
        return refusalOf(path_).substr(("trace ring " + path_ + ": ").size());
    };
    EXPECT_EQ(refusalWith(8, 2), "version 2, not 1");
    EXPECT_EQ(refusalWith(12, 9), "written by a machine of another byte order, or damaged");
    EXPECT_EQ(refusalWith(17, 1), "damaged header");
}

TEST_F(TraceRingFile, OfAnImpossibleSizeIsAnErrorThoughItsChecksumIsRight) {
    makeRing(path_, 16, 3);
    std::string bytes = content(path_);
    for (const std::uint32_t slots : {17u, Trace::ringMaxSlots * 2}) {
        Trace::RingIdentity identity{};
        std::memcpy(&identity, bytes.data(), sizeof identity);
        identity.slotCount = slots;
        std::array<std::uint64_t, sizeof identity / 8> words{};
        std::memcpy(words.data(), &identity, sizeof identity);
        words.back() = Trace::ringChecksum(words.data(), words.size() - 1);
        std::memcpy(bytes.data(), words.data(), sizeof identity);
        contentIs(path_, bytes);
        EXPECT_EQ(refusalOf(path_), "trace ring " + path_ + ": damaged header");
    }
}

TEST_F(TraceRingFile, ThatWasCutOffGivesTheRecordsThatAreThere) {
    makeRing(path_, 16, 16);
    for (const std::size_t left : {std::size_t{10}, std::size_t{1}, std::size_t{0}}) {
        std::filesystem::resize_file(path_, slotOffset(left) + 100);
        const RingReader reader = RingReader::ofFile(path_);
        EXPECT_TRUE(reader.isCutOff());
        EXPECT_EQ(testRecords(reader).size(), left);
        EXPECT_EQ(reader.written(), 16u);
    }
    std::filesystem::resize_file(path_, Trace::ringSitesOffset + 10);
    EXPECT_EQ(RingReader::ofFile(path_).size(), 0u);
}

TEST_F(TraceRingFile, CountsADamagedRecordAndGivesTheOthers) {
    makeRing(path_, 16, 10);
    const std::string whole = content(path_);
    for (std::size_t byte = 0; byte < sizeof(Trace::RingRecordHead) + 4; ++byte) {
        std::string bytes = whole;
        bytes[slotOffset(3) + byte] = static_cast<char>(bytes[slotOffset(3) + byte] ^ 0x10);
        contentIs(path_, bytes);
        const RingReader reader = RingReader::ofFile(path_);
        EXPECT_EQ(reader.damaged(), 1u) << byte;
        const auto records = testRecords(reader);
        ASSERT_EQ(records.size(), 9u) << byte;
        EXPECT_EQ(records[2].text(), "number 3");
        EXPECT_EQ(records[3].text(), "number 5");
    }
}

TEST_F(TraceRingFile, CountsARecordThatIsWrittenOnlyInPart) {
    makeRing(path_, 16, 10);
    std::string bytes = content(path_);
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(slotOffset(9) + 16), 240, '\0');
    contentIs(path_, bytes);
    const RingReader reader = RingReader::ofFile(path_);
    EXPECT_EQ(reader.damaged(), 1u);
    EXPECT_EQ(reader.size(), 9u);
}

TEST_F(TraceRingFile, DoesNotTakeARecordFromTheWrongSlot) {
    makeRing(path_, 16, 10);
    std::string bytes = content(path_);
    bytes.replace(slotOffset(4), Trace::ringSlotBytes, bytes, slotOffset(3), Trace::ringSlotBytes);
    contentIs(path_, bytes);
    EXPECT_EQ(RingReader::ofFile(path_).damaged(), 1u);
}

TEST_F(TraceRingFile, WithADamagedTableOfSitesSaysWhichSiteIsMissing) {
    makeRing(path_, 16, 2);
    std::string bytes = content(path_);
    const std::size_t format = bytes.find("number {}");
    ASSERT_NE(format, std::string::npos);
    bytes[format] = 'N';
    contentIs(path_, bytes);
    const RingReader reader = RingReader::ofFile(path_);
    ASSERT_EQ(reader.size(), 2u);
    const std::string text = reader.record(0).text();
    EXPECT_TRUE(text.starts_with("(site ") && text.ends_with(" is not in the ring's table)"))
        << text;
}

template <int number>
void traceFrom(const std::string& handle) {
    TRACE(Trace::Handle::get(handle), 1, "f", "{}", number);
}

TEST_F(TraceRingFile, WhoseTableOfSitesIsFullStillHoldsTheRecords) {
    const auto trace = [&] {
        const std::string name(60'000, 'n');
        Trace::ringFileIs(path_, 16);
        traceFrom<0>(name + "0");
        traceFrom<1>(name + "1");
        traceFrom<2>(name + "2");
        traceFrom<3>(name + "3");
        traceFrom<4>(name + "4");
    };
    ASSERT_EQ(ended(child(trace)), 0);
    const RingReader reader = RingReader::ofFile(path_);
    ASSERT_EQ(reader.size(), 5u);
    EXPECT_EQ(reader.record(0).text(), "0");
    EXPECT_TRUE(reader.record(4).text().starts_with("(site "));
}

TEST_F(TraceRingFile, OfRandomDamageIsReadWithoutHarm) {
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    makeRing(path_, 16, 16);
    const std::string whole = content(path_);
    const std::size_t sites = 100;  // about what the one site takes
    for (int round = 0; round < 200; ++round) {
        std::string bytes = whole;
        for (int i = 0; i < 10; ++i) {
            const std::size_t inSites = Trace::ringSitesOffset + random() % sites;
            const std::size_t inSlots = slotOffset(0) + random() % (16 * Trace::ringSlotBytes);
            bytes[i % 2 == 0 ? inSites : inSlots] = static_cast<char>(random());
        }
        bytes[128 + random() % 8] = static_cast<char>(random());
        contentIs(path_, bytes);
        const RingReader reader = RingReader::ofFile(path_);
        EXPECT_LE(reader.size() + reader.damaged(), 16u);
        for (std::size_t i = 0; i < reader.size(); ++i)
            EXPECT_FALSE(reader.record(i).text().empty());
    }
}

TEST_F(TraceRingFile, DecodesARecordThatEndsInTheMiddleOfAValueAsFarAsItGoes) {
    ASSERT_EQ(ended(child([&] {
                  Trace::ringFileIs(path_, 16);
                  const auto address = *Ondel::IpGenAddr::parse("10.0.0.1");
                  TRACE(testHandle(), 5, "f", "{} {} {}", std::uint8_t{7}, address, "text");
              })),
              0);
    const std::string whole = content(path_);
    Trace::RingRecordHead head{};
    std::memcpy(&head, whole.data() + slotOffset(0), sizeof head);
    // One byte for the number, five for the address; two for the length of the text, and its bytes.
    std::vector<std::size_t> values;
    for (std::uint8_t bytes = 0; bytes <= head.payloadBytes; ++bytes) {
        std::array<std::uint64_t, Trace::ringSlotWords> words{};
        std::memcpy(words.data(), whole.data() + slotOffset(0), sizeof words);
        Trace::RingRecordHead cut = head;
        cut.payloadBytes = bytes;
        std::memcpy(words.data(), &cut, sizeof cut);
        words[0] = Trace::ringChecksum(&words[1], Trace::ringHeadWords + (bytes + 7u) / 8 - 1);
        std::string changed = whole;
        std::memcpy(changed.data() + slotOffset(0), words.data(), sizeof words);
        contentIs(path_, changed);
        const auto records = testRecords(RingReader::ofFile(path_));
        ASSERT_EQ(records.size(), 1u) << int{bytes};
        values.push_back(records[0].values.size());
    }
    EXPECT_TRUE(std::is_sorted(values.begin(), values.end()));
    EXPECT_EQ(values.front(), 0u);
    EXPECT_EQ(values.at(1), 1u);
    EXPECT_EQ(values.at(5), 1u);
    EXPECT_EQ(values.at(6), 2u);
    EXPECT_EQ(values.at(7), 2u);
    EXPECT_EQ(values.back(), 3u);
}

TEST_F(TraceRingFile, CountsASlotWithoutItsFirstWordAsDamaged) {
    makeRing(path_, 16, 3);
    std::string bytes = content(path_);
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(slotOffset(1)), 8, '\0');
    contentIs(path_, bytes);
    const RingReader reader = RingReader::ofFile(path_);
    EXPECT_EQ(reader.damaged(), 1u);
    EXPECT_EQ(reader.size(), 2u);
}

}  // namespace

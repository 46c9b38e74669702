// Memory that changes by itself under a running writer and its readers: bits that flip, words and
// lines that turn zero, pages of ones, pages as they were a while ago.
#include <fcntl.h>
#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <thread>

#include "Operation.h"
#include "Rix/CorruptionError.h"
#include "Rix/FileDescriptor.h"
#include "Routing/Gmp/Tessel/Storage/Format.h"
#include "Routing/Gmp/Tessel/TableOptions.h"
#include "Run.h"
#include "Witness.h"
#include "platform/Tessel/Process.h"

namespace Tessel::Attack {

namespace {

namespace Storage = Routing::Gmp::Tessel::Storage;
using namespace std::chrono_literals;
using Storage::pageBytes;

constexpr std::uint32_t series = 900;

/// Numbers of three kinds: always there; written and removed all the time; removed for good before
/// the damage is done.
bool isSteady(std::uint32_t number) {
    return number % 3 == 0;
}
bool isGhost(std::uint32_t number) {
    return number % 3 == 2;
}

/// What the processes of one round share.
struct Round {
    Witness witness;
    std::atomic<bool> isOver{false};
    std::atomic<std::uint64_t> writes{0};
    std::atomic<std::uint64_t> walks{0};
    /// How often damage was told, by anybody.
    std::atomic<std::uint64_t> told{0};
    /// How often something was read that is not so, whether or not it was told.
    std::atomic<std::uint64_t> wrong{0};
};

/// A table's bytes, to be damaged beside whoever else maps them.
class Memory {
  public:
    explicit Memory(const std::filesystem::path& table)
        : bytes_(std::filesystem::file_size(table)) {
        const Rix::FileDescriptor file(open(table.c_str(), O_RDWR | O_CLOEXEC));
        void* const memory =
            mmap(nullptr, bytes_, PROT_READ | PROT_WRITE, MAP_SHARED, file.number(), 0);
        if (memory == MAP_FAILED) throw std::runtime_error("cannot map the table");
        memory_ = static_cast<unsigned char*>(memory);
    }
    Memory(const Memory&) = delete;
    Memory& operator=(const Memory&) = delete;
    ~Memory() { munmap(memory_, bytes_); }

    std::size_t pages() const { return bytes_ / pageBytes; }
    unsigned char* page(std::size_t number) const { return memory_ + number * pageBytes; }
    bool isBlank(std::size_t page, std::size_t offset = 0, std::size_t bytes = pageBytes) const {
        const unsigned char* const first = this->page(page) + offset;
        return std::all_of(first, first + bytes, [](unsigned char byte) { return byte == 0; });
    }

  private:
    std::size_t bytes_;
    unsigned char* memory_;
};

using Page = std::array<unsigned char, pageBytes>;

/// Where damage is done.
struct Place {
    unsigned char* page;
    std::size_t word;  ///< the offset of one that is not blank
    const Page& old;   ///< what the page held a while ago
};
struct Way {
    const char* name;
    void (*damage)(const Place& place, Test::Random& random);
};

void flipBit(const Place& place, std::uint32_t bit) {
    unsigned char& byte = place.page[place.word + bit / 8];
    byte = static_cast<unsigned char>(byte ^ 1u << bit % 8);
}

constexpr Way ways[] = {
    {"a bit flipped",
     [](const Place& place, Test::Random& random) { flipBit(place, random.below(64)); }},
    {"two bits of a byte flipped",
     [](const Place& place, Test::Random& random) {
         const std::uint32_t bit = random.below(64);
         flipBit(place, bit);
         flipBit(place, bit / 8 * 8 + (bit + 1 + random.below(7)) % 8);
     }},
    {"a word zeroed",
     [](const Place& place, Test::Random&) { std::fill_n(place.page + place.word, 8, 0); }},
    {"a line zeroed", [](const Place& place,
                         Test::Random&) { std::fill_n(place.page + place.word / 64 * 64, 64, 0); }},
    {"a page of ones",
     [](const Place& place, Test::Random&) { std::fill_n(place.page, pageBytes, 0xff); }},
    {"a page zeroed",
     [](const Place& place, Test::Random&) { std::fill_n(place.page, pageBytes, 0); }},
    {"an old copy of a page",
     [](const Place& place, Test::Random&) {
         std::copy(place.old.begin(), place.old.end(), place.page);
     }},
};

/// Everything that the damage is done to.
void fill(Test::StatusColl& coll) {
    const auto red = Test::statusOf(coll, Test::vrf("red"));
    for (std::uint32_t i = 0; i < series; ++i)
        red->membershipIs(Test::include(Test::numberedKey(i)));
    Test::statusOf(coll, Test::vrf("blue"))->membershipIs(Test::include(Test::numberedKey(3)));
    Test::statusOf(coll, Test::vrf("gone"))->membershipIs(Test::include(Test::numberedKey(2)));
    coll.gmpStatusDel(Test::vrf("gone"));
}

void writeOnce(Test::StatusColl& coll, std::uint32_t number, bool puts) {
    const auto red = Test::statusOf(coll, Test::vrf("red"));
    if (puts) {
        red->membershipIs(Test::include(Test::numberedKey(number)));
    } else {
        red->membershipDel(Test::numberedKey(number));
    }
    if (number % 50 == 1) {
        if (puts) {
            Test::statusOf(coll, Test::vrf("guest"))
                ->membershipIs(Test::include(Test::numberedKey(number)));
        } else {
            coll.gmpStatusDel(Test::vrf("guest"));
        }
    }
}

/// Writes until the round is over. Damage that it meets may be raised to it, and is told then.
void write(const std::filesystem::path& directory, Round& round, std::uint64_t seed) {
    const auto coll = Test::StatusColl::open(directory);
    coll->corruptionHandlerIs([&](std::string_view) { ++round.told; });
    Test::Random random(seed);
    const auto act = [&] {
        try {
            writeOnce(*coll, random.below(series / 3) * 3 + 1, random.below(2) == 0);
        } catch (const Rix::CorruptionError&) {
            ++round.told;
        }
        ++round.writes;
    };
    round.witness.watch(act, round.isOver);
}

/// What a walk or a writer found in "red" and "blue", beside what must be there.
void judge(const std::map<std::string, std::map<std::uint32_t, bool>>& found, Round& round) {
    bool isRight = true;
    for (const auto& [name, numbers] : found) {
        isRight &= name == "red" || name == "blue" || name == "guest";
        for (const auto& [number, isSound] : numbers)
            isRight &= isSound && number < series && !isGhost(number);
    }
    const auto red = found.find("red");
    for (std::uint32_t i = 0; i < series; i += 3)
        isRight &= red != found.end() && red->second.contains(i);
    const auto blue = found.find("blue");
    isRight &= blue != found.end() && blue->second.contains(3);
    if (!isRight) ++round.wrong;
}

template <class Walkable>
std::map<std::uint32_t, bool> numbersOf(Walkable&& status) {
    std::map<std::uint32_t, bool> numbers;
    for (const Test::Membership& membership : status) {
        const std::uint32_t number = Test::numberOf(membership.key());
        numbers[number] = membership == Test::include(Test::numberedKey(number));
    }
    return numbers;
}

void walk(const Test::TableReader& reader, Round& round) {
    auto statuses = reader.statuses();
    round.told += statuses.damage.size();
    std::map<std::string, std::map<std::uint32_t, bool>> found;
    for (Test::StatusReader& status : statuses.readers) {
        found[std::string(status.key().vrfName.text())] = numbersOf(status);
        round.told += status.damage().size();
    }
    judge(found, round);
    ++round.walks;
}

void lookUp(const Test::TableReader& reader, Round& round) {
    auto red = reader.status(Test::vrf("red"));
    for (std::uint32_t i = 0; red && i < series; i += 7) {
        const auto reading = red->membership(Test::numberedKey(i));
        round.told += reading.damage.empty() ? 0 : 1;
        if (isSteady(i) ? !reading.isPresent : isGhost(i) && reading.isPresent) ++round.wrong;
    }
}

void follow(Test::TableReader& reader) {
    for (const Test::TableChange& change : reader.changes().changes) {
        if (change.kind != Test::TableChange::Kind::membership) continue;
        const std::uint32_t number = Test::numberOf(change.membership.key);
        promise(number < series && number % 3 == 1, "a change was invented");
    }
}

/// Reads until the round is over.
void read(const std::filesystem::path& directory, Round& round) {
    Test::TableReader reader(directory);
    const auto act = [&] {
        walk(reader, round);
        lookUp(reader, round);
        follow(reader);
        round.told += reader.faults().size();
    };
    round.witness.watch(act, round.isOver);
}

/// Waits until the writer and the reader have both gone on since.
void waitForBoth(const Round& round, const Test::Process& writer, const Test::Process& reader) {
    const std::uint64_t writes = round.writes + 500;
    const std::uint64_t walks = round.walks + 2;
    const auto limit = Clock::now() + 20s;
    while ((round.writes < writes || round.walks < walks) && !round.witness.isWrong()) {
        promise(!writer.hasEnded() || round.witness.isWrong(), "the writer died");
        promise(!reader.hasEnded() || round.witness.isWrong(), "a reader died");
        promise(Clock::now() < limit,
                round.writes < writes ? "the writer hangs" : "the reader hangs");
        std::this_thread::sleep_for(200us);
    }
}

/// The next writer starts over the damage, unless it is the header's, and tells what is lost.
void startAgain(const std::filesystem::path& directory, Round& round, bool isHeader) {
    try {
        const auto coll = Test::StatusColl::open(directory);
        coll->corruptionHandlerIs([&](std::string_view) { ++round.told; });
        std::map<std::string, std::map<std::uint32_t, bool>> found;
        for (const auto& [key, status] : *coll)
            found[std::string(key.vrfName.text())] = numbersOf(*status);
        judge(found, round);
        writeOnce(*coll, 1, true);
    } catch (const Rix::CorruptionError& error) {
        promise(isHeader, std::string("no writer can start: ") + error.what());
        ++round.told;
    }
}

/// A page that is not blank. Few are not of the change log, and those lead to everything else.
std::size_t pageToDamage(const Memory& memory, Test::Random& random) {
    const Storage::PageNumber behindLog =
        Storage::Dimensions{Routing::Gmp::Tessel::TableOptions{}.logEntries}.statusPage();
    const bool isInLog = random.below(4) == 0;
    for (int tries = 0; tries < 100000; ++tries) {
        const std::size_t page = random.below(static_cast<std::uint32_t>(memory.pages()));
        if ((Storage::logPage <= page && page < behindLog) == isInLog && !memory.isBlank(page)) {
            return page;
        }
    }
    return 0;
}

std::size_t wordToDamage(const Memory& memory, std::size_t page, Test::Random& random) {
    std::size_t word = 0;
    do {
        word = 8 * random.below(pageBytes / 8);
    } while (memory.isBlank(page, word, 8));
    return word;
}

void damageOnce(Run& run, const std::filesystem::path& directory, std::uint64_t seed) {
    Test::Random random(seed);
    fill(*Test::StatusColl::open(directory));
    {
        const auto coll = Test::StatusColl::open(directory);
        const auto red = coll->gmpStatus(Test::vrf("red"));
        for (std::uint32_t i = 2; i < series; i += 3)
            red->membershipDel(Test::numberedKey(i));
    }
    const Test::Shared<Round> round;
    Test::Process writer([&] { write(directory, *round, seed); });
    Test::Process reader([&] { read(directory, *round); });
    waitForBoth(*round, writer, reader);
    promise(round->told == 0 && round->wrong == 0, "a sound table is called damaged");
    const Memory memory(directory / "table");
    const std::size_t page = pageToDamage(memory, random);
    const std::size_t word = wordToDamage(memory, page, random);
    const Way& way = ways[random.below(std::size(ways))];
    Page old;
    std::copy_n(memory.page(page), pageBytes, old.begin());
    waitForBoth(*round, writer, reader);

    const std::string what = std::string(way.name) + " in page " + std::to_string(page) + " at " +
                             std::to_string(word) + " (round " + std::to_string(seed) + "): ";
    try {
        way.damage({memory.page(page), word, old}, random);
        waitForBoth(*round, writer, reader);
        round->isOver = true;
        promise(writer.endedWell(), "the writer died");
        promise(reader.endedWell(), "a reader died");
        round->witness.raise();
        startAgain(directory, *round, page == 0);
    } catch (const BrokenPromise& broken) {
        throw BrokenPromise(what + broken.what());
    }
    promise(round->wrong == 0 || round->told != 0,
            what + "something is lost or wrong, and nobody said so");
    ++run.figure(way.name);
    run.figure("told") += round->told != 0 ? 1 : 0;
    run.figure("with consequences") += round->wrong != 0 ? 1 : 0;
}

void run(Run& run) {
    for (std::uint32_t round = 0; !run.isOver(); ++round) {
        const std::filesystem::path directory = run.directory() / std::to_string(round);
        damageOnce(run, directory, run.random().below(1u << 31));
        std::filesystem::remove_all(directory);
        ++run.figure("rounds");
    }
}

}  // namespace

const Attack damage{"damage", "DamageUnderARunningWriterIsToldOrHarmlessAndStopsNobody", run};

}  // namespace Tessel::Attack

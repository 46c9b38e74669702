#include <atomic>
#include <chrono>
#include <map>
#include <optional>
#include <thread>

#include "Fixture.h"
#include "Process.h"

namespace Tessel::Test {

namespace {

using namespace std::chrono_literals;

/// What a table holds: for each VRF, the filter modes of the memberships by their numbers.
using Content = std::map<std::string, std::vector<std::optional<FilterMode>>>;

constexpr std::uint32_t series = 8000;

/// One operation of an endless stream: number `i` is the same in the writer and in whoever checks.
class Operation {
  public:
    explicit Operation(std::uint32_t i) {
        Random random(i);
        // One large status whose segments split, and small ones that come, grow and go.
        const bool isLarge = random.below(2) != 0;
        vrfName_ = isLarge ? "large" : "small" + std::to_string(random.below(3));
        removesStatus_ = !isLarge && random.below(300) == 0;
        // Rounds of mostly inserting and mostly deleting.
        const bool grows = i / series % 2 == 0;
        inserts_ = random.below(10) < (grows ? 8u : 2u);
        number_ = random.below(isLarge ? series : 400);
        mode_ = static_cast<FilterMode>(random.below(2));
    }

    void applyTo(StatusColl& coll) const {
        const VrfApp key = vrf(vrfName_);
        if (removesStatus_) return coll.gmpStatusDel(key);
        if (inserts_) return statusOf(coll, key)->membershipIs({numberedKey(number_), mode_});
        if (const auto status = coll.gmpStatus(key)) status->membershipDel(numberedKey(number_));
    }
    void applyTo(Content& content) const {
        if (removesStatus_) {
            content.erase(vrfName_);
        } else if (inserts_) {
            auto& modes = content[vrfName_];
            modes.resize(series);
            modes[number_] = mode_;
        } else if (content.contains(vrfName_)) {
            content[vrfName_][number_].reset();
        }
    }

  private:
    std::string vrfName_;
    bool removesStatus_;
    bool inserts_;
    std::uint32_t number_;
    FilterMode mode_;
};

Content contentOf(const StatusColl& coll) {
    Content all;
    for (const auto& [key, status] : coll) {
        auto& modes = all[std::string(key.vrfName.text())];
        modes.resize(series);
        std::size_t count = 0;
        for (const Membership& membership : *status) {
            modes.at(numberOf(membership.key())) = membership.filterMode();
            ++count;
        }
        EXPECT_EQ(status->memberships(), count) << key;
    }
    return all;
}

/// Without the statuses that hold nothing: to add a status and its first membership is two
/// operations to the table, and a writer may be killed in between.
Content withoutEmpty(Content content) {
    std::erase_if(content, [](const auto& status) {
        return std::none_of(status.second.begin(), status.second.end(),
                            [](const auto& mode) { return mode.has_value(); });
    });
    return content;
}

/// What a reader and its test tell each other.
struct ReaderReport {
    std::atomic<std::uint64_t> walks{0};
    std::atomic<std::uint64_t> wrong{0};
};

/// Whether all parts of a membership belong together: none is half of one and half of another.
bool isWhole(const Membership& membership) {
    return membership.key() == numberedKey(numberOf(membership.key()));
}

/// Reads the table without end: walks, lookups and changes.
void readForEver(const std::filesystem::path& directory, ReaderReport& report) {
    TableReader reader(directory);
    for (;;) {
        auto statuses = reader.statuses();
        if (!statuses.damage.empty()) ++report.wrong;
        for (StatusReader& status : statuses.readers) {
            for (const Membership& membership : status) {
                if (!isWhole(membership)) ++report.wrong;
            }
            if (!status.damage().empty()) ++report.wrong;
            if (!status.membership(numberedKey(7)).damage.empty()) ++report.wrong;
        }
        for (const TableChange& change : reader.changes().changes) {
            if (change.kind == TableChange::Kind::membership &&
                !isWhole({change.membership.key, FilterMode::include})) {
                ++report.wrong;
            }
        }
        ++report.walks;
    }
}

TEST(KilledWriter, LosesNothingThatItFinishedAndLeavesNothingToRepair) {
    constexpr int kills = isSanitized ? 200 : 2000;
    const TempDirectory directory;
    StatusColl::open(directory.path());
    const Shared<ReaderReport> report;
    const Process reader([&] { readForEver(directory.path(), *report); });
    const Shared<std::atomic<std::uint32_t>> finished;
    Random random(static_cast<unsigned>(::testing::UnitTest::GetInstance()->random_seed()) + 1);
    Content model;
    std::uint32_t known = 0;

    for (int life = 0; life < kills; ++life) {
        Process writer([&, first = known] {
            const auto coll = StatusColl::open(directory.path());
            for (std::uint32_t i = first;; ++i) {
                Operation(i).applyTo(*coll);
                finished->store(i + 1, std::memory_order_release);
            }
        });
        // Some are killed while they still open the table.
        if (life % 10 != 0) {
            while (finished->load() == known)
                std::this_thread::yield();
        }
        std::this_thread::sleep_for(std::chrono::microseconds(random.below(300)));
        writer.kill();

        for (; known < finished->load(); ++known)
            Operation(known).applyTo(model);
        const auto coll = StatusColl::open(directory.path());
        const Content content = withoutEmpty(contentOf(*coll));
        if (content != withoutEmpty(model)) {
            Operation(known++).applyTo(model);
            finished->store(known);
            ASSERT_EQ(content, withoutEmpty(model)) << "after kill " << life;
        }
    }
    const std::uint64_t before = report->walks;
    const auto deadline = std::chrono::steady_clock::now() + 30s;
    while (report->walks < before + 3 && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();
    }
    EXPECT_GE(report->walks, before + 3) << "the reader hangs";
    EXPECT_EQ(report->wrong, 0u);
    EXPECT_EQ(TableReader(directory.path()).faults(), std::vector<std::string>());
    RecordProperty("operations", static_cast<int>(known));
}

}  // namespace

}  // namespace Tessel::Test

// The file in which readers ask to be woken, in every state in which others may leave it.
#include <chrono>

#include "Fixture.h"
#include "Routing/Gmp/Tessel/Storage/Sleepers.h"

namespace Tessel::Test {

namespace {

namespace Storage = Routing::Gmp::Tessel::Storage;
using Storage::Sleepers;
using Storage::TableDirectory;
using namespace std::chrono_literals;

class SleepersFile : public ::testing::Test {
  protected:
    std::filesystem::path path() const { return directory.path() / "sleepers"; }

    const TempDirectory directory;
    const Lumo::Ptr<StatusColl> coll = StatusColl::open(directory.path());
    const TableDirectory files = TableDirectory::forReader(directory.path());
};

TEST_F(SleepersFile, TakesQuestions) {
    Sleepers reader = Sleepers::forReader(files);
    EXPECT_TRUE(reader.isIn(files));
    EXPECT_TRUE(reader.ask(5));
    EXPECT_EQ(reader.asked(), 5u);
    EXPECT_TRUE(reader.ask(3));
    EXPECT_EQ(reader.asked(), 5u);
}

TEST_F(SleepersFile, ThatIsEmptyTakesNone) {
    std::filesystem::resize_file(path(), 0);
    EXPECT_FALSE(Sleepers::forReader(files).ask(5));
}

TEST_F(SleepersFile, ThatIsMissingTakesNoneAndIsLookedFor) {
    std::filesystem::remove(path());
    Sleepers reader = Sleepers::forReader(files);
    EXPECT_FALSE(reader.ask(5));
    EXPECT_TRUE(reader.isIn(files));
    coll->checkFiles();
    EXPECT_FALSE(reader.isIn(files));
}

TEST_F(SleepersFile, ThatWasReplacedIsNoLongerTheOne) {
    const Sleepers reader = Sleepers::forReader(files);
    std::filesystem::copy_file(path(), directory.path() / "copy");
    std::filesystem::rename(directory.path() / "copy", path());
    EXPECT_FALSE(reader.isIn(files));
}

TEST_F(SleepersFile, ThatIsCutWhileItIsInUseTakesNoMore) {
    if (isThreadSanitized) GTEST_SKIP() << "the thread sanitizer would wait for itself";
    Sleepers reader = Sleepers::forReader(files);
    EXPECT_TRUE(reader.ask(5));
    std::filesystem::resize_file(path(), 0);
    static_cast<void>(reader.ask(6));
    EXPECT_FALSE(reader.ask(7));
    EXPECT_FALSE(reader.isIn(files));
}

TEST(Sleep, EndsAtOnceWhereItsTimeIsOverOrSomebodyWasWokenMeanwhile) {
    using Storage::SleepSteps;
    using Length = Storage::Waiter::Length;
    alignas(64) Storage::Control control{};
    control.wakes.store(7);
    SleepSteps over(control, std::chrono::steady_clock::now() - 1s);
    EXPECT_FALSE(over.sleepOn(7, Length::full));
    SleepSteps late(control, std::nullopt);
    EXPECT_FALSE(late.sleepOn(6, Length::full));
    EXPECT_TRUE(late.sleepOn(7, Length::brief));
}

}  // namespace

}  // namespace Tessel::Test

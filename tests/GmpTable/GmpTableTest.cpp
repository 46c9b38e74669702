#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>

#include <cstring>
#include <thread>

#include "gmp_table.h"
#include "platform/Tessel/Fixture.h"

namespace Tessel::Test {

namespace {

std::string textOf(const gmp_status_key& status) {
    return {status.vrf, status.vrf_length};
}

gmp_address addressOf(std::uint8_t family, std::initializer_list<std::uint8_t> bytes) {
    gmp_address address{};
    address.family = family;
    std::copy(bytes.begin(), bytes.end(), address.bytes);
    return address;
}

gmp_status_key statusKey(std::string_view vrfName, std::uint8_t app = GMP_APP_IRB) {
    gmp_status_key result{};
    vrfName.copy(result.vrf, sizeof result.vrf - 1);
    result.vrf_length = static_cast<std::uint8_t>(vrfName.size());
    result.app = app;
    return result;
}

/// Visitors that keep what they are told.
int keepStatus(void* context, const gmp_status_key* status) {
    static_cast<std::vector<std::string>*>(context)->push_back(textOf(*status));
    return 0;
}
int keepMembership(void* context, const gmp_status_key*, const gmp_membership* membership) {
    static_cast<std::vector<gmp_membership>*>(context)->push_back(*membership);
    return 0;
}
int keepChange(void* context, const gmp_change* change) {
    static_cast<std::vector<gmp_change>*>(context)->push_back(*change);
    return 0;
}

class GmpTable : public ::testing::Test {
  protected:
    GmpTable() { EXPECT_EQ(gmp_table_open(directory.path().c_str(), &table), GMP_OK); }
    ~GmpTable() override { gmp_table_close(table); }
    GmpTable(const GmpTable&) = delete;
    GmpTable& operator=(const GmpTable&) = delete;

    std::vector<gmp_membership> walked(const gmp_status_key* status = nullptr) const {
        std::vector<gmp_membership> all;
        EXPECT_EQ(gmp_table_walk(table, status, keepMembership, &all), GMP_OK);
        return all;
    }
    std::vector<gmp_change> changed() const {
        std::vector<gmp_change> all;
        EXPECT_EQ(gmp_table_changes(table, keepChange, &all), GMP_OK);
        return all;
    }

    TempDirectory directory;
    Lumo::Ptr<StatusColl> coll = StatusColl::open(directory.path());
    Lumo::Ptr<Status> red = statusOf(*coll, vrf("red"));
    gmp_table* table = nullptr;
};

TEST_F(GmpTable, ShowsEveryMembershipOfEveryStatus) {
    red->membershipIs(include(key(10, "10.0.0.1", "232.1.1.1")));
    statusOf(*coll, vrf("blue", App::gmp))->membershipIs(exclude(key(20, "::", "ff3e::1")));

    std::vector<std::string> names;
    EXPECT_EQ(gmp_table_statuses(table, keepStatus, &names), GMP_OK);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"blue", "red"}));
    EXPECT_EQ(walked().size(), 2u);

    const gmp_status_key blue = statusKey("blue", GMP_APP_GMP);
    const auto found = walked(&blue);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].vlan, 20);
    EXPECT_EQ(found[0].source.family, GMP_FAMILY_IPV6);
    EXPECT_EQ(found[0].group.bytes[0], 0xff);
    EXPECT_EQ(found[0].group.bytes[15], 1);
    EXPECT_EQ(found[0].mode, GMP_EXCLUDE);
    const gmp_status_key absent = statusKey("blue", GMP_APP_IRB);
    EXPECT_TRUE(walked(&absent).empty());
}

TEST_F(GmpTable, FindsAMembershipByItsKeyAlsoWhenItsStatusCameBack) {
    gmp_membership wanted{10, addressOf(GMP_FAMILY_IPV4, {10, 0, 0, 1}),
                          addressOf(GMP_FAMILY_IPV4, {232, 1, 1, 1}), 7};
    const gmp_status_key status = statusKey("red");
    EXPECT_EQ(gmp_table_lookup(table, &status, &wanted), GMP_OK);
    EXPECT_EQ(wanted.mode, 7) << "what is not there was stored";
    red->membershipIs(include(key(10, "10.0.0.1", "232.1.1.1")));
    EXPECT_EQ(gmp_table_lookup(table, &status, &wanted), 1);
    EXPECT_EQ(wanted.mode, GMP_INCLUDE);

    coll->gmpStatusDel(vrf("red"));
    EXPECT_EQ(gmp_table_lookup(table, &status, &wanted), GMP_OK);
    statusOf(*coll, vrf("red"))->membershipIs(exclude(key(10, "10.0.0.1", "232.1.1.1")));
    EXPECT_EQ(gmp_table_lookup(table, &status, &wanted), 1);
    EXPECT_EQ(wanted.mode, GMP_EXCLUDE);
}

TEST_F(GmpTable, TellsEveryKindOfChangeInItsOrder) {
    EXPECT_TRUE(changed().empty());
    red->membershipIs(include(key(10, "10.0.0.1", "232.1.1.1")));
    red->membershipIs(exclude(key(10, "10.0.0.1", "232.1.1.1")));
    red->membershipDel(key(10, "10.0.0.1", "232.1.1.1"));
    statusOf(*coll, vrf("blue"));
    coll->gmpStatusDel(vrf("red"));

    const auto all = changed();
    ASSERT_EQ(all.size(), 5u);
    EXPECT_EQ(all[0].kind, GMP_MEMBERSHIP_ADDED);
    EXPECT_EQ(textOf(all[0].status), "red");
    EXPECT_EQ(all[0].membership.vlan, 10);
    EXPECT_EQ(all[0].membership.mode, GMP_INCLUDE);
    EXPECT_EQ(all[1].kind, GMP_MEMBERSHIP_CHANGED);
    EXPECT_EQ(all[1].mode_before, GMP_INCLUDE);
    EXPECT_EQ(all[1].membership.mode, GMP_EXCLUDE);
    EXPECT_EQ(all[2].kind, GMP_MEMBERSHIP_REMOVED);
    EXPECT_EQ(all[2].membership.mode, GMP_EXCLUDE);
    EXPECT_EQ(all[3].kind, GMP_STATUS_ADDED);
    EXPECT_EQ(textOf(all[3].status), "blue");
    EXPECT_EQ(all[4].kind, GMP_STATUS_REMOVED);
    EXPECT_TRUE(changed().empty());
}

TEST_F(GmpTable, SaysThatAWalkIsNeededWhenAnotherWriterTookOver) {
    red = nullptr;
    coll = nullptr;
    coll = StatusColl::open(directory.path());
    std::vector<gmp_change> changes;
    EXPECT_EQ(gmp_table_changes(table, keepChange, &changes), GMP_WALK_NEEDED);
    EXPECT_TRUE(changes.empty());
    EXPECT_TRUE(changed().empty());
}

TEST_F(GmpTable, EndsAWalkWhereItsVisitorSaysSo) {
    for (std::uint32_t i = 0; i < 10; ++i)
        red->membershipIs(include(numberedKey(i)));
    int visits = 0;
    const auto stop = [](void* context, const gmp_status_key*, const gmp_membership*) {
        return ++*static_cast<int*>(context) == 3 ? 42 : 0;
    };
    EXPECT_EQ(gmp_table_walk(table, nullptr, stop, &visits), 42);
    EXPECT_EQ(visits, 3);
    EXPECT_STREQ(gmp_error_text(), "");
}

TEST_F(GmpTable, WaitsForAChangeAndNoLongerThanAsked) {
    EXPECT_EQ(gmp_table_wait(table, 0), GMP_OK);
    EXPECT_EQ(gmp_table_wait(table, 1), GMP_OK);
    red->membershipIs(include(numberedKey(1)));
    EXPECT_EQ(gmp_table_wait(table, -1), 1);
    EXPECT_EQ(changed().size(), 1u);
    EXPECT_EQ(gmp_table_wait(table, 0), GMP_OK);
}

/// Whether a descriptor is readable within that time.
bool isReadable(int descriptor, int timeoutMs) {
    pollfd one{descriptor, POLLIN, 0};
    return poll(&one, 1, timeoutMs) == 1 && (one.revents & POLLIN) != 0;
}

TEST_F(GmpTable, HasADescriptorThatIsReadableFromAChangeUntilTheChangesAreAskedFor) {
    const int descriptor = gmp_table_descriptor(table);
    ASSERT_GE(descriptor, 0) << gmp_error_text();
    EXPECT_EQ(gmp_table_descriptor(table), descriptor);
    EXPECT_FALSE(isReadable(descriptor, 0));
    for (std::uint32_t i = 0; i < 20; ++i) {
        red->membershipIs(include(numberedKey(i)));
        ASSERT_TRUE(isReadable(descriptor, 20'000));
        ASSERT_EQ(changed().size(), 1u);
        ASSERT_FALSE(isReadable(descriptor, 0));
    }
}

TEST_F(GmpTable, EndsAWaitAndAllLaterOnesWhenItIsCancelled) {
    std::thread other([this] { gmp_table_cancel(table); });
    EXPECT_EQ(gmp_table_wait(table, -1), GMP_CANCELLED);
    EXPECT_EQ(gmp_table_wait(table, -1), GMP_CANCELLED);
    other.join();
    gmp_table_cancel(nullptr);
}

TEST_F(GmpTable, SaysThatItsTableIsGone) {
    red = nullptr;
    coll = nullptr;
    const int descriptor = gmp_table_descriptor(table);
    std::filesystem::remove_all(directory.path());
    std::vector<gmp_change> changes;
    int result = GMP_OK;
    while (result == GMP_OK && isReadable(descriptor, 20'000))
        result = gmp_table_changes(table, keepChange, &changes);
    EXPECT_EQ(result, GMP_ERROR_GONE);
    EXPECT_EQ(std::string(gmp_error_text()).find(directory.path().string()), 0u)
        << gmp_error_text();
    EXPECT_EQ(gmp_table_wait(table, 20'000), GMP_ERROR_GONE);
}

TEST_F(GmpTable, RefusesNullPointersAndValuesOutOfRangeByName) {
    gmp_table* other = table;
    EXPECT_EQ(gmp_table_open(nullptr, &other), GMP_ERROR_ARGUMENT);
    EXPECT_EQ(other, nullptr);
    EXPECT_STREQ(gmp_error_text(), "directory is null");
    EXPECT_EQ(gmp_table_open("/", nullptr), GMP_ERROR_ARGUMENT);
    EXPECT_EQ(gmp_table_statuses(nullptr, keepStatus, nullptr), GMP_ERROR_ARGUMENT);
    EXPECT_EQ(gmp_table_statuses(table, nullptr, nullptr), GMP_ERROR_ARGUMENT);
    EXPECT_EQ(gmp_table_walk(nullptr, nullptr, keepMembership, nullptr), GMP_ERROR_ARGUMENT);
    EXPECT_EQ(gmp_table_walk(table, nullptr, nullptr, nullptr), GMP_ERROR_ARGUMENT);
    EXPECT_STREQ(gmp_error_text(), "visit is null");
    EXPECT_EQ(gmp_table_changes(nullptr, keepChange, nullptr), GMP_ERROR_ARGUMENT);
    EXPECT_EQ(gmp_table_changes(table, nullptr, nullptr), GMP_ERROR_ARGUMENT);
    EXPECT_EQ(gmp_table_wait(nullptr, 0), GMP_ERROR_ARGUMENT);
    EXPECT_EQ(gmp_table_descriptor(nullptr), GMP_ERROR_ARGUMENT);
    gmp_table_close(nullptr);

    gmp_status_key status = statusKey("red");
    gmp_membership membership{};
    EXPECT_EQ(gmp_table_lookup(nullptr, &status, &membership), GMP_ERROR_ARGUMENT);
    EXPECT_EQ(gmp_table_lookup(table, nullptr, &membership), GMP_ERROR_ARGUMENT);
    EXPECT_EQ(gmp_table_lookup(table, &status, nullptr), GMP_ERROR_ARGUMENT);
    membership.source.family = 3;
    EXPECT_EQ(gmp_table_lookup(table, &status, &membership), GMP_ERROR_ARGUMENT);
    membership.source.family = GMP_FAMILY_IPV4;
    status.vrf_length = 101;
    EXPECT_EQ(gmp_table_lookup(table, &status, &membership), GMP_ERROR_ARGUMENT);
}

TEST_F(GmpTable, NamesThePathOfATableThatIsNotThere) {
    const std::string path = directory.path() / "absent";
    gmp_table* other = table;
    EXPECT_EQ(gmp_table_open(path.c_str(), &other), GMP_ERROR_SYSTEM);
    EXPECT_EQ(other, nullptr);
    EXPECT_EQ(std::string(gmp_error_text()).find(path), 0u) << gmp_error_text();
}

TEST_F(GmpTable, NamesAFileThatIsNoTable) {
    const TempDirectory foreign;
    std::filesystem::copy_file(directory.table(), foreign.table());
    const int file = open(foreign.table().c_str(), O_RDWR);
    EXPECT_EQ(pwrite(file, "GMPTABLF", 8, 0), 8);
    close(file);
    gmp_table* other = nullptr;
    EXPECT_EQ(gmp_table_open(foreign.path().c_str(), &other), GMP_ERROR_DAMAGED);
    EXPECT_EQ(std::string(gmp_error_text()).find(foreign.table().string()), 0u) << gmp_error_text();
}

/// Turns every byte of the address 10.77.77.77 in a file into another.
void damageTheAddress(const std::filesystem::path& path) {
    const std::size_t size = std::filesystem::file_size(path);
    const int file = open(path.c_str(), O_RDWR);
    void* const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    ASSERT_NE(memory, MAP_FAILED);
    auto* const bytes = static_cast<unsigned char*>(memory);
    constexpr std::uint8_t address[] = {10, 77, 77, 77};
    for (std::size_t at = 0; at + sizeof address <= size; at += 8) {
        if (std::memcmp(bytes + at, address, sizeof address) == 0) bytes[at + 1] = 78;
    }
    munmap(memory, size);
}

TEST_F(GmpTable, TellsOfADamagedMembershipWithItsPlaceAndShowsTheOthers) {
    red->membershipIs(include(key(10, "10.0.0.1", "232.1.1.1")));
    red->membershipIs(include(key(10, "10.77.77.77", "232.1.1.1")));
    damageTheAddress(directory.table());
    std::vector<gmp_membership> sound;
    EXPECT_EQ(gmp_table_walk(table, nullptr, keepMembership, &sound), GMP_ERROR_DAMAGED);
    EXPECT_EQ(sound.size(), 1u);
    const std::string text = gmp_error_text();
    EXPECT_EQ(text.find(directory.table().string()), 0u) << text;
    EXPECT_NE(text.find("red.irb"), std::string::npos) << text;
}

TEST_F(GmpTable, KeepsAnErrorsTextForTheThreadThatMetIt) {
    EXPECT_EQ(gmp_table_wait(nullptr, 0), GMP_ERROR_ARGUMENT);
    std::thread other([] {
        EXPECT_STREQ(gmp_error_text(), "");
        EXPECT_EQ(gmp_table_open(nullptr, nullptr), GMP_ERROR_ARGUMENT);
    });
    other.join();
    EXPECT_STREQ(gmp_error_text(), "table is null");
    EXPECT_EQ(gmp_table_wait(table, 0), GMP_OK);
    EXPECT_STREQ(gmp_error_text(), "");
}

TEST_F(GmpTable, LetsNoExceptionOfAVisitorOut) {
    red->membershipIs(include(numberedKey(1)));
    const auto raise = [](void*, const gmp_status_key*, const gmp_membership*) -> int {
        throw std::runtime_error("a visitor's own");
    };
    EXPECT_EQ(gmp_table_walk(table, nullptr, raise, nullptr), GMP_ERROR_INTERNAL);
}

}  // namespace

}  // namespace Tessel::Test

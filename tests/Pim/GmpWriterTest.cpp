// Putting one membership into the table, and taking one away.
#include "MembershipJoinStatusSm/SmTrace.h"
#include "Pim/Fabric.h"
#include "Pim/TableDirectory.h"
#include "Rix/CorruptionError.h"
#include "Trace/RingReader.h"
#include "Trace/TextSink.h"

namespace Irb::Multicast::Ingress::Detail {
namespace {

using Routing::Gmp::Tessel::App;
using Routing::Gmp::Tessel::FilterMode;
using Routing::Gmp::Tessel::VrfApp;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class GmpWriter : public Fabric {
  protected:
    GmpWriter() {
        start();
        forget();
    }

    void add(const char* group, FilterMode mode, unsigned number = 10, const char* name = "red",
             const char* source = "10.0.0.1") {
        machine->addMembership(vrf(name), {vrf(name), app}, address(source), address(group),
                               VlanId(number), mode);
    }
    void del(const char* group, FilterMode mode, unsigned number = 10, const char* name = "red",
             const char* source = "10.0.0.1") {
        machine->delMembership(vrf(name), {vrf(name), app}, address(source), address(group),
                               VlanId(number), mode);
    }

    /// The latest message of a function in the ring.
    static Trace::RingRecord latestOf(const std::string& function) {
        const auto ring = Trace::RingReader::ofProcess();
        for (std::size_t place = ring.size(); place-- > 0;) {
            const Trace::RingRecord record = ring.record(place);
            if (record.type == Trace::RecordType::message && record.function == function)
                return record;
        }
        return {};
    }
};

TEST_F(GmpWriter, TheFirstMembershipOfAVrfMakesItsStatus) {
    add("239.1.1.1", FilterMode::include);
    EXPECT_THAT(statuses(), ElementsAre("red.irb"));
    EXPECT_THAT(table(), ElementsAre("red.irb vlan10 (10.0.0.1, 239.1.1.1) include"));
    EXPECT_THAT(trace(),
                ElementsAre("7 addMembership | addMembership: Add gmpStatus: red- ( 10.0.0.1, "
                            "239.1.1.1, vlan10 , include ) irb"));
}

TEST_F(GmpWriter, TheNextMembershipOfTheVrfGoesIntoTheSameStatus) {
    add("239.1.1.1", FilterMode::include);
    const auto status = gmpStatusLocalColl->gmpStatus({vrf("red"), app});
    add("239.1.1.2", FilterMode::exclude);
    EXPECT_EQ(gmpStatusLocalColl->gmpStatus({vrf("red"), app}), status);
    EXPECT_THAT(table(), ElementsAre("red.irb vlan10 (10.0.0.1, 239.1.1.1) include",
                                     "red.irb vlan10 (10.0.0.1, 239.1.1.2) exclude"));
    EXPECT_EQ(trace().back(),
              "7 addMembership | addMembership: Add gmpStatus: red- ( 10.0.0.1, 239.1.1.2, vlan10 "
              ", exclude ) irb");
}

TEST_F(GmpWriter, AStatusIsNamedAfterTheVrfGivenAndKeptUnderTheKeyGiven) {
    const VrfApp key{vrf("blue"), static_cast<App>(77)};
    machine->addMembership(vrf("red"), key, address("::"), address("ff3e::1"), VlanId(10),
                           FilterMode::include);
    ASSERT_TRUE(gmpStatusLocalColl->gmpStatus(key));
    EXPECT_EQ(gmpStatusLocalColl->gmpStatus(key)->name(), "red.app77");
    EXPECT_THAT(trace(), ElementsAre("7 addMembership | addMembership: Add gmpStatus: red- ( ::, "
                                     "ff3e::1, vlan10 , include ) app77"));
}

TEST_F(GmpWriter, AddingAgainChangesNothing) {
    add("239.1.1.1", FilterMode::include);
    add("239.1.1.1", FilterMode::include);
    EXPECT_THAT(table(), ElementsAre("red.irb vlan10 (10.0.0.1, 239.1.1.1) include"));
    EXPECT_EQ(trace().size(), 2u);
}

TEST_F(GmpWriter, AddingInTheOtherModeOverwritesTheEntry) {
    add("239.1.1.1", FilterMode::include);
    add("239.1.1.1", FilterMode::exclude);
    EXPECT_THAT(table(), ElementsAre("red.irb vlan10 (10.0.0.1, 239.1.1.1) exclude"));
}

TEST_F(GmpWriter, AnIncludeDeletionLeavesAnExcludeEntryAloneAndSaysNothing) {
    add("239.1.1.1", FilterMode::exclude);
    forget();
    del("239.1.1.1", FilterMode::include);
    EXPECT_THAT(table(), ElementsAre("red.irb vlan10 (10.0.0.1, 239.1.1.1) exclude"));
    EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(GmpWriter, AnExcludeDeletionLeavesAnIncludeEntryAloneAndSaysNothing) {
    add("239.1.1.1", FilterMode::include);
    forget();
    del("239.1.1.1", FilterMode::exclude);
    EXPECT_THAT(table(), ElementsAre("red.irb vlan10 (10.0.0.1, 239.1.1.1) include"));
    EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(GmpWriter, AnExcludeDeletionOfNoEntryIsTracedThoughNothingGoes) {
    add("239.1.1.1", FilterMode::include);
    forget();
    del("239.1.1.2", FilterMode::exclude);
    EXPECT_THAT(table(), ElementsAre("red.irb vlan10 (10.0.0.1, 239.1.1.1) include"));
    EXPECT_THAT(trace(),
                ElementsAre("7 delMembership | delMembership: Del gmpStatus: red- ( 10.0.0.1, "
                            "239.1.1.2, vlan10 , exclude ) irb"));
}

TEST_F(GmpWriter, AnIncludeDeletionOfNoEntrySaysNothing) {
    add("239.1.1.1", FilterMode::include);
    forget();
    del("239.1.1.2", FilterMode::include);
    EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(GmpWriter, DeletingOneOfTwoEntriesKeepsTheStatus) {
    add("239.1.1.1", FilterMode::include);
    add("239.1.1.2", FilterMode::include);
    del("239.1.1.1", FilterMode::include);
    EXPECT_THAT(table(), ElementsAre("red.irb vlan10 (10.0.0.1, 239.1.1.2) include"));
}

TEST_F(GmpWriter, TheStatusGoesWithItsLastEntry) {
    add("239.1.1.1", FilterMode::include);
    forget();
    del("239.1.1.1", FilterMode::include);
    EXPECT_THAT(statuses(), IsEmpty());
    EXPECT_THAT(trace(),
                ElementsAre("7 delMembership | delMembership: Del gmpStatus: red- ( 10.0.0.1, "
                            "239.1.1.1, vlan10 , include ) irb"));
}

TEST_F(GmpWriter, AStatusFoundEmptyGoesThoughThereWasNothingToDelete) {
    staleStatus("red");
    del("239.1.1.1", FilterMode::include);
    EXPECT_THAT(statuses(), IsEmpty());
    EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(GmpWriter, DeletingWhereThereIsNoStatusDoesNothing) {
    add("239.1.1.1", FilterMode::include, 10, "blue");
    forget();
    del("239.1.1.1", FilterMode::include);
    del("239.1.1.1", FilterMode::exclude);
    EXPECT_THAT(statuses(), ElementsAre("blue.irb"));
    EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(GmpWriter, TwoVlansOfAVrfDifferInTheInterfaceAlone) {
    add("239.1.1.1", FilterMode::include, 10);
    add("239.1.1.1", FilterMode::include, 20);
    EXPECT_THAT(table(), ElementsAre("red.irb vlan10 (10.0.0.1, 239.1.1.1) include",
                                     "red.irb vlan20 (10.0.0.1, 239.1.1.1) include"));
    del("239.1.1.1", FilterMode::include, 10);
    EXPECT_THAT(table(), ElementsAre("red.irb vlan20 (10.0.0.1, 239.1.1.1) include"));
}

TEST_F(GmpWriter, WithoutATableAddingEndsAfterItsTraceAndDeletingDoesNothing) {
    stop();
    gmpStatusLocalColl = nullptr;
    start();
    forget();
    add("239.1.1.1", FilterMode::include);
    del("239.1.1.1", FilterMode::include);
    del("239.1.1.1", FilterMode::exclude);
    EXPECT_THAT(trace(),
                ElementsAre("7 addMembership | addMembership: Add gmpStatus: red- ( 10.0.0.1, "
                            "239.1.1.1, vlan10 , include ) irb"));
}

TEST_F(GmpWriter, BothOperationsAreTimed) {
    add("239.1.1.1", FilterMode::include);
    const std::string arguments =
        "(const L3::VrfName&, const Routing::Gmp::Tessel::VrfApp&, const Ondel::IpGenAddr&, const "
        "Ondel::IpGenAddr&, Bridging::VlanId, bool)";
    const std::string root = "void Irb::Multicast::Ingress::MembershipJoinStatusSm::";
    EXPECT_THAT(blocks(), ElementsAre("BEGIN " + root + "addMembership" + arguments,
                                      "END " + root + "addMembership" + arguments));
    forget();
    del("239.1.1.1", FilterMode::include);
    EXPECT_THAT(blocks(), ElementsAre("BEGIN " + root + "delMembership" + arguments,
                                      "END " + root + "delMembership" + arguments));
}

TEST_F(GmpWriter, TheRingHoldsTheValuesAsRawBytesThoughNoLevelIsEnabled) {
    smTrace().levelsIs({});
    add("ff3e::1", FilterMode::include, 10, "red", "::");
    const Trace::RingRecord record = latestOf("addMembership");
    ASSERT_EQ(record.values.size(), 6u);
    EXPECT_EQ(record.level, 7u);
    EXPECT_EQ(record.values[0].bytes, "red");
    EXPECT_EQ(record.values[1].bytes, "\2" + std::string(16, '\0'));
    EXPECT_EQ(record.values[2].bytes, "\2\xff\x3e" + std::string(13, '\0') + '\1');
    EXPECT_EQ(record.values[3].bytes, "vlan10");
    EXPECT_EQ(record.values[4].bytes, "\1");
    EXPECT_EQ(record.values[5].bytes, "\1");
    EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(GmpWriter, TheRingHoldsAnIpv4AddressInFourBytesOfNetworkOrder) {
    add("239.1.1.1", FilterMode::exclude);
    del("239.1.1.1", FilterMode::exclude);
    const Trace::RingRecord record = latestOf("delMembership");
    ASSERT_EQ(record.values.size(), 6u);
    EXPECT_EQ(record.values[1].bytes, std::string("\1\x0a\0\0\1", 5));
    EXPECT_EQ(record.values[4].bytes, std::string("\0", 1));
    EXPECT_EQ(record.text(),
              "delMembership: Del gmpStatus: red- ( 10.0.0.1, 239.1.1.1, vlan10 , exclude ) irb");
}

/// A table in a directory, whose bytes a test damages behind the machine's back.
class GmpWriterOverDamage : public GmpWriter {
  protected:
    GmpWriterOverDamage() {
        stop();
        gmpStatusLocalColl = Routing::Gmp::Tessel::StatusColl::open(directory_.path());
        gmpStatusLocalColl->corruptionHandlerIs(
            [this](std::string_view message) { reports_.emplace_back(message); });
        start();
        add("239.1.1.1", FilterMode::include);
        add("239.77.66.55", FilterMode::include);
        EXPECT_TRUE(directory_.damage("\xef\x4d\x42\x37")) << "nothing to damage";
        forget();
    }
    ~GmpWriterOverDamage() override {
        stop();
        gmpStatusLocalColl = nullptr;
    }

    /// The reports that reached the table's corruption handler.
    const Texts& reports() const { return reports_; }

  private:
    const TableDirectory directory_;
    Texts reports_;
};

TEST_F(GmpWriterOverDamage, ADamagedEntryIsReportedAndAnIncludeDeletionLeavesIt) {
    del("239.77.66.55", FilterMode::include);
    ASSERT_EQ(reports().size(), 1u);
    EXPECT_THAT(reports()[0], HasSubstr("red.irb"));
    EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(GmpWriterOverDamage, ADamagedEntryCountsAsExcludeAndIsDeletedAsSuch) {
    del("239.77.66.55", FilterMode::exclude);
    const Texts reported = reports();
    EXPECT_THAT(reported, Not(IsEmpty()));
    EXPECT_THAT(trace(),
                ElementsAre("7 delMembership | delMembership: Del gmpStatus: red- ( 10.0.0.1, "
                            "239.77.66.55, vlan10 , exclude ) irb"));
    EXPECT_THAT(table(), ElementsAre("red.irb vlan10 (10.0.0.1, 239.1.1.1) include"));
    EXPECT_EQ(reports(), reported);
}

TEST_F(GmpWriterOverDamage, WhatIsWrittenOverADamagedEntryIsWhole) {
    add("239.77.66.55", FilterMode::include);
    EXPECT_THAT(table(), ElementsAre("red.irb vlan10 (10.0.0.1, 239.1.1.1) include",
                                     "red.irb vlan10 (10.0.0.1, 239.77.66.55) include"));
}

TEST_F(GmpWriterOverDamage, APassOverTheTableReportsIt) {
    machine->handleInitialized();
    ASSERT_EQ(reports().size(), 1u);
    EXPECT_THAT(reports()[0], HasSubstr("red.irb"));
    EXPECT_THAT(statuses(), IsEmpty());
}

TEST_F(GmpWriterOverDamage, WhereTheReportIsRaisedThePassEndsAndItIsReportedOnceMore) {
    Texts reported;
    gmpStatusLocalColl->corruptionHandlerIs([&](std::string_view message) {
        reported.emplace_back(message);
        if (reported.size() == 1) throw Rix::CorruptionError(std::string(message));
    });
    EXPECT_THROW(machine->handleInitialized(), Rix::CorruptionError);
    ASSERT_EQ(reported.size(), 2u);
    EXPECT_EQ(reported[1], reported[0]);
    EXPECT_THAT(reported[0], HasSubstr("red.irb"));
    gmpStatusLocalColl->corruptionHandlerIs({});
}

using GmpWriterDeathTest = GmpWriter;

/// The machine's trace on standard error, so that a test sees what a process traced that died.
void traceToStandardError() {
    Trace::textSinkIs({});
    smTrace().levelsIs(Trace::Levels::all());
}

TEST_F(GmpWriterDeathTest, AddingWithoutAVrfEndsTheProcessBeforeAnythingIsTraced) {
    EXPECT_DEATH(
        {
            traceToStandardError();
            add("239.1.1.1", FilterMode::include, 10, "");
        },
        AllOf(HasSubstr("assertion failed: vrfName"), Not(HasSubstr("gmpStatus"))));
}

TEST_F(GmpWriterDeathTest, DeletingWithoutAVrfEndsTheProcessBeforeAnythingIsTraced) {
    stale("", "vlan10", "10.0.0.1", "239.1.1.1");
    EXPECT_DEATH(
        {
            traceToStandardError();
            del("239.1.1.1", FilterMode::include, 10, "");
        },
        AllOf(HasSubstr("assertion failed: vrfName"), Not(HasSubstr("gmpStatus"))));
}

}  // namespace
}  // namespace Irb::Multicast::Ingress::Detail

// Something fails in a machine's life, wherever it can: what it reads is damaged, or somebody whom
// it tells of something raises an error. The machine goes on, leaves nothing, and the next one
// brings the table into line.
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "MembershipJoinStatusSm/SmTrace.h"
#include "Pim/Life.h"
#include "Pim/RootObserver.h"
#include "Pim/TableDirectory.h"
#include "Rix/CorruptionHandler.h"
#include "Trace/TextSink.h"

namespace Irb::Multicast::Ingress::Detail {
namespace {

using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;

/// Counts up to the moment at which something is to fail.
class Countdown {
  public:
    explicit Countdown(unsigned moment) : left_(moment) {}

    /// Whether the moment is now.
    bool isNow() { return left_ != 0 && --left_ == 0; }
    /// Whether the moment came.
    bool isOver() const { return left_ == 0; }

  private:
    unsigned left_;
};

/// Goes through every moment of a life: `fails(moment)` lives one, in which something fails at that
/// moment, and tells whether the life was long enough for it.
template <class Fails>
void atEveryMoment(const Fails& fails) {
    unsigned moment = 1;
    while (fails(moment)) {
        if (testing::Test::HasFailure()) FAIL() << "something failed at moment " << moment;
        ++moment;
    }
    EXPECT_GT(moment, 10u) << "hardly anything was tried";
}

/// From here on, tracing fails nothing and does nothing.
void noMoreText() {
    Trace::textSinkIs([](const Trace::TextRecord&) {});
}

TEST(Faults, WithoutAnyTheTableIsInLineAllDay) {
    Life life;
    life.begin();
    EXPECT_EQ(life.held(), life.wanted());
    life.day();
    EXPECT_THAT(life.held(), Not(IsEmpty()));
    EXPECT_EQ(life.held(), life.wanted());
}

TEST(Faults, AfterALifeWithoutAnyTheNextMachineFindsTheTableInLine) {
    Life life;
    life.live();
    EXPECT_THAT(life.corruptions(), IsEmpty());
    life.expectRecovery();
}

TEST(Faults, WhereverTracingFailsNothingIsLeftAndTheNextMachineRecovers) {
    atEveryMoment([](unsigned moment) {
        Life life;
        Countdown countdown(moment);
        Trace::textSinkIs([&](const Trace::TextRecord&) {
            if (countdown.isNow()) throw std::runtime_error("no text");
        });
        life.live();
        noMoreText();
        life.expectRecovery();
        return countdown.isOver();
    });
}

TEST(Faults, WhereverTheTablesObserverFailsNothingIsLeftAndTheNextMachineRecovers) {
    atEveryMoment([](unsigned moment) {
        Life life;
        Countdown countdown(moment);
        life.gmpStatusLocalColl->membershipObserverIs([&](const auto&) {
            if (countdown.isNow()) throw std::runtime_error("the observer failed");
        });
        life.live();
        life.gmpStatusLocalColl->membershipObserverIs({});
        life.expectRecovery();
        return countdown.isOver();
    });
}

TEST(Faults, WhileTheTablesObserverFailsAlwaysTheMachineStillEnds) {
    Life life;
    life.begin();
    life.day();
    life.evening();
    life.gmpStatusLocalColl->membershipObserverIs(
        [](const auto&) { throw std::runtime_error("the observer failed"); });
    EXPECT_NO_THROW(life.machine = nullptr);
    life.gmpStatusLocalColl->membershipObserverIs({});
    life.expectRecovery();
}

TEST(Faults, WhereverAnObserverOfTheMachineFailsNothingIsLeftAndTheNextOneRecovers) {
    atEveryMoment([](unsigned moment) {
        Life life;
        life.begin();
        Countdown countdown(moment);
        RootObserver observer(*life.machine);
        observer.then = [&] {
            if (countdown.isNow()) throw std::runtime_error("the observer failed");
        };
        life.day();
        life.evening();
        observer.stop();
        life.end();
        life.expectRecovery();
        return countdown.isOver();
    });
}

/// Listens to every input of a life, before the machine does, and fails at one of the changes.
class FailingListener final : Lumo::Subscriber {
  public:
    FailingListener(const Life& life, Countdown& countdown)
        : countdown_(countdown), inputs_{life.membershipJoinStatus, life.pegDrStatus,
                                         life.l3IntfStatusDir,      life.enabledStatus,
                                         life.pimStatusColl,        life.gmpProxyStatus} {
        for (const auto& input : inputs_)
            input->publisher()->subscriberIs(*this);
    }
    ~FailingListener() override {
        for (const auto& input : inputs_)
            input->publisher()->subscriberDel(*this);
    }
    FailingListener(const FailingListener&) = delete;
    FailingListener& operator=(const FailingListener&) = delete;

  private:
    void onNotification(const Lumo::Notification&) override {
        if (countdown_.isNow()) throw std::runtime_error("the listener failed");
    }

    Countdown& countdown_;
    const std::vector<Lumo::Ptr<const Lumo::Node>> inputs_;
};

TEST(Faults, WhereverAnotherListenerKeepsAChangeFromTheMachineTheNextOneRecovers) {
    atEveryMoment([](unsigned moment) {
        Life life;
        Countdown countdown(moment);
        {
            const FailingListener listener(life, countdown);
            life.live();
        }
        life.expectRecovery();
        return countdown.isOver();
    });
}

TEST(Faults, WhereverInputsAreDamagedItIsReportedAndTheMachineGoesOn) {
    atEveryMoment([](unsigned moment) {
        Life life;
        Countdown countdown(moment);
        Trace::textSinkIs([&](const Trace::TextRecord&) {
            if (countdown.isNow()) life.damageInputs(life.corruptionHandler());
        });
        life.begin();
        life.day();
        noMoreText();
        life.refresh();
        EXPECT_EQ(life.corruptions().empty(), !countdown.isOver());
        life.refresh();
        life.clearDamage();
        // A source that went while its sets were damaged may have left its memberships.
        EXPECT_THAT(life.held(), IsSupersetOf(life.wanted()));
        life.evening();
        life.end();
        life.expectRecovery();
        return countdown.isOver();
    });
}

/// Whom damage is reported to, and who fails at the first report.
struct FailingHandler final : Rix::CorruptionHandler {
    unsigned reports = 0;
    void onCorruption(std::string_view) override {
        if (++reports == 1) throw std::runtime_error("the handler failed");
    }
};

TEST(Faults, WhereverTheReportOfADamagedInputFailsNothingIsLeftAndTheNextMachineRecovers) {
    atEveryMoment([](unsigned moment) {
        FailingHandler handler;
        Life life;
        Countdown countdown(moment);
        Trace::textSinkIs([&](const Trace::TextRecord&) {
            if (countdown.isNow()) life.damageInputs(handler);
        });
        life.live();
        life.clearDamage();
        noMoreText();
        life.expectRecovery();
        return countdown.isOver();
    });
}

/// The group 239.77.66.55, as it stands in a table's file.
constexpr auto groupInTheFile = "\xef\x4d\x42\x37";

TEST(Faults, WhereverTheTableIsDamagedItIsReportedAndTheMachineGoesOn) {
    atEveryMoment([](unsigned moment) {
        const TableDirectory directory;
        Life life(directory.path());
        Countdown countdown(moment);
        Trace::textSinkIs([&](const Trace::TextRecord& record) {
            if (record.level == 7 && countdown.isNow()) directory.damage(groupInTheFile);
        });
        std::vector<std::string> reports;
        life.gmpStatusLocalColl->corruptionHandlerIs(
            [&](std::string_view message) { reports.emplace_back(message); });
        life.begin();
        life.day();
        noMoreText();
        life.refresh();
        EXPECT_EQ(life.held(), life.wanted());
        EXPECT_THAT(reports, Each(HasSubstr(directory.path().string())));
        life.evening();
        life.end();
        life.expectRecovery();
        return countdown.isOver();
    });
}

}  // namespace
}  // namespace Irb::Multicast::Ingress::Detail

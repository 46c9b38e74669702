#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "Lumo/Publisher.h"
#include "Lumo/Subscriber.h"
#include "MembershipJoinStatusSm/Root.h"

namespace Irb::Multicast::Ingress::Detail {

/// Listens to a machine, as an agent's command line would, and keeps what it was told:
/// "initialized was false", "rixVlanMembership 10". Lives on the stack of a test, which must end it
/// before the machine.
class RootObserver final : Lumo::Subscriber {
  public:
    explicit RootObserver(const MembershipJoinStatusSm& root) : publisher_(root.publisher()) {
        publisher_->subscriberIs(*this);
    }
    ~RootObserver() override { stop(); }
    RootObserver(const RootObserver&) = delete;
    RootObserver& operator=(const RootObserver&) = delete;

    /// Listens no more.
    void stop() {
        if (publisher_) std::exchange(publisher_, nullptr)->subscriberDel(*this);
    }

    const std::vector<std::string>& heard() const { return heard_; }

    /// Done at every change, after it was kept.
    std::function<void()> then = [] {};

  private:
    void onNotification(const Lumo::Notification& change) override {
        heard_.push_back(text(change));
        then();
    }

    static std::string text(const Lumo::Notification& change) {
        using Root = MembershipJoinStatusSm;
        if (change.attribute == Root::rixVlanMembershipField) {
            return "rixVlanMembership " + std::to_string(change.keyAs<Bridging::VlanId>().value());
        }
        if (change.attribute == Root::l3IntfStatusField) {
            return "l3IntfStatus " + change.keyAs<Ondel::IntfId>().shortName();
        }
        if (change.attribute == Root::pimVrfStatusField) {
            return "pimVrfStatus " + std::string(change.keyAs<L3::VrfName>().text());
        }
        if (change.attribute == Root::initializedField) {
            return std::string("initialized was ") +
                   (*change.previousAs<bool>() ? "true" : "false");
        }
        return "an attribute that is not published";
    }

    Lumo::Publisher* publisher_;
    std::vector<std::string> heard_;
};

}  // namespace Irb::Multicast::Ingress::Detail

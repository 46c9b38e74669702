#include "Operation.h"

#include "Run.h"

namespace Tessel::Attack {

namespace {

using Test::Membership;

/// Adds a membership to what a walk over a status has met.
void add(std::map<std::uint32_t, FilterMode>& modes, const Membership& membership) {
    const std::uint32_t number = Test::numberOf(membership.key());
    promise(membership.key() == Test::numberedKey(number), "a membership that nobody wrote");
    promise(modes.emplace(number, membership.filterMode()).second,
            "membership " + std::to_string(number) + " is met twice");
}

}  // namespace

Operation Operation::random(Test::Random& random, std::uint32_t series) {
    Operation one;
    const bool isLarge = random.below(3) != 0;
    one.vrfName = isLarge ? "large" : "small" + std::to_string(random.below(3));
    const std::uint32_t chance = random.below(100);
    if (chance < 60) {
        one.kind = Kind::put;
    } else if (chance < (isLarge ? 99 : 90)) {
        one.kind = isLarge && chance < 80 ? Kind::put : Kind::remove;
    } else {
        one.kind = !isLarge && chance < 95 ? Kind::removeStatus : Kind::addStatus;
    }
    one.number = random.below(isLarge ? series : series / 20 + 1);
    one.mode = static_cast<FilterMode>(random.below(2));
    return one;
}

std::string Operation::text() const {
    switch (kind) {
        case Kind::put:
            return "put " + vrfName + " " + std::to_string(number);
        case Kind::remove:
            return "remove " + vrfName + " " + std::to_string(number);
        case Kind::addStatus:
            return "add status " + vrfName;
        case Kind::removeStatus:
            break;
    }
    return "remove status " + vrfName;
}

void Operation::applyTo(Test::StatusColl& coll) const {
    const auto key = Test::vrf(vrfName);
    if (kind == Kind::addStatus) {
        Test::statusOf(coll, key);
    } else if (kind == Kind::removeStatus) {
        coll.gmpStatusDel(key);
    } else if (const auto status = coll.gmpStatus(key)) {
        if (kind == Kind::put) {
            status->membershipIs({Test::numberedKey(number), mode});
        } else {
            status->membershipDel(Test::numberedKey(number));
        }
    }
}

void Operation::applyTo(Content& content) const {
    const auto status = content.find(vrfName);
    if (kind == Kind::addStatus) {
        content[vrfName];
    } else if (status == content.end()) {
        return;
    } else if (kind == Kind::removeStatus) {
        content.erase(status);
    } else if (kind == Kind::put) {
        status->second[number] = mode;
    } else {
        status->second.erase(number);
    }
}

Content contentOf(const Test::StatusColl& coll) {
    Content all;
    for (const auto& [key, status] : coll) {
        auto& modes = all[std::string(key.vrfName.text())];
        for (const Membership& membership : *status)
            add(modes, membership);
        promise(status->memberships() == modes.size(),
                "status " + status->name() + " counts " + std::to_string(status->memberships()) +
                    " memberships and holds " + std::to_string(modes.size()));
    }
    return all;
}

Content contentOf(const Test::TableReader& reader) {
    Content all;
    auto statuses = reader.statuses();
    promise(statuses.damage.empty(), statuses.damage.empty() ? "" : statuses.damage.front());
    for (Test::StatusReader& status : statuses.readers) {
        const std::string name(status.key().vrfName.text());
        // One that went and came back meanwhile is met twice; the first is gone then.
        auto& modes = all[name] = {};
        for (const Membership& membership : status)
            add(modes, membership);
        promise(status.damage().empty(), status.damage().empty() ? "" : status.damage().front());
    }
    std::map<std::string, unsigned> there;
    for (const Test::StatusReader& status : statuses.readers) {
        promise(status.isGone() || ++there[status.key().name()] == 1, "a status is there twice");
    }
    return all;
}

}  // namespace Tessel::Attack

#include "Ondel/IntfId.h"

#include <charconv>
#include <deque>
#include <mutex>
#include <optional>
#include <unordered_map>

#include "Rix/RangeError.h"

namespace Ondel {

namespace {

/// The names of the local ports that this process has met. Place 0 is the empty name.
class PortNames {
  public:
    /// Never destroyed: objects that live until the process exits still show names.
    static PortNames& instance() {
        static PortNames& names = *new PortNames;
        return names;
    }

    std::uint32_t number(std::string_view name) {
        const std::lock_guard lock(mutex_);
        const auto found = numbers_.find(name);
        if (found != numbers_.end()) return found->second;
        const std::string& kept = names_.emplace_back(name);
        const auto number = static_cast<std::uint32_t>(names_.size() - 1);
        numbers_.emplace(kept, number);
        return number;
    }

    /// Valid for ever: names are never removed and never move. Empty for a number not given out.
    std::string_view name(std::uint32_t number) {
        const std::lock_guard lock(mutex_);
        return number < names_.size() ? std::string_view(names_[number]) : std::string_view();
    }

  private:
    PortNames() { number(""); }

    std::mutex mutex_;
    std::deque<std::string> names_;
    std::unordered_map<std::string_view, std::uint32_t> numbers_;
};

/// The number in `name` behind `prefix`, if that is all there is, in 0..`limit`, without leading
/// zeros.
std::optional<std::uint32_t> numberBehind(std::string_view prefix, std::string_view name,
                                          std::uint32_t limit) {
    if (!name.starts_with(prefix)) return std::nullopt;
    name.remove_prefix(prefix.size());
    if (name.empty() || (name.size() > 1 && name.front() == '0')) return std::nullopt;
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
    if (error != std::errc() || end != name.data() + name.size() || number > limit) {
        return std::nullopt;
    }
    return number;
}

}  // namespace

IntfId::IntfId(std::string_view name) {
    if (name.size() > maxNameLength) {
        throw Rix::RangeError("Ondel::IntfId::name > 32 bytes not allowed");
    }
    if (const auto vlan = numberBehind("vlan", name, 65535)) {
        *this = IntfId(Kind::vlan, *vlan);
    } else if (const auto tunnel = numberBehind("mtunnel", name, (1u << numberBits) - 1)) {
        *this = IntfId(Kind::mcastTunnel, *tunnel);
    } else {
        *this = IntfId(Kind::port, PortNames::instance().number(name));
    }
}

std::string IntfId::shortName() const {
    switch (kind()) {
        case Kind::vlan:
            return "vlan" + std::to_string(number());
        case Kind::mcastTunnel:
            return "mtunnel" + std::to_string(number());
        case Kind::port:
            break;
    }
    return std::string(portName());
}

std::string_view IntfId::portName() const {
    if (kind() != Kind::port) return {};
    return PortNames::instance().name(number());
}

}  // namespace Ondel

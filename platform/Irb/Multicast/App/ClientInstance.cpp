#include "Irb/Multicast/App/ClientInstance.h"

#include <array>
#include <cstddef>

namespace Irb::Multicast::App {

ClientInstance::ClientInstance(std::string_view name) {
    static constexpr std::array<std::string_view, 6> names{"default",   "vxlan", "mpls",
                                                           "vxlanMpls", "proxy", "standalone"};
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (names[i] == name) value_ = static_cast<Value>(i + 1);
    }
}

}  // namespace Irb::Multicast::App

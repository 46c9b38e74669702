#pragma once

namespace Irbmc::Replay {

/// One function for std::visit out of one function an alternative.
template <class... Functions>
struct Overloaded : Functions... {
    using Functions::operator()...;
};
template <class... Functions>
Overloaded(Functions...) -> Overloaded<Functions...>;

}  // namespace Irbmc::Replay

#pragma once

#include <atomic>
#include <cstddef>

namespace Routing::Gmp::Tessel::Storage {

/// Keeps a process alive when a file that it has mapped is cut short by somebody else, or a page of
/// it cannot be had: the signal (SIGBUS) is caught, an empty page of the process's own takes the
/// missing one's place, and the shield says from then on that it was hit. Whoever reads or writes
/// the mapping looks at that before it believes what it read.
///
/// The first shield installs the process's handler, for good; faults elsewhere go on to the handler
/// that was there before. One for each file, owned by whoever maps it. isHit() may be called from
/// any thread; the rest by one thread at a time.
class FaultShield {
  public:
    FaultShield();
    FaultShield(const FaultShield&) = delete;
    FaultShield& operator=(const FaultShield&) = delete;
    /// To be destroyed before what it covers is unmapped.
    ~FaultShield();

    /// A mapping to be looked after; at most `mostMappings`.
    void cover(const void* begin, std::size_t bytes);
    /// Whether a page was missing. Stays where it is as long as the shield.
    const std::atomic<bool>& isHit() const;
    /// Says that the file is known to be shorter than it was.
    void hit();

    static constexpr std::size_t mostMappings = 24;
    struct Slot;

  private:
    Slot* slot_;
};

}  // namespace Routing::Gmp::Tessel::Storage

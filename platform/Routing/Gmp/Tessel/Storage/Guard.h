#pragma once

#include <cstdint>

#include "Routing/Gmp/Tessel/Storage/Format.h"
#include "Routing/Gmp/Tessel/Storage/Record.h"

namespace Routing::Gmp::Tessel::Storage {

/// A word that stands outside of a part of the table and says what is in there: bits 0-31 a sum
/// over it, 32-63 an odd number that goes up by 2 with each operation. A plain value.
///
/// What vanished, or came back from the past, gives another sum, however sound each piece of it is.
/// Where both words of a pair are the same before and after it was read, nothing changed meanwhile.
class Guard {
  public:
    Guard() = default;
    explicit Guard(std::uint64_t word) : word_(word) {}
    /// That of a part with nothing in it.
    /// @param salt another one for each part, so that no guard passes for another's
    static Guard empty(std::uint32_t salt) { return Guard(std::uint64_t{1} << 32 | salt); }

    /// What a live record adds to its segment's sum: under another tag nobody would find it.
    static std::uint32_t shareOf(RecordState state, std::uint8_t tag) {
        // These bits of a live record's state are 0.
        const std::uint64_t word = state.word() ^ std::uint64_t{tag} << 33;
        return static_cast<std::uint32_t>(foldedProduct(word, 0x9e3779b97f4a7c15));
    }
    /// What a status adds to the table's.
    static std::uint32_t shareOf(std::uint64_t statusId, std::uint64_t root, std::uint16_t place) {
        return static_cast<std::uint32_t>(foldedProduct(
            statusId ^ 0xd6e8feb86659fd93, foldedProduct(root + place, 0x9e3779b97f4a7c15)));
    }

    std::uint64_t word() const { return word_; }
    std::uint32_t sum() const { return static_cast<std::uint32_t>(word_); }
    /// The next one, after an operation that took one share away and added another.
    Guard after(std::uint32_t without, std::uint32_t with) const {
        const std::uint64_t number = (word_ >> 32 | 1) + 2;
        return Guard(number << 32 | (sum() - without + with));
    }

    friend bool operator==(Guard, Guard) = default;

  private:
    std::uint64_t word_ = 0;
};

/// Both words of a pair, as they were at one moment each.
struct GuardReading {
    Guard current;
    Guard next;

    static GuardReading of(const GuardPair& pair) {
        const Guard next(pair.next.load(std::memory_order_acquire));
        return {Guard(pair.current.load(std::memory_order_acquire)), next};
    }
    /// Whether a part of that sum is as the writer left it.
    bool allows(std::uint32_t sum) const {
        constexpr std::uint64_t odd = std::uint64_t{1} << 32;
        return ((current.word() & odd) != 0 && current.sum() == sum) ||
               ((next.word() & odd) != 0 && next.sum() == sum);
    }

    friend bool operator==(GuardReading, GuardReading) = default;
};

/// Does an operation under a guard.
template <class Operation>
void guarded(GuardPair& pair, Guard after, Operation operation) {
    pair.next.store(after.word(), std::memory_order_release);
    operation();
    pair.current.store(after.word(), std::memory_order_release);
}

}  // namespace Routing::Gmp::Tessel::Storage

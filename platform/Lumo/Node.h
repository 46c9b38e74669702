#pragma once

#include <atomic>
#include <cstdint>

#include "Rix/Export.h"

namespace Lumo {

class Publisher;
class TypeData;

/// Switches the reference counts of the whole process to atomic updates. An agent that shares
/// objects between threads calls this once, before it makes its first object; until then counts
/// are updated plainly.
RIX_EXPORT void threadSafeReferencesIs(bool threadSafe) noexcept;

namespace Detail {
RIX_EXPORT extern std::atomic<bool> threadSafeReferences;
}

/// The base of every object of the runtime: a reference count and the object's flags.
///
/// A node is made with Lumo::make, lives as long as a Ptr refers to it, and is destroyed by the
/// last one to go. While its constructor runs it is referenced by its maker; while its destructor
/// runs its count is zero, and no Ptr to it may be made. An object belongs to the thread whose
/// event loop uses it; only the count may be touched from several threads, and only once
/// threadSafeReferencesIs(true) was called.
class RIX_EXPORT Node {
  public:
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;
    virtual ~Node() = default;

    /// Told once, right before the object is destroyed because nothing refers to it any more, while
    /// it is still whole.
    virtual void lastUserGone() const {}
    /// Where changes of this object's attributes are announced; null if they are not.
    virtual Publisher* publisher() const { return nullptr; }
    /// The description of the object's type.
    virtual const TypeData& typeData() const = 0;
    /// Registers an object that follows another with it, or takes the registration back. Does
    /// nothing for an object that follows none.
    virtual void isRegisteredNotifieeIs(bool registered);
    /// What happens when the count reaches zero: lastUserGone, then destruction.
    virtual void onZeroReferences() const;

    std::uint32_t references() const noexcept {
        return references_.load(std::memory_order_relaxed);
    }
    /// For Ptr alone.
    void referenceAdd() const noexcept;
    /// For Ptr alone. The object may be gone when this returns.
    void referenceDel() const noexcept;

    /// Whether an object that follows another hears of its changes. False when it is made.
    bool hasNotificationActive() const noexcept { return notificationActive_; }
    /// Whether the object was reaped: marked to be swept away. False when it is made.
    bool isZombie() const noexcept { return zombie_; }

  protected:
    Node() noexcept = default;

    void notificationActiveFlagIs(bool active) noexcept { notificationActive_ = active; }
    void zombieFlagIs(bool zombie) noexcept { zombie_ = zombie; }

  private:
    mutable std::atomic<std::uint32_t> references_{1};
    bool notificationActive_ = false;
    bool zombie_ = false;
};

inline void Node::referenceAdd() const noexcept {
    if (Detail::threadSafeReferences.load(std::memory_order_relaxed)) {
        references_.fetch_add(1, std::memory_order_relaxed);
    } else {
        references_.store(references() + 1, std::memory_order_relaxed);
    }
}

inline void Node::referenceDel() const noexcept {
    std::uint32_t left = 0;
    if (Detail::threadSafeReferences.load(std::memory_order_relaxed)) {
        left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    } else {
        left = references() - 1;
        references_.store(left, std::memory_order_relaxed);
    }
    if (left == 0) onZeroReferences();
}

}  // namespace Lumo

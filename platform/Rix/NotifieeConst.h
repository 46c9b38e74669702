#pragma once

#include <utility>

#include "Lumo/Ptr.h"
#include "Lumo/Publisher.h"
#include "Lumo/Subscriber.h"

namespace Rix {

/// An object that follows one other object, which it may only read, and reacts to its changes.
///
/// It keeps a reference to what it follows, its notifier, and hears of its changes while it is
/// registered and its notifications are active; a fresh one is neither. It stays alive while it
/// reacts, and unregisters when it is destroyed. Belongs to the thread of its notifier.
template <class Notifier>
class NotifieeConst : public Lumo::Node, private Lumo::Subscriber {
  public:
    ~NotifieeConst() override { isRegisteredNotifieeIs(false); }

    void isRegisteredNotifieeIs(bool registered) final {
        if (registered == registered_) return;
        registered_ = registered;
        if (!notifier_) return;
        if (registered) {
            notifier_->publisher()->subscriberIs(*this);
        } else {
            notifier_->publisher()->subscriberDel(*this);
        }
    }

    /// The reaction to a change of the notifier.
    /// @param key the key of the entry that changed, of the type that the attribute names; null for
    ///            an attribute that is not keyed
    virtual void onAttribute(Lumo::FieldId attribute, const void* key) = 0;
    /// The reaction to being reaped (true), or to being wanted again (false).
    virtual void rixDoZombieReactors(bool zombie) = 0;

    void hasNotificationActiveIs(bool active) { notificationActiveFlagIs(active); }

    /// What this object follows, or null.
    const Lumo::Ptr<const Notifier>& notifier() const { return notifier_; }

  protected:
    NotifieeConst() = default;

    /// Follows another object, or none, from now on; not registered with it yet.
    void follow(Lumo::Ptr<const Notifier> notifier) {
        isRegisteredNotifieeIs(false);
        notifier_ = std::move(notifier);
    }

  private:
    void onNotification(const Lumo::Notification& change) final {
        if (!hasNotificationActive()) return;
        // The reaction may lead to the removal of this object.
        const Lumo::Ptr<NotifieeConst> kept(this);
        onAttribute(change.attribute, change.key);
    }

    Lumo::Ptr<const Notifier> notifier_;
    bool registered_ = false;
};

}  // namespace Rix

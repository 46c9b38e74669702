#pragma once

#include "Rix/NotifieeConst.h"

namespace Irb::Multicast::Ingress::Detail {

/// What each tracker has: the record that it follows, and whoever owns it, to whom it points back
/// until it is removed.
template <class Record, class Parent>
class Tracker : public Rix::NotifieeConst<Record> {
  public:
    /// Null once the tracker was removed.
    Parent* parent() const { return parent_; }
    /// For the owner alone.
    void parentIs(Parent* parent) { parent_ = parent; }

  protected:
    explicit Tracker(Parent* parent) : parent_(parent) {}

  private:
    Parent* parent_;
};

}  // namespace Irb::Multicast::Ingress::Detail

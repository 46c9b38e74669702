#pragma once

#include "Lumo/Publisher.h"

namespace Lumo {

/// An object whose changes can be listened to.
class Observable : public Node {
  public:
    Publisher* publisher() const override { return &publisher_; }

  private:
    mutable Publisher publisher_;
};

}  // namespace Lumo

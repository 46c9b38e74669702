#pragma once

#include "Lumo/Publisher.h"
#include "Rix/Export.h"

namespace Lumo {

/// An object whose changes can be listened to.
class RIX_EXPORT Observable : public Node {
  public:
    Publisher* publisher() const override { return &publisher_; }

  private:
    mutable Publisher publisher_;
};

}  // namespace Lumo

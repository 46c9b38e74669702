#pragma once

#include "Lumo/Object.h"
#include "Ondel/IntfId.h"
#include "Rix/Export.h"

namespace Routing::Pim {

/// One interface on which PIM runs. Published by PIM; readers hold shared read-only references.
class RIX_EXPORT Intf final : public Lumo::Object<Intf> {
  public:
    explicit Intf(Ondel::IntfId intfId) : intfId_(intfId) {}
    static const Lumo::TypeData& type();

    /// The record's key.
    Ondel::IntfId intfId() const { return intfId_; }

  private:
    Ondel::IntfId intfId_;
};

}  // namespace Routing::Pim

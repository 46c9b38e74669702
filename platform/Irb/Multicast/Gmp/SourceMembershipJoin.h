#pragma once

#include <string_view>

#include "Lumo/Object.h"
#include "Lumo/Observable.h"
#include "Ondel/IntfIdSet.h"
#include "Ondel/IpGenAddr.h"
#include "Rix/CorruptionHandler.h"
#include "Rix/Export.h"

namespace Irb::Multicast::Gmp {

/// The joins of one source of a group in a VLAN (RFC 3376, RFC 3810; from other switches by SMET
/// routes, RFC 9251): which interfaces want it, and which want everything but it.
///
/// Published by the agent that learns joins; readers hold shared read-only references. Belongs to
/// the thread of the event loop on which it is published.
///
/// A setter also raises what those who follow the record raise at the change, which was made then:
/// a state machine a std::system_error if its table finds no room or its file is gone, a
/// Rix::RangeError if a VLAN number cannot be one, std::bad_alloc. The record and everybody who
/// follows it stay usable; the machine's `reconcile` makes up for what it missed.
class RIX_EXPORT SourceMembershipJoin final
    : public Lumo::Object<SourceMembershipJoin, Lumo::Observable> {
  public:
    /// Both sets are keyed by Ondel::IntfId.
    static constexpr Lumo::FieldId includeIntfsField{1};
    static constexpr Lumo::FieldId excludeIntfsField{2};

    /// @param source the all-zero address of a family for the (*,G) join
    explicit SourceMembershipJoin(const Ondel::IpGenAddr& source) : source_(source) {}
    static const Lumo::TypeData& type();

    /// The record's key.
    const Ondel::IpGenAddr& source() const { return source_; }
    /// The interfaces that joined in include mode.
    const Ondel::IntfIdSet& includeIntfs() const { return includeIntfs_; }
    /// The interfaces that joined in exclude mode.
    const Ondel::IntfIdSet& excludeIntfs() const { return excludeIntfs_; }

    /// Adds or removes one interface, and publishes that if it changes the set.
    void includeIntfIs(Ondel::IntfId intf);
    void includeIntfDel(Ondel::IntfId intf);
    void excludeIntfIs(Ondel::IntfId intf);
    void excludeIntfDel(Ondel::IntfId intf);

    /// Lets the next reading of a set's size report corruption.
    void includeIntfsCorruptionIs(std::string message);
    void excludeIntfsCorruptionIs(std::string message);
    /// Who is told of corruption; null for standard error. Not owned.
    void corruptionHandlerIs(Rix::CorruptionHandler* handler) { corruptionHandler_ = handler; }
    /// For readers that met a Rix::CorruptionError: reports its message.
    void handleCorruption(std::string_view message) const {
        Rix::reportCorruption(corruptionHandler_, message);
    }

  private:
    Ondel::IpGenAddr source_;
    Ondel::IntfIdSet includeIntfs_;
    Ondel::IntfIdSet excludeIntfs_;
    Rix::CorruptionHandler* corruptionHandler_ = nullptr;
};

}  // namespace Irb::Multicast::Gmp

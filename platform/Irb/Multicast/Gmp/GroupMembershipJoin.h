#pragma once

#include "Irb/Multicast/Gmp/SourceMembershipJoin.h"
#include "Lumo/Object.h"
#include "Lumo/Observable.h"
#include "Rix/Collection.h"
#include "Rix/Export.h"

namespace Irb::Multicast::Gmp {

/// The joins of one multicast group in a VLAN, source by source.
///
/// Published by the agent that learns joins; readers hold shared read-only references. Belongs to
/// the thread of the event loop on which it is published.
///
/// A setter also raises what those who follow the record raise at the change, which was made then:
/// a state machine a std::system_error if its table finds no room or its file is gone, a
/// Rix::RangeError if a VLAN number cannot be one, std::bad_alloc. The record and everybody who
/// follows it stay usable; the machine's `reconcile` makes up for what it missed.
class RIX_EXPORT GroupMembershipJoin final
    : public Lumo::Object<GroupMembershipJoin, Lumo::Observable> {
  public:
    /// Keyed by Ondel::IpGenAddr.
    static constexpr Lumo::FieldId sourceField{1};

    explicit GroupMembershipJoin(const Ondel::IpGenAddr& groupAddr) : groupAddr_(groupAddr) {}
    static const Lumo::TypeData& type();

    /// The group's address, the record's key.
    const Ondel::IpGenAddr& groupAddr() const { return groupAddr_; }

    /// The joins of the sources, keyed by source address; the all-zero address is the (*,G) join.
    const Rix::Collection<Ondel::IpGenAddr, Lumo::Ptr<SourceMembershipJoin>>& source() const {
        return source_;
    }
    /// The entry under a key, or null.
    Lumo::Ptr<const SourceMembershipJoin> source(const Ondel::IpGenAddr& source) const {
        return source_.get(source);
    }
    Lumo::Ptr<SourceMembershipJoin> source(const Ondel::IpGenAddr& source) {
        return source_.get(source);
    }
    /// Puts an entry under its key, in place of any there, and publishes that.
    /// @throws Rix::NullArgumentError if there is no entry
    void sourceIs(const Lumo::Ptr<SourceMembershipJoin>& source);
    /// Removes an entry and publishes that; nothing if there is none.
    void sourceDel(const Ondel::IpGenAddr& source);

  private:
    Ondel::IpGenAddr groupAddr_;
    Rix::Collection<Ondel::IpGenAddr, Lumo::Ptr<SourceMembershipJoin>> source_;
};

}  // namespace Irb::Multicast::Gmp

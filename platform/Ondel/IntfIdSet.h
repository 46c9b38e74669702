#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "Ondel/IntfId.h"
#include "Rix/Export.h"

namespace Ondel {

/// A set of interfaces, in the order of their identifiers. It may change while it is walked. Part
/// of the record whose attribute it is.
///
/// The set may find itself damaged when its size is read; whoever reads then hands the error's
/// message to the record's corruption handler and goes on as if the set were empty.
class RIX_EXPORT IntfIdSet {
  public:
    class Cursor;
    struct End {};

    /// The number of interfaces.
    /// @throws Rix::CorruptionError once for each corruptionIs
    std::size_t size() const;
    /// Whether there is none; never reports corruption.
    bool isEmpty() const { return intfs_.empty(); }
    bool contains(IntfId intf) const;

    /// Adds an interface; false if it was there.
    bool add(IntfId intf);
    /// Removes an interface; false if it was not there.
    bool del(IntfId intf);

    /// Lets the next reading of the size report corruption, with this message.
    void corruptionIs(std::string message);

    Cursor begin() const;
    End end() const { return {}; }

  private:
    std::vector<IntfId> intfs_;
    mutable std::unique_ptr<const std::string> corruption_;
};

/// A walk over a set: it remembers the identifier it is at, not a place.
class IntfIdSet::Cursor {
  public:
    explicit Cursor(const IntfIdSet& set);

    IntfId operator*() const { return current_; }
    Cursor& operator++();
    bool operator!=(End) const { return !done_; }

  private:
    void moveTo(std::vector<IntfId>::const_iterator place);

    const IntfIdSet& set_;
    IntfId current_;
    bool done_ = false;
};

inline IntfIdSet::Cursor IntfIdSet::begin() const {
    return Cursor(*this);
}

}  // namespace Ondel

#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Routing/Gmp/Tessel/Membership.h"
#include "Routing/Gmp/Tessel/MembershipReading.h"
#include "Routing/Gmp/Tessel/Storage/Directory.h"
#include "Routing/Gmp/Tessel/Storage/Guard.h"
#include "Routing/Gmp/Tessel/Storage/Header.h"
#include "Routing/Gmp/Tessel/Storage/Segment.h"
#include "Routing/Gmp/Tessel/Storage/StatusIdentity.h"
#include "Routing/Gmp/Tessel/Storage/TableFile.h"

namespace Routing::Gmp::Tessel::Storage {

/// A reader's side of one status in shared memory, which the writer changes meanwhile. What looks
/// damaged is believed only if it is part of the status's newest version. Holds a copy of the
/// directory. Belongs to one thread.
class StatusView {
  public:
    StatusView(std::shared_ptr<const TableFile> file, const CheckedHeader& header,
               const StatusEntry& entry, const StatusIdentity& identity);

    const VrfApp& key() const { return identity_.key; }
    std::uint64_t id() const { return identity_.id; }
    /// Whether the writer removed the status since.
    /// @throws std::system_error if the file was cut short, as everything here
    bool isGone() const {
        const bool isGone = entry_->life.load(std::memory_order_acquire) != identity_.id;
        // What was cut off reads as zeros.
        if (isGone) file_->checkWhole();
        return isGone;
    }
    /// Whether the directory at hand is still the status's.
    bool isCurrent() const {
        return entry_->root.load(std::memory_order_acquire) == root_ && !isGone();
    }

    MembershipReading membership(const RouteIntfKey& key);
    /// Reads a segment as it was at one moment, or, if it changed meanwhile, each of its
    /// memberships as it was at some.
    /// @param position of the segment; becomes that of the one behind, and empty at the end
    void readSegment(Directory::Position& position, std::vector<Membership>& memberships,
                     std::vector<std::string>& damage);
    /// What is wrong with the status, one text a fault.
    std::vector<std::string> faults();
    /// Every run of pages that the status uses, according to the directory at hand.
    std::vector<Directory::Extent> extents() const;

  private:
    /// A segment while it is read.
    struct ReadSegment {
        Directory::Step step;
        ConstSegment view;
        const GuardPair* guard;
    };

    /// Brings the directory up to date. False if the status is gone or its directory damaged; the
    /// text then says how, and is empty for a status that is gone.
    bool refresh(std::string& problem);
    ConstSegment segment(Directory::Extent extent) const;
    ReadSegment segment(const Directory::Position& position) const;
    /// @returns the sum over what was read
    std::uint32_t readGroups(const ReadSegment& segment, std::vector<Membership>& memberships,
                             std::vector<std::string>& damage) const;

    void checkSegment(const ReadSegment& segment, std::vector<std::string>& faults) const;
    void checkPlace(const ReadSegment& segment, std::uint32_t place,
                    std::vector<std::string>& faults) const;
    /// What is wrong with a place whose tag says that it is used, as long as nothing changes.
    std::string placeFault(const ReadSegment& segment, std::uint32_t place) const;
    bool isGuardBroken(const ReadSegment& segment) const;

    std::string text(std::string_view problem) const;
    std::string segmentText(const ReadSegment& segment) const;
    std::string slotText(Directory::Extent extent, std::uint32_t place) const;

    std::shared_ptr<const TableFile> file_;
    CheckedHeader header_;
    const StatusEntry* entry_;
    StatusIdentity identity_;
    std::uint32_t checksum_;
    std::optional<std::uint64_t> root_;  ///< what the directory was read from, if it was
    Directory directory_;
    std::size_t guardsOffset_ = 0;
};

}  // namespace Routing::Gmp::Tessel::Storage

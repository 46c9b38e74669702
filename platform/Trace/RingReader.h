#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Trace/RingLayout.h"
#include "Trace/RingRecord.h"

namespace Trace {

/// What a trace ring held at one moment, and its decoder. Owned by whoever made it; it keeps a copy
/// and needs neither the ring nor the file any longer. One thread at a time may use it.
///
/// Nothing that a file holds makes it fail after it was made: what is no whole record, because its
/// writer was killed in the middle of it or because the file was damaged or cut off, is counted and
/// left out.
class RingReader {
  public:
    /// Reads the ring in the file `path`, whether its process still runs or not.
    /// @throws std::system_error if the file cannot be read, std::runtime_error if it is no trace
    ///         ring, is of another version or byte order, or has a damaged header; both name it
    static RingReader ofFile(const std::string& path);
    /// Reads the ring of this process.
    static RingReader ofProcess();

    /// The number of records that can be decoded.
    std::size_t size() const { return slots_.size(); }
    /// The record at `place`, 0 to size() - 1, oldest first. A record of a site that is not in the
    /// ring's table has no handle, no values and a format that says so.
    RingRecord record(std::size_t place) const;

    /// How many records the ring was ever given; all but the latest have been overwritten.
    std::uint64_t written() const { return written_; }
    /// How many slots hold something that is no whole record.
    std::size_t damaged() const { return damaged_; }
    /// Whether the file ends before its ring does.
    bool isCutOff() const { return isCutOff_; }
    /// The process that wrote it, and when it made the ring, in nanoseconds since the epoch.
    std::uint32_t processId() const { return identity_.processId; }
    std::int64_t startedNs() const { return identity_.startedNs; }

  private:
    /// A site, as views into siteTable_.
    struct Site {
        std::size_t offset;
        RingSiteHead head;
    };

    RingReader() = default;
    void sitesAre(std::string table);
    void wordsAre(std::vector<std::uint64_t> words);
    bool isRecord(std::size_t slot) const;
    RingRecordHead head(std::size_t slot) const;
    void decodeSite(const Site& site, RingRecord& record, std::string_view payload) const;

    RingIdentity identity_{};
    std::uint64_t written_ = 0;
    std::size_t damaged_ = 0;
    bool isCutOff_ = false;

    std::string siteTable_;
    std::map<std::uint32_t, Site> sites_;
    std::vector<std::uint64_t> words_;
    /// The slots that hold records, oldest first.
    std::vector<std::size_t> slots_;
};

}  // namespace Trace

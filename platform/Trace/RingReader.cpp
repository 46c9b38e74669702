#include "Trace/RingReader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "Rix/FileDescriptor.h"
#include "Trace/Ring.h"
#include "Trace/ValueTraits.h"

namespace Trace {

namespace {

/// A file that is open for reading. Its errors name it.
class RingFile {
  public:
    explicit RingFile(const std::string& path)
        : path_(path), file_(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)) {
        if (!file_.isOpen()) fail(errno);
    }

    /// Up to `size` bytes at `offset` into `to`; how many there were.
    std::size_t read(std::uint64_t offset, void* to, std::size_t size) const {
        std::size_t done = 0;
        while (done < size) {
            const ssize_t got = ::pread(file_.number(), static_cast<char*>(to) + done, size - done,
                                        static_cast<off_t>(offset + done));
            if (got < 0 && errno == EINTR) continue;
            if (got < 0) fail(errno);
            if (got == 0) break;
            done += static_cast<std::size_t>(got);
        }
        return done;
    }

    std::uint64_t size() const {
        struct stat status {};
        if (::fstat(file_.number(), &status) != 0) fail(errno);
        return static_cast<std::uint64_t>(status.st_size);
    }

    [[noreturn]] void isWrong(const std::string& what) const {
        throw std::runtime_error("trace ring " + path_ + ": " + what);
    }

  private:
    [[noreturn]] void fail(int error) const {
        throw std::system_error(error, std::generic_category(), "trace ring " + path_);
    }

    const std::string path_;
    const Rix::FileDescriptor file_;
};

RingIdentity checkedIdentity(const RingFile& file) {
    std::array<std::uint64_t, sizeof(RingIdentity) / 8> words{};
    const std::size_t size = file.read(0, words.data(), sizeof words);
    RingIdentity identity{};
    std::memcpy(&identity, words.data(), sizeof identity);
    if (size < sizeof words || identity.magic != ringMagic) file.isWrong("not a trace ring");
    if (identity.byteOrder != ringByteOrder) {
        file.isWrong("written by a machine of another byte order, or damaged");
    }
    if (identity.version != ringVersion) {
        file.isWrong("version " + std::to_string(identity.version) + ", not " +
                     std::to_string(ringVersion));
    }
    if (identity.checksum != ringChecksum(words.data(), words.size() - 1) ||
        !std::has_single_bit(identity.slotCount) || identity.slotCount > ringMaxSlots) {
        file.isWrong("damaged header");
    }
    return identity;
}

std::uint64_t counterAt(const RingFile& file, std::size_t offset) {
    std::uint64_t value = 0;
    file.read(offset, &value, sizeof value);
    return value;
}

/// How many bytes a value of that kind has, where the kind alone tells.
std::size_t fixedBytes(ValueKind kind) {
    switch (kind) {
        case ValueKind::filterMode:
        case ValueKind::application:
        case ValueKind::boolean:
        case ValueKind::unsigned8:
            return 1;
        case ValueKind::unsigned16:
            return 2;
        case ValueKind::unsigned32:
            return 4;
        default:
            return 8;
    }
}

bool isText(ValueKind kind) {
    return kind == ValueKind::text || kind == ValueKind::interface || kind == ValueKind::function;
}

/// Takes the value at the front of `payload` off it; false if it is not there.
bool takeValue(std::string_view& payload, RingValue& value) {
    std::size_t size = fixedBytes(value.kind);
    if (isText(value.kind)) {
        std::uint16_t length = 0;
        if (payload.size() < sizeof length) return false;
        std::memcpy(&length, payload.data(), sizeof length);
        payload.remove_prefix(sizeof length);
        size = std::min<std::size_t>(length, payload.size());
        value.isCut = size < length;
    } else if (value.kind == ValueKind::address) {
        if (payload.empty()) return false;
        const auto family = static_cast<Ondel::IpGenAddr::Family>(payload.front());
        size = 1 + ValueTraits<Ondel::IpGenAddr>::bytesOf(family);
    }
    if (payload.size() < size) return false;
    value.bytes = payload.substr(0, size);
    payload.remove_prefix(size);
    return true;
}

}  // namespace

RingReader RingReader::ofFile(const std::string& path) {
    const RingFile file(path);
    RingReader reader;
    reader.identity_ = checkedIdentity(file);
    const std::uint64_t size = file.size();
    const std::uint64_t whole = reader.identity_.slotCount * std::uint64_t{ringSlotBytes};
    const std::uint64_t present = size > ringSlotsOffset ? size - ringSlotsOffset : 0;
    std::vector<std::uint64_t> words(std::min(whole, present) / 8);
    words.resize(file.read(ringSlotsOffset, words.data(), words.size() * 8) / ringSlotBytes *
                 ringSlotWords);
    reader.isCutOff_ = words.size() * 8 < whole;
    // The counter and the sites last: while the ring's process runs, each record that was just read
    // has its site there by now.
    reader.written_ = counterAt(file, offsetof(RingHeader, written));
    std::string table(std::min(counterAt(file, offsetof(RingHeader, sitesUsed)), ringSitesBytes),
                      '\0');
    table.resize(file.read(ringSitesOffset, table.data(), table.size()));
    reader.sitesAre(std::move(table));
    reader.wordsAre(std::move(words));
    return reader;
}

RingReader RingReader::ofProcess() {
    const Ring& ring = Ring::current();
    RingReader reader;
    reader.identity_ = ring.header_->identity;
    std::vector<std::uint64_t> words(reader.identity_.slotCount * ringSlotWords);
    for (std::size_t i = 0; i < words.size(); ++i)
        words[i] = ring.slots_[i].load(std::memory_order_relaxed);
    reader.written_ = ring.header_->written.load(std::memory_order_relaxed);
    const std::uint64_t used = ring.header_->sitesUsed.load(std::memory_order_acquire);
    reader.sitesAre({ring.sites(), used});
    reader.wordsAre(std::move(words));
    return reader;
}

void RingReader::sitesAre(std::string table) {
    siteTable_ = std::move(table);
    for (std::size_t offset = 0; siteTable_.size() - offset >= sizeof(RingSiteHead);) {
        RingSiteHead head{};
        std::memcpy(&head, siteTable_.data() + offset, sizeof head);
        const std::size_t needed = sizeof head + head.kindsBytes + head.handleBytes +
                                   head.functionBytes + head.formatBytes;
        // Behind an entry of a wrong length, nobody knows where the next one begins.
        if (head.entryBytes != needed || needed > siteTable_.size() - offset) return;
        const std::string_view checked(siteTable_.data() + offset + sizeof head.checksum,
                                       needed - sizeof head.checksum);
        if (head.checksum == Rix::hashBytes(0, checked)) sites_[head.site] = {offset, head};
        offset += needed;
    }
}

void RingReader::wordsAre(std::vector<std::uint64_t> words) {
    words_ = std::move(words);
    for (std::size_t slot = 0; slot < words_.size() / ringSlotWords; ++slot) {
        if (isRecord(slot)) {
            slots_.push_back(slot);
        } else if (words_[slot * ringSlotWords] != 0 || words_[slot * ringSlotWords + 1] != 0) {
            ++damaged_;
        }
    }
    std::sort(slots_.begin(), slots_.end(),
              [this](std::size_t a, std::size_t b) { return head(a).number < head(b).number; });
}

RingRecordHead RingReader::head(std::size_t slot) const {
    RingRecordHead head{};
    std::memcpy(&head, &words_[slot * ringSlotWords], sizeof head);
    return head;
}

bool RingReader::isRecord(std::size_t slot) const {
    const RingRecordHead found = head(slot);
    if (found.number == 0 || ((found.number - 1) & (identity_.slotCount - 1)) != slot) return false;
    if (found.payloadBytes > ringPayloadBytes) return false;
    const std::size_t words = ringHeadWords + (found.payloadBytes + 7u) / 8;
    return found.checksum == ringChecksum(&words_[slot * ringSlotWords + 1], words - 1);
}

RingRecord RingReader::record(std::size_t place) const {
    const std::size_t slot = slots_.at(place);
    const RingRecordHead found = head(slot);
    RingRecord record;
    record.number = found.number;
    record.timeNs = found.timeNs;
    record.thread = found.thread;
    record.type = found.type;
    const std::string_view payload(
        reinterpret_cast<const char*>(&words_[slot * ringSlotWords + ringHeadWords]),
        found.payloadBytes);
    if (found.type == RecordType::blockEnd) {
        std::memcpy(&record.durationNs, payload.data(),
                    std::min(payload.size(), sizeof record.durationNs));
    }
    if (const auto site = sites_.find(found.site); site != sites_.end()) {
        decodeSite(site->second, record, payload);
    } else {
        record.format = "(site " + std::to_string(found.site) + " is not in the ring's table)";
    }
    return record;
}

void RingReader::decodeSite(const Site& site, RingRecord& record, std::string_view payload) const {
    std::string_view rest = std::string_view(siteTable_).substr(site.offset + sizeof(RingSiteHead));
    const auto take = [&rest](std::size_t size) {
        const std::string_view taken = rest.substr(0, size);
        rest.remove_prefix(size);
        return taken;
    };
    const std::string_view kinds = take(site.head.kindsBytes);
    record.handle = take(site.head.handleBytes);
    record.function = take(site.head.functionBytes);
    record.format = take(site.head.formatBytes);
    record.level = site.head.level;
    for (const char kind : kinds) {
        RingValue value{static_cast<ValueKind>(kind), {}, false};
        if (!takeValue(payload, value)) return;
        if (value.kind == ValueKind::function) {
            record.function = value.text();
        } else {
            record.values.push_back(std::move(value));
        }
    }
}

}  // namespace Trace

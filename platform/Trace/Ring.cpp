#include "Trace/Ring.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <system_error>
#include <utility>

#include "Rix/FileDescriptor.h"
#include "Trace/Clock.h"
#include "Trace/RingFile.h"
#include "Trace/RingSites.h"

namespace Trace {

namespace {

/// The ring in private memory: zero until it is used, and so no page of the process before that.
alignas(4096) std::byte privateMemory[ringSlotsOffset + ringDefaultSlots * ringSlotBytes];

std::uint16_t threadNumber() noexcept {
    static std::atomic<std::uint16_t> threads{0};
    static thread_local std::uint16_t number = 0;
    if (number == 0) {
        number = static_cast<std::uint16_t>(threads.fetch_add(1, std::memory_order_relaxed) + 1);
    }
    return number;
}

[[noreturn]] void fail(int error, const std::string& what) {
    throw std::system_error(error, std::generic_category(), what);
}

/// A file of `bytes` zeros, mapped. All of its space is taken at once: a disk that is full must be
/// known now and not when a message is written.
void* newMapping(const std::string& path, std::size_t bytes) {
    const Rix::FileDescriptor file(
        ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0640));
    if (!file.isOpen()) fail(errno, "trace ring " + path + ": cannot be created");
    if (const int error = ::posix_fallocate(file.number(), 0, static_cast<off_t>(bytes))) {
        ::unlink(path.c_str());
        fail(error, "trace ring " + path + ": no space for it");
    }
    void* memory = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, file.number(), 0);
    if (memory == MAP_FAILED) {
        const int error = errno;
        ::unlink(path.c_str());
        fail(error, "trace ring " + path + ": cannot be mapped");
    }
    return memory;
}

/// Moves the finished file to its name; a file that has the name stays as "<path>.previous".
void moveInto(const std::string& path, const std::string& made) {
    const std::string previous = path + ".previous";
    const bool isKept = ::rename(path.c_str(), previous.c_str()) == 0 || errno == ENOENT;
    if (isKept && ::rename(made.c_str(), path.c_str()) == 0) return;
    const int error = errno;
    ::unlink(made.c_str());
    fail(error, "trace ring " + path + ": cannot be put in place");
}

}  // namespace

std::atomic<Ring*> Ring::current_{nullptr};

Ring::Ring(void* memory, std::uint32_t slotCount) noexcept
    : header_(new (memory) RingHeader),
      slots_(reinterpret_cast<Word*>(static_cast<char*>(memory) + ringSlotsOffset)),
      slotMask_(slotCount - 1) {
    RingIdentity& identity = header_->identity;
    identity = {ringMagic,
                ringVersion,
                ringByteOrder,
                slotCount,
                static_cast<std::uint32_t>(::getpid()),
                wallClockNs(),
                0};
    std::array<std::uint64_t, sizeof(RingIdentity) / 8> words{};
    std::memcpy(words.data(), &identity, sizeof identity);
    identity.checksum = ringChecksum(words.data(), words.size() - 1);
}

void Ring::fileIs(const std::string& path, std::uint32_t slotCount) {
    if (slotCount > ringMaxSlots) fail(EINVAL, "trace ring " + path + ": too many records");
    slotCount = std::bit_ceil(std::max(slotCount, 1u));
    const std::string made = path + "." + std::to_string(::getpid()) + ".new";
    void* memory = newMapping(made, ringSlotsOffset + slotCount * ringSlotBytes);
    std::unique_ptr<Ring> ring(new Ring(memory, slotCount));
    try {
        moveInto(path, made);
    } catch (...) {
        ::munmap(memory, ringSlotsOffset + slotCount * ringSlotBytes);
        throw;
    }
    RingSites::instance().currentIs(std::move(ring));
}

void ringFileIs(const std::string& path, std::uint32_t slotCount) {
    Ring::fileIs(path, slotCount);
}

Ring& Ring::first() noexcept {
    return RingSites::instance().first([]() -> Ring& {
        static Ring ring(privateMemory, ringDefaultSlots);
        return ring;
    });
}

char* Ring::sites() const {
    return reinterpret_cast<char*>(header_) + ringSitesOffset;
}

void Ring::write(RecordType type, std::uint32_t site, std::int64_t timeNs,
                 RecordBuffer& record) noexcept {
    const std::uint64_t index = header_->written.fetch_add(1, std::memory_order_relaxed);
    const std::size_t words = ringHeadWords + (record.used_ + 7) / 8;
    std::memset(record.payload() + record.used_, 0, (words - ringHeadWords) * 8 - record.used_);
    RingRecordHead head{
        0, index + 1, timeNs, site, threadNumber(), type, static_cast<std::uint8_t>(record.used_)};
    std::uint64_t* const filled = record.words_.data();
    std::memcpy(filled, &head, sizeof head);
    filled[0] = ringChecksum(filled + 1, words - 1);
    Word* const slot = slots_ + (index & slotMask_) * ringSlotWords;
    for (std::size_t i = 0; i < words; ++i)
        slot[i].store(filled[i], std::memory_order_relaxed);
}

}  // namespace Trace

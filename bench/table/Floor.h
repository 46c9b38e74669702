#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <optional>

#include "Routing/Gmp/Tessel/Storage/Record.h"
#include "Workload.h"

namespace Bench {

/// The floor: a preallocated open-addressing array of cache-line slots in shared memory, with a
/// checksum and a version bump for each record. It cannot grow, cannot tell a killed writer from a
/// busy one, and promises nothing.
class Floor {
  public:
    static constexpr const char* name = "floor";
    static constexpr bool readerIsReadOnly = true;

    Floor(const std::filesystem::path& directory, std::uint64_t capacity)
        : count_(capacity * 2), bytes_(count_ * sizeof(Slot)) {
        const std::string path = directory / "floor";
        const int fd = open(path.c_str(), O_RDWR | O_CREAT, 0600);
        expect(fd >= 0 && ftruncate(fd, static_cast<off_t>(bytes_)) == 0, "no file");
        void* const memory =
            mmap(nullptr, bytes_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, fd, 0);
        expect(memory != MAP_FAILED, "no mapping");
        close(fd);
        slots_ = static_cast<Slot*>(memory);
    }
    Floor(const Floor&) = delete;
    Floor& operator=(const Floor&) = delete;
    ~Floor() { munmap(slots_, bytes_); }

    void put(const Membership& membership) {
        const Words key = Storage::keyWords(membership.key());
        Slot* slot = &slots_[home(key)];
        Slot* reusable = nullptr;
        for (; kindOf(*slot) != empty; slot = next(slot)) {
            if (kindOf(*slot) == live && sameKey(*slot, key)) break;
            if (kindOf(*slot) == removed && reusable == nullptr) reusable = slot;
        }
        if (kindOf(*slot) == empty && reusable != nullptr) slot = reusable;
        write(*slot, key,
              std::uint64_t{live} | static_cast<std::uint64_t>(membership.filterMode()) << 8);
    }
    std::optional<FilterMode> find(const RouteIntfKey& wanted) const {
        const Words key = Storage::keyWords(wanted);
        for (Slot* slot = &slots_[home(key)];; slot = next(slot)) {
            Words found{};
            const std::uint64_t content = read(*slot, found);
            if ((content & 0xff) == empty) return std::nullopt;
            if ((content & 0xff) == live && found == key) {
                return static_cast<FilterMode>(content >> 8 & 0xff);
            }
        }
    }
    void del(const RouteIntfKey& wanted) {
        const Words key = Storage::keyWords(wanted);
        for (Slot* slot = &slots_[home(key)]; kindOf(*slot) != empty; slot = next(slot)) {
            if (kindOf(*slot) == live && sameKey(*slot, key)) return write(*slot, key, removed);
        }
    }
    template <class Visit>
    void iterate(Visit visit) const {
        for (std::uint64_t i = 0; i < count_; ++i) {
            Words key{};
            const std::uint64_t content = read(slots_[i], key);
            if ((content & 0xff) != live) continue;
            visit(Membership(Storage::keyFromWords(key),
                             static_cast<FilterMode>(content >> 8 & 0xff)));
        }
    }

  private:
    using Words = Storage::KeyWords;
    using Word = std::atomic<std::uint64_t>;
    enum Kind : std::uint64_t { empty = 0, live = 1, removed = 2 };

    struct alignas(64) Slot {
        Word version;  ///< odd while the slot is written
        Word key[5];
        Word content;  ///< bits 0-7 the kind, 8-15 the filter mode
        Word checksum;
    };

    std::uint64_t home(const Words& key) const {
        const std::uint64_t hash = Storage::hashOf(key, {1, 2, 3, 4, 5});
        __extension__ using Wide = unsigned __int128;
        return static_cast<std::uint64_t>(Wide{hash} * count_ >> 64);
    }
    Slot* next(Slot* slot) const { return slot + 1 == slots_ + count_ ? slots_ : slot + 1; }
    static std::uint64_t kindOf(const Slot& slot) {
        return slot.content.load(std::memory_order_relaxed) & 0xff;
    }
    static bool sameKey(const Slot& slot, const Words& key) {
        for (std::size_t i = 0; i < key.size(); ++i) {
            if (slot.key[i].load(std::memory_order_relaxed) != key[i]) return false;
        }
        return true;
    }
    static std::uint32_t checksumOf(const Words& key, std::uint64_t content) {
        const std::uint64_t all[] = {key[0], key[1], key[2], key[3], key[4], content};
        return Storage::checksum(0, all, 6);
    }
    static void write(Slot& slot, const Words& key, std::uint64_t content) {
        const std::uint64_t version = slot.version.load(std::memory_order_relaxed);
        slot.version.store(version + 1, std::memory_order_relaxed);
        for (std::size_t i = 0; i < key.size(); ++i) {
            slot.key[i].store(key[i], std::memory_order_release);
        }
        slot.content.store(content, std::memory_order_release);
        slot.checksum.store(checksumOf(key, content), std::memory_order_release);
        slot.version.store(version + 2, std::memory_order_release);
    }
    static std::uint64_t read(const Slot& slot, Words& key) {
        for (;;) {
            const std::uint64_t version = slot.version.load(std::memory_order_acquire);
            if ((version & 1) != 0) continue;
            const std::uint64_t content = slot.content.load(std::memory_order_acquire);
            if ((content & 0xff) == empty) return content;
            for (std::size_t i = 0; i < key.size(); ++i) {
                key[i] = slot.key[i].load(std::memory_order_acquire);
            }
            const std::uint64_t sum = slot.checksum.load(std::memory_order_acquire);
            if (slot.version.load(std::memory_order_relaxed) != version) continue;
            expect(sum == checksumOf(key, content), "checksum");
            return content;
        }
    }

    std::uint64_t count_;
    std::uint64_t bytes_;
    Slot* slots_ = nullptr;
};

}  // namespace Bench

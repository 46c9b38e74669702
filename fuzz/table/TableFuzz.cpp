// Opens and reads a table file that somebody tampered with, as reader and as writer. Whatever is
// wrong with it must be an error that says so: never a crash, an endless loop or a read elsewhere.
//
// An input is a list of patches to a sound table, 8 bytes each: which page, which word of it, and
// what to exclusive-or it with. If the first byte is odd, all checksums are made right again
// afterwards, so that what lies behind them is reached; if its next bit is set, the input's second
// byte says after how many pages the file is cut off.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "Ondel/VlanIntfId.h"
#include "Rix/CorruptionError.h"
#include "Rix/RangeError.h"
#include "Routing/Gmp/Tessel/StatusColl.h"
#include "Routing/Gmp/Tessel/Storage/Checksum.h"
#include "Routing/Gmp/Tessel/Storage/Format.h"
#include "Routing/Gmp/Tessel/TableReader.h"
#include "TemporaryDirectory.h"

namespace {

namespace Tessel = Routing::Gmp::Tessel;
namespace Storage = Tessel::Storage;

using Words = std::vector<std::uint64_t>;
constexpr std::size_t wordsAPage = Storage::pageBytes / sizeof(std::uint64_t);

Tessel::RouteIntfKey keyOf(std::uint8_t number) {
    const auto ipv4 = Ondel::IpGenAddr::Family::ipv4;
    return {Ondel::VlanIntfId::vlanIdToIntfId(number),
            {ipv4, {10, 0, 0, number}},
            {ipv4, {239, 1, 1, number}}};
}

/// The directory of the fuzzed table, and its sound content.
class Base {
  public:
    static Base& instance() {
        static Base base;
        return base;
    }
    const std::filesystem::path& directory() const { return directory_.path(); }
    const Words& words() const { return words_; }
    /// The pages that hold anything: a patch of another one would change nothing.
    const std::vector<std::size_t>& usedPages() const { return usedPages_; }

    void store(const Words& words) const {
        std::FILE* const file = std::fopen(directory_.file("table").c_str(), "wb");
        std::fwrite(words.data(), sizeof(std::uint64_t), words.size(), file);
        std::fclose(file);
    }

  private:
    Base() {
        Tessel::StatusColl::open(directory(), {}, Tessel::TableOptions{64});
        load();
        // The same table in every run: its seeds are not random.
        for (std::size_t i = 0; i < 6; ++i)
            words_[3 + i] = i + 1;
        seal(words_);
        store(words_);
        fill();
        load();
        for (std::size_t page = 0; page < words_.size() / wordsAPage; ++page) {
            for (std::size_t i = 0; i < wordsAPage; ++i) {
                if (words_[page * wordsAPage + i] == 0) continue;
                usedPages_.push_back(page);
                break;
            }
        }
    }
    void fill() const {
        const auto coll = Tessel::StatusColl::open(directory());
        for (const char* vrf : {"red", "blue"}) {
            const Tessel::VrfApp key{L3::VrfName(vrf), Tessel::App::irb};
            coll->gmpStatusIs(key, Lumo::make<Tessel::Status>(key.name()));
            for (std::uint8_t i = 1; i < 100; ++i) {
                coll->gmpStatus(key)->membershipIs({keyOf(i), Tessel::FilterMode::include});
            }
        }
    }
    void load() {
        const auto path = directory_.file("table");
        words_.resize(std::filesystem::file_size(path) / sizeof(std::uint64_t));
        std::FILE* const file = std::fopen(path.c_str(), "rb");
        if (std::fread(words_.data(), sizeof(std::uint64_t), words_.size(), file) !=
            words_.size()) {
            std::abort();
        }
        std::fclose(file);
    }

  public:
    /// Makes the checksums of the header, the status entries and the directories right.
    static void seal(Words& words) {
        auto* const header = reinterpret_cast<Storage::Header*>(words.data());
        header->checksum = 0;
        header->checksum = Storage::checksum(~0u, words.data(), sizeof(Storage::Header) / 8);
        const Storage::Dimensions dimensions{header->logEntries};
        for (std::uint32_t i = 0; i < 2; ++i)
            sealStatuses(words, std::size_t{dimensions.statusPage()} + i);
    }

  private:
    static void sealStatuses(Words& words, std::size_t page) {
        if (page == 0 || page >= words.size() / wordsAPage) return;
        for (std::size_t i = 0; i < Storage::statusEntriesAPage; ++i) {
            std::uint64_t* const entry =
                &words[page * wordsAPage + i * sizeof(Storage::StatusEntry) / 8];
            entry[2] &= 0xffffffff;
            entry[2] |= std::uint64_t{Storage::checksum(~0u, entry + 1, 15)} << 32;
            sealDirectory(words, entry[16] & 0xffffffff);
        }
    }
    static void sealDirectory(Words& words, std::size_t page) {
        if (page == 0 || page >= words.size() / wordsAPage) return;
        std::uint64_t* const directory = &words[page * wordsAPage];
        const std::uint64_t nodeWords = directory[3] & 0xffffffff;
        if (nodeWords > words.size() - page * wordsAPage - 6) return;
        const std::uint32_t crc = Storage::checksum(~0u, directory, 4);
        directory[4] = Storage::paired(Storage::checksum(crc, directory + 6, nodeWords));
    }

    // One for the whole process, gone when it exits.
    const TemporaryDirectory directory_{"/dev/shm"};
    Words words_;
    std::vector<std::size_t> usedPages_;
};

void readTable(const std::filesystem::path& directory) {
    try {
        Tessel::TableReader reader(directory);
        for (Tessel::StatusReader& status : reader.statuses().readers) {
            for (const Tessel::Membership& membership : status) {
                static_cast<void>(status.membership(membership.key()));
            }
            static_cast<void>(status.membership(keyOf(7)));
        }
        static_cast<void>(reader.faults());
        static_cast<void>(reader.changes());
    } catch (const Rix::CorruptionError&) {
    } catch (const std::system_error&) {
    }
}

void writeTable(const std::filesystem::path& directory) {
    try {
        const auto coll = Tessel::StatusColl::open(directory);
        Tessel::TableReader follower(directory);
        for (const auto& [key, status] : *coll) {
            for (const Tessel::Membership& membership : *status) {
                status->membershipDel(membership.key());
                break;
            }
            for (std::uint8_t i = 0; i < 200; ++i) {
                status->membershipIs({keyOf(i), Tessel::FilterMode::exclude});
            }
            coll->gmpStatusDel(key);
        }
        static_cast<void>(follower.changes());
    } catch (const Rix::CorruptionError&) {
    } catch (const Rix::RangeError&) {
    } catch (const std::system_error&) {
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Base& base = Base::instance();
    if (size < 2) return 0;
    Words words = base.words();
    for (std::size_t at = 2; at + 8 <= size; at += 8) {
        const std::size_t page = base.usedPages()[data[at] % base.usedPages().size()];
        const std::size_t word =
            (std::size_t{data[at + 1]} | std::size_t{data[at + 2]} << 8) % wordsAPage;
        std::uint64_t change = 0;
        std::memcpy(&change, data + at + 3, 5);
        // The upper half of a word matters as much as the lower.
        words[page * wordsAPage + word] ^= (data[at + 2] & 0x80) != 0 ? change << 24 : change;
    }
    if ((data[0] & 1) != 0) Base::seal(words);
    if ((data[0] & 2) != 0) words.resize(std::min(words.size(), data[1] * wordsAPage + data[0]));
    base.store(words);
    readTable(base.directory());
    writeTable(base.directory());
    return 0;
}

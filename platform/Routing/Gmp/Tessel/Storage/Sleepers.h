#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>

#include "Routing/Gmp/Tessel/Storage/TableFile.h"

namespace Routing::Gmp::Tessel::Storage {

/// How readers in other processes sleep until the table changes, at no cost to a writer that nobody
/// waits for. It lives in the file `sleepers` beside the table, the only one that readers write:
/// one word that says "somebody sleeps". May be used from any thread.
///
/// A reader raises the word, lets every processor that runs a writer finish its stores (a memory
/// barrier that the reader imposes on the writer, so that the writer needs none), looks once more
/// whether the table changed, and sleeps on the table's count of changes. The writer looks at the
/// word after each change, takes it down and wakes all. A sleeper that is killed leaves the word
/// up: that costs the writer one call.
class Sleepers {
  public:
    /// The writer's end; makes the file.
    static Sleepers forWriter(const std::filesystem::path& directory);
    /// A reader's end.
    /// @throws std::system_error if the file is missing or may not be written
    static Sleepers forReader(const std::filesystem::path& directory);
    /// For a table without a name: readers are in this process.
    static Sleepers anonymous();

    /// Wakes everyone who sleeps on `changes`.
    void changed(Word& changes) {
        if (asleep().load(std::memory_order_relaxed) != 0) wake(changes);
    }
    /// Sleeps until `changes` is no longer `seen`, at most until `deadline` (forever if none), and
    /// perhaps less.
    void sleep(const Word& changes, std::uint64_t seen,
               std::optional<std::chrono::steady_clock::time_point> deadline);

  private:
    explicit Sleepers(TableFile file);

    Word& asleep() const { return *asleep_; }
    void wake(Word& changes);

    TableFile file_;
    Word* asleep_;
};

}  // namespace Routing::Gmp::Tessel::Storage

#include "Routing/Gmp/Tessel/Storage/Sleepers.h"

#include <linux/futex.h>
#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <bit>
#include <climits>
#include <ctime>
#include <utility>

namespace Routing::Gmp::Tessel::Storage {

namespace {

constexpr const char* fileName = "sleepers";

long membarrier(int command) {
    return syscall(SYS_membarrier, command, 0, 0);
}

/// The half of the word that changes with every change: what a futex can look at.
const std::uint32_t* lowHalf(const Word& word) {
    static_assert(std::endian::native == std::endian::little);
    return reinterpret_cast<const std::uint32_t*>(&word);
}

}  // namespace

Sleepers::Sleepers(TableFile file) : file_(std::move(file)), asleep_(&file_.at<Word>(0)) {}

Sleepers Sleepers::forWriter(const std::filesystem::path& directory) {
    const std::filesystem::path path = directory / fileName;
    static_cast<void>(membarrier(MEMBARRIER_CMD_REGISTER_GLOBAL_EXPEDITED));
    if (std::filesystem::exists(path)) {
        TableFile file = TableFile::open(path, TableFile::Access::write, TableFile::Size::fixed);
        if (file.pages() != 0) return Sleepers(std::move(file));
    }
    return Sleepers(TableFile::create(path, 1, TableFile::Size::fixed));
}

Sleepers Sleepers::forReader(const std::filesystem::path& directory) {
    const std::filesystem::path path = directory / fileName;
    TableFile file = TableFile::open(path, TableFile::Access::write, TableFile::Size::fixed);
    if (file.pages() == 0) raiseSystemError(EINVAL, path, "is empty");
    return Sleepers(std::move(file));
}

Sleepers Sleepers::anonymous() {
    static_cast<void>(membarrier(MEMBARRIER_CMD_REGISTER_GLOBAL_EXPEDITED));
    return Sleepers(TableFile::anonymous(1, TableFile::Size::fixed));
}

void Sleepers::wake(Word& changes) {
    asleep().store(0, std::memory_order_relaxed);
    syscall(SYS_futex, lowHalf(changes), FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}

void Sleepers::sleep(const Word& changes, std::uint64_t seen,
                     std::optional<std::chrono::steady_clock::time_point> deadline) {
    asleep().store(1, std::memory_order_seq_cst);
    if (membarrier(MEMBARRIER_CMD_GLOBAL_EXPEDITED) != 0) {
        static_cast<void>(membarrier(MEMBARRIER_CMD_GLOBAL));
    }
    if (changes.load(std::memory_order_seq_cst) != seen) return;
    timespec left{};
    if (deadline) {
        const auto rest = *deadline - std::chrono::steady_clock::now();
        if (rest <= std::chrono::nanoseconds::zero()) return;
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(rest);
        left.tv_sec = static_cast<time_t>(seconds.count());
        left.tv_nsec = static_cast<long>(
            std::chrono::duration_cast<std::chrono::nanoseconds>(rest - seconds).count());
    }
    // Whatever ends it, the caller looks again.
    syscall(SYS_futex, lowHalf(changes), FUTEX_WAIT, static_cast<std::uint32_t>(seen),
            deadline ? &left : nullptr, nullptr, 0);
}

}  // namespace Routing::Gmp::Tessel::Storage

#include "Routing/Gmp/Tessel/Storage/Sleepers.h"

#include <fcntl.h>
#include <linux/futex.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <climits>
#include <ctime>
#include <system_error>
#include <utility>

namespace Routing::Gmp::Tessel::Storage {

namespace {

constexpr const char* fileName = "sleepers";
constexpr mode_t everyone = S_IWGRP | S_IWOTH;

/// The half of the word that changes each time: what a futex can look at.
const std::uint32_t* lowHalf(const Word& word) {
    static_assert(std::endian::native == std::endian::little);
    return reinterpret_cast<const std::uint32_t*>(&word);
}

timespec timespecOf(std::chrono::nanoseconds duration) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration);
    return {static_cast<time_t>(seconds.count()), static_cast<long>((duration - seconds).count())};
}

}  // namespace

Deadline deadlineIn(std::optional<std::chrono::milliseconds> timeout) {
    const auto now = std::chrono::steady_clock::now();
    const auto farthest =
        std::chrono::floor<std::chrono::milliseconds>(Deadline::value_type::max() - now);
    if (!timeout || *timeout > farthest) return std::nullopt;
    return now + std::max(*timeout, std::chrono::milliseconds::zero());
}

// --- the file -----------------------------------------------------------------------------------

Sleepers::Sleepers(std::optional<TableFile> file)
    : file_(std::move(file)), asked_(file_ ? &file_->at<Word>(0) : nullptr) {}

Sleepers Sleepers::forWriter(const TableDirectory& directory) {
    const std::string path = directory.pathOf(fileName);
    Rix::FileDescriptor file = directory.find(fileName, O_RDWR, everyone);
    if (!file.isOpen()) file = directory.create(fileName);
    directory.modesAre(file, fileName, directory.access().mayWait, 0666);
    // Whatever those who may write it made of it.
    int error = ftruncate(file.number(), pageBytes) == 0 ? 0 : errno;
    if (error == 0) error = getMemory(file, 0, pageBytes);
    if (error != 0) raiseSystemError(error, path, "cannot get its memory");
    Sleepers sleepers(
        TableFile(std::move(file), path, TableFile::Access::write, TableFile::Size::onePage));
    // An older table may have counted further.
    sleepers.asked_->store(0, std::memory_order_relaxed);
    return sleepers;
}

Sleepers Sleepers::forReader(const TableDirectory& directory) {
    try {
        Rix::FileDescriptor file = directory.find(fileName, O_RDWR, everyone);
        if (!file.isOpen()) return Sleepers(std::nullopt);
        TableFile mapped(std::move(file), directory.pathOf(fileName), TableFile::Access::write,
                         TableFile::Size::onePage);
        if (mapped.pages() != 0) return Sleepers(std::move(mapped));
    } catch (const std::system_error&) {
        // Whoever may not ask looks by himself, more often.
    }
    return Sleepers(std::nullopt);
}

bool Sleepers::isIn(const TableDirectory& directory) const {
    if (!file_) return directory.presence(fileName, {}) != TableDirectory::Presence::other;
    return file_->isWhole() &&
           directory.presence(fileName, file_->id()) == TableDirectory::Presence::same;
}

Sleepers Sleepers::anonymous() {
    Sleepers sleepers(std::nullopt);
    sleepers.own_ = std::make_unique<Word>(0);
    sleepers.asked_ = sleepers.own_.get();
    return sleepers;
}

bool Sleepers::ask(std::uint64_t seen) {
    if (asked_ == nullptr || (file_ && !file_->isWhole())) return false;
    std::uint64_t asked = asked_->load(std::memory_order_seq_cst);
    // Somebody who takes the word down again and again is not fought with.
    for (int attempts = 0; asked < seen && attempts < 8; ++attempts)
        asked_->compare_exchange_strong(asked, seen, std::memory_order_seq_cst);
    return true;
}

// --- the writer ---------------------------------------------------------------------------------

bool WakeCalls::isTooSoon() {
    const auto now = std::chrono::steady_clock::now();
    if (now < next_) return true;
    next_ = now + pause;
    return false;
}

void WakeCalls::countWake() {
    control_.wakes.store(++wakes_, std::memory_order_seq_cst);
}

void wakeSleepers(const Control& control) {
    syscall(SYS_futex, lowHalf(control.wakes), FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
}

// --- a reader -----------------------------------------------------------------------------------

bool SleepSteps::sleepOn(std::uint64_t wakes, Waiter::Length length) {
    std::chrono::nanoseconds longest = briefSleep;
    if (length == Waiter::Length::full) longest = isHeard_ ? fullSleep : unheardSleep;
    if (deadline_) {
        longest = std::min(longest, *deadline_ - std::chrono::steady_clock::now());
        if (longest <= std::chrono::nanoseconds::zero()) return false;
    }
    const timespec left = timespecOf(longest);
    return syscall(SYS_futex, lowHalf(control_.wakes), FUTEX_WAIT,
                   static_cast<std::uint32_t>(wakes), &left, nullptr, 0) != 0 &&
           errno == ETIMEDOUT;
}

}  // namespace Routing::Gmp::Tessel::Storage

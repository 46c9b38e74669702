#include "Routing/Gmp/Tessel/Storage/FaultShield.h"

#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <mutex>

#include "Rix/Assert.h"
#include "Routing/Gmp/Tessel/Storage/Format.h"

namespace Routing::Gmp::Tessel::Storage {

/// What the handler knows about one file. Slots are used again but never freed: a handler may look
/// at any of them at any time, and waits for nobody.
struct FaultShield::Slot {
    struct Range {
        std::atomic<std::uintptr_t> begin{0};
        std::atomic<std::uintptr_t> end{0};
    };
    std::atomic<bool> isTaken{true};
    std::atomic<bool> isHit{false};
    std::array<Range, mostMappings> ranges;
    Slot* next = nullptr;

    bool holds(std::uintptr_t address) const {
        for (const Range& range : ranges) {
            const std::uintptr_t begin = range.begin.load(std::memory_order_acquire);
            if (begin != 0 && address >= begin && address < range.end.load()) return true;
        }
        return false;
    }
};

namespace {

using Slot = FaultShield::Slot;

std::atomic<Slot*> firstSlot{nullptr};
struct sigaction formerAction;

/// What would have happened without us.
void passOn(int signal, siginfo_t* info, void* context) {
    if ((formerAction.sa_flags & SA_SIGINFO) != 0) {
        formerAction.sa_sigaction(signal, info, context);
    } else if (formerAction.sa_handler != SIG_DFL && formerAction.sa_handler != SIG_IGN) {
        formerAction.sa_handler(signal);
    } else {
        // The access is tried again, and ends the process.
        struct sigaction standard {};
        standard.sa_handler = SIG_DFL;
        sigaction(signal, &standard, nullptr);
    }
}

void onFault(int signal, siginfo_t* info, void* context) {
    const int error = errno;
    const auto address = reinterpret_cast<std::uintptr_t>(info->si_addr);
    for (Slot* slot = firstSlot.load(std::memory_order_acquire); slot != nullptr;
         slot = slot->next) {
        // A signal that a process sent has no address.
        if (info->si_code <= 0 || !slot->holds(address)) continue;
        void* const page = static_cast<std::byte*>(info->si_addr) - address % pageBytes;
        if (mmap(page, pageBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED,
                 -1, 0) == MAP_FAILED) {
            break;
        }
        slot->isHit.store(true, std::memory_order_release);
        errno = error;
        return;
    }
    passOn(signal, info, context);
}

void installHandler() {
    static std::once_flag once;
    std::call_once(once, [] {
        struct sigaction action {};
        action.sa_sigaction = onFault;
        action.sa_flags = SA_SIGINFO | SA_ONSTACK;
        sigemptyset(&action.sa_mask);
        sigaction(SIGBUS, nullptr, &formerAction);
        sigaction(SIGBUS, &action, nullptr);
    });
}

Slot* takeSlot() {
    for (Slot* slot = firstSlot.load(); slot != nullptr; slot = slot->next) {
        bool isTaken = false;
        if (slot->isTaken.compare_exchange_strong(isTaken, true)) return slot;
    }
    Slot* const slot = new Slot;
    slot->next = firstSlot.load();
    while (!firstSlot.compare_exchange_weak(slot->next, slot)) {
    }
    return slot;
}

}  // namespace

FaultShield::FaultShield() : slot_(takeSlot()) {
    installHandler();
    slot_->isHit.store(false);
}

FaultShield::~FaultShield() {
    for (Slot::Range& range : slot_->ranges)
        range.begin.store(0);
    slot_->isTaken.store(false);
}

void FaultShield::cover(const void* begin, std::size_t bytes) {
    const auto address = reinterpret_cast<std::uintptr_t>(begin);
    for (Slot::Range& range : slot_->ranges) {
        if (range.begin.load() != 0) continue;
        range.end.store(address + bytes);
        range.begin.store(address, std::memory_order_release);
        return;
    }
    RIX_ASSERT(false);
}

const std::atomic<bool>& FaultShield::isHit() const {
    return slot_->isHit;
}

void FaultShield::hit() {
    slot_->isHit.store(true, std::memory_order_release);
}

}  // namespace Routing::Gmp::Tessel::Storage

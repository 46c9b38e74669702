#include "Routing/Gmp/Tessel/Storage/ProcessMark.h"

#include <sys/mman.h>

#include <cerrno>
#include <new>
#include <system_error>

#include "Routing/Gmp/Tessel/Storage/Format.h"

namespace Routing::Gmp::Tessel::Storage {

ProcessMark::Page* ProcessMark::thePage() {
    static Page* const page = [] {
        void* const memory =
            mmap(nullptr, pageBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED || madvise(memory, pageBytes, MADV_WIPEONFORK) != 0) {
            throw std::system_error(errno, std::generic_category(),
                                    "a process cannot be told from those that it forks");
        }
        return new (memory) Page(0);
    }();
    return page;
}

ProcessMark::ProcessMark() : page_(thePage()), value_(page_->load()) {
    // A process inherits how many marks were made before it, and so never makes one of them again.
    static std::atomic<std::uint64_t> marks{0};
    if (value_ != 0) return;
    const std::uint64_t fresh = ++marks;
    if (thePage()->compare_exchange_strong(value_, fresh)) value_ = fresh;
}

}  // namespace Routing::Gmp::Tessel::Storage

#include "Rix/Assert.h"

#include <cstdio>
#include <cstdlib>

namespace Rix {

void assertionFailed(const char* text, const char* file, int line) noexcept {
    std::fprintf(stderr, "assertion failed: %s, %s:%d\n", text, file, line);
    std::fflush(stderr);
    std::abort();
}

}  // namespace Rix

#include "FailingMemory.h"

#include <cstdlib>
#include <new>

FailingMemory memory;

bool FailingMemory::fails() {
    if (isCounted && before) {
        isCounted = false;
        before();
        isCounted = true;
    }
    if (!isCounted || left == 0) return false;
    if (left > 1) {
        --left;
        return false;
    }
    if (!staysOut) left = 0;
    ranOut = true;
    return true;
}

void* operator new(std::size_t bytes) {
    if (memory.fails()) throw std::bad_alloc();
    if (void* piece = std::malloc(bytes == 0 ? 1 : bytes)) {
        ++memory.pieces;
        return piece;
    }
    throw std::bad_alloc();
}

void operator delete(void* piece) noexcept {
    if (piece != nullptr) --memory.pieces;
    std::free(piece);
}

void operator delete(void* piece, std::size_t) noexcept {
    operator delete(piece);
}

#pragma once

#include <unistd.h>

/// What counts what runs, in a build that does.
extern "C" [[gnu::weak]] int __llvm_profile_write_file();

/// Ends a process that a test forked: nothing that the test holds is destroyed or flushed twice,
/// and what ran in it counts.
[[noreturn]] inline void endProcess(int status) {
    if (__llvm_profile_write_file != nullptr) __llvm_profile_write_file();
    _exit(status);
}

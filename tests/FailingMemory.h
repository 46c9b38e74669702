// Memory that runs out where a test says. A program that links FailingMemory.cpp has operators new
// and delete of its own.
#pragma once

#include <cstdint>
#include <functional>

/// What the program's allocations do, and how many pieces of memory are in use. One thread.
struct FailingMemory {
    /// Whether allocations are counted, and may fail.
    bool isCounted = false;
    /// How many are asked for until one fails; 0 for none that does.
    std::uint64_t left = 0;
    /// Whether all the others fail, too, once one did.
    bool staysOut = false;
    bool ranOut = false;
    std::int64_t pieces = 0;
    /// What happens right before each allocation that is counted. Those that it makes itself are
    /// not.
    std::function<void()> before;

    /// Whether the allocation that is asked for now fails.
    bool fails();
};

extern FailingMemory memory;

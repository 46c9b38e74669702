// Calls of the operating system that fail where a test says, and moments between them. A program
// that links FailingCalls.cpp has functions of its own in the place of those of the C library.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

/// What the calls of the operating system do. Each thread has its own.
struct FailingCalls {
    FailingCalls() { isUsed = true; }

    /// Whether any thread has such calls. Before that, much of what they are made with may not be
    /// there: a sanitizer makes calls before everything else.
    static bool isUsed;

    /// Whether calls are counted, and may fail.
    bool isCounted = false;
    /// How many are made until one fails; 0 for none that does.
    std::uint64_t left = 0;
    /// How many of the same name fail then, that one included.
    std::uint64_t times = 1;
    /// How it fails; 0 for as it is likeliest to.
    int error = 0;
    /// The only one that is counted; empty for all.
    std::string only;
    /// The one that failed; empty if none did.
    std::string failed;
    /// What happens right before and right after each call that is counted. The calls that it makes
    /// itself are not.
    std::function<void(std::string_view call)> before;
    std::function<void(std::string_view call)> after;

    static constexpr std::uint64_t always = ~std::uint64_t{0};

    /// Whether the call that is made now fails; sets errno then.
    bool fails(std::string_view call, int likeliest);
    /// It did not fail and was made.
    void made(std::string_view call);
};

extern thread_local FailingCalls calls;

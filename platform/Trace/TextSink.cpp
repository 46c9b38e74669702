#include "Trace/TextSink.h"

#include <array>
#include <cstdio>
#include <ctime>
#include <memory>
#include <mutex>
#include <utility>

#include "Trace/Clock.h"
#include "Trace/StandardError.h"

namespace Trace {

namespace {

class CurrentSink {
  public:
    static CurrentSink& instance() {
        // Never destroyed: static destructors may still trace.
        static CurrentSink& sink = *new CurrentSink;
        return sink;
    }

    void sinkIs(TextSink sink) {
        auto kept = sink ? std::make_shared<const TextSink>(std::move(sink)) : nullptr;
        const std::lock_guard lock(mutex_);
        sink_.swap(kept);
    }

    /// A reference of the caller's own, so that the sink is called without the lock.
    std::shared_ptr<const TextSink> sink() {
        const std::lock_guard lock(mutex_);
        return sink_;
    }

  private:
    std::mutex mutex_;
    std::shared_ptr<const TextSink> sink_;
};

std::string timeText(std::int64_t timeNs) {
    constexpr std::int64_t second = 1'000'000'000;
    const auto seconds = static_cast<std::time_t>(timeNs / second);
    const auto micros = static_cast<int>(timeNs % second / 1000);
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    std::array<char, 32> date{};
    std::strftime(date.data(), date.size(), "%Y-%m-%dT%H:%M:%S", &utc);
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%s.%06dZ", date.data(), micros);
    return text.data();
}

}  // namespace

void textSinkIs(TextSink sink) {
    CurrentSink::instance().sinkIs(std::move(sink));
}

std::string textLine(const TextRecord& record) {
    std::string line = timeText(record.timeNs);
    line += ' ';
    line += record.handle.name();
    line += '/';
    line += std::to_string(record.level);
    line += ' ';
    line += record.function;
    line += " | ";
    line += record.text;
    return line;
}

void writeText(const Handle& handle, unsigned level, std::string_view function,
               std::string_view text) {
    const TextRecord record{handle, level, function, text, wallClockNs()};
    if (const auto sink = CurrentSink::instance().sink()) {
        (*sink)(record);
    } else {
        writeLine(textLine(record));
    }
}

}  // namespace Trace

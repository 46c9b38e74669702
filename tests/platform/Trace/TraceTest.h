// What the trace tests share.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "TemporaryDirectory.h"
#include "Trace/RingFile.h"
#include "Trace/RingReader.h"
#include "Trace/Trace.h"

/// Collects what reaches the text sink, from the test's thread, until it goes.
class CollectedTexts {
  public:
    struct Text {
        std::string handle;
        unsigned level;
        std::string function;
        std::string text;
        friend bool operator==(const Text&, const Text&) = default;
    };

    CollectedTexts() {
        Trace::textSinkIs([this](const Trace::TextRecord& record) {
            texts.push_back({std::string(record.handle.name()), record.level,
                             std::string(record.function), std::string(record.text)});
        });
    }
    CollectedTexts(const CollectedTexts&) = delete;
    CollectedTexts& operator=(const CollectedTexts&) = delete;
    ~CollectedTexts() { Trace::textSinkIs({}); }

    std::vector<Text> texts;
};

/// A handle of the running test's own.
inline Trace::Handle& testHandle() {
    const testing::TestInfo& test = *testing::UnitTest::GetInstance()->current_test_info();
    return Trace::Handle::get(std::string(test.test_suite_name()) + "." + test.name());
}

/// The records in `reader` of the running test's handle, oldest first.
inline std::vector<Trace::RingRecord> testRecords(const Trace::RingReader& reader) {
    std::vector<Trace::RingRecord> records;
    for (std::size_t i = 0; i < reader.size(); ++i) {
        Trace::RingRecord record = reader.record(i);
        if (record.handle == testHandle().name()) records.push_back(std::move(record));
    }
    return records;
}

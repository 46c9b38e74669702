// An object that changes and one who listens, for the tests of the runtime.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "Lumo/Object.h"
#include "Lumo/Observable.h"
#include "Lumo/publish.h"
#include "Rix/publishedEntries.h"

/// An input as agents publish it: a map of numbers and one plain number.
class Sample final : public Lumo::Object<Sample, Lumo::Observable> {
  public:
    static constexpr Lumo::FieldId entriesField{0};
    static constexpr Lumo::FieldId valueField{1};

    static const Lumo::TypeData& type() {
        static const Lumo::TypeData data("Test::Sample");
        return data;
    }
    static std::uint64_t live() { return type().allocations().live; }

    const auto& entries() const { return entries_; }
    void entryIs(int key, int value) {
        Rix::publishedValueIs(*this, entriesField, entries_, key, value);
    }
    void entryDel(int key) { Rix::publishedValueDel(*this, entriesField, entries_, key); }
    void valueIs(int value) {
        const int previous = std::exchange(value_, value);
        Lumo::publishValue(*this, valueField, previous);
    }

  private:
    Rix::ValueMap<int, int> entries_;
    int value_ = 0;
};

/// What the listeners of a test heard, in order: "a:1" for the change of entry 1 that a heard.
using Heard = std::vector<std::string>;

/// One who listens to a sample under a name, writes down each key that changes, and then does what
/// the test wants done.
class Listener final : Lumo::Subscriber {
  public:
    using Reaction = std::function<void(const Lumo::Notification&)>;

    Listener(std::string name, Heard& heard, Reaction reaction = {})
        : name_(std::move(name)), heard_(heard), reaction_(std::move(reaction)) {}
    /// One who listens from the start.
    Listener(std::string name, Heard& heard, Sample& sample, Reaction reaction = {})
        : Listener(std::move(name), heard, std::move(reaction)) {
        listenTo(sample);
    }
    ~Listener() override { stop(); }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    void listenTo(Sample& sample) {
        publisher_ = sample.publisher();
        publisher_->subscriberIs(*this);
    }
    void stop() {
        if (publisher_) std::exchange(publisher_, nullptr)->subscriberDel(*this);
    }
    bool isListening() const { return publisher_ != nullptr; }

  private:
    void onNotification(const Lumo::Notification& change) override {
        heard_.push_back(name_ + ":" + std::to_string(change.key ? change.keyAs<int>() : -1));
        if (reaction_) reaction_(change);
    }

    const std::string name_;
    Heard& heard_;
    const Reaction reaction_;
    Lumo::Publisher* publisher_ = nullptr;
};

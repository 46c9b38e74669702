// Replays a recording that may hold anything, as `irbmc replay` does. Whatever is wrong with it
// must be a message that says so, on one line of printable text; whatever is right must be reported
// by lines that are JSON again.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "Replay/Engine.h"
#include "Replay/EventReader.h"
#include "Replay/FormatError.h"
#include "Replay/JsonReport.h"
#include "Replay/JsonValue.h"
#include "Replay/LineReader.h"
#include "Replay/TextReport.h"
#include "Replay/Wording.h"

namespace {

namespace Replay = Irbmc::Replay;

[[noreturn]] void fail(const char* what, std::string_view text) {
    std::fprintf(stderr, "%s:\n%.*s\n", what, static_cast<int>(text.size()), text.data());
    std::abort();
}

/// A file in memory with the input as its content, read from its beginning.
class Recording {
  public:
    Recording(const std::uint8_t* data, std::size_t size)
        : descriptor_(memfd_create("recording", MFD_CLOEXEC)) {
        if (descriptor_ < 0) fail("memfd_create", "failed");
        if (pwrite(descriptor_, data, size, 0) != static_cast<ssize_t>(size))
            fail("pwrite", "failed");
    }
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;
    ~Recording() { close(descriptor_); }

    int descriptor() const { return descriptor_; }

  private:
    int descriptor_;
};

/// Takes a report and looks at its lines.
class Reader : public Replay::Sink {
  public:
    explicit Reader(void (*check)(std::string_view line)) : check_(check) {}

    void write(std::string_view bytes) override {
        text_ += bytes;
        std::size_t begin = 0;
        for (auto end = text_.find('\n'); end != std::string::npos; end = text_.find('\n', begin)) {
            check_(std::string_view(text_).substr(begin, end - begin));
            begin = end + 1;
        }
        text_.erase(0, begin);
    }

  private:
    void (*check_)(std::string_view line);
    std::string text_;
};

void checkJson(std::string_view line) {
    try {
        if (Replay::JsonValue::parse(line).as<Replay::JsonValue::Object>() == nullptr)
            fail("reported, and no object", line);
    } catch (const Replay::FormatError& error) {
        fail(error.what(), line);
    }
}

/// A terminal must not be driven by what a recording names, neither by control characters nor by
/// the second set of them, which is two bytes each in UTF-8.
void checkPrintable(std::string_view line) {
    unsigned char previous = 0;
    for (const char character : line) {
        const auto byte = static_cast<unsigned char>(character);
        const bool isControl = byte < ' ' || byte == 0x7f;
        const bool isSecondSet = previous == 0xc2 && byte >= 0x80 && byte <= 0x9f;
        if (isControl || isSecondSet) fail("reported, and not printable", line);
        previous = byte;
    }
}

/// Feeds the recording to an engine over a table of its own.
void replay(Replay::LineReader& lines, Replay::Engine& engine, Replay::Report& json,
            Replay::Report& text) {
    Replay::Totals totals;
    try {
        while (const auto line = lines.next()) {
            if (Replay::isSkipped(line->text)) continue;
            const Replay::Event event = Replay::readEvent(line->text);
            const Replay::Outcome outcome = engine.apply(event);
            ++totals.events;
            json.event(totals.events, line->number, event, outcome);
            text.event(totals.events, line->number, event, outcome);
        }
    } catch (const Replay::FormatError& error) {
        checkPrintable(Replay::printable(error.what()));
    }
    json.finish(engine.table(), totals);
    text.finish(engine.table(), totals);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Recording recording(data, size);
    Replay::LineReader lines(recording.descriptor());
    Replay::Engine engine({IRBMC_MACHINE_LIBRARY, {}, {Trace::Levels::all(), {}}});
    Reader jsonLines(checkJson);
    Reader textLines(checkPrintable);
    Replay::JsonReport json(jsonLines, false);
    Replay::TextReport text(textLines, {});
    replay(lines, engine, json, text);
    return 0;
}

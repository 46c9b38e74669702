// A writer that is stopped at each instruction of an operation in turn: what a kill there would
// leave is given to a reader and to the next writer. Some are killed in earnest.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/ptrace.h>

#include <cstring>
#include <fstream>
#include <optional>

#include "Operation.h"
#include "Rix/FileDescriptor.h"
#include "Run.h"
#include "platform/Tessel/Process.h"

namespace Tessel::Attack {

namespace {

using Image = std::vector<char>;

constexpr std::uint32_t series = 1500;
constexpr std::size_t pageBytes = 4096;

/// The file of a table, looked at from outside while its writer stands still.
class Watched {
  public:
    explicit Watched(const std::filesystem::path& directory) : path_(directory / "table") { map(); }
    Watched(const Watched&) = delete;
    Watched& operator=(const Watched&) = delete;
    ~Watched() { munmap(bytes_, size_); }

    Image image() {
        follow();
        return {bytes_, bytes_ + size_};
    }
    bool differsFrom(const Image& image) {
        follow();
        return size_ != image.size() || std::memcmp(bytes_, image.data(), size_) != 0;
    }

  private:
    /// The file may have grown.
    void follow() {
        if (std::filesystem::file_size(path_) == size_) return;
        munmap(bytes_, size_);
        map();
    }
    void map() {
        size_ = std::filesystem::file_size(path_);
        const Rix::FileDescriptor file(open(path_.c_str(), O_RDONLY | O_CLOEXEC));
        void* const memory = mmap(nullptr, size_, PROT_READ, MAP_SHARED, file.number(), 0);
        if (memory == MAP_FAILED) throw std::runtime_error("cannot map the table");
        bytes_ = static_cast<char*>(memory);
    }

    std::filesystem::path path_;
    std::size_t size_ = 0;
    char* bytes_ = nullptr;
};

/// Makes a directory that holds a table of that image, and nothing else.
void put(const Image& image, const std::filesystem::path& directory) {
    std::filesystem::remove_all(directory);
    std::filesystem::create_directory(directory);
    std::filesystem::permissions(directory, std::filesystem::perms::owner_all);
    std::ofstream file(directory / "table", std::ios::binary);
    file.write(image.data(), static_cast<std::streamsize>(image.size()));
    if (!file.flush()) throw std::runtime_error("cannot write a table");
    std::filesystem::permissions(directory / "table", std::filesystem::perms::owner_read |
                                                          std::filesystem::perms::owner_write);
}

std::size_t pagesThatDiffer(const Image& one, const Image& other) {
    std::size_t pages = other.size() > one.size() ? (other.size() - one.size()) / pageBytes : 0;
    for (std::size_t at = 0; at + pageBytes <= std::min(one.size(), other.size()); at += pageBytes)
        pages += std::memcmp(&one[at], &other[at], pageBytes) != 0 ? 1 : 0;
    return pages;
}

/// A writer that opens a table, waits, and does one operation, one instruction at a time.
class SteppedWriter {
  public:
    SteppedWriter(const std::filesystem::path& directory, const Operation& operation)
        : process_([&] {
              const auto coll = Test::StatusColl::open(directory);
              ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
              raise(SIGSTOP);
              operation.applyTo(*coll);
              raise(SIGSTOP);
          }) {
        if (stopSignal() != SIGSTOP) throw std::runtime_error("the stepped writer did not start");
    }

    /// False when the operation is finished.
    bool step() {
        if (ptrace(PTRACE_SINGLESTEP, process_.pid(), nullptr, nullptr) != 0) {
            throw std::runtime_error("cannot step a process");
        }
        const int signal = stopSignal();
        promise(signal == SIGTRAP || signal == SIGSTOP,
                "the writer met signal " + std::to_string(signal));
        return signal == SIGTRAP;
    }
    void kill() { process_.kill(); }

  private:
    int stopSignal() const {
        int status = 0;
        waitpid(process_.pid(), &status, 0);
        return WIFSTOPPED(status) ? WSTOPSIG(status) : -1;
    }

    Test::Process process_;
};

/// What is in a table that was left behind, by a reader and by the next writer, who goes on.
Content contentLeftIn(const std::filesystem::path& directory) {
    const Test::TableReader reader(directory);
    Content read = contentOf(reader);
    const auto faults = reader.faults();
    promise(faults.empty(), faults.empty() ? "" : "check cries: " + faults.front());

    const auto coll = Test::StatusColl::open(directory);
    coll->corruptionHandlerIs([](std::string_view message) {
        throw BrokenPromise("the next writer cries: " + std::string(message));
    });
    promise(contentOf(*coll) == read, "a reader and the next writer find different things");
    Content after = read;
    for (const Operation& one :
         {Operation{Operation::Kind::addStatus, "after", 0, {}},
          Operation{Operation::Kind::put, "after", 1, FilterMode::include}}) {
        one.applyTo(*coll);
        one.applyTo(after);
    }
    // The reader from before may be left with another file: a table whose writer cannot be known to
    // be dead is copied by the next one.
    promise(contentOf(Test::TableReader(directory)) == after, "the next writer cannot go on");
    return read;
}

/// An operation, and the table and its content before it.
struct Moment {
    Operation operation;
    Image image;
    Content before;
    Content after;
};

class Attacker {
  public:
    explicit Attacker(Run& run)
        : run_(run), work_(run.directory() / "work"), left_(run.directory() / "left") {}

    /// Steps through the operation, and looks at each state of the table that it goes through.
    void stepThrough(const Moment& moment) {
        put(moment.image, work_);
        SteppedWriter writer(work_, moment.operation);
        Watched watched(work_);
        Image last = watched.image();
        bool isDone = false;
        std::uint64_t steps = 0;
        for (; writer.step(); ++steps) {
            if (!watched.differsFrom(last)) continue;
            last = watched.image();
            put(last, left_);
            isDone = look(left_, moment, isDone, steps);
            ++run_.figure("states of the table");
        }
        put(last, left_);
        promise(look(left_, moment, isDone, steps) || moment.before == moment.after,
                moment.operation.text() + ": finished, and not there");
        run_.figure("instructions") += steps;
        ++run_.figure("operations");
        if (steps != 0) killAt(moment, run_.random().below(static_cast<std::uint32_t>(steps)));
    }

  private:
    /// The same operation again, killed at one of its instructions.
    void killAt(const Moment& moment, std::uint32_t step) {
        put(moment.image, work_);
        SteppedWriter writer(work_, moment.operation);
        for (std::uint32_t i = 0; i < step && writer.step(); ++i)
            continue;
        writer.kill();
        look(work_, moment, false, step);
        ++run_.figure("kills");
    }

    /// Whether the operation is done in a table that was left behind.
    bool look(const std::filesystem::path& directory, const Moment& moment, bool wasDone,
              std::uint64_t step) const {
        const std::string where =
            moment.operation.text() + ", killed at instruction " + std::to_string(step) + ": ";
        std::optional<Content> content;
        try {
            content = contentLeftIn(directory);
        } catch (const std::exception& error) {
            throw BrokenPromise(where + error.what());
        }
        const bool isDone = *content == moment.after;
        promise(isDone || (*content == moment.before && !wasDone),
                where + "the operation is neither done nor undone");
        return isDone && moment.before != moment.after;
    }

    Run& run_;
    std::filesystem::path work_;
    std::filesystem::path left_;
};

/// What kind of operation that was: its own, and whether it rebuilt anything.
std::string classOf(const Moment& moment, std::size_t pagesChanged) {
    static constexpr const char* names[] = {"put", "remove", "add status", "remove status"};
    std::string name = names[static_cast<int>(moment.operation.kind)];
    if (moment.before == moment.after) name += " without effect";
    if (pagesChanged > 4) name += " that rebuilds";
    return name;
}

void run(Run& run) {
    const std::filesystem::path directory = run.directory() / "table";
    // Short, since the whole file is compared behind each instruction.
    const auto coll = Test::StatusColl::open(directory, {}, {.logEntries = 1024});
    Attacker attacker(run);
    Content content;
    std::map<std::string, std::uint64_t> attacked;
    Watched watched(directory);
    while (!run.isOver()) {
        Moment moment{Operation::random(run.random(), series), watched.image(), content, content};
        moment.operation.applyTo(*coll);
        moment.operation.applyTo(moment.after);
        content = moment.after;
        // What is rare gets as much attention as what is not.
        std::uint64_t& times =
            attacked[classOf(moment, pagesThatDiffer(moment.image, watched.image()))];
        const bool isRarest = std::all_of(attacked.begin(), attacked.end(), [&](const auto& other) {
            return other.second + 3 > times;
        });
        if (!isRarest && run.random().below(2000) != 0) continue;
        attacker.stepThrough(moment);
        ++times;
    }
    for (const auto& [name, times] : attacked)
        run.figure("stepped through: " + name) = times;
}

}  // namespace

const Attack singleSteps{"single-steps",
                         "AWriterThatIsKilledAtAnyInstructionLeavesItsOperationDoneOrNot", run};

}  // namespace Tessel::Attack

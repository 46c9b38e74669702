// The protocol by which readers sleep and the writer wakes them, in every order in which its steps
// can be taken: those of a writer whose stores become visible late and of two readers, each of them
// delayed anywhere for as long as it takes, and killed anywhere.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <unordered_set>
#include <vector>

#include "Routing/Gmp/Tessel/Storage/WakeProtocol.h"

namespace Tessel::Test {

namespace {

using Routing::Gmp::Tessel::Storage::Waiter;
using Routing::Gmp::Tessel::Storage::Waker;

constexpr std::size_t readers = 2;

enum class Variable : std::uint8_t { asked, changes, wakes };

/// One step of a process.
struct Step {
    enum class Kind : std::uint8_t {
        load,
        store,
        raise,
        barrier,
        clock,
        wakeAll,
        sleep,
        endlessSleep
    };
    Kind kind;
    Variable variable = Variable::asked;
    std::uint8_t value = 0;
    Waiter::Length length = Waiter::Length::brief;
};

/// What a process's steps answered so far: it is where the process is.
using History = std::vector<std::uint8_t>;

/// A process runs from its beginning over the answers that it had, up to its next step.
class Run {
  public:
    explicit Run(const History& history) : history_(history) {}

    std::uint8_t answer(const Step& step) {
        if (next_ == history_.size()) throw step;
        return history_[next_++];
    }

  private:
    const History& history_;
    std::size_t next_ = 0;
};

/// The steps of the protocol, as its two halves name them.
class WriterSteps {
  public:
    WriterSteps(Run& run, std::uint8_t wakes) : run_(run), wakes_(wakes) {}

    std::uint64_t asked() { return run_.answer({Step::Kind::load, Variable::asked}); }
    void askedIs(std::uint8_t value) { run_.answer({Step::Kind::store, Variable::asked, value}); }
    void changesIs(std::uint8_t value) {
        run_.answer({Step::Kind::store, Variable::changes, value});
    }
    bool isTooSoon() { return run_.answer({Step::Kind::clock}) != 0; }
    void countWake() { run_.answer({Step::Kind::store, Variable::wakes, ++wakes_}); }
    void wakeAll() { run_.answer({Step::Kind::wakeAll}); }

  private:
    Run& run_;
    std::uint8_t wakes_;
};

class ReaderSteps {
  public:
    explicit ReaderSteps(Run& run) : run_(run) {}

    std::uint64_t wakes() { return run_.answer({Step::Kind::load, Variable::wakes}); }
    std::uint64_t changes() { return run_.answer({Step::Kind::load, Variable::changes}); }
    void ask(std::uint64_t seen) {
        run_.answer({Step::Kind::raise, Variable::asked, static_cast<std::uint8_t>(seen)});
    }
    void barrier() { run_.answer({Step::Kind::barrier}); }
    bool sleepOn(std::uint64_t wakes, Waiter::Length length) {
        return run_.answer({Step::Kind::sleep, Variable::wakes, static_cast<std::uint8_t>(wakes),
                            length}) != 0;
    }
    void sleepOnChanges(std::uint64_t seen) {
        run_.answer({Step::Kind::endlessSleep, Variable::changes, static_cast<std::uint8_t>(seen)});
    }

  private:
    Run& run_;
};

/// What this repository runs.
struct Protocol {
    using Writer = Waker;
    using Reader = Waiter;
};

/// A word that says "somebody sleeps", which the writer takes down, and a barrier that readers
/// impose on the writer. A reader that went to sleep in between is erased.
struct ErasingProtocol {
    struct Writer {
        void changed(WriterSteps& steps, std::uint64_t) {
            if (steps.asked() == 0) return;
            steps.askedIs(0);
            steps.wakeAll();
        }
    };
    struct Reader {
        explicit Reader(std::uint64_t seen) : seen_(seen) {}
        void sleep(ReaderSteps& steps) {
            steps.ask(1);
            steps.barrier();
            if (steps.changes() == seen_) steps.sleepOnChanges(seen_);
        }
        std::uint64_t seen_;
    };
};

/// The same protocol without the brief sleep: a look that overtakes its change is never made good.
struct HastyProtocol {
    using Writer = Waker;
    struct Reader {
        explicit Reader(std::uint64_t seen) : seen_(seen) {}
        void sleep(ReaderSteps& steps) {
            const std::uint64_t wakes = steps.wakes();
            steps.ask(seen_);
            if (steps.changes() == seen_) steps.sleepOn(wakes, Waiter::Length::full);
        }
        std::uint64_t seen_;
    };
};

struct WriterState {
    std::uint8_t first = 0;  ///< how many changes there were when it started
    std::uint8_t last = 0;   ///< how many there are when it is done
    std::uint8_t wakes = 0;  ///< how many wakes were counted when it started
    bool isSuccessor = false;
    bool isDone = false;
    History history;
};

struct ReaderState {
    enum class Place : std::uint8_t { awake, asleep, done };
    std::uint8_t seen = 0;
    Place place = Place::awake;
    Step sleep{};
    /// A brief sleep outlasts, in its first half, the writer's pause after a wake that lay before
    /// it, and in its second half each store that was made before that half.
    bool isInSecondHalf = false;
    bool isPauseOlder = false;
    std::uint8_t olderStores = 0;
    History history;

    std::string key() const {
        std::string key{static_cast<char>(seen),           static_cast<char>(place),
                        static_cast<char>(isInSecondHalf), static_cast<char>(isPauseOlder),
                        static_cast<char>(olderStores),    static_cast<char>(history.size())};
        return key.append(history.begin(), history.end());
    }
};

struct World {
    std::array<std::uint8_t, 3> memory{};
    std::vector<std::pair<Variable, std::uint8_t>> buffer;  ///< the writer's stores under way
    bool isPause = false;                                   ///< the writer woke just now
    bool isReaderKilled = false;
    WriterState writer;
    std::array<ReaderState, readers> reader;

    std::uint8_t& at(Variable variable) { return memory[static_cast<std::size_t>(variable)]; }
    std::string key() const;
};

std::string World::key() const {
    std::string key(memory.begin(), memory.end());
    const auto add = [&key](auto value) { key += static_cast<char>(value); };
    const auto addHistory = [&](const History& history) {
        add(history.size());
        key.append(history.begin(), history.end());
    };
    add(buffer.size());
    for (const auto& [variable, value] : buffer) {
        add(variable);
        add(value);
    }
    add(isPause);
    add(isReaderKilled);
    add(writer.first);
    add(writer.last);
    add(writer.wakes);
    add(writer.isSuccessor);
    add(writer.isDone);
    addHistory(writer.history);
    std::array<std::string, readers> parts;
    for (std::size_t i = 0; i < readers; ++i)
        parts[i] = reader[i].key();
    // Which reader is which makes no difference.
    std::sort(parts.begin(), parts.end());
    for (const std::string& part : parts)
        key += part;
    return key;
}

/// All orders, of all steps.
template <class Tried>
class Exploration {
  public:
    /// @param changes how many the writer makes
    /// @param mayKill whether processes are killed, too; who takes over from the writer makes one
    ///                change more
    Exploration(std::uint8_t changes, bool mayKill) : mayKill_(mayKill) {
        World start;
        start.writer.last = changes;
        meet(start);
        while (!open_.empty() && lost_ == 0) {
            const World world = std::move(open_.back());
            open_.pop_back();
            writerMoves(world);
            for (std::size_t i = 0; i < readers; ++i)
                readerMoves(world, i);
            timePasses(world);
        }
    }

    std::size_t states() const { return seen_.size(); }
    /// States in which a reader sleeps for long, there is a change that it does not know, and
    /// nobody is left to wake it.
    std::size_t lost() const { return lost_; }

  private:
    void meet(const World& world) {
        if (!seen_.insert(world.key()).second) return;
        bool isOver = world.writer.isDone && world.buffer.empty();
        for (const ReaderState& reader : world.reader) {
            const bool isLong = reader.place == ReaderState::Place::asleep &&
                                (reader.sleep.kind == Step::Kind::endlessSleep ||
                                 reader.sleep.length == Waiter::Length::full);
            if (isOver && isLong && reader.seen != World(world).at(Variable::changes)) ++lost_;
        }
        open_.push_back(world);
    }

    // --- the writer -----------------------------------------------------------------------------

    static void writerRuns(const WriterState& state) {
        Run run(state.history);
        WriterSteps steps(run, state.wakes);
        typename Tried::Writer writer;
        if (state.isSuccessor) steps.askedIs(0);
        for (std::uint8_t i = state.first; i < state.last; ++i) {
            steps.changesIs(static_cast<std::uint8_t>(i + 1));
            writer.changed(steps, i + 1u);
        }
    }

    void writerAnswered(World world, std::uint8_t answer) {
        world.writer.history.push_back(answer);
        try {
            writerRuns(world.writer);
            world.writer.history.clear();
            world.writer.isDone = true;
        } catch (const Step&) {
            // It goes on.
        }
        meet(world);
    }

    void writerMoves(const World& world) {
        if (world.writer.isDone) return;
        if (mayKill_ && !world.writer.isSuccessor) writerDies(world);
        try {
            writerRuns(world.writer);
        } catch (const Step& step) {
            writerSteps(world, step);
        }
    }

    void writerSteps(World world, const Step& step) {
        switch (step.kind) {
            case Step::Kind::load:
                return writerAnswered(world, world.at(step.variable));
            case Step::Kind::store:
                world.buffer.emplace_back(step.variable, step.value);
                return writerAnswered(world, 0);
            case Step::Kind::clock:
                if (world.isPause) writerAnswered(world, 1);
                world.isPause = true;
                for (ReaderState& reader : world.reader)
                    reader.isPauseOlder = false;
                return writerAnswered(world, 0);
            case Step::Kind::wakeAll:
                while (!world.buffer.empty())
                    oneStoreIsSeen(world);
                for (ReaderState& reader : world.reader) {
                    if (reader.place == ReaderState::Place::asleep) wake(reader, 0);
                }
                return writerAnswered(world, 0);
            default:
                ADD_FAILURE() << "no step of a writer";
        }
    }

    /// Another one takes over what is in memory.
    void writerDies(World world) {
        while (!world.buffer.empty())
            oneStoreIsSeen(world);
        const std::uint8_t changes = world.at(Variable::changes);
        world.writer = {
            changes, static_cast<std::uint8_t>(changes + 1), world.at(Variable::wakes), true, false,
            {}};
        world.isPause = false;
        meet(world);
    }

    // --- readers --------------------------------------------------------------------------------

    /// One wait, for a change behind the one that it saw.
    static std::uint8_t readerRuns(const ReaderState& state) {
        Run run(state.history);
        ReaderSteps steps(run);
        typename Tried::Reader reader(state.seen);
        for (;;) {
            const std::uint64_t changes = steps.changes();
            if (changes != state.seen) return static_cast<std::uint8_t>(changes);
            reader.sleep(steps);
        }
    }

    void readerAnswered(World world, std::size_t i, std::uint8_t answer) {
        wake(world.reader[i], answer);
        meet(world);
    }

    /// The answer of a step, or of a sleep that ends.
    static void wake(ReaderState& reader, std::uint8_t answer) {
        reader.place = ReaderState::Place::awake;
        reader.isInSecondHalf = reader.isPauseOlder = false;
        reader.olderStores = 0;
        // Whoever did not sleep enough begins from the beginning.
        const bool isSleepOver = reader.sleep.kind >= Step::Kind::sleep;
        reader.sleep = {};
        reader.history.push_back(answer);
        if (isSleepOver && answer == 0) reader.history.clear();
        try {
            reader.seen = readerRuns(reader);
            reader.history.clear();
        } catch (const Step&) {
            // It waits on.
        }
    }

    void readerMoves(const World& world, std::size_t i) {
        const ReaderState& reader = world.reader[i];
        if (reader.place == ReaderState::Place::done) return;
        if (mayKill_ && !world.isReaderKilled) readerDies(world, i);
        if (reader.place == ReaderState::Place::asleep) return sleeperMoves(world, i);
        try {
            readerRuns(reader);
        } catch (const Step& step) {
            readerSteps(world, i, step);
        }
    }

    void readerDies(World world, std::size_t i) {
        world.reader[i] = {};
        world.reader[i].place = ReaderState::Place::done;
        world.isReaderKilled = true;
        meet(world);
    }

    void readerSteps(World world, std::size_t i, const Step& step) {
        std::uint8_t& word = world.at(step.variable);
        switch (step.kind) {
            case Step::Kind::load:
                return readerAnswered(world, i, word);
            case Step::Kind::raise:
                word = std::max(word, step.value);
                return readerAnswered(world, i, 0);
            case Step::Kind::barrier:
                while (!world.buffer.empty())
                    oneStoreIsSeen(world);
                return readerAnswered(world, i, 0);
            default:
                world.reader[i].sleep = step;
                if (word != step.value) return readerAnswered(world, i, 0);
                world.reader[i].place = ReaderState::Place::asleep;
                world.reader[i].isPauseOlder = world.isPause;
                meet(world);
        }
    }

    /// Only brief sleeps end by themselves.
    void sleeperMoves(World world, std::size_t i) {
        ReaderState& reader = world.reader[i];
        if (reader.sleep.kind == Step::Kind::endlessSleep) return;
        if (reader.sleep.length == Waiter::Length::full) return;
        if (!reader.isInSecondHalf) {
            if (reader.isPauseOlder) world.isPause = false;
            reader.isPauseOlder = false;
            reader.isInSecondHalf = true;
            reader.olderStores = static_cast<std::uint8_t>(world.buffer.size());
            return meet(world);
        }
        if (reader.olderStores == 0) readerAnswered(world, i, 1);
    }

    // --- time -----------------------------------------------------------------------------------

    static void oneStoreIsSeen(World& world) {
        const auto [variable, value] = world.buffer.front();
        world.buffer.erase(world.buffer.begin());
        world.at(variable) = value;
        for (ReaderState& reader : world.reader) {
            if (reader.olderStores != 0) --reader.olderStores;
        }
    }

    void timePasses(const World& world) {
        if (!world.buffer.empty()) {
            World later = world;
            oneStoreIsSeen(later);
            meet(later);
        }
        if (world.isPause) {
            World later = world;
            later.isPause = false;
            for (ReaderState& reader : later.reader)
                reader.isPauseOlder = false;
            meet(later);
        }
    }

    const bool mayKill_;
    std::size_t lost_ = 0;
    std::unordered_set<std::string> seen_;
    std::vector<World> open_;
};

TEST(Waiting, LosesNoChangeInAnyOrderOfItsSteps) {
    const Exploration<Protocol> all(2, false);
    EXPECT_EQ(all.lost(), 0u);
    EXPECT_GT(all.states(), 1000u);
    RecordProperty("states", std::to_string(all.states()));
}

TEST(Waiting, LosesNoChangeThoughWriterAndReadersAreKilledAtAnyStep) {
    const Exploration<Protocol> all(1, true);
    EXPECT_EQ(all.lost(), 0u);
    EXPECT_GT(all.states(), 1000u);
    RecordProperty("states", std::to_string(all.states()));
}

TEST(Waiting, LosesChangesWhereTheWriterTakesTheReadersWordDown) {
    EXPECT_NE(Exploration<ErasingProtocol>(2, false).lost(), 0u);
}

TEST(Waiting, LosesChangesWithoutABriefSleepAheadOfALongOne) {
    EXPECT_NE(Exploration<HastyProtocol>(2, false).lost(), 0u);
}

}  // namespace

}  // namespace Tessel::Test

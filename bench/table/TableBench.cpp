// The GMP status table beside the stores that a user could pick instead, and beside the floor, in
// one run: absolute times say little on a shared machine, so the report ends with ratios.
#include <benchmark/benchmark.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <ctime>
#include <fstream>
#include <memory>
#include <thread>
#include <vector>

#include "BoostStore.h"
#include "Floor.h"
#include "LmdbStore.h"
#include "OurTable.h"
#include "Ratios.h"
#include "Workload.h"

namespace Bench {

std::uint64_t SharedDirectory::bytes() const {
    std::uint64_t all = 0;
    for (const auto& file : std::filesystem::directory_iterator(path())) {
        struct stat status {};
        if (stat(file.path().c_str(), &status) == 0) {
            all += static_cast<std::uint64_t>(status.st_blocks) * 512;
        }
    }
    return all;
}

namespace {

using Clock = std::chrono::steady_clock;

/// The processor time that this thread has used, in seconds, in the system too. What others do on
/// the machine is not in it, and nothing that is timed here ever sleeps.
double threadTime() {
    timespec used{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
    return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) * 1e-9;
}

Busyness& busyness() {
    static Busyness one;
    return one;
}

/// Runs `action` once and reports what one of `count` operations took.
template <class Action>
void time(benchmark::State& state, std::uint64_t count, Action action) {
    const auto wallBegin = Clock::now();
    const double begin = threadTime();
    action();
    const double took = threadTime() - begin;
    busyness().add(std::chrono::duration<double>(Clock::now() - wallBegin).count(), took);
    state.SetIterationTime(took / static_cast<double>(count));
}

/// A store that holds `count` memberships, made when it is first asked for and kept until another
/// kind or size is.
template <class Store>
struct Filled {
    static Filled& of(std::uint64_t count) {
        static std::unique_ptr<Filled> current;
        if (current && current->count == count) return *current;
        current.reset();
        current = std::make_unique<Filled>(count);
        return *current;
    }
    explicit Filled(std::uint64_t wanted)
        : count(wanted), store(std::make_unique<Store>(directory.path(), count)) {
        fill();
    }
    void fill() {
        for (std::uint64_t i = 0; i < count; ++i) {
            const RouteIntfKey key = keyOf(shuffled(i, count));
            store->put({key, modeOf(key, round)});
        }
    }

    const std::uint64_t count;
    unsigned round = 0;
    SharedDirectory directory;
    std::unique_ptr<Store> store;
};

std::uint64_t countOf(const benchmark::State& state) {
    return static_cast<std::uint64_t>(state.range(0));
}

/// Every key for the first time, into a status that starts empty and grows.
template <class Store>
void insert(benchmark::State& state) {
    const std::uint64_t count = countOf(state);
    for (auto _ : state) {
        const SharedDirectory directory;
        Store store(directory.path(), count);
        time(state, count, [&] {
            for (std::uint64_t i = 0; i < count; ++i) {
                const RouteIntfKey key = keyOf(shuffled(i, count));
                store.put({key, modeOf(key, 0)});
            }
        });
        state.counters["bytes"] =
            static_cast<double>(directory.bytes()) / static_cast<double>(count);
    }
}

template <class Store>
void overwrite(benchmark::State& state) {
    auto& filled = Filled<Store>::of(countOf(state));
    for (auto _ : state) {
        ++filled.round;
        time(state, filled.count, [&] { filled.fill(); });
    }
}

/// Each key depends on what was read before it, so that one lookup must end for the next to begin.
template <class Store>
void hitOneAtATime(benchmark::State& state) {
    auto& filled = Filled<Store>::of(countOf(state));
    for (auto _ : state) {
        time(state, filled.count, [&] {
            std::uint64_t next = 1;
            for (std::uint64_t i = 0; i < filled.count; ++i) {
                const RouteIntfKey key = keyOf(mixed(next) % filled.count);
                const auto mode = filled.store->find(key);
                expect(mode == modeOf(key, filled.round), "hit");
                next = next * 2 + i + static_cast<std::uint64_t>(*mode);
            }
        });
    }
}

template <class Store>
void hitOverlapped(benchmark::State& state) {
    auto& filled = Filled<Store>::of(countOf(state));
    for (auto _ : state) {
        time(state, filled.count, [&] {
            for (std::uint64_t i = 0; i < filled.count; ++i) {
                const RouteIntfKey key = keyOf(shuffled(i, filled.count));
                expect(filled.store->find(key) == modeOf(key, filled.round), "hit");
            }
        });
    }
}

template <class Store>
void miss(benchmark::State& state) {
    auto& filled = Filled<Store>::of(countOf(state));
    for (auto _ : state) {
        time(state, filled.count, [&] {
            for (std::uint64_t i = 0; i < filled.count; ++i) {
                expect(!filled.store->find(keyOf(filled.count + i)), "miss");
            }
        });
    }
}

template <class Store>
void walkOnce(Store& store, std::uint64_t count, unsigned round) {
    std::uint64_t met = 0;
    store.iterate([&](const Membership& membership) {
        expect(membership.filterMode() == modeOf(membership.key(), round), "iterate");
        ++met;
    });
    expect(met == count, "count");
}

template <class Store>
void iterate(benchmark::State& state) {
    auto& filled = Filled<Store>::of(countOf(state));
    for (auto _ : state) {
        time(state, filled.count, [&] { walkOnce(*filled.store, filled.count, filled.round); });
    }
}

/// Microseconds for all of it, not for one membership.
template <class Store>
void openAndIterate(benchmark::State& state) {
    auto& filled = Filled<Store>::of(countOf(state));
    for (auto _ : state) {
        filled.store.reset();
        time(state, 1, [&] {
            const double begin = threadTime();
            filled.store = std::make_unique<Store>(filled.directory.path(), filled.count);
            state.counters["open_us"] = (threadTime() - begin) * 1e6;
            walkOnce(*filled.store, filled.count, filled.round);
        });
    }
}

template <class Store>
void remove(benchmark::State& state) {
    auto& filled = Filled<Store>::of(countOf(state));
    for (auto _ : state) {
        time(state, filled.count, [&] {
            for (std::uint64_t i = 0; i < filled.count; ++i) {
                filled.store->del(keyOf(shuffled(i, filled.count)));
            }
        });
        filled.fill();
    }
}

/// The same lookups and walk by a reader of our table.
void readerHit(benchmark::State& state) {
    auto& filled = Filled<OurTable>::of(countOf(state));
    OurReader reader(filled.directory.path(), 0);
    for (auto _ : state) {
        time(state, filled.count, [&] {
            std::uint64_t next = 1;
            for (std::uint64_t i = 0; i < filled.count; ++i) {
                const RouteIntfKey key = keyOf(mixed(next) % filled.count);
                const auto mode = reader.find(key);
                expect(mode == modeOf(key, filled.round), "hit");
                next = next * 2 + i + static_cast<std::uint64_t>(*mode);
            }
        });
    }
}

void readerIterate(benchmark::State& state) {
    auto& filled = Filled<OurTable>::of(countOf(state));
    OurReader reader(filled.directory.path(), 0);
    for (auto _ : state) {
        time(state, filled.count, [&] { walkOnce(reader, filled.count, filled.round); });
    }
}

/// What a follower pays for each change, in batches that every log holds.
void followChanges(benchmark::State& state) {
    auto& filled = Filled<OurTable>::of(countOf(state));
    const std::uint64_t batch = std::min<std::uint64_t>(filled.count, 4000);
    Routing::Gmp::Tessel::TableReader reader(filled.directory.path());
    const auto writeBatch = [&](unsigned round) {
        for (std::uint64_t i = 0; i < batch; ++i) {
            const RouteIntfKey key = keyOf(shuffled(i, filled.count));
            filled.store->put({key, modeOf(key, round)});
        }
    };
    for (auto _ : state) {
        writeBatch(filled.round + 1);
        time(state, batch, [&] {
            const auto changes = reader.changes();
            expect(!changes.isWalkNeeded && changes.changes.size() == batch, "changes");
        });
        writeBatch(filled.round);
        reader.changes();
    }
}

/// The longest of all insertions while a store grows from nothing, and the 99.9th percentile.
/// @param keysFor gives, for the directory of the store, what gives the key of a number
template <class Store, class KeysFor>
void longestOf(benchmark::State& state, KeysFor keysFor) {
    const std::uint64_t count = countOf(state);
    std::vector<double> took(count);
    for (auto _ : state) {
        const SharedDirectory directory;
        Store store(directory.path(), count);
        const auto keys = keysFor(directory.path());
        for (std::uint64_t i = 0; i < count; ++i) {
            const RouteIntfKey key = keys(i);
            const auto begin = Clock::now();
            store.put({key, modeOf(key, 0)});
            took[i] = std::chrono::duration<double>(Clock::now() - begin).count();
        }
        std::sort(took.begin(), took.end());
        state.SetIterationTime(took.back());
        state.counters["p99.9_ns"] = took[count * 999 / 1000] * 1e9;
        state.counters["over_1ms"] =
            static_cast<double>(took.end() - std::upper_bound(took.begin(), took.end(), 1e-3));
    }
}

template <class Store>
void longest(benchmark::State& state) {
    longestOf<Store>(state, [](const std::filesystem::path&) { return keyOf; });
}

/// The same for sources that a host chose, who knows the table's seeds, so that all have one hash.
void longestOfOneHash(benchmark::State& state) {
    longestOf<OurTable>(state, [](const std::filesystem::path& directory) {
        Storage::Header header{};
        std::ifstream(directory / "table", std::ios::binary)
            .read(reinterpret_cast<char*>(&header), sizeof header);
        return [seed = header.hashSeed[0]](std::uint64_t number) {
            return keyOfOneHash(seed, number);
        };
    });
}

/// What a reader of a store does without pause until it is killed.
template <class Reader>
void readForEver(const std::filesystem::path& directory, std::uint64_t count, bool walks) {
    Reader reader(directory, count);
    for (std::uint64_t i = 0;; ++i) {
        if (walks) {
            reader.iterate(
                [](const Membership& membership) { benchmark::DoNotOptimize(membership); });
        } else {
            benchmark::DoNotOptimize(reader.find(keyOf(mixed(i) % count)));
        }
    }
}

/// Overwrites while another process reads; `range(1)` is 0 for no reader, 1 for one that looks up,
/// 2 for one that walks.
template <class Store, class Reader>
void overwriteWhileRead(benchmark::State& state) {
    auto& filled = Filled<Store>::of(countOf(state));
    const auto kind = state.range(1);
    pid_t reader = 0;
    if (kind != 0) {
        reader = fork();
        if (reader == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            readForEver<Reader>(filled.directory.path(), filled.count, kind == 2);
            _exit(0);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    for (auto _ : state) {
        ++filled.round;
        time(state, filled.count, [&] { filled.fill(); });
    }
    if (reader == 0) return;
    kill(reader, SIGKILL);
    waitpid(reader, nullptr, 0);
}

/// How long a cache line takes from one core to another and back, halved: it explains much of what
/// a reader costs a writer, and differs from run to run on virtual machines.
void coreToCore(benchmark::State& state) {
    alignas(64) static std::atomic<std::uint64_t> ball;
    constexpr std::uint64_t passes = 200000;
    for (auto _ : state) {
        ball = 0;
        std::thread other([] {
            for (std::uint64_t i = 1; i < 2 * passes; i += 2) {
                while (ball.load(std::memory_order_acquire) != i)
                    continue;
                ball.store(i + 1, std::memory_order_release);
            }
        });
        time(state, 2 * passes, [&] {
            for (std::uint64_t i = 0; i < 2 * passes; i += 2) {
                ball.store(i + 1, std::memory_order_release);
                while (ball.load(std::memory_order_acquire) != i + 2)
                    continue;
            }
        });
        other.join();
    }
}

/// How often each case runs; once in the short form.
int repetitions = 3;

void add(const std::string& name, void (*run)(benchmark::State&),
         std::vector<std::int64_t> arguments, benchmark::TimeUnit unit = benchmark::kNanosecond) {
    auto* const one = benchmark::RegisterBenchmark(name.c_str(), run);
    one->Args(arguments)->UseManualTime()->Iterations(1)->Repetitions(repetitions)->Unit(unit);
}

template <class Store>
void addStore(std::int64_t count) {
    const auto named = [](const char* operation) {
        return std::string(operation) + "/" + Store::name;
    };
    add(named("insert into a new status"), insert<Store>, {count});
    add(named("overwrite"), overwrite<Store>, {count});
    add(named("hit, one at a time"), hitOneAtATime<Store>, {count});
    add(named("hit, overlapped"), hitOverlapped<Store>, {count});
    add(named("miss"), miss<Store>, {count});
    add(named("iterate"), iterate<Store>, {count});
    add(named("open and iterate"), openAndIterate<Store>, {count}, benchmark::kMicrosecond);
    add(named("delete"), remove<Store>, {count});
    add(named("longest insertion"), longest<Store>, {count}, benchmark::kMicrosecond);
}

template <class Store, class Reader>
void addReaders(std::int64_t count) {
    for (std::int64_t kind = 0; kind < 3; ++kind) {
        add(std::string("overwrite while read/") + Store::name, overwriteWhileRead<Store, Reader>,
            {count, kind});
    }
}

}  // namespace

}  // namespace Bench

int main(int argc, char** argv) {
    using namespace Bench;  // NOLINT(google-build-using-namespace): this is its program
    // The short form shows in seconds that every case runs to its end; its figures say little.
    const bool isShort = argc > 1 && std::string_view(argv[1]) == "--short";
    if (isShort) repetitions = 1;
    benchmark::Initialize(&argc, argv);
    const std::vector<std::int64_t> counts =
        isShort ? std::vector<std::int64_t>{1'000}
                : std::vector<std::int64_t>{10'000, 100'000, 1'000'000};
    add("core to core", coreToCore, {0});
    for (const std::int64_t count : counts) {
        addStore<Floor>(count);
        addStore<OurTable>(count);
        add("hit, one at a time/reader", readerHit, {count});
        add("iterate/reader", readerIterate, {count});
        add("follow changes/table", followChanges, {count});
        add("longest insertion of one hash/table", longestOfOneHash, {count},
            benchmark::kMicrosecond);
        addStore<LmdbStore>(count);
        addStore<BoostStore>(count);
        addReaders<Floor, Floor>(count);
        addReaders<OurTable, OurReader>(count);
        addReaders<LmdbStore, LmdbStore>(count);
        addReaders<BoostStore, BoostStore>(count);
    }
    Ratios ratios(busyness());
    benchmark::RunSpecifiedBenchmarks(&ratios);
    ratios.print(std::cout);
}

#pragma once

#include <lmdb.h>

#include <optional>
#include <thread>

#include "Routing/Gmp/Tessel/Storage/Record.h"
#include "Workload.h"

namespace Bench {

/// LMDB on shared memory: one transaction a write, nothing synchronised to a disk.
class LmdbStore {
  public:
    static constexpr const char* name = "lmdb";

    LmdbStore(const std::filesystem::path& directory, std::uint64_t capacity) {
        check(mdb_env_create(&environment_));
        check(mdb_env_set_mapsize(environment_, (capacity * 256 + (512 << 20)) / 4096 * 4096));
        check(mdb_env_open(environment_, directory.c_str(), MDB_NOSYNC | MDB_WRITEMAP, 0600));
        MDB_txn* transaction = nullptr;
        check(mdb_txn_begin(environment_, nullptr, 0, &transaction));
        check(mdb_dbi_open(transaction, nullptr, 0, &database_));
        check(mdb_txn_commit(transaction));
        check(mdb_txn_begin(environment_, nullptr, MDB_RDONLY, &reading_));
        mdb_txn_reset(reading_);
    }
    LmdbStore(const LmdbStore&) = delete;
    LmdbStore& operator=(const LmdbStore&) = delete;
    ~LmdbStore() {
        mdb_txn_abort(reading_);
        mdb_env_close(environment_);
    }

    void put(const Membership& membership) {
        auto words = Storage::keyWords(membership.key());
        auto mode = static_cast<std::uint8_t>(membership.filterMode());
        MDB_val key{sizeof words, words.data()};
        MDB_val value{sizeof mode, &mode};
        write(
            [&](MDB_txn* transaction) { return mdb_put(transaction, database_, &key, &value, 0); });
    }
    std::optional<FilterMode> find(const RouteIntfKey& wanted) const {
        auto words = Storage::keyWords(wanted);
        MDB_val key{sizeof words, words.data()};
        MDB_val value{};
        check(mdb_txn_renew(reading_));
        const int result = mdb_get(reading_, database_, &key, &value);
        std::optional<FilterMode> mode;
        if (result == 0) mode = static_cast<FilterMode>(*static_cast<std::uint8_t*>(value.mv_data));
        mdb_txn_reset(reading_);
        return mode;
    }
    void del(const RouteIntfKey& wanted) {
        auto words = Storage::keyWords(wanted);
        MDB_val key{sizeof words, words.data()};
        write([&](MDB_txn* transaction) { return mdb_del(transaction, database_, &key, nullptr); });
    }
    template <class Visit>
    void iterate(Visit visit) const {
        check(mdb_txn_renew(reading_));
        MDB_cursor* cursor = nullptr;
        check(mdb_cursor_open(reading_, database_, &cursor));
        MDB_val key{};
        MDB_val value{};
        while (mdb_cursor_get(cursor, &key, &value, MDB_NEXT) == 0) {
            Storage::KeyWords words{};
            std::memcpy(words.data(), key.mv_data, sizeof words);
            visit(Membership(Storage::keyFromWords(words),
                             static_cast<FilterMode>(*static_cast<std::uint8_t*>(value.mv_data))));
        }
        mdb_cursor_close(cursor);
        mdb_txn_reset(reading_);
    }

  private:
    /// One transaction. A reader pins every page that was freed since it began, and one that was
    /// killed does so for good until it is looked for: the map is full then, whatever its size.
    template <class Action>
    void write(Action action) {
        for (;;) {
            MDB_txn* transaction = nullptr;
            check(mdb_txn_begin(environment_, nullptr, 0, &transaction));
            int result = action(transaction);
            if (result == 0) {
                result = mdb_txn_commit(transaction);
            } else {
                mdb_txn_abort(transaction);
            }
            if (result != MDB_MAP_FULL) return check(result);
            check(mdb_reader_check(environment_, nullptr));
            std::this_thread::yield();
        }
    }
    static void check(int result) { expect(result == 0, mdb_strerror(result)); }

    MDB_env* environment_ = nullptr;
    MDB_dbi database_ = 0;
    MDB_txn* reading_ = nullptr;
};

}  // namespace Bench

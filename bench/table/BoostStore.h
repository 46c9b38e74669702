#pragma once

#include <pthread.h>

#include <boost/interprocess/allocators/allocator.hpp>
#include <boost/interprocess/managed_mapped_file.hpp>
#include <boost/unordered_map.hpp>
#include <functional>
#include <optional>

#include "Routing/Gmp/Tessel/Storage/Record.h"
#include "Workload.h"

namespace Bench {

/// Boost.Interprocess: an unordered map in a mapped file, behind a robust mutex.
class BoostStore {
  public:
    static constexpr const char* name = "boost";

    BoostStore(const std::filesystem::path& directory, std::uint64_t capacity)
        : file_(boost::interprocess::open_or_create, (directory / "boost").c_str(),
                capacity * 160 + (1 << 20)),
          map_(file_.find_or_construct<Map>("map")(16, Hash(), std::equal_to<>(),
                                                   file_.get_segment_manager())),
          mutex_(file_.find_or_construct<pthread_mutex_t>("mutex")()) {
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
        pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
        pthread_mutex_init(mutex_, &attributes);
    }

    void put(const Membership& membership) {
        const Lock lock(*mutex_);
        (*map_)[Storage::keyWords(membership.key())] = membership.filterMode();
    }
    std::optional<FilterMode> find(const RouteIntfKey& wanted) const {
        const Lock lock(*mutex_);
        const auto found = map_->find(Storage::keyWords(wanted));
        if (found == map_->end()) return std::nullopt;
        return found->second;
    }
    void del(const RouteIntfKey& wanted) {
        const Lock lock(*mutex_);
        map_->erase(Storage::keyWords(wanted));
    }
    template <class Visit>
    void iterate(Visit visit) const {
        const Lock lock(*mutex_);
        for (const auto& [key, mode] : *map_) {
            visit(Membership(Storage::keyFromWords(key), mode));
        }
    }

  private:
    struct Hash {
        std::size_t operator()(const Storage::KeyWords& key) const {
            return Storage::hashOf(key, {1, 2, 3, 4, 5});
        }
    };
    using Pair = std::pair<const Storage::KeyWords, FilterMode>;
    using Allocator =
        boost::interprocess::allocator<Pair,
                                       boost::interprocess::managed_mapped_file::segment_manager>;
    using Map =
        boost::unordered_map<Storage::KeyWords, FilterMode, Hash, std::equal_to<>, Allocator>;

    class Lock {
      public:
        explicit Lock(pthread_mutex_t& mutex) : mutex_(mutex) {
            if (pthread_mutex_lock(&mutex_) == EOWNERDEAD) pthread_mutex_consistent(&mutex_);
        }
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;
        ~Lock() { pthread_mutex_unlock(&mutex_); }

      private:
        pthread_mutex_t& mutex_;
    };

    boost::interprocess::managed_mapped_file file_;
    Map* map_;
    pthread_mutex_t* mutex_;
};

}  // namespace Bench

// The C interface over the table's reader. Nothing of C++ gets out: no exception, no type.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <map>
#include <new>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include "Ondel/VlanIntfId.h"
#include "Rix/CorruptionError.h"
#include "Routing/Gmp/Tessel/TableGoneError.h"
#include "Routing/Gmp/Tessel/TableReader.h"
#include "gmp_table.h"

namespace Tessel = Routing::Gmp::Tessel;

/// What a caller's handle stands for.
struct gmp_table {
    explicit gmp_table(const char* directory) : reader(directory) {}

    /// The status of that key if it is there; found again when another has taken its place.
    Tessel::StatusReader* statusOf(const Tessel::VrfApp& key) {
        const auto known = statuses.find(key.name());
        if (known != statuses.end() && !known->second.isGone()) return &known->second;
        if (known != statuses.end()) statuses.erase(known);
        auto found = reader.status(key);
        if (!found) return nullptr;
        return &statuses.emplace(key.name(), std::move(*found)).first->second;
    }

    Tessel::TableReader reader;
    std::atomic<bool> isCancelled{false};
    std::map<std::string, Tessel::StatusReader> statuses;  ///< those that were asked for
};

namespace {

/// A fixed place for each thread: to tell of an error must not need memory.
thread_local char errorText[1024];

int fail(int code, std::string_view text) noexcept {
    const std::size_t length = std::min(text.size(), sizeof errorText - 1);
    std::memcpy(errorText, text.data(), length);
    errorText[length] = '\0';
    return code;
}

/// Calls what may raise an error, and gives a code in place of it.
template <class Action>
int guarded(Action action) noexcept {
    try {
        errorText[0] = '\0';
        return action();
    } catch (const std::bad_alloc&) {
        return fail(GMP_ERROR_MEMORY, "there is no memory");
    } catch (const Tessel::TableGoneError& error) {
        return fail(GMP_ERROR_GONE, error.what());
    } catch (const std::system_error& error) {
        return fail(GMP_ERROR_SYSTEM, error.what());
    } catch (const Rix::CorruptionError& error) {
        return fail(GMP_ERROR_DAMAGED, error.what());
    } catch (const std::invalid_argument& error) {
        return fail(GMP_ERROR_ARGUMENT, error.what());
    } catch (const std::exception& error) {
        return fail(GMP_ERROR_INTERNAL, error.what());
    } catch (...) {
        return fail(GMP_ERROR_INTERNAL, "an error of an unknown kind");
    }
}

/// @throws std::invalid_argument if there is nothing
template <class Pointer>
void need(Pointer pointer, const char* name) {
    if (pointer == nullptr) throw std::invalid_argument(std::string(name) + " is null");
}

Tessel::VrfApp keyFrom(const gmp_status_key& key) {
    if (key.vrf_length >= sizeof key.vrf) {
        throw std::invalid_argument("the VRF's name is longer than 100 bytes");
    }
    return {L3::VrfName(std::string_view(key.vrf, key.vrf_length)),
            static_cast<Tessel::App>(key.app)};
}

Ondel::IpGenAddr addressFrom(const gmp_address& address) {
    if (address.family > GMP_FAMILY_IPV6) throw std::invalid_argument("an address of no family");
    Ondel::IpGenAddr::Bytes bytes{};
    std::copy_n(address.bytes, bytes.size(), bytes.begin());
    return {static_cast<Ondel::IpGenAddr::Family>(address.family), bytes};
}

gmp_status_key keyTo(const Tessel::VrfApp& key) {
    gmp_status_key result{};
    const std::string_view name = key.vrfName.text();
    name.copy(result.vrf, name.size());
    result.vrf_length = static_cast<std::uint8_t>(name.size());
    result.app = static_cast<std::uint8_t>(key.app);
    return result;
}

gmp_address addressTo(const Ondel::IpGenAddr& address) {
    gmp_address result{};
    result.family = static_cast<std::uint8_t>(address.family());
    std::copy(address.bytes().begin(), address.bytes().end(), result.bytes);
    return result;
}

gmp_membership membershipTo(const Tessel::RouteIntfKey& key, Tessel::FilterMode mode) {
    return {Ondel::VlanIntfId::vlanId(key.intf), addressTo(key.source), addressTo(key.group),
            static_cast<std::uint8_t>(mode)};
}

gmp_change changeTo(const Tessel::TableChange& change) {
    const Tessel::MembershipChange& one = change.membership;
    gmp_change result{};
    result.status = keyTo(one.status);
    if (change.kind != Tessel::TableChange::Kind::membership) {
        result.kind = change.kind == Tessel::TableChange::Kind::statusAdded ? GMP_STATUS_ADDED
                                                                            : GMP_STATUS_REMOVED;
        return result;
    }
    const auto before = one.before ? one.before : one.after;
    const auto now = one.after ? one.after : one.before;
    result.kind = !one.before  ? GMP_MEMBERSHIP_ADDED
                  : !one.after ? GMP_MEMBERSHIP_REMOVED
                               : GMP_MEMBERSHIP_CHANGED;
    result.membership = membershipTo(one.key, now.value());
    result.mode_before = static_cast<std::uint8_t>(before.value());
    return result;
}

/// The first thing that a walk found damaged.
void note(const std::vector<std::string>& damage, std::string& first) {
    if (first.empty() && !damage.empty()) first = damage.front();
}

int resultOf(const std::string& damage) {
    return damage.empty() ? GMP_OK : fail(GMP_ERROR_DAMAGED, damage);
}

int walkStatus(Tessel::StatusReader& status, gmp_visit_membership visit, void* context,
               std::string& damage) {
    const gmp_status_key key = keyTo(status.key());
    for (const Tessel::Membership& membership : status) {
        const gmp_membership one = membershipTo(membership.key(), membership.filterMode());
        if (const int result = visit(context, &key, &one); result != 0) return result;
    }
    note(status.damage(), damage);
    return GMP_OK;
}

int walk(gmp_table& table, const gmp_status_key* status, gmp_visit_membership visit,
         void* context) {
    auto all = table.reader.statuses();
    std::string damage;
    note(all.damage, damage);
    for (Tessel::StatusReader& one : all.readers) {
        if (status != nullptr && !(one.key() == keyFrom(*status))) continue;
        if (const int result = walkStatus(one, visit, context, damage); result != 0) return result;
    }
    return resultOf(damage);
}

}  // namespace

extern "C" {

int gmp_table_open(const char* directory, gmp_table** table) {
    return guarded([&] {
        need(table, "table");
        *table = nullptr;
        need(directory, "directory");
        *table = new gmp_table(directory);
        return GMP_OK;
    });
}

void gmp_table_close(gmp_table* table) {
    delete table;
}

int gmp_table_statuses(gmp_table* table, gmp_visit_status visit, void* context) {
    return guarded([&]() -> int {
        need(table, "table");
        need(visit, "visit");
        const auto all = table->reader.statuses();
        for (const Tessel::StatusReader& status : all.readers) {
            const gmp_status_key key = keyTo(status.key());
            if (const int result = visit(context, &key); result != 0) return result;
        }
        std::string damage;
        note(all.damage, damage);
        return resultOf(damage);
    });
}

int gmp_table_walk(gmp_table* table, const gmp_status_key* status, gmp_visit_membership visit,
                   void* context) {
    return guarded([&] {
        need(table, "table");
        need(visit, "visit");
        return walk(*table, status, visit, context);
    });
}

int gmp_table_lookup(gmp_table* table, const gmp_status_key* status, gmp_membership* membership) {
    return guarded([&] {
        need(table, "table");
        need(status, "status");
        need(membership, "membership");
        const Tessel::RouteIntfKey key{Ondel::VlanIntfId::vlanIdToIntfId(membership->vlan),
                                       addressFrom(membership->source),
                                       addressFrom(membership->group)};
        Tessel::StatusReader* const found = table->statusOf(keyFrom(*status));
        if (found == nullptr) return static_cast<int>(GMP_OK);
        const Tessel::MembershipReading reading = found->membership(key);
        if (!reading.isPresent) return resultOf(reading.damage);
        membership->mode = static_cast<std::uint8_t>(reading.membership.filterMode());
        return 1;
    });
}

int gmp_table_changes(gmp_table* table, gmp_visit_change visit, void* context) {
    return guarded([&]() -> int {
        need(table, "table");
        need(visit, "visit");
        const auto changes = table->reader.changes();
        if (changes.isWalkNeeded) return GMP_WALK_NEEDED;
        for (const Tessel::TableChange& change : changes.changes) {
            const gmp_change one = changeTo(change);
            if (const int result = visit(context, &one); result != 0) return result;
        }
        return GMP_OK;
    });
}

int gmp_table_descriptor(gmp_table* table) {
    return guarded([&] {
        need(table, "table");
        return table->reader.changeDescriptor();
    });
}

int gmp_table_wait(gmp_table* table, int timeout_ms) {
    return guarded([&] {
        need(table, "table");
        std::optional<std::chrono::milliseconds> timeout;
        if (timeout_ms >= 0) timeout = std::chrono::milliseconds(timeout_ms);
        if (table->reader.waitForChange(timeout)) return 1;
        return static_cast<int>(table->isCancelled ? GMP_CANCELLED : GMP_OK);
    });
}

void gmp_table_cancel(gmp_table* table) {
    if (table == nullptr) return;
    table->isCancelled = true;
    table->reader.cancel();
}

const char* gmp_error_text(void) {
    return errorText;
}

}  // extern "C"

// PIM's side of the table in small: prints what must be pulled, then each change, until it is
// killed.
#include <Routing/Gmp/Tessel/TableReader.h>

#include <exception>
#include <iostream>

using namespace Routing::Gmp;

void print(char sign, const Tessel::VrfApp& status, const Tessel::RouteIntfKey& key) {
    std::cout << sign << ' ' << status.vrfName << ": (" << key.source << ", " << key.group
              << ") on " << key.intf << std::endl;
}

void walk(const Tessel::TableReader& table) {
    auto statuses = table.statuses();
    for (const std::string& damage : statuses.damage)
        std::cerr << damage << '\n';
    for (Tessel::StatusReader& status : statuses.readers) {
        for (const Tessel::Membership& membership : status)
            print('=', status.key(), membership.key());
    }
}

int main(int argc, char** argv) try {
    Tessel::TableReader table(argc == 2 ? argv[1] : "");
    walk(table);
    for (;;) {
        table.waitForChange();
        const auto changes = table.changes();
        for (const Tessel::TableChange& change : changes.changes) {
            if (change.kind != Tessel::TableChange::Kind::membership) continue;
            print(change.membership.after ? '+' : '-', change.membership.status,
                  change.membership.key);
        }
        if (changes.isWalkNeeded) walk(table);
    }
} catch (const std::exception& error) {
    std::cerr << "follow: " << error.what() << '\n';
    return 1;
}

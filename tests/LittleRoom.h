#pragma once

#include <sys/resource.h>

/// While it lives, tables that are made begin small: their files may not become as long as that of
/// one that is made with all the room it wants. To get that room from the system, or to fill it,
/// takes longer than all else that is done with a table of a few memberships.
class LittleRoom {
  public:
    LittleRoom() {
        getrlimit(RLIMIT_FSIZE, &before_);
        rlimit little = before_;
        little.rlim_cur = 4 << 20;
        setrlimit(RLIMIT_FSIZE, &little);
    }
    LittleRoom(const LittleRoom&) = delete;
    LittleRoom& operator=(const LittleRoom&) = delete;
    ~LittleRoom() { setrlimit(RLIMIT_FSIZE, &before_); }

  private:
    rlimit before_{};
};

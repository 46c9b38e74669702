#pragma once

#include "FileLimit.h"

/// While it lives, tables that are made begin small: their files may not become as long as that of
/// one that is made with all the room it wants. To get that room from the system, or to fill it,
/// takes longer than all else that is done with a table of a few memberships.
class LittleRoom : FileLimit {
  public:
    LittleRoom() : FileLimit(4 << 20) {}
};

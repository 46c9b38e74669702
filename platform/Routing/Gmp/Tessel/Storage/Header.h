#pragma once

#include "Routing/Gmp/Tessel/Storage/Format.h"
#include "Routing/Gmp/Tessel/Storage/Record.h"
#include "Routing/Gmp/Tessel/Storage/TableFile.h"

namespace Routing::Gmp::Tessel::Storage {

/// What a table's header says to whoever opened it. A plain value.
struct CheckedHeader {
    HashSeed hashSeed{};
    Dimensions dimensions;
    std::uint32_t statusesSalt = 0;  ///< where the sum over all statuses starts
};

/// Whether a change log may have that many entries.
bool isLogLength(std::uint32_t entries);

/// Writes the header of a new table, with a hash seed of its own, and a control page that says that
/// there is nothing.
void writeHeader(const TableFile& file, Dimensions dimensions);

/// The header of an open table.
/// @throws Rix::CorruptionError if the file is none of ours: too short, foreign, of another version
///         or byte order, damaged; the message starts with its path
CheckedHeader checkedHeader(const TableFile& file);

/// Whether the file is a sound table of an earlier version, which a writer replaces by a new one.
bool isObsoleteTable(const TableFile& file);

/// Where the sum over all statuses of a table starts.
constexpr std::uint32_t statusesSalt(std::uint64_t tableId) {
    return static_cast<std::uint32_t>(tableId);
}

/// A word that nobody can foretell.
std::uint64_t randomWord();

}  // namespace Routing::Gmp::Tessel::Storage

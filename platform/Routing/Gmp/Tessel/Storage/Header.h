#pragma once

#include "Routing/Gmp/Tessel/Storage/Record.h"
#include "Routing/Gmp/Tessel/Storage/TableFile.h"

namespace Routing::Gmp::Tessel::Storage {

/// Writes the header of a new table, with a hash seed of its own.
void writeHeader(const TableFile& file);

/// The hash seed of an open table.
/// @throws Rix::CorruptionError if the file is none of ours: too short, foreign, of another version
///         or byte order, damaged; the message starts with its path
HashSeed checkedHashSeed(const TableFile& file);

}  // namespace Routing::Gmp::Tessel::Storage

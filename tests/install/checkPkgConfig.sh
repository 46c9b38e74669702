#!/usr/bin/env bash
# Builds the example agent with what pkg-config says, runs it, and compares what it prints.
#
#     checkPkgConfig.sh COMPILER LIBRARIES EXAMPLES PROGRAM VERSION
set -euo pipefail
compiler=$1 libraries=$2 examples=$3 program=$4 version=$5
export PKG_CONFIG_PATH=$libraries/pkgconfig
for package in MembershipJoinStatusSm IrbPlatform; do
    [[ $(pkg-config --modversion $package) == "$version" ]]
done
read -ra options <<<"$(pkg-config --cflags --libs MembershipJoinStatusSm)"
"$compiler" -std=c++20 "$examples/embed.cpp" "${options[@]}" -o "$program"
LD_LIBRARY_PATH=$libraries "$program" | diff "$examples/embed.expected" -

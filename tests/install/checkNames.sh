#!/usr/bin/env bash
# Checks that the linker's name of each library leads to that of programs, which leads to the file,
# and that nothing else bears a name of the library.
#
#     checkNames.sh FOLDER VERSION NAME...
set -euo pipefail
folder=$1 version=$2
for name in "${@:3}"; do
    library=lib$name.so
    for link in "$library $library.0" "$library.0 $library.$version"; do
        read -r from to <<<"$link"
        [[ $(readlink "$folder/$from") == "$to" ]] || {
            echo "$from does not lead to $to"
            exit 1
        }
    done
    [[ -f $folder/$library.$version && ! -L $folder/$library.$version ]]
    diff <(printf '%s\n' "$library" "$library.0" "$library.$version") \
        <(cd "$folder" && printf '%s\n' "$library"*)
done

#!/usr/bin/env bash
# Installs a build into a folder that holds somebody else's files, twice, and uninstalls: what is left
# must be what was there before. So, too, where there was no folder, and where its path is relative.
#
#     checkUninstall.sh DEV BUILD FOLDER
set -euo pipefail
dev=$1 build=$2 folder=$3

installAndUninstall() { # installAndUninstall PREFIX
    cmake --install "$build" --prefix "$1" >/dev/null
    cmake --install "$build" --prefix "$1" >/dev/null
    [[ -x $1/bin/irbmc ]]
    "$dev" uninstall "$1" >/dev/null
}

rm -rf "$folder"
mkdir -p "$folder"/used/{bin,lib,include/irbmc/Lumo,share/man/man1}
touch "$folder"/used/{bin,lib,share/man/man1}/theirs "$folder/used/include/irbmc/Lumo/Theirs.h"
before=$(find "$folder/used" | sort)
installAndUninstall "$folder/used"
diff <(echo "$before") <(find "$folder/used" | sort)

cd "$folder"
for new in "$folder/new" relative; do
    installAndUninstall "$new"
    if [[ -e $new ]]; then
        find "$new"
        exit 1
    fi
done

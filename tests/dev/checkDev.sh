#!/usr/bin/env bash
# Checks what ./dev prints where: a copy of it runs in a folder of its own, with stand-ins for what it
# calls that print noise.
#
#     checkDev.sh DEV
set -euo pipefail
dev=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
mkdir -p "$folder/bin" "$folder/build/release/bin" "$folder/examples"
cp "$dev" "$folder/dev"

standIn() { # standIn FILE TEXT
    printf '#!/bin/sh\necho "%s"\n' "$2" >"$1"
    chmod +x "$1"
}
standIn "$folder/bin/cmake" "noise of the build"
standIn "$folder/bin/dpkg-query" installed
standIn "$folder/build/release/bin/irbmc" report
export PATH=$folder/bin:$PATH

fail() {
    printf '%s\n' "$*" >&2
    exit 1
}

[[ $("$folder/dev" run 2>/dev/null) == report ]] || fail "./dev run prints more than the report"
[[ -z $("$folder/dev" build 2>/dev/null) ]] || fail "./dev build prints to standard output"

# The reports are renewed as the test that compares them makes them: from standard input.
mkdir -p "$folder/tests/irbmc/reports"
echo recording >"$folder/examples/lab.jsonl"
# shellcheck disable=SC2016
printf '#!/bin/sh\necho "$@"\ncat\n' >"$folder/build/release/bin/irbmc"
standIn "$folder/bin/git" difference
[[ $("$folder/dev" golden 2>/dev/null) == difference ]] || fail "./dev golden shows no difference"
for gateway in on off; do
    for mplsTunnel in on off; do
        toggles="--toggle OismGateway=$gateway --toggle OismMplsTunnel=$mplsTunnel"
        diff <(printf 'replay %s -\nrecording\n' "$toggles") \
            "$folder/tests/irbmc/reports/lab-gateway-$gateway-mplsTunnel-$mplsTunnel.txt"
    done
done

refusal() { # refusal WORD...: what is said of a wrong command line, on standard error alone
    [[ -z $("$folder/dev" "$@" 2>/dev/null) ]] || fail "./dev $* prints to standard output"
    { "$folder/dev" "$@" >/dev/null; } 2>&1 && fail "./dev $* passes"
    return 0
}
[[ $(refusal biuld) == *"no command 'biuld'; did you mean 'build'?"* ]] || fail "$(refusal biuld)"
[[ $(refusal frobnicate) == *"no command 'frobnicate'; ./dev help lists them" ]] ||
    fail "$(refusal frobnicate)"
[[ $(refusal test --clagn) == *"no option '--clagn' of test; did you mean '--clang'?" ]] ||
    fail "$(refusal test --clagn)"

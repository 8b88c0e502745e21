#!/bin/bash
# Measures the commands of kve that show results beside copying the same text, and prints a table: megabytes
# of the text, user and system time of the command and of cat of the text into a pipe, seconds by the clock of both,
# and peak memory. The clock counts on an idle machine only. Each number is the best of RUNS runs (an environment variable, 3
# by default). Data and outputs go to build/bench.
#
#   bench/run_results.sh [SIZE...]
#
# SIZE is a number of records and of elements of a matrix, 1000000 by default.
set -euo pipefail
. "$(dirname "$0")/measuring.sh"
cmake --build "$build/program" --target kve > /dev/null
[ $# -gt 0 ] || set -- 1000000
kve=$build/program/kve

# clocked COMMAND...: seconds, user and system time, megabytes, of the run with the least time.
clocked() {
    for _ in $(seq "${RUNS:-3}"); do
        "$tools/measure" "$@" < /dev/null || { echo "failed: $*" >&2; exit 1; }
    done | sort -n | head -1
}

# A pedigree factor with about three elements of the inverse for each animal.
prepare() {
    local folder=$build/results-$1
    mkdir -p "$folder"
    cd "$folder"
    [ ! -s MODINF ] || return 0
    "$tools/generate_data" "$1" 0 random . && "$build/program/KVE1" < directives > listing
    mkdir -p pedigree
    "$tools/generate_pedigree" $(($1 / 3)) 1 sorted pedigree > pedigree/description
    (cd pedigree && "$build/program/KVE1" < directives > listing)
}

# show COMMAND FOLDER MORE...: a line of the table.
show() {
    local wall user system memory copy_wall copy_user copy_system
    "$kve" "$@" > text
    read -r wall user system memory < <(clocked sh -c 'exec "$0" "$@" | cat > /dev/null' "$kve" "$@")
    read -r copy_wall copy_user copy_system _ < <(clocked sh -c 'cat text | cat > /dev/null')
    printf '%10s %-28s %8s %7s %7s %7s %9s %7s %7s %7s\n' "$size" "$*" "$(($(stat -c %s text) / 1000000))" \
        "$user" "$system" "$wall" "$copy_user" "$copy_system" "$copy_wall" "$memory"
    rm -f text
}

printf '%10s %-28s %8s %7s %7s %7s %9s %7s %7s %7s\n' size command 'text MB' 'user s' 'sys s' 'clock s' \
    'copy user' sys clock MB
for size; do
    prepare "$size"
    show records .
    show records . --original
    show levels pedigree
    show matrix pedigree AINV1
    show report .
    show report pedigree
done

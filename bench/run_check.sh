#!/bin/bash
# Measures kve check on the data of the main road beside KVE1 and prints a table: user seconds of the
# whole run of KVE1, which reads the data twice, of the part up to the summary of the data, in which
# it has read them once, and of kve check, with its ratio to that part and its peak memory, for all
# records and with --fast. Each number is the least of RUNS runs (an environment variable, 3 by
# default).
#
#   bench/run_check.sh [RECORDS...]
#
# RECORDS are 1000000 by default. Data and outputs go to build/bench. The part of KVE1 is measured
# with a residual group without a prior of its own, at which it stops after the first reading.
set -euo pipefail
. "$(dirname "$0")/measuring.sh"
cmake --build "$build/program" --target kve > /dev/null
[ $# -gt 0 ] || set -- 1000000

# least USER|MEMORY of the command, which may end with any status
least() {
    for _ in $(seq "${RUNS:-3}"); do
        "$tools/measure" "$@" < "${input:-/dev/null}" || true
    done | awk 'NF >= 4 { if (!n++ || $2 < user) user = $2; if (n == 1 || $4 < memory) memory = $4 }
                END { print user, memory }'
}

printf '%10s %9s %12s %9s %7s %7s %9s\n' records 'KVE1 s' 'one reading' 'check s' ratio MB 'fast s'
for records; do
    folder=$build/$records-0-random
    mkdir -p "$folder"
    [ -s "$folder/data" ] || "$tools/generate_data" "$records" 0 random "$folder"
    rm -rf "$folder/check"
    mkdir "$folder/check"
    cd "$folder/check"
    ln -s ../data .
    cp ../directives analysis.kve
    # The priors are read after the data: without one of them the run ends there.
    sed '/^2 3 3 /d' ../directives > stopping.kve
    cat data > /dev/null
    read -r whole _ < <(input=analysis.kve least "$build/program/KVE1")
    read -r once _ < <(input=stopping.kve least "$build/program/KVE1")
    read -r check memory < <(least "$build/program/kve" check analysis.kve)
    read -r fast _ < <(least "$build/program/kve" check --fast analysis.kve)
    awk "BEGIN { printf \"%10s %9.2f %12.2f %9.2f %7.2f %7.0f %9.2f\\n\", $records, $whole, $once,
                        $check, $check / $once, $memory, $fast }"
    cd "$build"
    rm -rf "$folder/check"
done

#!/bin/bash
# Measures what a genomic matrix costs KVE1, beside the yardstick, and prints a table: CPU time (user
# and system, all threads) and peak memory of whole runs with the matrix in text and in binary form,
# of the same run with the pedigree alone, and of the yardstick; the memory of the two dense
# matrices; and the ratio of the whole run in text to the yardstick. A second table has the reading
# of the text alone, in nanoseconds a record. Each number is the best of RUNS runs (an environment
# variable, 3 by default). Data and outputs go to build/bench.
#
#   bench/run_genomic.sh [TYPED...]
#
# TYPED, the numbers of typed animals, are 2000 and 5000 by default; the pedigree has 100,000
# animals, in the order of birth.
set -euo pipefail
. "$(dirname "$0")/measuring.sh"
[ $# -gt 0 ] || set -- 2000 5000

reading=
printf '%8s %9s %9s %11s %11s %9s %9s %12s %12s %7s\n' typed 'text s' 'binary s' 'pedigree s' \
    'yardstick s' 'text MB' 'binary MB' 'yardstick MB' 'matrices MB' ratio
for typed; do
    folder=$build/genomic-$typed
    mkdir -p "$folder"
    if [ ! -s "$folder/blended.bin" ]; then
        "$tools/generate_pedigree" 100000 1 sorted "$folder" > /dev/null
        "$tools/generate_genomic" "$typed" "$folder"
    fi
    cd "$folder"
    cat pedigree* data typed* genomic* > /dev/null
    read -r text_time text_memory < <(input=blended best "$build/program/KVE1")
    read -r binary_time binary_memory < <(input=blended.bin best "$build/program/KVE1")
    read -r plain_time _ < <(input=directives best "$build/program/KVE1")
    read -r least_time least_memory \
        < <(best "$tools/yardstick_genomic" pedigree typed genomic elements)
    printf '%8s %9s %9s %11s %11s %9s %9s %12s %12s %7s\n' "$typed" "$text_time" "$binary_time" \
        "$plain_time" "$least_time" "$text_memory" "$binary_memory" "$least_memory" \
        "$(awk "BEGIN { printf \"%.1f\", $typed * ($typed + 1) * 8 / 1048576 }")" \
        "$(awk "BEGIN { printf \"%.2f\", $text_time / $least_time }")"
    read -r reader _ < <(best "$tools/read_elements" genomic)
    read -r parse _ < <(best "$tools/yardstick_genomic" genomic)
    records=$((typed * (typed + 1) / 2))
    reading+=$(awk "BEGIN { printf \"%8d %9.1f %9.1f %7.2f\", $typed, $reader * 1e9 / $records,
                            $parse * 1e9 / $records, $reader / $parse }")$'\n'
    rm -f elements PGMIX1 AINV1
done
printf '\n%8s %9s %9s %7s\n%s' typed reader parse ratio "$reading"

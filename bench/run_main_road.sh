#!/bin/bash
# Measures KVE1 on the main road beside the yardstick, at 1 and 10 million records, and prints a
# table: CPU time (user and system), peak memory, and the ratio of the times. Each number is the
# best of RUNS runs (an environment variable, 3 by default). Data and outputs go to build/bench.
#
#   bench/run_main_road.sh [LEVELS] [random|sorted]
#
# LEVELS is the number of levels of the random effect; 0 (the default) gives one per 20 records, a
# fixed number shows that memory does not grow with the records.
set -euo pipefail
. "$(dirname "$0")/measuring.sh"
levels=${1:-0}
order=${2:-random}

printf '%10s %10s %12s %12s %14s %14s %8s\n' records levels 'KVE1 s' 'KVE1 MB' 'yardstick s' \
    'yardstick MB' ratio
for records in 1000000 10000000; do
    folder=$build/$records-$levels-$order
    mkdir -p "$folder"
    [ -s "$folder/directives" ] || "$tools/generate_data" "$records" "$levels" "$order" "$folder"
    cd "$folder"
    cat data > /dev/null
    read -r own_time own_memory < <(input=directives best "$build/program/KVE1")
    read -r least_time least_memory < <(best "$tools/yardstick" data recoded)
    rm -f recoded
    shown=$levels
    [ "$levels" != 0 ] || shown=$((records / 20 + 1))
    ratio=$(awk "BEGIN { printf \"%.2f\", $own_time / $least_time }")
    printf '%10s %10s %12s %12s %14s %14s %8s\n' "$records" "$shown" "$own_time" "$own_memory" \
        "$least_time" "$least_memory" "$ratio"
done

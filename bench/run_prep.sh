#!/bin/bash
# Measures kve prep on a table of users beside two readers of tables on one thread, in one run, and
# prints a table: CPU time (user and system) and peak memory. kve prep reads the table, codes it and
# writes the data; the others only read it into memory. The ratio is that of the time of kve prep to
# that of the faster one; 3 is the most that it should be. Each number is the best of RUNS runs (an
# environment variable, 3 by default). Data and outputs go to build/bench. Needs npm.
#
#   bench/run_prep.sh [plain|quoted] [RECORDS...]
#
# RECORDS are 1000000 by default.
set -euo pipefail
. "$(dirname "$0")/measuring.sh"
kind=${1:-plain}
shift $(($# < 1 ? $# : 1))
[ $# -gt 0 ] || set -- 1000000
cmake --build "$build/program" --target kve > /dev/null
npm=$build/npm
mkdir -p "$npm"
cp "$root/bench/yardstick_table.mjs" "$npm"
[ -d "$npm/node_modules/nodejs-polars-linux-x64-gnu" ] ||
    (cd "$npm" && npm install --no-audit --no-fund @duckdb/node-api nodejs-polars \
        nodejs-polars-linux-x64-gnu > /dev/null 2>&1)

yardstick() { best env POLARS_MAX_THREADS=1 node "$npm/yardstick_table.mjs" "$1" table.csv; }

printf '%10s %9s %9s %9s %9s %11s %10s %10s %9s %7s\n' records 'text s' 'text MB' 'binary s' \
    'binary MB' 'duckdb s' 'duckdb MB' 'polars s' 'polars MB' ratio
for records in "$@"; do
    folder=$build/table-$kind-$records
    mkdir -p "$folder"
    [ -s "$folder/table.csv" ] || "$tools/generate_table" "$records" "$kind" "$folder"
    cd "$folder"
    cat table.csv > /dev/null
    read -r text text_memory < <(best "$build/program/kve" prep recipe.toml -o text)
    read -r binary binary_memory < <(best "$build/program/kve" prep recipe.toml -o binary --binary)
    read -r duckdb duckdb_memory < <(yardstick duckdb)
    read -r polars polars_memory < <(yardstick polars)
    ratio=$(awk "BEGIN { least = $duckdb < $polars ? $duckdb : $polars; printf \"%.2f\", $text / least }")
    printf '%10s %9s %9s %9s %9s %11s %10s %10s %9s %7s\n' "$records" "$text" "$text_memory" \
        "$binary" "$binary_memory" "$duckdb" "$duckdb_memory" "$polars" "$polars_memory" "$ratio"
done

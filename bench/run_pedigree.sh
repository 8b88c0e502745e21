#!/bin/bash
# Measures what a pedigree costs KVE1, beside the yardstick, and prints a table: CPU time (user and
# system) and peak memory of the whole run and of the same run without the relationships, the
# difference of the times, the yardstick's time and memory, and the ratio of the difference to the
# yardstick's time. Each size comes twice: with the tables growing from their first dimensions and
# with a KVEDIM that fits; "told MB" is what the tables then hold. Each number is the best of RUNS
# runs (an environment variable, 3 by default). Data and outputs go to build/bench.
#
#   bench/run_pedigree.sh [METHOD] [sorted|shuffled] [ANIMALS...]
#
# METHOD is 1 (with inbreeding, the default) or 2; ANIMALS are 100000 and 1000000 by default.
#
# First of all the inverse of a small pedigree, from both programs, is checked against the dense
# relationship matrix; after each run both must have left the same number of elements.
set -euo pipefail
. "$(dirname "$0")/measuring.sh"
method=${1:-1}
order=${2:-shuffled}
shift $(($# < 2 ? $# : 2))
[ $# -gt 0 ] || set -- 100000 1000000

# To a folder of its own for each pedigree.
go_to_pedigree() {
    local folder=$build/pedigree-$1-$method-$order
    mkdir -p "$folder"
    [ -s "$folder/plain" ] ||
        "$tools/generate_pedigree" "$1" "$method" "$order" "$folder" > "$folder/description"
    cd "$folder"
    rm -f KVEDIM
    cat pedigree data > /dev/null
}

# Rows of the level table, of the animal table, elements of the matrix.
write_kvedim() {
    local levels=$(($(wc -l < data) + $1 / 100 + 1000)) animals=$(($1 + 100))
    local elements=$(($(stat -c %s elements) / 24 + 100))
    echo "&kvedim MFL=$levels MDL=$animals MAXNRM=$elements /" > KVEDIM
    local bytes=$((28 * levels + (52 + 16 + 4) * animals + 16 * elements))
    told=$(awk "BEGIN { printf \"%.1f\", $bytes / 1048576 }")
}

measure_run() {
    local time memory plain_time plain_memory difference ratio
    read -r plain_time plain_memory < <(input=plain best "$build/program/KVE1")
    read -r time memory < <(input=directives best "$build/program/KVE1")
    [ "$(stat -c %s AINV1)" = "$(stat -c %s elements)" ] ||
        { echo "AINV1 and the yardstick differ in the number of elements" >&2; exit 1; }
    difference=$(awk "BEGIN { printf \"%.3f\", $time - $plain_time }")
    ratio=$(awk "BEGIN { printf \"%.2f\", $difference / $least_time }")
    printf '%10s %8s %9s %9s %9s %9s %9s %9s %11s %12s %7s\n' "$1" "$2" "$time" "$plain_time" \
        "$difference" "$memory" "$plain_memory" "$3" "$least_time" "$least_memory" "$ratio"
}

go_to_pedigree 2000
"$tools/yardstick_pedigree" pedigree "$method" elements
"$tools/check_elements" pedigree "$method" elements
"$build/program/KVE1" < directives > listing
"$tools/check_elements" pedigree "$method" AINV1

printf '%10s %8s %9s %9s %9s %9s %9s %9s %11s %12s %7s\n' animals tables 'KVE1 s' 'plain s' \
    'diff. s' 'KVE1 MB' 'plain MB' 'told MB' 'yardstick s' 'yardstick MB' ratio
for animals; do
    go_to_pedigree "$animals"
    cat description
    read -r least_time least_memory < <(best "$tools/yardstick_pedigree" pedigree "$method" elements)
    measure_run "$animals" growing -
    write_kvedim "$animals"
    measure_run "$animals" fitting "$told"
    rm -f elements AINV1
done

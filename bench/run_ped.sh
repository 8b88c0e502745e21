#!/bin/bash
# Measures kve ped beside the pedigree part of KVE1 with method 1 and prints a table: CPU time (user
# and system) of the part of KVE1, which is the run less the same run without the relationships, of
# kve ped and of kve ped with statistics, both with the ratio to that part, and peak memory. The
# pedigree of KVE1 is in numbers, that of kve ped the same as CSV, with identities of letters and
# digits and with dates. Each number is the best of RUNS runs (an environment variable, 3 by default).
#
#   bench/run_ped.sh [sorted|shuffled] [ANIMALS...]
#
# ANIMALS are 100000 and 1000000 by default. Data and outputs go to build/bench.
set -euo pipefail
. "$(dirname "$0")/measuring.sh"
cmake --build "$build/program" --target kve > /dev/null
order=${1:-shuffled}
shift $(($# < 1 ? $# : 1))
[ $# -gt 0 ] || set -- 100000 1000000

# Identities of 14 characters; days counted from 1 January 1970 as dates.
make_table() {
    awk 'function date(z,   era, doe, yoe, doy, mp, month) {
             z += 719468; era = int(z / 146097); doe = z - era * 146097
             yoe = int((doe - int(doe / 1460) + int(doe / 36524) - int(doe / 146096)) / 365)
             doy = doe - (365 * yoe + int(yoe / 4) - int(yoe / 100)); mp = int((5 * doy + 2) / 153)
             month = mp < 10 ? mp + 3 : mp - 9
             return sprintf("%04d-%02d-%02d", yoe + era * 400 + (month <= 2), month,
                            doy - int((153 * mp + 2) / 5) + 1)
         }
         function name(id) { return id > 0 ? sprintf("DE%012d", id) : "" }
         BEGIN { print "animal,sire,dam,birth" }
         { print name($1) "," name($2) "," name($3) "," date($4 - 20000) }' pedigree
}

# The first of the runs finds no codes of an earlier one.
run_ped() {
    rm -rf out
    best "$tools/../kve" ped animals.csv -o out "$@"
}

printf '%10s %9s %9s %7s %7s %11s %7s %7s\n' animals 'KVE1 s' 'ped s' ratio MB 'with stats' ratio MB
for animals; do
    folder=$build/ped-$animals-$order
    mkdir -p "$folder"
    [ -s "$folder/plain" ] ||
        "$tools/generate_pedigree" "$animals" 1 "$order" "$folder" > "$folder/description"
    cd "$folder"
    [ -s animals.csv ] || { make_table > table && mv table animals.csv; }
    rm -f KVEDIM
    cat pedigree data animals.csv > /dev/null
    read -r plain_time _ < <(input=plain best "$build/program/KVE1")
    read -r time _ < <(input=directives best "$build/program/KVE1")
    read -r ped_time ped_memory < <(run_ped)
    read -r stats_time stats_memory < <(run_ped --stats)
    awk "BEGIN { part = $time - $plain_time
                 printf \"%10s %9.2f %9.2f %7.2f %7.0f %11.2f %7.2f %7.0f\\n\", $animals, part,
                        $ped_time, $ped_time / part, $ped_memory, $stats_time,
                        $stats_time / part, $stats_memory }"
done

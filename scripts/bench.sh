#!/bin/bash
# bench.sh            measures KVE1 at 1 and 10 million records and animals and with 2,000 typed animals
# bench.sh SIZE...    the same with other numbers of records and animals, the smallest first
# bench.sh --large [TYPED]
#                     20,000 typed animals, by threads of the BLAS: some 15 GB of disk, 12 GB of memory
#
# Builds for release, generates what is missing (build/bench, 5 GB) and prints one table: medians of
# RUNS runs (an environment variable, 5 by default, 1 with --large) in seconds and MB. The runs are
# taken in turns, every second round from the end, so that what disturbs the machine and what a run
# leaves to the next one strike all of them alike. KVE1 has CORES (0,1 by default), the yardsticks of
# bench/ have one core.
#
# The first ratio is the wall time of a run to that of its yardsticks: that of the data, for a
# pedigree and its data those of a pedigree and of as many data records together, each on one core.
# Beside it stands what it should be at most. The next one, of pedigrees, is that of the run less the
# same run without relationships to the yardstick of the pedigree; the last one is to the wall time
# at the size before, which should be at most 13.
#
# Five rounds take some 20 minutes, --large half an hour. Other people's programs, which take long,
# sit out every second round.
set -euo pipefail
. "$(dirname "$0")/../bench/measuring.sh"
cores=${CORES:-0,1}
results=$build/results
jobs=()

# add CASE SIZE PROGRAM FOLDER DIMENSIONS CORES INPUT COMMAND
add() { local IFS='|'; jobs+=("$*"); }

has_r() { Rscript -e 'library(data.table)' > /dev/null 2>&1; }
# Another python3 may stand before that of Debian. To `python`.
has_pandas() {
    for python in python3 /usr/bin/python3; do
        ! "$python" -c 'import pandas' > /dev/null 2>&1 || return 0
    done
    return 1
}

plan_data() {
    local folder=$build/$1-0-random
    if [ ! -s "$folder/fitting" ]; then
        mkdir -p "$folder"
        "$tools/generate_data" "$1" 0 random "$folder"
        echo "&kvedim MFL=$(($1 / 20 + 1000)) MAXNRM=$(($1 / 20 + 1000)) /" > "$folder/fitting"
    fi
    for dimensions in default fitting; do
        add data "$1" "$dimensions" "$folder" "$dimensions" "$cores" directives "$build/program/KVE1"
    done
    add data "$1" yardstick "$folder" default 0 /dev/null "$tools/yardstick data recoded"
    ! has_r || add data "$1" "R data.table" "$folder" default "$cores" /dev/null \
        "Rscript $root/bench/recode.R data"
    ! has_pandas || add data "$1" pandas "$folder" default "$cores" /dev/null \
        "$python $root/bench/recode.py data"
}

# Room for the levels, the animals and the elements of the inverse.
write_fitting() {
    "$tools/yardstick_pedigree" "$2/pedigree" 2 "$2/elements"
    local elements=$(($(stat -c %s "$2/elements") / 24 + 100))
    rm "$2/elements"
    echo "&kvedim MFL=$(($(wc -l < "$2/data") + $1 / 100 + 1000)) MDL=$(($1 + 100))" \
        "MAXNRM=$elements /" > "$2/fitting"
}

plan_pedigrees() {
    local folder=$build/pedigree-$1-1-shuffled
    mkdir -p "$folder"
    [ -s "$folder/plain" ] || "$tools/generate_pedigree" "$1" 1 shuffled "$folder" > /dev/null
    [ -s "$folder/fitting" ] || write_fitting "$1" "$folder"
    cp "$folder/directives" "$folder/method1"
    sed 's/ PED 1 / PED 2 /' "$folder/directives" > "$folder/method2"
    for dimensions in default fitting; do
        add plain "$1" "$dimensions" "$folder" "$dimensions" "$cores" plain "$build/program/KVE1"
    done
    for method in 2 1; do
        for dimensions in default fitting; do
            add "method $method" "$1" "$dimensions" "$folder" "$dimensions" "$cores" \
                "method$method" "$build/program/KVE1"
        done
        add "method $method" "$1" yardstick "$folder" default 0 /dev/null \
            "$tools/yardstick_pedigree pedigree $method elements"
    done
}

# To `folder`.
generate_genomic() {
    folder=$build/genomic-$1
    [ ! -s "$folder/blended.bin" ] || return 0
    mkdir -p "$folder"
    "$tools/generate_pedigree" 100000 1 sorted "$folder" > /dev/null
    "$tools/generate_genomic" "$1" "$folder"
}

plan_genomic() {
    generate_genomic "$1"
    add typed "$1" default "$folder" default "$cores" blended "$build/program/KVE1"
    add typed "$1" yardstick "$folder" default 0 /dev/null \
        "$tools/yardstick_genomic pedigree typed genomic elements"
}

# The BLAS with threads, beside the one that is installed; not there without the package's archive.
fetch_threaded_blas() {
    blas=$build/blas/usr/lib/x86_64-linux-gnu/openblas-pthread
    [ ! -d "$blas" ] || return 0
    mkdir -p "$build/blas"
    (cd "$build/blas" && apt-get download -qq libopenblas0-pthread && dpkg -x libopenblas0-*.deb .)
}

plan_large() {
    plan_genomic "$1"
    if fetch_threaded_blas; then
        for threads in 1 2; do
            add typed "$1" "threads: $threads" "$folder" default "$cores" blended \
                "env LD_LIBRARY_PATH=$blas OPENBLAS_NUM_THREADS=$threads $build/program/KVE1"
        done
    else
        echo "There is no package libopenblas0-pthread: no runs with threads" >&2
    fi
    echo "BLAS of the rows without threads: $(realpath /usr/lib/x86_64-linux-gnu/libopenblas.so.0)"
}

# Each run has a folder of its own, which goes with its outputs before they reach the disk.
run_job() {
    IFS='|' read -r case size program folder dimensions on input command <<< "$1"
    rm -rf "$folder/run"
    mkdir "$folder/run"
    cd "$folder/run"
    for name in data pedigree typed genomic directives plain method1 method2 blended; do
        [ ! -e "../$name" ] || ln -s "../$name" .
    done
    cat -- * > /dev/null  # into the cache of the system
    "$tools/touch_memory" $((size / 2500 + 300))  # about what it takes with its outputs
    [ "$dimensions" = default ] || cp ../fitting KVEDIM
    # shellcheck disable=SC2086
    measured=$(taskset -c "$on" "$tools/measure" $command < "$input") ||
        { echo "failed in $folder: $command < $input" >&2; exit 1; }
    echo "$case|$size|$program|${measured// /|}" >> "$results"
    cd "$build"
    rm -rf "$folder/run"
}

print_table() {
    awk -F '|' '
    function median(key, column,    n, i, j, t, v) {
        n = count[key]
        for (i = 1; i <= n; ++i) {
            t = value[key, i, column]
            for (j = i - 1; j > 0 && v[j] > t; --j) v[j + 1] = v[j]
            v[j + 1] = t
        }
        return v[int((n + 1) / 2)]
    }
    function ratio(a, b) { return a > 0 && b > 0 ? sprintf("%.2f", a / b) : "" }
    BEGIN {
        goal["data", 1000000] = goal["data", 10000000] = 1.2
        goal["method 2", 1000000] = 2.0; goal["method 2", 10000000] = 1.5
        goal["method 1", 1000000] = 1.2; goal["method 1", 10000000] = 0.8
        goal["typed", 2000] = 1.0
    }
    {
        key = $1 FS $2 FS $3
        if (!(key in count)) order[++keys] = key
        ++count[key]
        for (c = 1; c <= 4; ++c) value[key, count[key], c] = $(c + 3) + 0
        if (!(($1, $2) in before)) { before[$1, $2] = last[$1]; last[$1] = $2 }
    }
    END {
        row = "| %-9s | %8s | %-12s | %6s | %6s | %6s | %6s | %9s | %5s | %10s | %11s |\n"
        printf row, "run", "size", "program", "wall", "user", "system", "MB", "yardstick",
               "goal", "less plain", "size before"
        print "|---|---|---|---|---|---|---|---|---|---|---|"
        for (k = 1; k <= keys; ++k) for (c = 1; c <= 4; ++c) m[order[k], c] = median(order[k], c)
        for (k = 1; k <= keys; ++k) {
            key = order[k]
            split(key, part, FS)
            least = m[part[1] FS part[2] FS "yardstick", 1]
            pedigree = part[1] ~ /^method/
            of_data = pedigree ? m["data" FS part[2] FS "yardstick", 1] : 0
            both = !pedigree || of_data > 0 ? least + of_data : 0
            plain = pedigree ? m["plain" FS part[2] FS part[3], 1] : 0
            smaller = m[part[1] FS before[part[1], part[2]] FS part[3], 1]
            wall = m[key, 1]
            own = part[3] == "yardstick"
            printf row, part[1], part[2], part[3], sprintf("%.2f", wall), sprintf("%.2f", m[key, 2]),
                   sprintf("%.2f", m[key, 3]), sprintf("%.0f", m[key, 4]),
                   (own ? "" : ratio(wall, both)),
                   (part[3] ~ /^(default|fitting)$/ ? goal[part[1], part[2]] : ""), (plain > 0 ? ratio(wall - plain, least) : ""),
                   ratio(wall, smaller)
        }
    }' "$results"
}

runs=${RUNS:-5}
if [ "${1:-}" = --large ]; then
    runs=${RUNS:-1}
    plan_large "${2:-20000}"
else
    [ $# -gt 0 ] || set -- 1000000 10000000
    has_r || echo "Without data.table of R: install r-cran-data.table" >&2
    has_pandas || echo "Without pandas: install python3-pandas" >&2
    for size; do plan_data "$size"; done
    for size; do plan_pedigrees "$size"; done
    plan_genomic 2000
fi
: > "$results"
for round in $(seq "$runs"); do
    for at in $(seq ${#jobs[@]}); do
        job=${jobs[$((round % 2 ? at - 1 : -at))]}
        case $job in
            *"|R data.table|"* | *"|pandas|"*) [ $((round % 2)) = 1 ] || continue ;;
        esac
        run_job "$job"
    done
done
grep -m1 'model name' /proc/cpuinfo | sed 's/.*: //'
print_table

#!/bin/bash
# fuzz.sh SECONDS [TARGET...]   runs the targets of fuzz/ for so many seconds each, as many at once
#                               as there are cores, and prints the figures of each
#
# What a target learns stays in build/fuzz/corpus. An input that breaks something is a finding: it stays
# in build/fuzz/findings, what was seen in build/fuzz/logs, and the status is not 0. To see it again:
#   build/fuzz/fuzz/TARGET /absolute/path/of/the/input
set -eu
cd "$(dirname "$0")/.."
[ $# -gt 0 ] || { sed -n '2,3s/^# //p' "$0"; exit 2; }
. scripts/setup.sh
install_missing clang libclang-rt-14-dev
configure_and_build fuzz
export seconds=$1 build=$PWD/build/fuzz
shift
fuzz/make_seeds.py "$build/seeds"
mkdir -p "$build/findings" "$build/logs"
[ $# -gt 0 ] || set -- $(ls "$build/seeds")
# Scratch folders in memory, all in one that goes away also when a target breaks.
scratch=$(mktemp -d "$([ -w /dev/shm ] && echo /dev/shm || echo /tmp)/kve1-fuzz-XXXXXX")
trap 'rm -rf "$scratch"' EXIT
export TMPDIR=$scratch

run_target() {
    mkdir -p "$build/corpus/$1"
    if "$build/fuzz/$1" -max_total_time="$seconds" -max_len=4000 -timeout=20 -rss_limit_mb=3000 \
        -dict=fuzz/keywords.dict -artifact_prefix="$build/findings/$1-" -print_final_stats=1 \
        "$build/corpus/$1" "$build/seeds/$1" >/dev/null 2>"$build/logs/$1"; then
        awk -v name="$1" '/number_of_executed_units/ { n = $2 } / cov: / { covered = $4 }
            END { printf "%-20s %10d executions %6d edges\n", name, n, covered }' "$build/logs/$1"
    else
        echo "$1: a finding, see $build/logs/$1"
        sed -n 's/.*Test unit written to /    input /p' "$build/logs/$1"
        return 1
    fi
}
export -f run_target
printf '%s\n' "$@" | xargs -P "$(nproc)" -I{} bash -c 'run_target {}'

# What the measuring scripts share; they source it. Builds the programs, for release, and sets root,
# build (where data and outputs go) and tools (the folder of the benchmark programs).
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$root/build/bench
cmake -S "$root" -B "$build/program" -G Ninja -DKVE_BENCH=ON -DKVE_TESTS=OFF > /dev/null
cmake --build "$build/program" --target KVE1 benchmarks > /dev/null
tools=$build/program/bench

# Runs a command RUNS times (an environment variable, 3 by default), with the file $input on its
# standard input; prints the least CPU time and the least peak memory.
best() {
    for _ in $(seq "${RUNS:-3}"); do
        "$tools/measure" "$@" < "${input:-/dev/null}" || { echo "failed: $*" >&2; exit 1; }
    done | awk '{ cpu = $2 + $3 } NR == 1 || cpu < time { time = cpu }
                NR == 1 || $4 < memory { memory = $4 } END { print time, memory }'
}

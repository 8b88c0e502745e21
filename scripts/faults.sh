#!/bin/bash
# faults.sh [PRESET...]   refuses every call to the system in runs of some thousand records, in the
#                         release and the checked build (some minutes each)
set -eu
cd "$(dirname "$0")/.."
. scripts/setup.sh
[ $# -gt 0 ] || set -- release checked
export KVE1_FAULTS=every GTEST_BRIEF=1

status=0
for preset; do
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset" --target failing_tests
    echo "Every call refused, $preset build"
    tests=$(build/"$preset"/tests/failing_tests --gtest_list_tests --gtest_filter='*RefusedCall*' |
        sed -n 's/^  \([^ ]*\).*/*\1/p')
    # shellcheck disable=SC2086
    printf '%s\n' $tests | xargs -P "$(nproc)" -I{} \
        build/"$preset"/tests/failing_tests --gtest_filter={} || status=1
done
[ $status -eq 0 ] && echo "Each refused call was told or changed nothing"
exit $status

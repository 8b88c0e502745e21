#!/bin/sh
# lint.sh              clang-tidy over src, kve, bench, tests and fuzz, cppcheck over all but tests
# lint.sh SOURCES...   the same for some sources (.cpp)
# Ends with a status other than 0 on any finding. .clang-tidy says which checks, and why not others.
set -u
cd "$(dirname "$0")/.."
. scripts/setup.sh
set +e
install_missing clang clang-tidy cppcheck
# The lists of compile commands, and the header that a build of the tests would make.
for preset in clang fuzz; do
    cmake --preset $preset >/dev/null || exit 1
    cmake -DSRC="$PWD/src" -DOUT=build/$preset/tests/all_tables.h -P tests/list_tables.cmake || exit 1
done
[ $# -gt 0 ] || set -- $(find src kve bench tests fuzz -name '*.cpp' | sort)

status=0
echo "clang-tidy on $# sources"
tidy() {
    preset=$1
    shift
    printf '%s\n' "$@" | xargs -r -P "$(nproc)" -n 1 clang-tidy -p "build/$preset" --quiet 2>/dev/null
}
# shellcheck disable=SC2046
tidy fuzz $(printf '%s\n' "$@" | grep '^fuzz/') || status=1
# shellcheck disable=SC2046
tidy clang $(printf '%s\n' "$@" | grep -v '^fuzz/') || status=1

checked=$(printf '%s\n' "$@" | grep -v '^tests/')
if [ -n "$checked" ]; then
    echo "cppcheck on the same without tests"
    # missingIncludeSystem: cppcheck knows the standard library without reading its headers.
    # shellcheck disable=SC2086
    cppcheck --enable=warning,performance,portability --std=c++20 --language=c++ --inline-suppr \
        --suppress=missingIncludeSystem --error-exitcode=1 --quiet -j "$(nproc)" -I src -I . $checked ||
        status=1
fi
[ $status -eq 0 ] && echo "No findings"
exit $status

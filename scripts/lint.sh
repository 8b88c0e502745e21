#!/bin/sh
# lint.sh              clang-tidy over src, kve, bench and tests, cppcheck over all but tests
# lint.sh SOURCES...   the same for some sources (.cpp)
# Ends with a status other than 0 on any finding. .clang-tidy says which checks, and why not others.
set -u
cd "$(dirname "$0")/.."
. scripts/setup.sh
set +e
install_missing clang clang-tidy cppcheck
# The list of compile commands, and the header that a build of the tests would make.
cmake --preset clang >/dev/null || exit 1
cmake -DSRC="$PWD/src" -DOUT=build/clang/tests/all_tables.h -P tests/list_tables.cmake || exit 1
[ $# -gt 0 ] || set -- $(find src kve bench tests -name '*.cpp' | sort)

status=0
echo "clang-tidy on $# sources"
printf '%s\n' "$@" | xargs -P "$(nproc)" -n 1 clang-tidy -p build/clang --quiet 2>/dev/null || status=1

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

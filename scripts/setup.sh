#!/bin/sh
# Installs what the build needs and the machine lacks. Sourced by run.sh and test.sh.
set -eu

packages="g++ cmake ninja-build libopenblas-serial-dev libgtest-dev clang-format python3"
missing=""
for package in $packages; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' ||
        missing="$missing $package"
done
if [ -n "$missing" ]; then
    echo "Installing:$missing"
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -qq
    # shellcheck disable=SC2086
    apt-get install -y -qq --no-install-recommends $missing >/dev/null
fi

# configure_and_build FOLDER CMAKE_OPTIONS...
configure_and_build() {
    folder=$1
    shift
    [ -f "$folder/build.ninja" ] || cmake -S . -B "$folder" -G Ninja "$@" >/dev/null
    cmake --build "$folder"
}

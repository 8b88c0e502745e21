#!/bin/sh
# What the other scripts share; they source it. Root: installs what the build needs and the machine lacks.
# Others are told what is missing.
set -eu

# install_missing PACKAGES...
install_missing() {
    missing=""
    for package in "$@"; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' ||
            missing="$missing $package"
    done
    [ -n "$missing" ] || return 0
    if [ "$(id -u)" -ne 0 ]; then
        echo "Packages are missing. Ask somebody with root rights for" >&2
        echo "    apt-get install --no-install-recommends$missing" >&2
        exit 1
    fi
    echo "Installing:$missing"
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -qq
    # shellcheck disable=SC2086
    apt-get install -y -qq --no-install-recommends $missing >/dev/null
}

install_missing g++ cmake ninja-build libopenblas-serial-dev libgtest-dev clang-format python3 \
    libcli11-dev libfmt-dev nlohmann-json3-dev lowdown zlib1g-dev libcsv-dev libtomlplusplus-dev \
    libjs-chart.js nettle-dev libeigen3-dev

# configure_and_build PRESET, one of CMakePresets.json: into build/PRESET.
configure_and_build() {
    cmake --preset "$1" >/dev/null
    cmake --build --preset "$1"
}

#!/bin/sh
# Builds KVE1 twice, for release and with index checks and sanitizers, and passes all tests in both.
set -eu
cd "$(dirname "$0")/.."
. scripts/setup.sh

echo "Checking that includes point downwards"
scripts/check-layers
echo "Checking the map of the shared tables"
scripts/table-map --check
echo "Checking the layout of the sources"
find src tests bench -name '*.h' -o -name '*.cpp' | sort | xargs clang-format --dry-run --Werror

echo "Release build"
configure_and_build build/release -DCMAKE_BUILD_TYPE=Release
echo "Checked build: index checks, AddressSanitizer, UndefinedBehaviorSanitizer"
configure_and_build build/checked -DCMAKE_BUILD_TYPE=Debug -DKVE_CHECKED=ON

for folder in build/release build/checked; do
    echo "Tests in $folder"
    ctest --test-dir "$folder" --parallel "$(nproc)" --output-on-failure --progress
done

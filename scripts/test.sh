#!/bin/sh
# Builds KVE1 and kve twice, for release and with index checks and sanitizers, and passes all tests in both.
set -eu
cd "$(dirname "$0")/.."
. scripts/setup.sh
# A browser opens the pages of kve report. Where it is missing and nobody may install it, its test is skipped.
[ "$(id -u)" -ne 0 ] || install_missing chromium chromium-driver python3-selenium
install_missing dpkg-dev groff-base man-db python3-pandas python3-scipy

echo "Checking that includes point downwards"
scripts/check-layers
echo "Checking that the documents have every message"
scripts/check-messages
echo "Checking the map of the shared tables"
scripts/table-map --check
echo "Checking the layout of the sources"
find src kve tests bench fuzz -name '*.h' -o -name '*.cpp' | sort | xargs clang-format --dry-run --Werror

echo "Release build"
configure_and_build release
echo "Checked build: index checks, invariants, AddressSanitizer, UndefinedBehaviorSanitizer"
configure_and_build checked

for preset in release checked; do
    echo "Tests in build/$preset"
    ctest --preset "$preset" --parallel "$(nproc)"
done

#!/bin/sh
# run.sh                  builds KVE1 and runs the example examples/dairy in out/dairy; the listing stays there
# run.sh DIRECTIVE_FILE   builds KVE1 and runs your own file, in the folder that it stands in
# The listing goes to standard output; the exit status is that of KVE1.
set -eu
directives="" listing=""
if [ $# -gt 0 ]; then
    if [ ! -f "$1" ]; then
        echo "There is no file $1" >&2
        exit 2
    fi
    directives=$(realpath "$1")
fi

cd "$(dirname "$0")/.."
. scripts/setup.sh
echo "Building KVE1 in build/release"
configure_and_build release
program=$PWD/build/release/KVE1

if [ -z "$directives" ]; then
    echo "Running examples/dairy in out/dairy"
    mkdir -p out/dairy
    cp examples/dairy/dairy.kve examples/dairy/dairy.dat examples/dairy/dairy.ped out/dairy/
    directives=$PWD/out/dairy/dairy.kve
    listing=listing
fi

cd "$(dirname "$directives")"
status=0
if [ -n "$listing" ]; then
    "$program" <"$directives" >"$listing" || status=$?
    cat "$listing"
else
    "$program" <"$directives" || status=$?
fi
echo "KVE1 ended with status $status; its files are in $PWD"
[ $status -ne 0 ] || echo "${program%KVE1}kve summary $PWD shows them"
exit $status

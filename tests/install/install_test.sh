#!/bin/bash
# install_test.sh CASE BUILD EXAMPLE: what is installed works in the place to which it comes. Status 77: a
# tool that the case needs is not on this machine.
set -eu
case=$1 build=$2 example=$3
source=$(cd "$(dirname "$0")/../.." && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
fail() { echo "$*" >&2; exit 1; }
need() { command -v "$1" >/dev/null || { echo "$1 is not installed" >&2; exit 77; }; }

# run_both PREFIX COMMAND...: both programs below PREFIX, called by way of COMMAND, on the example.
run_both() {
    local prefix=$1
    shift
    mkdir -p "$prefix/run"
    cp "$example"/dairy.* "$prefix/run"
    (cd "$prefix/run" && "$@" KVE1 <dairy.kve >dairy.lst) || fail "KVE1 ended with $?"
    (cd "$prefix/run" && "$@" kve summary .) | grep -q '^  1 COW  *PED method 1 dairy.ped, 3025 levels' ||
        fail "kve does not show the run"
    (cd "$prefix/run" && "$@" kve run dairy.kve -C made) | grep -q '3025 levels' ||
        fail "kve run does not find KVE1"
}

options_of() { "$build/kve" "$@" --help | sed -nE 's/^  (-.,)?(--[a-z-]+).*/\2/p'; }
commands() { "$build/kve" --help | sed -nE 's/^  ([a-z][a-z-]*) .*/\1/p'; }

test_tree() {
    cmake --install "$build" --prefix "$scratch/usr" >/dev/null
    cd "$scratch/usr"
    for file in share/bash-completion/completions/kve share/doc/kve1/README.md share/doc/kve1/copyright \
        share/doc/kve1/docs/files.md share/doc/kve1/examples/dairy/dairy.kve; do
        [ -f $file ] || fail "no $file"
    done
    run_both "$scratch/usr" env PATH="$scratch/usr/bin"
}

# Every option is in the manual; the pages render without a warning, and apropos finds their names.
test_manual() {
    need lowdown
    for command in $(commands); do
        for option in $(options_of "$command"); do
            [ "$option" != --help ] || continue
            sed -n "/^kve $command\$/,/^\.S/p" "$build/packaging/kve.1" | grep -qe "$option\\b" ||
                fail "kve(1) does not tell kve $command $option"
        done
    done
    need groff
    for page in kve.1 KVE1.1 kve-files.5; do
        words=$(groff -man -t -Tutf8 -ww -z -rLL=100n "$build/packaging/$page" 2>&1)
        [ -z "$words" ] || fail "$page: $words"
        need lexgrog
        lexgrog "$build/packaging/$page" | grep -q "\"${page%.*} - " || fail "$page has no name for apropos"
    done
}

# complete WORDS...: what is offered for the last one.
complete_words() {
    COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMPREPLY=()
    _kve "$build/kve" "${!#}" "${COMP_WORDS[COMP_CWORD - 1]}"
    echo " ${COMPREPLY[*]-} "
}

test_completion() {
    . "$source/packaging/kve.bash-completion"
    offered=$(complete_words kve "")
    for command in $(commands); do
        [[ $offered == *" $command "* ]] || fail "no command $command in:$offered"
        options=$(complete_words kve "$command" dir -)
        for option in $(options_of "$command"); do
            [[ $options == *" $option "* ]] || fail "no option $option of $command in:$options"
        done
    done
    [ "$(complete_words kve su)" = " summary " ] || fail "su is not completed"
    [ "$(complete_words kve matrix dir AINV1 --format t)" = " text " ] || fail "no values of --format"
    [ "$(complete_words kve levels dir -o -)" = "  " ] || fail "an option in the place of a file"
}

# Into a root that has nothing but the list of packages of this machine, against which dpkg holds the
# dependencies; with root rights run there, with the libraries that these packages own.
test_package() {
    need dpkg-shlibdeps
    cd "$scratch"
    cpack --config "$build/CPackConfig.cmake" -B "$scratch/made" >cpack.out || fail "$(cat cpack.out)"
    local package root=$scratch/root
    package=$(ls "$scratch"/made/*.deb)
    dpkg-deb -f "$package" Depends | grep -q 'libc6 .*libopenblas' || fail "dependencies: $(dpkg-deb -f "$package")"
    mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates" "$root/tmp"
    cp /var/lib/dpkg/status "$root/var/lib/dpkg/"
    if command -v lintian >/dev/null; then  # the maintainer is for packagers to set
        words=$(lintian --allow-root "$package" 2>&1 | grep -v 'root@localhost') || true
        [ -z "$words" ] || fail "$words"
    fi
    # libopenblas0 stands for the variants of the library, of which this machine may have one alone.
    dpkg --root="$root" --force-not-root --force-script-chrootless --log=/dev/null \
        --ignore-depends=libopenblas0 -i "$package" >dpkg.out 2>&1 || fail "$(grep -v 'files list' dpkg.out)"
    if [ "$(id -u)" -ne 0 ]; then
        run_both "$root" env PATH="$root/usr/bin"
        return
    fi
    cp /usr/bin/env "$root/usr/bin/"
    mkdir -p "$root/dev" && : >"$root/dev/null"  # a plain file does for it
    ldd "$root"/usr/bin/* | sed -nE 's/^[^/]*(\/[^ ]*) .*/\1/p' | sort -u | while read -r library; do
        mkdir -p "$root/$(dirname "$library")"
        cp "$library" "$root/$library"
    done
    run_both "$root" chroot "$root" env --chdir /run
}

# Without root rights the scripts tell what is missing, and go on when nothing is.
test_setup() {
    mkdir "$scratch/bin"
    printf '#!/bin/sh\necho 1000\n' >"$scratch/bin/id"
    printf '#!/bin/sh\ntouch "%s/called"\n' "$scratch" >"$scratch/bin/apt-get"
    printf '#!/bin/sh\n[ "$3" = cmake ] || echo install ok installed\n' >"$scratch/bin/dpkg-query"
    chmod +x "$scratch"/bin/*
    status=0
    words=$(PATH="$scratch/bin:$PATH" sh -c ". '$source/scripts/setup.sh'" 2>&1) || status=$?
    [ $status -eq 1 ] && [[ $words == *"apt-get install --no-install-recommends cmake" ]] || fail "$status: $words"
    printf '#!/bin/sh\necho install ok installed\n' >"$scratch/bin/dpkg-query"
    words=$(PATH="$scratch/bin:$PATH" sh -c ". '$source/scripts/setup.sh'" 2>&1) && [ -z "$words" ] || fail "$words"
    [ ! -e "$scratch/called" ] || fail "apt-get was called"
}

"test_$case"

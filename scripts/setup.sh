#!/bin/sh
# Installs what the named builds and scripts need, with apt-get and only what is missing:  scripts/setup.sh [NAME]...
#   builds:   dev (default)  release  asan  tsan  clang  armhf  fuzz
#   scripts:  demo  proof  package  coverage  reference  fresh  board  plots
#   other processors:  arm64  armel  i386  powerpc  ppc64el  riscv64  s390x
set -eu

say() { echo "setup: $*"; }

case ${1:-} in -h | --help) sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0" && exit 0 ;; esac
[ $# -gt 0 ] || set -- dev

if ! command -v apt-get >/dev/null || ! command -v dpkg-query >/dev/null; then
    say "no apt-get here; going on as if all that $* needs were installed"
    exit 0
fi

lRoot=
[ "$(id -u)" -eq 0 ] || lRoot=sudo
lLog=$(mktemp)
trap 'rm -f "$lLog"' EXIT

# asRoot COMMAND...: silent unless it fails.
asRoot() {
    [ -z "$lRoot" ] || command -v sudo >/dev/null || { say "$lNeed: do it as root, or install sudo" >&2; exit 1; }
    # shellcheck disable=SC2086 # nothing or a word
    $lRoot "$@" >"$lLog" 2>&1 </dev/null || { cat "$lLog" >&2; say "$1 failed, see above" >&2; exit 1; }
}

# A package counts as missing unless it is installed completely.
missing() {
    for lPackage in "$@"; do
        lStatus=$(dpkg-query -W -f '${db:Status-Status}' "$lPackage" 2>/dev/null) || lStatus=none
        [ "$lStatus" = installed ] || printf '%s ' "$lPackage"
    done
}

# version COMPILER: the number that the release's package without a number stands for.
version() { apt-cache depends "$1" 2>/dev/null | sed -n "s/^ *Depends: $1-\([0-9][0-9]*\)\$/\1/p" | head -n 1; }

# Packages that are named with a compiler's version are known once apt-get has its lists.
lHasLists=no
known() {
    [ $lHasLists = no ] && [ -z "$(version "$1")" ] || return 0
    lNeed="the lists of packages are missing"
    asRoot apt-get update -qq
    lHasLists=yes
}

lWanted="cmake ninja-build g++"
for lName in "$@"; do
    case $lName in
    demo) ;;
    reference) lWanted="$lWanted doxygen" ;;
    dev) lWanted="$lWanted pkg-config libgtest-dev gdb" ;;
    asan | tsan) lWanted="$lWanted pkg-config libgtest-dev" ;;
    release) lWanted="$lWanted pkg-config libgtest-dev libbenchmark-dev" ;;
    clang | fuzz)
        known clang
        lWanted="$lWanted clang libclang-rt-$(version clang)-dev"
        [ "$lName" = fuzz ] || lWanted="$lWanted pkg-config libgtest-dev"
        ;;
    # The versioned compiler: the package without a version and the multilib packages exclude each other.
    armhf | package)
        known g++
        lWanted="$lWanted g++-$(version g++)-arm-linux-gnueabihf libc6-dev-armhf-cross qemu-user-static"
        if [ "$lName" = armhf ]; then
            lWanted="$lWanted pkg-config googletest"
        else
                lWanted="$lWanted debhelper dpkg-dev lintian reprotest debootstrap"
        fi
        ;;
    arm64 | armel | i386 | powerpc | ppc64el | riscv64 | s390x)
        known g++
        case $lName in
        arm64) lTriplet=aarch64-linux-gnu ;;
        armel) lTriplet=arm-linux-gnueabi ;;
        i386) lTriplet=i686-linux-gnu ;;
        ppc64el) lTriplet=powerpc64le-linux-gnu ;;
        *) lTriplet=$lName-linux-gnu ;;
        esac
        lWanted="$lWanted g++-$(version g++)-$lTriplet libc6-dev-$lName-cross qemu-user-static pkg-config googletest"
        ;;
    coverage) lWanted="$lWanted libgtest-dev gcovr" ;;
    proof) lWanted="$lWanted strace util-linux" ;;
    fresh) lWanted="$lWanted debootstrap git util-linux" ;;
    plots) lWanted="$lWanted gnuplot-nox graphviz" ;;
    board) lWanted="$lWanted qemu-system-arm cpio" ;;
    *)
        say "nothing is known of '$lName'; see scripts/setup.sh --help" >&2
        exit 2
        ;;
    esac
done

# shellcheck disable=SC2086 # lists of words
lMissing=$(missing $lWanted)
if [ -z "$lMissing" ]; then
    say "everything for $* is installed"
    exit 0
fi
say "installing $lMissing"
lNeed="missing: $lMissing"
[ $lHasLists = yes ] || asRoot apt-get update -qq
# shellcheck disable=SC2086
asRoot env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $lMissing
say "done"

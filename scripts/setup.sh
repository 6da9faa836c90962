#!/bin/sh
# Installs what the builds of the named presets need (dev, release, asan, tsan, clang, armhf, fuzz) or of demo, package,
# coverage or reference, with apt-get and only what is missing:  scripts/setup.sh [PRESET]...   (default: dev)
set -eu

say() { echo "setup: $*"; }

# A package counts as missing unless it is installed completely.
missing() {
    for lPackage in "$@"; do
        lStatus=$(dpkg-query -W -f '${db:Status-Status}' "$lPackage" 2>/dev/null) || lStatus=none
        [ "$lStatus" = installed ] || printf '%s ' "$lPackage"
    done
}

[ $# -gt 0 ] || set -- dev
lWanted="cmake ninja-build g++"
for lPreset in "$@"; do
    case $lPreset in
    demo) ;;
    reference) lWanted="$lWanted doxygen" ;;
    dev | asan | tsan) lWanted="$lWanted pkg-config libgtest-dev" ;;
    release) lWanted="$lWanted pkg-config libgtest-dev libbenchmark-dev" ;;
    clang) lWanted="$lWanted pkg-config libgtest-dev clang libclang-rt-14-dev" ;;
    fuzz) lWanted="$lWanted clang libclang-rt-14-dev" ;;
    proof) lWanted="$lWanted strace util-linux" ;;
    # The versioned compiler: the package without a version and the multilib packages exclude each other.
    armhf)
        lWanted="$lWanted pkg-config g++-12-arm-linux-gnueabihf libc6-dev-armhf-cross qemu-user-static googletest"
        ;;
    coverage) lWanted="$lWanted libgtest-dev gcovr" ;;
    package)
        lWanted="$lWanted dpkg-dev lintian debootstrap g++-12-arm-linux-gnueabihf"
        lWanted="$lWanted libc6-dev-armhf-cross qemu-user-static"
        ;;
    *)
        say "no preset '$lPreset'; there are dev, release, asan, tsan, clang, armhf, fuzz, demo, package, coverage and" \
            "reference" >&2
        exit 2
        ;;
    esac
done

if ! command -v apt-get >/dev/null || ! command -v dpkg-query >/dev/null; then
    say "no apt-get here; going on as if all this were installed: $lWanted"
    exit 0
fi

# shellcheck disable=SC2086 # lists of words
lMissing=$(missing $lWanted)
if [ -z "$lMissing" ]; then
    say "everything for $* is installed"
    exit 0
fi

lRoot=
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { say "missing: $lMissing- install it as root, or install sudo" >&2; exit 1; }
    lRoot="sudo"
fi
say "installing $lMissing"
lLog=$(mktemp)
trap 'rm -f "$lLog"' EXIT
# shellcheck disable=SC2086
if ! { $lRoot apt-get update -qq &&
    $lRoot env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $lMissing; } \
    >"$lLog" 2>&1 </dev/null; then
    cat "$lLog" >&2
    say "apt-get failed, see above" >&2
    exit 1
fi
say "done"

#!/bin/sh
# Makes the Debian packages and checks them:  scripts/package.sh [--try] [ARCHITECTURE]...   (default: amd64 armhf)
#   - built in two folders, they are the same bit by bit
#   - lintian finds nothing; the library needs nothing newer than its package says
#   - the binary interface is the stored one (abi/, see scripts/abi.sh)
#   - with --try: installed into a fresh Debian root (made once, with debootstrap; as root), where a stranger's project
#     builds with find_package and with pkg-config, and runs
# The packages are left in build/packages.
set -eu

lRoot=$(cd "$(dirname "$0")/.." && pwd)
cd "$lRoot"
lPackages=$lRoot/build/packages

say() { echo "package: $*"; }
failed() { say "FAILED: $*"; exit 1; }

# The packages' time stamps, so that the same sources make the same packages.
SOURCE_DATE_EPOCH=$(date -d "$(sed -n 's/^ -- .*>  //p' cmake/debian/changelog | head -n 1)" +%s)
export SOURCE_DATE_EPOCH
export CCACHE_DISABLE=1 # else the second build shows only that a cache keeps things well
umask 022

# made SOURCES BUILD ARCHITECTURE: packages from a folder of sources, in BUILD.
made() {
    lToolchain=
    [ "$3" = "$(dpkg --print-architecture)" ] || lToolchain=-DCMAKE_TOOLCHAIN_FILE=$1/cmake/$(triplet "$3").cmake
    # shellcheck disable=SC2086
    cmake -S "$1" -B "$2" -G Ninja $lToolchain -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_INSTALL_PREFIX=/usr \
        -DCMAKE_INSTALL_LIBDIR="lib/$(triplet "$3")" -DUTL_PACKAGE_ARCHITECTURE="$3" -DUTL_BUILD_EXAMPLES=OFF >/dev/null
    cmake --build "$2" --parallel >/dev/null
    rm -f "$2"/*.deb
    (cd "$2" && cpack -G DEB >/dev/null)
}

triplet() {
    case $1 in
    amd64) echo x86_64-linux-gnu ;;
    armhf) echo arm-linux-gnueabihf ;;
    *) failed "no architecture '$1'; there are amd64 and armhf" ;;
    esac
}

# needsNoNewer LIBRARY: nothing from a system newer than the one that the package says it needs.
needsNoNewer() {
    lNeeded=$(objdump -T "$1" | grep -oE '\((GLIBC|GLIBCXX|CXXABI|GCC)_[0-9.]+\)' | tr -d '()' | sort -u)
    for lLimit in GLIBC_2.34 GLIBCXX_3.4.21 CXXABI_1.3.9 GCC_3.5; do
        lNewest=$(echo "$lNeeded" | grep "^${lLimit%%_*}_" | sort -V | tail -n 1)
        [ "$(printf '%s\n%s\n' "$lLimit" "${lNewest:-$lLimit}" | sort -V | tail -n 1)" = "$lLimit" ] ||
            failed "the library takes $lNewest, newer than $lLimit: raise this limit and Depends in cmake/package.cmake"
    done
}

# Runs in a process of the other architecture's too: the kernel has to know who interprets its programs.
binfmt() {
    [ "$1" = armhf ] || return 0
    [ -e /proc/sys/fs/binfmt_misc/register ] || mount -t binfmt_misc none /proc/sys/fs/binfmt_misc
    [ -e /proc/sys/fs/binfmt_misc/qemu-arm ] || cat /usr/lib/binfmt.d/qemu-arm.conf >/proc/sys/fs/binfmt_misc/register
}

# tried ARCHITECTURE: a stranger's project on a fresh system.
tried() {
    binfmt "$1"
    lBase=$lRoot/build/debian-$1.tar
    lFresh=$lRoot/build/debian-$1
    if [ ! -s "$lBase" ]; then
        say "$1: making a Debian root"
        rm -rf "$lFresh"
        debootstrap --arch="$1" --variant=minbase --include=g++,cmake,make,pkg-config bookworm "$lFresh" >"$lBase.log" 2>&1 ||
            { tail -n 5 "$lBase.log"; failed "debootstrap, see $lBase.log"; }
        tar -C "$lFresh" --one-file-system -cf "$lBase.new" . && mv "$lBase.new" "$lBase"
    fi
    rm -rf "$lFresh" && mkdir "$lFresh" && tar -C "$lFresh" -xf "$lBase"
    cp "$lPackages"/*_"$1".deb "$lFresh/root"
    cp -r tests/consumer "$lFresh/root"
    # The proc file system in there is what threads' states are read from.
    unshare --mount --pid --fork --mount-proc="$lFresh/proc" chroot "$lFresh" sh -euc '
        cd /root
        dpkg -i ./*.deb >/dev/null
        cmake -S consumer -B build >/dev/null && cmake --build build >/dev/null && build/consumer >/dev/null
        c++ -std=c++17 consumer/main.cpp consumer/platform.cpp $(pkg-config --cflags --libs utl) -o consumer.pc && ./consumer.pc | tail -n 2
        dpkg -r libutl-dev libutl1 >/dev/null' || failed "$1: the stranger's project"
    say "$1: a stranger's project builds with find_package and pkg-config, and runs"
    rm -rf "$lFresh"
}

lTry=no
[ "${1:-}" != --try ] || { lTry=yes; shift; }
[ $# -gt 0 ] || set -- amd64 armhf
scripts/setup.sh package
mkdir -p "$lPackages"
for lArchitecture in "$@"; do
    lFirst=$lRoot/build/package-$lArchitecture
    lCopy=$(mktemp -d)
    trap 'rm -rf "$lCopy"' EXIT
    say "$lArchitecture: building twice"
    cp -r CMakeLists.txt CHANGELOG.md cmake include source "$lCopy"
    made "$lRoot" "$lFirst" "$lArchitecture"
    made "$lCopy" "$lCopy/build" "$lArchitecture"
    for lPackage in "$lFirst"/*.deb; do
        cmp "$lPackage" "$lCopy/build/$(basename "$lPackage")" || failed "built in another folder, the package differs"
    done
    rm -rf "$lCopy"
    # The one warning is for uploads to Debian, which have to name the request that they answer.
    lintian --allow-root --fail-on error,warning --suppress-tags initial-upload-closes-no-bugs "$lFirst"/*.deb ||
        failed lintian
    needsNoNewer "$lFirst/libutl.so.1"
    scripts/abi.sh "$lFirst/libutl.so.1" "$lArchitecture" "$(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' "$lFirst/CMakeCache.txt")"
    cp "$lFirst"/*.deb "$lPackages"
    [ $lTry = no ] || tried "$lArchitecture"
done
say "PASSED: $(cd "$lPackages" && echo *.deb)"

#!/bin/sh
# Makes the Debian packages and checks them:  scripts/package.sh [--try] [ARCHITECTURE]...   (default: amd64 armhf)
#   - two builds in different folders, locales, time zones and environments give identical packages (reprotest)
#   - lintian finds nothing
#   - the binary interface is the stored one (abi/, see scripts/abi.sh)
#   - with --try: they are installed into a fresh Debian root (made once, with debootstrap; as root), where a project
#     builds with find_package and with pkg-config, and runs
# The packages are left in build/packages. Their sources are in debian/.
set -eu

case ${1:-} in -h | --help) sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0" && exit 0 ;; esac
lRoot=$(cd "$(dirname "$0")/.." && pwd)
cd "$lRoot"
lPackages=$lRoot/build/packages
export CCACHE_DISABLE=1 # else the second build shows only that a cache keeps things well
unset CMAKE_CXX_COMPILER_LAUNCHER
umask 022

say() { echo "package: $*"; }
failed() { say "FAILED: $*"; exit 1; }

# made ARCHITECTURE: makes its packages, in build/package-ARCHITECTURE/control.
made() {
    lWork=$lRoot/build/package-$1
    rm -rf "$lWork"
    mkdir -p "$lWork/utl"
    tar -cf - CHANGELOG.md CMakeLists.txt cmake debian include source tools | tar -C "$lWork/utl" -xf -
    reprotest --min-cpus="$(nproc)" --no-diffoscope --store-dir="$lWork/stored" \
        --vary=-all,+build_path,+environment,+exec_path,+home,+locales,+timezone,+umask \
        --build-command "DEB_BUILD_OPTIONS='nocheck parallel=$(nproc)' dpkg-buildpackage -b -us -uc -d -Pnocheck -a$1" \
        "$lWork/utl" '../*.deb' >"$lWork.log" 2>&1 || { tail -n 20 "$lWork.log"; failed "reprotest, see $lWork.log"; }
    mv "$lWork/stored/control" "$lWork/control"
}

# Programs of the other architecture must run, too: the kernel has to know their emulator.
binfmt() {
    [ "$1" = armhf ] || return 0
    [ -e /proc/sys/fs/binfmt_misc/register ] || mount -t binfmt_misc none /proc/sys/fs/binfmt_misc
    [ -e /proc/sys/fs/binfmt_misc/qemu-arm ] || cat /usr/lib/binfmt.d/qemu-arm.conf >/proc/sys/fs/binfmt_misc/register
}

# tried ARCHITECTURE: builds and runs a separate project on a fresh system.
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
    cp "$lPackages"/libutl*_"$1".deb "$lFresh/root"
    cp -r tests/consumer "$lFresh/root"
    # The library reads threads' states from the proc file system in there.
    unshare --mount --pid --fork --mount-proc="$lFresh/proc" chroot "$lFresh" sh -euc '
        cd /root
        dpkg -i ./*.deb >/dev/null
        cmake -S consumer -B build >/dev/null && cmake --build build >/dev/null && build/consumer >/dev/null
        c++ -std=c++17 consumer/main.cpp consumer/platform.cpp $(pkg-config --cflags --libs utl) -o consumer.pc && ./consumer.pc | tail -n 2
        dpkg -r libutl1-dbgsym libutl-dev libutl1 >/dev/null' || failed "$1: the stranger's project"
    say "$1: a stranger's project builds with find_package and pkg-config, and runs"
    rm -rf "$lFresh"
}

lTry=no
[ "${1:-}" != --try ] || { lTry=yes; shift; }
[ $# -gt 0 ] || set -- amd64 armhf
scripts/setup.sh package
mkdir -p "$lPackages"
for lArchitecture in "$@"; do
    say "$lArchitecture: building twice"
    made "$lArchitecture"
    # The one warning is for uploads to Debian, which have to name the request that they answer.
    lintian --allow-root --fail-on error,warning --suppress-tags initial-upload-closes-no-bugs "$lWork"/control/*.deb ||
        failed lintian
    dpkg-deb -x "$lWork"/control/libutl1_*.deb "$lWork/unpacked"
    # The log quotes the plus signs.
    lCompiler=$(sed -n 's/.* -DCMAKE_CXX_COMPILER=\([^ ]*\).*/\1/p' "$lWork.log" | head -n 1 | tr -d '\\')
    scripts/abi.sh "$(echo "$lWork"/unpacked/usr/lib/*/libutl.so.1)" "$lArchitecture" "${lCompiler:-c++}"
    cp "$lWork"/control/*.deb "$lPackages"
    [ $lTry = no ] || tried "$lArchitecture"
done
say "PASSED: $(cd "$lPackages" && echo *.deb)"

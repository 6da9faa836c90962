#!/bin/sh
# Builds the library for other processors and runs its tests under user-mode emulation. Needs root only to install what
# is missing:  scripts/platform.sh NAME... [-- ARGUMENT OF CTEST...]
#   names, as Debian has them:  arm64 armel i386 powerpc ppc64el riscv64 s390x   (armhf: scripts/test.sh armhf)
# After a failure it goes on with the next name. UTL_JOBS=N sets how many jobs compile and test at once.
set -u

case ${1:---help} in -h | --help) sed -n '2,5s/^# //p' "$0" && exit 0 ;; esac
lRoot=$(cd "$(dirname "$0")/.." && pwd)
cd "$lRoot" || exit 1
lJobs=${UTL_JOBS:-$(nproc)}

triplet() {
    case $1 in
    arm64) echo aarch64-linux-gnu ;;
    armel) echo arm-linux-gnueabi ;;
    i386) echo i686-linux-gnu ;;
    ppc64el) echo powerpc64le-linux-gnu ;;
    *) echo "$1-linux-gnu" ;;
    esac
}

# tested NAME ARGUMENT...
tested() {
    lBuild=build/$1
    scripts/setup.sh "$1" &&
        cmake -S . -B "$lBuild" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$lRoot/cmake/cross.cmake" \
            -DUTL_TRIPLET="$(triplet "$1")" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DUTL_BUILD_TESTS=ON -DUTL_WERROR=ON \
            >"$lBuild.log" 2>&1 &&
        cmake --build "$lBuild" --parallel "$lJobs" >>"$lBuild.log" 2>&1 ||
        { tail -n 20 "$lBuild.log"; return 1; }
    shift
    UTL_TEST_PATIENCE=8 ctest --test-dir "$lBuild" --parallel "$lJobs" --output-on-failure "$@" >"$lBuild.tests.log" 2>&1
    lResult=$?
    sed -n '/tests passed/,$p' "$lBuild.tests.log"
    return $lResult
}

lNames=
while [ $# -gt 0 ] && [ "$1" != -- ]; do
    lNames="$lNames $1"
    shift
done
[ $# -eq 0 ] || shift
mkdir -p build
lFailures=0
for lName in $lNames; do
    if tested "$lName" "$@"; then
        echo "platform $lName: PASSED"
    else
        lFailures=$((lFailures + 1))
        echo "platform $lName: FAILED, see build/$lName.log and build/$lName.tests.log"
    fi
done
exit $((lFailures > 0))

#!/bin/sh
# Installs what is missing, builds one preset and runs its tests:  scripts/test.sh [PRESET]
#   dev (default)  release  asan  tsan  clang  armhf
# UTL_JOBS=N sets how many jobs compile and test at once (default: the number of processors).
set -eu

case ${1:-} in -h | --help) sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0" && exit 0 ;; esac
lPreset=${1:-dev}
lRoot=$(cd "$(dirname "$0")/.." && pwd)
cd "$lRoot"

lStart=$(date +%s)
lStep=setup
verdict() {
    lResult=$?
    lSeconds=$(($(date +%s) - lStart))
    echo
    if [ "$lResult" -eq 0 ]; then
        echo "test $lPreset: PASSED in $lSeconds s"
    else
        echo "test $lPreset: FAILED at step '$lStep' after $lSeconds s"
    fi
}
trap verdict EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

step() { lStep=$1; echo "== $lPreset: $1"; }

scripts/setup.sh "$lPreset"
lJobs=${UTL_JOBS:-$(nproc)}
if [ ! -r /proc/self/status ]; then
    echo "no /proc here, from which the tests read descriptors, threads and their states: mount -t proc proc /proc"
    exit 1
fi

# The race checks cannot place their memory where the kernel scatters mappings too widely.
lRunner=
case $lPreset in
asan | tsan) if setarch "$(uname -m)" -R true 2>/dev/null; then lRunner="setarch $(uname -m) -R"; fi ;;
esac

step configure
lVersion=$(cmake --version | sed -n 's/^cmake version //p')
if [ "$(printf '3.21\n%s\n' "$lVersion" | sort -V | head -n 1)" != 3.21 ]; then
    echo "CMake $lVersion is too old for presets, which need 3.21; the library itself builds with 3.18"
    exit 1
fi
cmake --preset "$lPreset"
step build
cmake --build --preset "$lPreset" --parallel "$lJobs"
step tests
$lRunner ctest --preset "$lPreset" --parallel "$lJobs"

#!/bin/sh
# Installs what is missing, builds the optimised library and the demo, and runs it:  scripts/demo.sh [OPTION]... [FILE]
# All arguments go to the program; without one it reads its own sample. Gives the program's exit code.
# UTL_JOBS=N sets how many jobs compile at once (default: the number of processors).
set -eu

lRoot=$(cd "$(dirname "$0")/.." && pwd)
lBuild=$lRoot/build/demo

case ${1:-} in
-h | --help)
    sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0"
    echo
    sed 's/^R"(//; /^)"$/d' "$lRoot/examples/demo/usage.txt"
    exit 0
    ;;
esac

failed() {
    echo "demo: FAILED at step '$1'"
    exit 1
}

# The program, not this script, reads the standard input. It runs in the caller's folder.
"$lRoot/scripts/setup.sh" demo </dev/null || failed setup
echo "demo: building the library and the program in build/demo"
cmake -S "$lRoot" -B "$lBuild" -G Ninja -DCMAKE_BUILD_TYPE=Release -DUTL_BUILD_EXAMPLES=ON \
    --log-level=WARNING </dev/null >/dev/null || failed configure
cmake --build "$lBuild" --target utlDemo --parallel "${UTL_JOBS:-$(nproc)}" </dev/null || failed build
lProgram=$lBuild/examples/demo/utlDemo

# The program handles an interrupt: it stops its threads, then this script reports the result.
trap : INT
lResult=0
"$lProgram" "$@" || lResult=$?
echo
if [ "$lResult" -eq 0 ]; then
    echo "demo: PASSED"
else
    echo "demo: FAILED, exit code $lResult"
fi
exit "$lResult"

#!/bin/sh
# Installs what is missing, builds the optimised library and the demo, and runs it:  scripts/demo.sh [ARGUMENT]...
# All arguments go to the program; without one it works on its own sample. Gives the program's exit code.
set -eu

lRoot=$(cd "$(dirname "$0")/.." && pwd)
lBuild=$lRoot/build/demo

failed() {
    echo "demo: FAILED at step '$1'"
    exit 1
}

# The program, not this script, reads the standard input, and it works in the caller's folder.
"$lRoot/scripts/setup.sh" demo </dev/null || failed setup
echo "demo: building the library and the program in build/demo"
cmake -S "$lRoot" -B "$lBuild" -G Ninja -DCMAKE_BUILD_TYPE=Release -DUTL_BUILD_EXAMPLES=ON \
    --log-level=WARNING </dev/null >/dev/null || failed configure
cmake --build "$lBuild" --target utlDemo --parallel </dev/null || failed build
lProgram=$(find "$lBuild/examples" -name utlDemo -type f -perm -u+x | head -n 1)
[ -n "$lProgram" ] || failed build

# An interrupt is the program's to answer: it stops its threads, then this script gives the verdict.
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

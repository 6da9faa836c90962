#!/bin/sh
# Makes the API reference in build/reference, installing Doxygen if it is missing:  scripts/reference.sh [FOLDER]
# A missing comment, and everything else that Doxygen warns of, is an error. With a FOLDER the reference is made there,
# and nothing is installed.
set -eu

case ${1:-} in -h | --help) sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0" && exit 0 ;; esac

lRoot=$(cd "$(dirname "$0")/.." && pwd)
if [ $# -eq 0 ]; then
    "$lRoot/scripts/setup.sh" reference
fi
lFolder=${1:-$lRoot/build/reference}
mkdir -p "$lFolder"
lFolder=$(cd "$lFolder" && pwd)

cd "$lRoot"
lResult=0
{ cat docs/Doxyfile && echo "OUTPUT_DIRECTORY = \"$lFolder\""; } | doxygen - || lResult=$?
if [ "$lResult" -eq 0 ]; then
    echo "reference: PASSED, see $lFolder/html/index.html"
else
    echo "reference: FAILED"
fi
exit "$lResult"

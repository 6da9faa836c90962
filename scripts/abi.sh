#!/bin/sh
# Compares the binary interface of a built library with the stored one:  scripts/abi.sh LIBRARY ARCHITECTURE
#                                     or stores it as the new promise:  scripts/abi.sh --store LIBRARY ARCHITECTURE
# The library needs its debug information.
set -eu

lStore=no
[ "${1:-}" != --store ] || { lStore=yes; shift; }
[ $# -eq 2 ] || { sed -n '2,4s/^# //p' "$0"; exit 2; }
lRoot=$(cd "$(dirname "$0")/.." && pwd)
lStored=$lRoot/abi/libutl.so.1-$2.abi.xz
lScratch=$(mktemp -d)
trap 'rm -rf "$lScratch"' EXIT

abidw --headers-dir "$lRoot/include" --drop-private-types --no-comp-dir-path --no-corpus-path --no-show-locs \
    --type-id-style hash --out-file "$lScratch/built.abi" "$1"
if [ $lStore = yes ]; then
    xz -9c "$lScratch/built.abi" >"$lStored"
    echo "abi: stored in $lStored"
    exit 0
fi

xz -dc "$lStored" >"$lScratch/stored.abi"
lResult=0
abidiff --no-show-locs "$lScratch/stored.abi" "$lScratch/built.abi" >"$lScratch/changes" || lResult=$?
if [ "$lResult" -eq 0 ]; then
    echo "abi: $2: as stored"
    exit 0
fi
cat "$lScratch/changes"
cat <<END
abi: FAILED: the binary interface for $2 is not the stored one (see above).
 - Not meant? Take the change back: programs on devices in the field were linked with the stored interface.
 - Only additions, and meant? Raise the second number of the version in CMakeLists.txt, say it in CHANGELOG.md, then
   scripts/abi.sh --store $1 $2
 - Removed or changed, and meant? Programs have to be built anew: raise the first number, and with it the SONAME and the
   name of the runtime package; then store it likewise.
END
exit 1

#!/bin/sh
# Compares the binary interface of a built library with the stored one:  scripts/abi.sh LIBRARY ARCHITECTURE [COMPILER]
#                                  or stores it as the new promise:  scripts/abi.sh --store LIBRARY ARCHITECTURE [COMPILER]
# The interface is what programs are linked with and built from: the exported symbols, and of each public class its size,
# its bases and its table of virtual functions. A build without optimisation exports some symbols more.
set -eu
export LC_ALL=C

lStore=no
[ "${1:-}" != --store ] || { lStore=yes; shift; }
[ $# -ge 2 ] || { sed -n '2,5s/^# //p' "$0"; exit 2; }
lRoot=$(cd "$(dirname "$0")/.." && pwd)
lStored=$lRoot/abi/libutl.so.1-$2.txt
lScratch=$(mktemp -d)
trap 'rm -rf "$lScratch"' EXIT

"${3:-c++}" -std=c++17 -I"$lRoot/include" -fsyntax-only -fdump-lang-class="$lScratch/classes" -x c++ "$lRoot/include/Utl.h"
{
    echo "Exported symbols"
    nm -D --defined-only "$1" | awk '{ print $3 }' | sort | c++filt
    echo
    # Without the compiler's own addresses.
    awk 'BEGIN { RS = ""; ORS = "\n\n" } /^(Class|Vtable for) utl::/' "$lScratch/classes" | sed 's/ (0x0x[0-9a-f]*)//'
} >"$lScratch/built"

if [ $lStore = yes ]; then
    cp "$lScratch/built" "$lStored"
    echo "abi: stored in $lStored"
elif diff -U 2 "$lStored" "$lScratch/built"; then
    echo "abi: $2: as stored"
else
    cat <<END
abi: FAILED: the binary interface for $2 is not the stored one (see above).
 - Not meant? Take the change back: programs on devices in the field were linked with the stored interface.
 - Only additions, and meant? Raise the second number of the version in CMakeLists.txt, say it in CHANGELOG.md, then
   scripts/abi.sh --store $*
 - Removed or changed, and meant? Programs have to be built anew: raise the first number, and with it the SONAME and the
   name of the runtime package; then store it likewise.
END
    exit 1
fi

#!/bin/sh
# Compares the binary interface of a built library with the stored one:  scripts/abi.sh LIBRARY ARCHITECTURE [COMPILER]
#                                  or stores it as the new promise:  scripts/abi.sh --store LIBRARY ARCHITECTURE [COMPILER]
# The interface is what programs are linked with and built from: the exported symbols, of each public class its size, its
# bases, its table of virtual functions and the places of its members, and the values of constants and enumerators. A
# build without optimisation exports a few more symbols.
# It does not use abidw and abidiff. They store more than 11,000 lines with the compiler's own types, which nobody reads in
# a change and which differ between compilers, and they leave out the values of constants. This is 2,400 lines of text.
set -eu

case ${1:-} in -h | --help) sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0" && exit 0 ;; esac
export LC_ALL=C

lStore=no
[ "${1:-}" != --store ] || { lStore=yes; shift; }
[ $# -ge 2 ] || { sed -n '2,7s/^# //p' "$0"; exit 2; }
lRoot=$(cd "$(dirname "$0")/.." && pwd)
lStored=$lRoot/abi/libutl.so.1-$2.txt
lScratch=$(mktemp -d)
trap 'rm -rf "$lScratch"' EXIT

# Classes are in a dump of the compiler; members and values are in its debug information.
"${3:-c++}" -std=c++17 -I"$lRoot/include" -c -g -femit-class-debug-always -fno-eliminate-unused-debug-types \
    -fdump-lang-class="$lScratch/classes" -o "$lScratch/all.o" -x c++ "$lRoot/include/Utl.h"

# One line for each member and value: its name and its place or value.
membersAndValues() {
    readelf --debug-dump=info "$1" | awk '
        function tell(    lName, lDepth) {
            if (tWhat == "" || mNames[1] != "utl") return
            for (lDepth = 1; lDepth < tDepth; ++lDepth) lName = lName mNames[lDepth] "::"
            print lName mNames[tDepth] tWhat
        }
        /Abbrev Number/ {
            tell()
            tDepth = $0
            gsub(/^ *<|>.*/, "", tDepth) # <depth><offset>: ...
            tDepth += 0
            mNames[tDepth] = tWhat = ""
        }
        /DW_AT_name/ { sub(/^[^:]*: (\(indirect string, offset: 0x[0-9a-f]+\): )?/, ""); mNames[tDepth] = $0 }
        /DW_AT_data_member_location/ { tWhat = " at " $NF }
        /DW_AT_const_value/ { tWhat = " = " $NF }
        END { tell() }' | sort -u
}

{
    echo "Exported symbols"
    nm -D --defined-only "$1" | awk '$2 != "A" { sub(/@.*/, "", $3); print $3 }' | sort | c++filt
    echo
    # The compiler's own addresses are left out.
    awk 'BEGIN { RS = ""; ORS = "\n\n" } /^(Class|Vtable for) utl::/' "$lScratch/classes" | sed 's/ (0x0x[0-9a-f]*)//'
    echo "Members and values"
    membersAndValues "$lScratch/all.o"
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
 - Only additions, and meant? Raise the second number of the version in include/UtlVersion.h, say it in CHANGELOG.md, then
   scripts/abi.sh --store $*
 - Removed or changed, and meant? Programs have to be built anew: raise UTL_SOVERSION in CMakeLists.txt, the number in
   cmake/utl.map and the name of the runtime package in debian/; then store it likewise.
END
    exit 1
fi

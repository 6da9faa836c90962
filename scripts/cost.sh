#!/bin/sh
# Measures what the library costs on a device, with the build of preset armhf:  scripts/cost.sh [--check]
# Writes docs/cost.md; with --check compares the result with that page: counts and bytes of objects exactly, heap within 32
# bytes, sizes of the library's file and sections within 3 %, since another compiler may change them.
set -eu

case ${1:-} in -h | --help) sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0" && exit 0 ;; esac

lRoot=$(cd "$(dirname "$0")/.." && pwd)
cd "$lRoot"
lBuild=build/armhf
lPage=docs/cost.md
lTool=arm-linux-gnueabihf

[ "${1:-}" = --check ] || scripts/setup.sh armhf
if [ "${1:-}" != --check ]; then # the check runs among the tests, where all is built
    cmake --preset armhf >/dev/null
    cmake --build $lBuild --target utl utlCostBill >/dev/null
fi
lScratch=$(mktemp -d)
trap 'rm -rf "$lScratch"' EXIT
$lTool-objcopy --strip-unneeded $lBuild/libutl.so.1 "$lScratch/libutl.so"

section() { $lTool-readelf -SW "$lScratch/libutl.so" | sed 's/^ *\[ *[0-9]*\]//' | awk -v n="$1" '$1 == n { print $5 }'; }
bytes() { echo $((0x$(section "$1"))); }
tables() {
    $lTool-nm -S $lBuild/libutl.so.1 | awk '$3 ~ /^[rR]$/ { print $2 }' |
        { lSum=0; while read -r lSize; do [ $((0x$lSize)) -lt 256 ] || lSum=$((lSum + 0x$lSize)); done; echo $lSum; }
}
relocations() { $lTool-readelf -rW "$lScratch/libutl.so" | grep -cE "R_ARM_($1)"; }

{
    cat <<END
# What it costs

On 32-bit ARM (\`armhf\`, GCC, \`-O2\`), by \`scripts/cost.sh\`; a test keeps the page true.

## The library

| | bytes |
|---|---:|
| \`libutl.so.1\`, stripped | $(stat -c %s "$lScratch/libutl.so") |
| code (\`.text\`) | $(bytes .text) |
| read-only data (\`.rodata\`), shared by all processes | $(bytes .rodata) |
| of these objects of 256 bytes and more, the tables | $(tables) |
| written at start (\`.data\`, \`.data.rel.ro\`, \`.bss\`) | $(($(bytes .data) + $(bytes .data.rel.ro) + $(bytes .bss))) |

## At the start of a process

| | count |
|---|---:|
| constructors to run | $(($(bytes .init_array) / 4)) |
| relocations without a name | $(relocations "RELATIVE") |
| relocations by name | $(relocations "ABS32|GLOB_DAT") |
| functions bound at their first call | $(relocations "JUMP_SLOT") |

No thread, descriptor or heap block is made before the first call that needs it.

## Objects

Bytes of the object itself; what construction adds: heap (with the allocator's own bytes and, for a thread, the C
library's share), descriptors, threads. A thread's stack is the system's default, 8 MiB of addresses and as many pages as it
touches.

| Object | bytes | heap | descriptors | threads |
|---|---:|---:|---:|---:|
END
    # Without the allocator's caches, because blocks in them count as allocated.
    qemu-arm-static -E GLIBC_TUNABLES=glibc.malloc.tcache_count=0 -L /usr/$lTool $lBuild/tests/proof/utlCostBill
} >"$lScratch/cost.md"

if [ "${1:-}" != --check ]; then
    cp "$lScratch/cost.md" $lPage
    echo "cost: written to $lPage"
    exit 0
fi
# Compares line by line: equal, or the same words with a size that is nearly the same. In the table of objects that is the
# heap: the allocator takes a few bytes more if it finds a free block that is not worth splitting.
paste -d '\n' $lPage "$lScratch/cost.md" | awk '
    /^## Objects/ { exact = 1 }
    NR % 2 { stated = $0; next }
    stated == $0 { next }
    { n = split(stated, s, "|"); split($0, b, "|")
      near = exact ? n == 7 && s[3] == b[3] && s[5] == b[5] && s[6] == b[6] && b[4] - s[4] <= 32 && s[4] - b[4] <= 32 \
                   : n == 4 && b[3] <= s[3] * 1.03 && b[3] >= s[3] * 0.97
      if (!near || s[2] != b[2]) {
          print "stated: " stated "\nis:     " $0; bad = 1 } }
    END { if (bad) print "If this is meant: scripts/cost.sh, and commit docs/cost.md"; exit bad }'

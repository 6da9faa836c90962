#!/bin/sh
# What gdb shows of a process and of a core file:  check.sh GDB STRIP SUBJECT STATIC_SUBJECT LIBRARY FOLDER
# SUBJECT uses LIBRARY, beside which the script for gdb lies under the library's full name; STATIC_SUBJECT has the library
# in itself. 77: gdb cannot trace here.
set -u
lGdb=$1
lStrip=$2
lSubject=$3
lStatic=$4
lLibrary=$5
lFolder=$6
rm -rf "$lFolder"
mkdir -p "$lFolder"

debug() { LC_ALL=${lLocale:-C.UTF-8} "$lGdb" -batch -nx -iex 'set auto-load safe-path /' -iex 'set debuginfod enabled off' "$@" 2>&1; }

debug -ex run -ex 'info threads' "$lSubject" >"$lFolder/first"
grep -q SIGTRAP "$lFolder/first" || { cat "$lFolder/first"; exit 77; }

lResult=0
# expect TEXT PATTERN...: each pattern matches a line of the text.
expect() {
    lText=$1
    shift
    for lPattern in "$@"; do
        grep -qxE -- "$lPattern" "$lText" || { echo "$lText has no line: $lPattern"; lResult=1; }
    done
}
threads() {
    lMs='[0-9]+ ms'
    expect "$1" " +[0-9]+  thread [0-9]+ \"left\": running, message 0x00000001 for $lMs.*" \
        " +[0-9]+  thread [0-9]+ \"left\": accepted 2, delivered 1, erased 0, taken back 0, waiting 1, most [12]; .*" \
        " +[0-9]+  thread [0-9]+ \"right\": waits for [0-9]+ \"left\" for $lMs, synchronous message 0x00000003" \
        " +[0-9]+  thread [0-9]+ \"Watchdog Thread\": timers 1, 1 running, next (due in|overdue for) $lMs" \
        ' +1  thread [0-9]+ "": holds the scratch rows' \
        " +[0-9]+  thread [0-9]+ \"Watchdog Thread\": timer 1 every 1000 ms, (due in|overdue for) $lMs, time-outs [0-9]+" \
        '(circle|deadlock): [0-9]+ "(left|right)" waits for [0-9]+ "(left|right)" waits for [0-9]+ "(left|right)"' \
        "[34] threads; the number ahead is gdb's"
    [ $lResult -eq 0 ] || cat "$1"
}

debug -ex run -ex 'frame function main' -ex 'print lArray' -ex 'print lQueue' -ex 'print lMap' -ex 'print lString' \
    -ex 'print lPointer' -ex 'print lPoint' -ex 'print lRaw' -ex 'utl threads' "$lSubject" >"$lFolder/live"
expect "$lFolder/live" '\$1 = 4 of 4 = \{10, 20, 30, 40\}' '\$2 = 3 of 3 = \{2, 3, 4\}' '\$3 = 1 of 4 = \{\[7\] = "日本"\}' \
    '\$4 = "日本"' '\$5 = 42 at 0x[0-9a-f]+, 2 shares' '\$6 = \{<utl::Msg> = message 0x0000004d, mX = 5\}' \
    '\$7 = message 0x0000004d, 05 00 00 00'
threads "$lFolder/live"
lLocale=C debug -ex run -ex 'frame function main' -ex 'print lString' -ex 'utl threads' "$lSubject" >"$lFolder/plain"
expect "$lFolder/plain" '\$1 = "\\346\\227\\245\\346\\234\\254"' "[34] threads; the number ahead is gdb's"

# Nothing but what the dynamic linker needs is left, neither in the files nor for the core file.
lName=$(basename "$lLibrary")
cp "$lSubject" "$lFolder/subject"
cp "$lLibrary" "$lLibrary-gdb.py" "$lFolder"
ln -s "$lName" "$lFolder/libutl.so.1"
"$lStrip" "$lFolder/subject" "$lFolder/$lName"
debug -ex "set environment LD_LIBRARY_PATH $lFolder" -ex run -ex "generate-core-file $lFolder/core" "$lFolder/subject" \
    >"$lFolder/dumping"
LD_LIBRARY_PATH=$lFolder debug -ex "set solib-search-path $lFolder" -ex 'utl threads' "$lFolder/subject" "$lFolder/core" \
    >"$lFolder/core.text"
threads "$lFolder/core.text"

cp "$lStatic" "$lFolder/static"
"$lStrip" "$lFolder/static"
debug -ex run -ex "source $lLibrary-gdb.py" -ex 'utl threads' "$lFolder/static" >"$lFolder/static.text"
threads "$lFolder/static.text"
exit $lResult

#!/bin/sh
# Runs the demo again and again in one process, and checks that nothing grows:  scripts/soak.sh [MINUTES]
# (default: 10). Each pass starts threads and timers, opens, locks and reads a file, and logs to one; now and then a
# thread hangs until the watchdog reports it. About once a second its memory, descriptors, threads and timers are written to
# build/soak/soak.csv; scripts/plots.sh soak draws them over time.
#
# The rule: a warm-up of a sixth of the samples is ignored. Of the rest, the median of the last third is compared with that
# of the first third, since single samples may fall between two passes. It may not be higher for things that are counted. It
# may be higher by 16 kB for memory that is not shared (RssAnon); by 256 kB for all memory in use (RSS), because pages of
# programs are loaded when they are first used; by a stack of 8 MB and 64 kB for address space (VmData), because the C library
# makes and keeps one more stack if a thread is still ending. Gives 0 if nothing rises by more, the demo ends well and the
# log stays within its limits.
#
# UTL_SOAK_PROGRAM, UTL_SOAK_TEXT and UTL_SOAK_FOLDER stand for the demo, for a text in Shift-JIS and for build/soak on a
# machine that has only those.
set -eu

lMinutes=${1:-10}
case ${1:-} in -h | --help) sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0" && exit 0 ;; esac
case $lMinutes in '' | *[!0-9]* | 0*) echo "usage: scripts/soak.sh [MINUTES]" >&2 && exit 2 ;; esac
lRoot=$(cd "$(dirname "$0")/.." && pwd)
lFolder=${UTL_SOAK_FOLDER:-$lRoot/build/soak}
lText=${UTL_SOAK_TEXT:-$lRoot/examples/demo/data/sample.sjis.txt}
lProgram=${UTL_SOAK_PROGRAM:-}
lCsv=$lFolder/soak.csv
lPid=
trap '[ -z "$lPid" ] || kill "$lPid" 2>/dev/null' EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

failed() {
    echo "soak: FAILED, $1"
    exit 1
}

if [ -z "$lProgram" ]; then
    "$lRoot/scripts/demo.sh" >/dev/null || failed "see scripts/demo.sh" # builds it
    lProgram=$lRoot/build/demo/examples/demo/utlDemo
fi
rm -rf "$lFolder"
mkdir -p "$lFolder"
for _ in $(seq 50); do cat "$lText"; done >"$lFolder/text"

# sample: one row of the CSV; empty once the process has gone. A kernel may come without the list of timers.
sample() {
    set -- /proc/"$lPid"/fd/*
    lTimers=$(grep -c '^ID:' "/proc/$lPid/timers" 2>/dev/null) || lTimers=${lTimers:-0}
    awk -v seconds=$(($(date +%s) - lStart)) -v descriptors=$# -v timers="$lTimers" '
        /^VmRSS:/ { rss = $2 }
        /^RssAnon:/ { anon = $2 }
        /^VmData:/ { data = $2 }
        /^Threads:/ { threads = $2 }
        END { if (rss != "") print seconds "," rss "," anon + 0 "," data "," descriptors "," threads "," timers }' \
        "/proc/$lPid/status" 2>/dev/null || :
}

# judge: a verdict for each column of the CSV. Fails if one rises.
judge() {
    awk -F , '
        function sort(from, to,    i, j, value) { # of row[]
            for (i = from + 1; i <= to; i++) {
                value = row[i]
                for (j = i - 1; j >= from && row[j] > value; j--) row[j + 1] = row[j]
                row[j + 1] = value
            }
        }
        function median(column, from, to,    i) {
            for (i = from; i <= to; i++) row[i] = values[column, i]
            sort(from, to)
            return row[int((from + to) / 2)]
        }
        BEGIN { allowed["RSS kB"] = 256; allowed["RssAnon kB"] = 16; allowed["VmData kB"] = 8256 }
        NR == 1 { for (i = 2; i <= NF; i++) name[i] = $i; columns = NF; next }
        { count++; for (i = 2; i <= NF; i++) values[i, count] = $i + 0 }
        END {
            if (count < 30) { print "soak: only " count " samples"; exit 1 }
            warm = int(count / 6)
            third = int((count - warm) / 3)
            for (c = 2; c <= columns; c++) {
                before = median(c, warm + 1, warm + third)
                after = median(c, count - third + 1, count)
                high = 0
                for (i = 1; i <= count; i++) if (values[c, i] > high) high = values[c, i]
                isFlat = after - before <= allowed[name[c]]
                risen += !isFlat
                printf "  %-12s first third %8d  last third %8d  highest %8d  %s\n", name[c], before, after, high, \
                    isFlat ? "flat" : "RISES"
            }
            exit risen > 0
        }' "$lCsv"
}

echo "soak: $lMinutes min in one process"
mkfifo "$lFolder/out"
tail -n 40 <"$lFolder/out" >"$lFolder/report" & # of all that it says the end will do
"$lProgram" --encoding sjis --word 水 --stall --log "$lFolder/log" --for $((lMinutes * 60)) "$lFolder/text" \
    >"$lFolder/out" 2>&1 &
lPid=$!
lStart=$(date +%s)
echo "seconds,RSS kB,RssAnon kB,VmData kB,descriptors,threads,timers" >"$lCsv"
sleep 1
while lRow=$(sample) && [ -n "$lRow" ]; do
    echo "$lRow" >>"$lCsv"
    sleep 1
done
lResult=0
wait "$lPid" || lResult=$?
lPid=
grep -e ' passes ' -e '^utlDemo' "$lFolder/report" || :
[ "$lResult" -eq 0 ] || failed "the demo ended with $lResult, see $lFolder/report"
[ "$(cat "$lFolder"/log* | wc -c)" -le 135000 ] || failed "the log grows"
judge || failed "see $lCsv"
echo "soak: PASSED, $lCsv"

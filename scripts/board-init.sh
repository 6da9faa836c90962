#!/bin/sh
# The first process on the emulated board of scripts/board.sh: runs everything, prints the results, switches off.
export PATH=/bin
mount -t proc proc /proc
mount -t sysfs sys /sys
mount -t devtmpfs dev /dev
mount -t tmpfs tmp /tmp
# "name=value" of the kernel's command line.
value() { tr ' ' '\n' </proc/cmdline | sed -n "s/^$1=//p"; }
export UTL_TEST_PATIENCE=8
cd /tmp || poweroff -f

lPassed=0
lFailed=0
# ran NAME COMMAND...: runs a command, and shows its output if it fails.
ran() {
    lName=$1
    shift
    if timeout 600 "$@" >/tmp/out 2>&1; then
        lPassed=$((lPassed + 1))
    else
        echo "board: $lName gave $?"
        tail -n 40 /tmp/out
        lFailed=$((lFailed + 1))
    fi
}

echo "board: $(uname -srm), $(grep -c ^processor /proc/cpuinfo) processor, $(awk '/^MemTotal/ { print $2 }' /proc/meminfo) kB"
lPrograms=0
for lProgram in /tests/*; do
    lPrograms=$((lPrograms + 1))
    lTests=$($lProgram --gtest_list_tests | awk '/^[^ ]/ { s = $1 } /^ / { print s $1 }')
    [ -n "$lTests" ] || lFailed=$((lFailed + 1))
    for lTest in $lTests; do
        ran "$lTest" "$lProgram" --gtest_filter="$lTest"
    done
done
echo "board: $lPassed tests of $lPrograms programs passed, $lFailed failed"
ran clocks /proof/UtlClockProof
ran account /proof/UtlRaceProof account 100000
grep accepted /tmp/out | sed 's/^/board: account: /'
ran demo utlDemo
grep check /tmp/out | sed 's/^/board: demo:/'
lMinutes=$(value utl_minutes)
if [ "$lMinutes" -gt 0 ]; then
    if UTL_SOAK_PROGRAM=/bin/utlDemo UTL_SOAK_TEXT=$(value utl_sample) UTL_SOAK_FOLDER=/tmp/soak \
        sh /bin/soak.sh "$lMinutes" >/tmp/out 2>&1; then
        lPassed=$((lPassed + 1))
    else
        lFailed=$((lFailed + 1))
    fi
    sed 's/^/board: /' /tmp/out
fi
[ "$lFailed" -eq 0 ] && echo "board: PASSED" || echo "board: FAILED, $lFailed of $((lPassed + lFailed))"
poweroff -f

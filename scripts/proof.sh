#!/bin/sh
# Runs the long form of the proofs:  scripts/proof.sh [MINUTES]
#   - faults: every call fails once wherever it is used
#   - races: each a hundred thousand times at full speed, ten thousand times under the race checks
#   - messages: ten million at full speed and on 32-bit ARM, a million under the race checks, each accounted for
#   - clocks: all tests that measure time, and the races, across an uptime of 2^31 ms, 2^32 ms and 2^31 s; waits and timers
#     under a wall clock that steps by years
# MINUTES, 60 by default, scales the counts; ten more minutes do not depend on it, and a busy machine takes longer. Needs
# root for time namespaces.
set -eu

case ${1:-} in -h | --help) sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0" && exit 0 ;; esac

lMinutes=${1:-60}
lRoot=$(cd "$(dirname "$0")/.." && pwd)
cd "$lRoot"
lOverlaps=$((100000 * lMinutes / 60))
lMessages=$((10000000 * lMinutes / 60))
lTimeTests="UtlEventTest UtlThreadTest UtlThreadManagerTest UtlThreadWatchdogTest UtlMsgDrivenThreadTest
    UtlMsgDrivenThreadTimerTest UtlMsgDrivenSharedThreadTest UtlSharedTimerTest UtlTimeCounterTest"
lWraps="2147483648 4294967296 2147483648000" # milliseconds of uptime

lStart=$(date +%s)
lStep=setup
lWork=$(mktemp -d)
verdict() {
    lResult=$?
    rm -rf "$lWork"
    echo
    if [ "$lResult" -eq 0 ]; then
        echo "proof: PASSED in $(($(date +%s) - lStart)) s"
    else
        echo "proof: FAILED at step '$lStep' after $(($(date +%s) - lStart)) s"
    fi
}
trap verdict EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

step() { lStep=$*; printf '== %4d s: %s\n' $(($(date +%s) - lStart)) "$*"; }

# Runs a program of a build as its test presets do.
lInside= # in front of its command: a namespace
run() {
    lPreset=$1
    lProgram=build/$1/$2
    shift 2
    # shellcheck disable=SC2086 # words
    case $lPreset in
    tsan)
        UTL_TEST_PATIENCE=8 TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 \
            nice $lInside setarch "$(uname -m)" -R "$lProgram" "$@"
        ;;
    armhf) UTL_TEST_PATIENCE=8 nice $lInside qemu-arm-static -L /usr/arm-linux-gnueabihf "$lProgram" "$@" ;;
    *) UTL_TEST_PATIENCE=4 nice $lInside "$lProgram" "$@" ;;
    esac
}

# Runs it where the uptime passes $1 ms, $2 ms after its start. The namespace takes whole seconds; we wait for the rest.
across() {
    lBegin=$(($1 - $2))
    shift 2
    lNow=$(build/release/tests/proof/UtlClockProof uptime)
    lOffset=$(((lBegin - lNow) / 1000))
    sleep "$(printf '0.%03d' $((lBegin - lNow - lOffset * 1000)))"
    lInside="unshare -T --monotonic $lOffset --boottime $lOffset --fork"
    run "$@" >"$lWork/across" 2>&1 || { cat "$lWork/across"; exit 1; }
    lInside=
}

testNames() { run "$1" "tests/$2" --gtest_list_tests | awk '/^[^ ]/ { lSuite = $1 } /^ / { print lSuite $1 }'; }

scripts/setup.sh release tsan armhf proof
lJobs=${UTL_JOBS:-$(nproc)}
for lPreset in release tsan armhf; do
    step "build $lPreset"
    cmake --preset $lPreset >/dev/null
    lTargets="UtlRaceProof UtlClockProof"
    [ $lPreset != release ] || lTargets="$lTargets utl UtlFaultProof UtlVerdictProof"
    [ $lPreset = tsan ] || lTargets="$lTargets $lTimeTests"
    # shellcheck disable=SC2086 # a list of words
    nice cmake --build --preset $lPreset --parallel "$lJobs" --target $lTargets
done

echo "library: $(git describe --always --dirty 2>/dev/null || echo 'no version control'), $(sha256sum <build/release/libutl.so)"

step "every fault"
run release tests/proof/UtlFaultProof --table >"$lWork/faults"
grep -E '^[0-9,]+ faults' "$lWork/faults" || tail -n 3 "$lWork/faults"
step "races, full speed"
run release tests/proof/UtlRaceProof all $lOverlaps $((lOverlaps / 10))
step "races, race checks"
run tsan tests/proof/UtlRaceProof all $((lOverlaps / 10)) $((lOverlaps / 100))
step "verdicts of the watchdog"
run release tests/proof/UtlVerdictProof $((lMinutes * 4))
step "account, full speed"
run release tests/proof/UtlRaceProof account $lMessages
step "account, 32-bit ARM"
run armhf tests/proof/UtlRaceProof account $lMessages
step "account, race checks"
run tsan tests/proof/UtlRaceProof account $((lMessages / 10))

for lPreset in release armhf; do
    for lWrap in $lWraps; do
        step "uptime of $lWrap ms, $lPreset"
        lCount=0
        for lTest in $lTimeTests; do
            for lName in $(testNames "$lPreset" "$lTest"); do
                # Starting right before the wrap or some way before it.
                across "$lWrap" $((lCount % 4 * 20)) "$lPreset" "tests/$lTest" --gtest_filter="$lName"
                lCount=$((lCount + 1))
            done
        done
        echo "$lCount tests pass"
        across "$lWrap" 500 "$lPreset" tests/proof/UtlRaceProof all $((lOverlaps / 100))
        across "$lWrap" 500 "$lPreset" tests/proof/UtlClockProof 10
        cat "$lWork/across"
    done
done

for lPreset in release tsan armhf; do
    step "wall clock, $lPreset"
    run $lPreset tests/proof/UtlClockProof $((lMinutes * 5))
done
step "wall clock, system calls"
# What would move with the wall clock: a wait until a time of it, and a timer on it. A wait without a limit names the
# wall clock too, and has no time.
lCalls=$lWork/calls
strace -f -qq -o "$lCalls" -e trace=futex,clock_nanosleep,timer_create,timer_settime,timerfd_create,timerfd_settime \
    build/release/tests/proof/UtlClockProof 2
for lCall in 'futex(.*FUTEX_WAIT' 'clock_nanosleep(' 'timer_create(CLOCK_MONOTONIC' 'timer_settime('; do
    grep -q "$lCall" "$lCalls" || { echo "no $lCall was seen"; exit 1; }
done
if grep -E 'FUTEX_CLOCK_REALTIME, [^,]*, \{|TIMER_ABSTIME|CLOCK_REALTIME_ALARM|timerfd_|timer_create\(CLOCK_REALTIME' \
    "$lCalls"; then
    echo "these go by the wall clock"
    exit 1
fi
echo "$(wc -l <"$lCalls") calls, none by the wall clock"

#!/bin/sh
# Builds the fuzz targets under the sanitizers and runs each for a while:  scripts/fuzz.sh [SECONDS] [TARGET]...
#   SECONDS for each target (default 60); TARGET: names in tests/fuzz/ without ".cpp" (default: all)
# Findings are left in build/fuzz/found; make each a row in a test. Inputs that reached new code stay
# in build/fuzz/corpus, where the next run begins.
set -eu

case ${1:-} in -h | --help) sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0" && exit 0 ;; esac

lRoot=$(cd "$(dirname "$0")/.." && pwd)
cd "$lRoot"
lSeconds=${1:-60}
[ $# -eq 0 ] || shift
[ $# -gt 0 ] || set -- $(cd tests/fuzz && ls *Fuzz.cpp | sed 's/\.cpp$//')

scripts/setup.sh fuzz
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --parallel "${UTL_JOBS:-$(nproc)}" >/dev/null

mkdir -p build/fuzz/found
lFailures=0
printf '%-16s %10s %8s %9s  %s\n' target runs covered seconds verdict
for lTarget in "$@"; do
    lCorpus=build/fuzz/corpus/$lTarget
    mkdir -p "$lCorpus"
    # With the seeds of the tree; the random numbers are the same each time.
    lSeeds=
    [ ! -d "tests/fuzz/seeds/$lTarget" ] || lSeeds=tests/fuzz/seeds/$lTarget
    lLog=build/fuzz/found/$lTarget.log
    lVerdict=passed
    # shellcheck disable=SC2086
    build/fuzz/tests/fuzz/"$lTarget" -seed=1 -max_total_time="$lSeconds" -timeout=20 -rss_limit_mb=2048 -print_final_stats=1 \
        -artifact_prefix=build/fuzz/found/"$lTarget"- "$lCorpus" $lSeeds >"$lLog" 2>&1 ||
        { lVerdict="FAILED, see $lLog"; lFailures=$((lFailures + 1)); }
    printf '%-16s %10s %8s %9s  %s\n' "$lTarget" \
        "$(sed -n 's/^stat::number_of_executed_units: *//p' "$lLog")" \
        "$(sed -n 's/.* cov: \([0-9]*\).*/\1/p' "$lLog" | tail -n 1)" "$lSeconds" "$lVerdict"
done
[ "$lFailures" -eq 0 ] && echo "fuzz: PASSED" || { echo "fuzz: FAILED in $lFailures targets"; exit 1; }

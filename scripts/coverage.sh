#!/bin/sh
# Shows which lines and branches of the library the tests run:  scripts/coverage.sh
# Prints a table of files and what was not run; the pages are in build/coverage/report.
set -eu

case ${1:-} in -h | --help) sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0" && exit 0 ;; esac

lRoot=$(cd "$(dirname "$0")/.." && pwd)
cd "$lRoot"
lBuild=build/coverage
export CCACHE_DISABLE=1

scripts/setup.sh coverage
cmake -S . -B $lBuild -G Ninja -DCMAKE_BUILD_TYPE=Debug -DUTL_BUILD_TESTS=ON -DUTL_INSTALL=OFF \
    "-DCMAKE_CXX_FLAGS=--coverage -fprofile-update=atomic -DUTL_COVERAGE" >/dev/null
cmake --build $lBuild --parallel "${UTL_JOBS:-$(nproc)}" >/dev/null
find $lBuild -name '*.gcda' -delete
# All tests but the one of the library's outside calls: here it also calls the measurement's functions.
ctest --test-dir $lBuild --exclude-regex EveryCallIsListed --timeout 600 --parallel "${UTL_JOBS:-$(nproc)}" \
    --output-on-failure >$lBuild/tests.log || { tail -n 40 $lBuild/tests.log; exit 1; }
$lBuild/tests/proof/UtlFaultProof 120 | tail -n 1
mkdir -p $lBuild/report
# Branches that only an exception takes are not counted: each call would have one. gcov's text does not mark them where a
# program never ran, so they are removed after the results of all programs are merged.
gcovr --root . --exclude-unreachable-branches --filter source/ --filter include/ --exclude source/tables/ \
    --object-directory $lBuild --json $lBuild/report/all.json \
    $lBuild/CMakeFiles/utl_objects.dir $lBuild/tests
python3 - $lBuild/report/all.json $lBuild/report/coverage.json <<'EOF'
import json, sys
lReport = json.load(open(sys.argv[1]))
for lFile in lReport["files"]:
    for lLine in lFile["lines"]:
        lLine["branches"] = [lBranch for lBranch in lLine["branches"] if not lBranch["throw"]]
json.dump(lReport, open(sys.argv[2], "w"))
EOF
lPages="--root . --add-tracefile $lBuild/report/coverage.json"
# shellcheck disable=SC2086
{
    gcovr $lPages --html-details $lBuild/report/index.html --txt $lBuild/report/lines.txt
    gcovr $lPages --branches --txt $lBuild/report/branches.txt
}
cat $lBuild/report/lines.txt $lBuild/report/branches.txt

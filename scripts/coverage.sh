#!/bin/sh
# Which lines and branches of the library the tests run:  scripts/coverage.sh
# Prints a table of files and what was not run; the pages are in build/coverage/report.
set -eu

lRoot=$(cd "$(dirname "$0")/.." && pwd)
cd "$lRoot"
lBuild=build/coverage
export CCACHE_DISABLE=1

scripts/setup.sh coverage
cmake -S . -B $lBuild -G Ninja -DCMAKE_BUILD_TYPE=Debug -DUTL_BUILD_TESTS=ON -DUTL_INSTALL=OFF \
    "-DCMAKE_CXX_FLAGS=--coverage -fprofile-update=atomic -DUTL_COVERAGE" >/dev/null
cmake --build $lBuild --parallel "${UTL_JOBS:-$(nproc)}" >/dev/null
find $lBuild -name '*.gcda' -delete
# All but the list of what the library calls: here it calls the measurement, too.
ctest --test-dir $lBuild --exclude-regex EveryCallIsListed --timeout 600 --parallel "${UTL_JOBS:-$(nproc)}" \
    --output-on-failure >$lBuild/tests.log || { tail -n 40 $lBuild/tests.log; exit 1; }
$lBuild/proof/UtlFaultProof 120 | tail -n 1
mkdir -p $lBuild/report
# Branches that only an exception takes are not counted: each call would have one.
lCounted="--root . --exclude-throw-branches --exclude-unreachable-branches"
# shellcheck disable=SC2086
{
    gcovr $lCounted --filter source/ --filter include/ --exclude source/tables/ --object-directory $lBuild \
        --json $lBuild/report/coverage.json $lBuild/CMakeFiles/utl_objects.dir $lBuild/tests $lBuild/proof $lBuild/fuzz
    gcovr $lCounted --add-tracefile $lBuild/report/coverage.json --html-details $lBuild/report/index.html \
        --txt $lBuild/report/lines.txt
    gcovr $lCounted --add-tracefile $lBuild/report/coverage.json --branches --txt $lBuild/report/branches.txt
}
cat $lBuild/report/lines.txt $lBuild/report/branches.txt

#!/bin/sh
# Checks of the project as a whole, one for each name: check.sh NAME ARGUMENT...
# Prints what is wrong and gives 1; silent and 0 otherwise.
set -u
export LC_ALL=C

# umbrella SOURCE_DIR: Utl.h includes every other public header but the face, which nobody gets unasked.
umbrella() {
    for lHeader in "$1"/include/*.h; do
        lName=$(basename "$lHeader")
        if [ "$lName" != Utl.h ] && [ "$lName" != UtlWorker.h ] && ! grep -qx "#include \"$lName\"" "$1/include/Utl.h"; then
            echo "include/Utl.h lacks: #include \"$lName\""
        fi
    done
}

# types SOURCE_DIR: no type in a public header changes its size with the application's macros for files and times.
types() {
    grep -nwE 'time_t|timespec|itimerspec|timeval|off_t' "$1"/include/*.h
}

# links SOURCE_DIR: relative links of the documents lead to something that exists.
links() {
    find "$1" -name build -prune -o -name 'build-*' -prune -o -name '.?*' -prune -o -name '*.md' -print |
        while read -r lDocument; do
            # Code, in blocks and within a line, is no link.
            awk '/^ *```/ { code = !code; next }
                 !code { gsub(/`[^`]*`/, ""); print }' "$lDocument" |
                grep -oE '\]\([^)]+\)' | sed -E 's/^\]\(<?//; s/[ >)].*$//; s/#.*$//' |
                while read -r lTarget; do
                    case $lTarget in
                    '' | *://* | mailto:*) ;;
                    *) [ -e "$(dirname "$lDocument")/$lTarget" ] || echo "$lDocument: no such file: $lTarget" ;;
                    esac
                done
        done
}

# versions SOURCE_DIR: packages have the version of the headers.
versions() {
    lVersion=$(sed -n 's/^#define UTL_VERSION_[MP][A-Z]* \([0-9]*\) .*/\1/p' "$1/include/UtlVersion.h" | paste -s -d .)
    [ -e "$1/packaging/yocto/utl_$lVersion.bb" ] || echo "packaging/yocto has no recipe of $lVersion"
    for lPlace in "debian/changelog:utl ($lVersion)" "packaging/buildroot/utl.mk:UTL_VERSION = $lVersion" \
        "packaging/conan/conanfile.py:version = \"$lVersion\""; do
        grep -qF "${lPlace#*:}" "$1/${lPlace%%:*}" || echo "${lPlace%%:*} lacks: ${lPlace#*:}"
    done
}

# safety SOURCE_DIR: each public class, and each function outside classes, answers "Threads:", "Signals:", "Forks:" and
# "Blocking:", or all with "Safety:", in its comment or, for functions, in one about the file. A struct is a plain record.
safety() {
    awk '
    function isTold(nText) {
        return nText ~ /Safety:/ || nText ~ /Threads:/ && nText ~ /Signals:/ && nText ~ /Forks:/ && nText ~ /Blocking:/
    }
    function isPublic(nDepth,    i) {
        for (i = 0; i < nDepth && !lIsHidden[i]; ++i);
        return i >= nDepth
    }
    function complain() { print FILENAME ":" FNR ": how is it safe? " $0 }

    FNR == 1 { lFileText = lText = ""; lIsComment = lBraces = 0 }
    /^namespace (worker_)?internal$/ { lBraces = 1; next }
    lBraces { # 1 more than are open
        lBraces += gsub(/{/, "{") - gsub(/}/, "}")
        lBraces = /}/ && lBraces == 1 ? 0 : lBraces
        next
    }
    /^ *\/\/\// {
        if (!lIsComment) {
            lIsOfFile = FNR == 1 || /@file/
            lText = ""
        }
        lText = lText $0
        lFileText = lFileText (lIsOfFile ? $0 : "")
        lIsComment = 1
        next
    }
    { lIsComment = 0 }
    /^ *template </ { next }
    { match($0, /^ */) }
    /^ *(public|protected|private):$/ { lIsHidden[RLENGTH] = /private/ }
    /^ *(class|struct) [^;]*$/ {
        lIsHidden[RLENGTH] = /class/
        if (/class/ && isPublic(RLENGTH) && !isTold(lText))
            complain()
    }
    /^(    UTL_API |[A-Za-z])[^=]*\(/ && !/^(class|struct|extern|constexpr) / && !isTold(lText lFileText) { complain() }
    /^$/ { lText = "" } # a comment is for all declarations up to an empty line
    ' "$1"/include/*.h
}

# floors SOURCE_DIR: includes go downwards only, by tests/project/floors.txt.
floors() {
    (cd "$1" && grep -E '^#include "(.*/)?Utl' include/*.h source/*.cpp source/internal/*/* source/tables/*.cpp) |
        sed -E 's#^(.*/)?Utl([A-Za-z0-9]*)\.([a-z]*):.include "(.*/)?Utl([A-Za-z0-9]*)\.h"$#\2 \3 \5#' |
        awk -v Order="$1/tests/project/floors.txt" '
            BEGIN {
                while ((getline lLine < Order) > 0) {
                    if (lLine ~ /^#/) continue
                    ++lFloor
                    for (i = split(lLine, lNames, " "); i > 0; --i) { floors[lNames[i]] = lFloor; places[lNames[i]] = i }
                }
            }
            function known(nName) { # the longest name that it begins with
                while (nName != "" && !(nName in floors)) nName = substr(nName, 1, length(nName) - 1)
                return nName
            }
            {
                lFrom = known($1); lTo = known($NF)
                if (NF < 3) next # Utl.h includes all
                if (lFrom == "" || lTo == "") print "not in tests/project/floors.txt: " (lFrom == "" ? $1 : $3)
                else if (floors[lFrom] < floors[lTo] ||
                         $2 == "h" && lFrom != lTo && floors[lFrom] == floors[lTo] && places[lFrom] < places[lTo])
                    print "Utl" $1 "." $2 " includes upwards: Utl" $3 ".h"
            }'
}

# names SOURCE_DIR: no two headers define classes of one name, of which the linker could take the wrong one's functions.
names() {
    (cd "$1" && grep -hoE '^(class|struct|enum) (UTL_[A-Z]+ )?[A-Za-z]+( final)?( :.*)?$' include/*.h source/internal/*/*.h) |
        sed -E 's/^[a-z]+ (UTL_[A-Z]+ )?//; s/ .*//' | sort | uniq -d | sed 's/^/defined twice: /'
}

# columns SOURCE_DIR: no line of C++ is longer than 120 columns. A byte that continues a character of UTF-8 takes none.
columns() {
    (cd "$1" && find include source bench examples tests tools \( -name '*.h' -o -name '*.cpp' \) -exec awk '
        { lLine = $0; gsub(/[\200-\277]/, "", lLine) }
        length(lLine) > 120 { print FILENAME ":" FNR ": longer than 120 columns" }' {} +)
}

# soname READELF LIBRARY NAME: the name that programs will look for.
soname() {
    "$1" -d "$2" | grep SONAME | grep -qF "[$3]" || echo "$2 has not the SONAME $3"
}

# exports NM LIBRARY LIBRARY_OBJECTS TEST_OBJECTS: what the tests call of the library's public part is exported,
# although they are linked with its objects. The last two are files of paths, one a line. Tests also call private
# members, which cmake/utl.map keeps inside.
exports() {
    lScratch=$(mktemp -d)
    trap 'rm -rf "$lScratch"' EXIT
    xargs "$1" -Pg <"$4" | awk '$2 == "U" { print $1 }' | sort -u >"$lScratch/called"
    xargs "$1" -Pg <"$3" | awk '$2 ~ /^[A-TV-Z]$/ { print $1 }' | sort -u >"$lScratch/ours"
    "$1" -PD --defined-only "$2" | awk '{ sub(/@.*/, "", $1); print $1 }' | sort -u >"$lScratch/exported"
    comm -12 "$lScratch/called" "$lScratch/ours" >"$lScratch/used"
    [ -s "$lScratch/used" ] || echo "the tests call nothing of the library: is this check right?"
    grep -o 'utl::[^;]*' "$(dirname "$0")/../../cmake/utl.map" | sed 's/[*]/.*/g; s/?/./g' >"$lScratch/private"
    comm -23 "$lScratch/used" "$lScratch/exported" |
        grep -vE '^_Z[A-Z]*3utl8internal|LockedE|[0-9]{2}execute[A-Z]' |
        c++filt | grep -vxEf "$lScratch/private" |
        sed 's/^/not exported: /'
}

# calls NM LIBRARY LIST: every symbol that the library takes from elsewhere stands in the list of calls and how they fail.
# Names as in the list: large-file, 64-bit-time and fortified variants under the plain name, sizes as on 64 bits.
calls() {
    "$1" -PD --undefined-only "$2" | awk '{ sub(/@.*/, "", $1); print $1 }' |
        sed -E 's/^__(.*)_chk$/\1/; s/^__(.*)_time64$/\1/; s/^__isoc[0-9]+_//; s/^(__)?([a-z_]+)64(_r)?$/\2\3/
                s/^(_Zn[aw])j/\1m/; s/^(_Zd[al]Pv)j$/\1m/' |
        sort -u |
        awk -v List="$3" '
            BEGIN { while ((getline lLine < List) > 0) if (split(lLine, lFields) >= 2 && lLine !~ /^#/) known[lFields[1]] }
            {
                for (lName in known)
                    if (lName == $1 || (lName ~ /[*]$/ && index($1, substr(lName, 1, length(lName) - 1)) == 1)) next
                print "a call that nothing is known of: " $1
                print "  Can it fail? Then make it an entry of gSystem (source/internal/base/UtlSystemCalls), inject it in"
                print "  tests/proof/UtlFaultProof.cpp and list it as injected in " List "; otherwise list it with the reason."
            }
            END { if (NR == 0) print "the library calls nothing: is this check right?" }'
}

lFound=$("$@" 2>&1)
[ -z "$lFound" ] || { printf '%s\n' "$lFound"; exit 1; }

#!/bin/sh
# One check of the demo as its user meets it:  check.sh CHECK SAMPLE PROGRAM...
# PROGRAM may begin with an emulator. Silent and 0 if all is well, otherwise it shows what the program said.
set -u

lCheck=$1
lSample=$2
shift 2
lScratch=$(mktemp -d)
lPid=
trap 'rm -rf "$lScratch"; [ -z "$lPid" ] || kill -9 "$lPid" 2>/dev/null' EXIT
cd "$lScratch" || exit 1
lSjisSample=${lSample%.txt}.sjis.txt
# What the program's own sample says: the other one without the lines that Shift-JIS cannot hold.
grep -vF -e 🌠 -e 𠮷 -e é "$lSample" >ownText

failed() {
    echo "$lCheck: $*"
    for lFile in out err; do echo "--- $lFile" && cat "$lFile"; done
    exit 1
}

# gave CODE WANTED: the exit code, and in every case no more on stderr than one line of the program's own.
gave() {
    [ "$1" -eq "$2" ] || failed "exit code $1, not $2"
    [ "$(wc -l <err)" -le 1 ] && ! grep -qv '^utlDemo: ' err || failed "more on stderr than one message"
}

says() { grep -q -- "$2" "$1" || failed "no '$2' in $1"; }

# counted WORD NUMBER: the collector's total.
counted() { says out "^  $1 .* $2\( .*\)\?$"; }

# worked: threads ran, agreed, and were stopped. Nothing went wrong but what $lExpected matches. In a niced process without
# privileges no thread gets its priority.
lExpected='^$'
worked() {
    says out 'check *PASSED'
    says out ' Collector .*, ACTIVE .*NORMAL'
    says out ' Worker .*, ACTIVE .*NORMAL'
    says out '^utlDemo: all threads stopped'
    ! grep 'ERR: ' out | grep -v ' Error setpriority() ' | grep -qv "$lExpected" || failed "the log shows errors"
}

# wordsOf FILE: runs of something visible between white space, U+3000 among it. What wc takes for visible and what it
# makes of malformed bytes differs from version to version.
wordsOf() {
    { iconv -c -f UTF-8 -t UTF-8 "$1"; echo; } | LC_ALL=C tr -d '\000-\010\016-\037\177' | LC_ALL=C sed 's/　/ /g' |
        LC_ALL=C tr -s ' \t\n\v\f\r' '\n' | sed '/^$/d' | wc -l
}

# countsAsWc FILE: the totals are those of wc. A last line without a line feed is a line, which wc does not count.
countsAsWc() {
    lLines=$(wc -l <"$1")
    [ -z "$(tail -c 1 "$1" | tr -d '\n' | head -c 1)" ] || lLines=$((lLines + 1))
    counted lines "$lLines"
    counted bytes "$(wc -c <"$1")"
    counted characters "$(LC_ALL=C.UTF-8 wc -m <"$1")"
    counted words "$(wordsOf "$1")"
    worked
}

# stalled: the watchdog missed the worker, and told whom and where.
stalled() {
    says out 'ThreadWatchdog Timeout ID:[0-9]* Name:Worker'
    says out ' utlDemo: DTL: thread "Worker" is late, .* suffer() at .*Worker.cpp:[0-9]'
}

# takes FILE TEXT PROGRAM...: the whole of a readable file, by name and on standard input. TEXT is the same as UTF-8.
takes() {
    lFile=$1
    lText=$2
    shift 2
    "$@" "$lFile" >out 2>err
    gave $? 0
    countsAsWc "$lText"
    "$@" - <"$lFile" >out 2>err
    gave $? 0
    countsAsWc "$lText"
}

# stopsAt FILE LINES MESSAGE PROGRAM...: reports what comes before the line that cannot be read.
stopsAt() {
    lLines=$2
    lMessage="$1, line $((lLines + 1)): $3"
    lFile=$1
    shift 3
    "$@" "$lFile" >out 2>err
    gave $? 1
    says err "^utlDemo: $lMessage"
    counted lines "$lLines"
    worked
}

# refuses MESSAGE PROGRAM...: nothing to read, so no thread is started.
refuses() {
    lMessage=$1
    shift
    "$@" >out 2>err
    gave $? 1
    says err "^utlDemo: cannot open $lMessage"
    [ ! -s out ] || failed "a report without anything read"
}

# An interrupted program has to say so, and report what it read. Started like this it would ignore SIGINT by itself.
startOnPipe() {
    mkfifo pipe
    "$@" pipe >out 2>err &
    lPid=$!
    exec 3>pipe
}

interrupted() {
    kill -"$1" "$lPid"
    lCode=0
    wait "$lPid" || lCode=$?
    lPid=
    gave "$lCode" "$2"
    says err '^utlDemo: interrupted after [0-9]* lines'
    counted lines "$(sed -n 's/.*after \([0-9]*\) lines/\1/p' err)"
    worked
}

# A full queue is no fault while nobody takes anything out of it.
lStallErrors='ThreadWatchdog Timeout\|Overflow MsgDataQueue'

case $lCheck in
sample)
    "$@" >out 2>err
    gave $? 0
    countsAsWc ownText
    counted 'malformed lines' 0
    ! grep -q "$(printf '\033')" out || failed "progress, but no terminal"
    takes "$lSample" "$lSample" "$@"
    takes "$lSjisSample" ownText "$@" --encoding sjis
    ;;
encodings) # more than the pieces in which a stream is read; with a mark, with CR, without a last line feed
    for _ in $(seq 30); do
        cat ownText >&3
        cat "$lSjisSample" >&4
    done 3>text 4>sjis
    for lFile in text sjis; do printf 'CR\rLF\r\n\r\nend' >>$lFile; done
    takes text text "$@" --encoding utf-8
    takes sjis text "$@" --encoding sjis
    for lOrder in 'be \376\377' 'le \377\376'; do
        lEncoding=utf-16${lOrder% *}
        iconv -f UTF-8 -t "$lEncoding" text >plain
        takes plain text "$@" --encoding "$lEncoding"
        # shellcheck disable=SC2059 # a mark
        { printf "${lOrder#* }" && cat plain; } >marked
        takes marked text "$@" --encoding "$lEncoding"
        head -c 2 marked >empty
        takes empty /dev/null "$@" --encoding "$lEncoding"
    done
    "$@" --encoding utf-16le --word '水' plain >out 2>err
    says out "^  word  *$(grep -c 水 text)  lines"
    ;;
flood) # far more than the queues hold, in lines of all lengths up to the longest
    awk 'BEGIN { for (i = 0; i < 12; i++) s = s "流れる水 water "
                 for (i = 0; i < 6000; i++) print substr(s, 1, i % 90)
                 for (i = 0; i < 4095; i++) printf "x"
                 print "" }' | LC_ALL=C.UTF-8 iconv -c -f UTF-8 -t UTF-8 >text
    takes text text "$@"
    counted 'longest line' '4095  characters, 4096 bytes, line 6001'
    ! grep -q 'queue was full * 0 ' out || failed "no post was ever refused"
    # Texts that end just when the queue is full: also the last messages have to wait for room.
    for lLines in 64 65 66 67 68 69 70 80 128 129 130 190 200 257 322 400; do
        head -n "$lLines" text | "$@" - >out 2>err
        gave $? 0
        counted lines "$lLines"
    done
    ;;
empty)
    : >text
    takes text text "$@"
    counted lines 0
    ;;
malformed) # a lone tail, a cut-off character, an overlong one, bytes that never occur; NUL, CR, no last line feed
    printf 'a\200b\nc\343\201\n\300\257 \377\n\000 nul\r\n\357\273\277mark\nend\343\202' >text
    takes text text "$@"
    counted 'malformed lines' '4  the first is line 1'
    says err '^utlDemo: standard input, line 1: malformed, and so are 3 more lines'
    # No character, a code without one, half of one, a NUL, a mark of the other order: without UTF-8 the text ends.
    for lBytes in '\200\n' 'a\201\255\n' '\203' 'a\000b\n'; do
        # shellcheck disable=SC2059
        printf "one\n\n$lBytes" >text
        stopsAt text 2 malformed "$@" --encoding sjis
    done
    for lBytes in 'a' '\377\376\n\000' 'a\000\000\000b\000\n\000'; do
        # shellcheck disable=SC2059
        printf "1\000\n\000\n\000$lBytes" >text
        stopsAt text 2 malformed "$@" --encoding utf-16le
    done
    ;;
tooLong)
    xs() { head -c "$1" /dev/zero | tr '\0' "$2"; }
    { printf 'one\ntwo\n' && xs 4096 x && printf '\nfour\n'; } >text
    stopsAt text 2 'too long for a message, which holds 4096 bytes$' "$@"
    { printf 'one\n' && xs 1366 '\261'; } >text # half-width kana, three bytes each
    stopsAt text 1 'too long for a message' "$@" --encoding sjis
    xs 5120 x >text
    stopsAt text 0 'too long to be converted, which takes at most 5119 bytes$' "$@" --encoding utf-16be
    ;;
word) # once where it is often in a line, across the bytes of other characters, beside NULs and malformed bytes
    awk 'BEGIN { for (i = 0; i < 3000; i++) print i % 7 ? "流れる水 " i : "水 water water" }' >text
    printf 'a\000water\200\nwate\nr' >>text
    for lWord in water 水 れ 299 wate '--stall' 'no such'; do
        "$@" --word "$lWord" text >out 2>err
        gave $? 0
        countsAsWc text
        lLines=$(LC_ALL=C grep -acF -e "$lWord" text)
        says out "^  word  *$lLines  lines hold '$lWord'"
        lFirst=$(LC_ALL=C grep -anF -e "$lWord" text | head -n 1 | cut -d : -f 1)
        [ -z "$lFirst" ] || says out "first is line $lFirst$"
    done
    ;;
journal) # it leaves with the fifth line; whoever stays goes on counting
    for lLines in 0 1 4 5 6 136; do
        head -n "$lLines" "$lSample" >text
        "$@" --word ' ' text >out 2>err
        gave $? 0
        countsAsWc text
        if [ "$lLines" -lt 5 ]; then
            says out "^  journal  *$lLines  lines\(;.*\)\?$"
        else
            says out '^  journal  *5  lines, then it left;'
        fi
        says out "^  word  *$(grep -c ' ' text)  lines"
    done
    ;;
stall) # and the worker comes back, so that nothing is lost
    lExpected=$lStallErrors
    "$@" --stall >out 2>err
    gave $? 0
    countsAsWc ownText
    stalled
    says out '^  0 lines, 0 bytes so far$'
    says out 'INF: ThreadWatchdog Timeout->Alive ID:[0-9]* Name:Worker'
    says out ' Worker .* 500, .*, ALIVE *, *[1-9][0-9]*, ('
    says out ' utlDemo: DTL: thread "Worker": hung: blocked, '
    ;;
starve) # is not taken for a hang, and works on
    lExpected=$lStallErrors
    "$@" --starve >out 2>err
    gave $? 0
    countsAsWc ownText
    says out ' utlDemo: DTL: thread "Worker" is late, '
    says out ' utlDemo: DTL: thread "Worker": starved,'
    ! grep -q 'thread "Worker": hung' out || failed 'it was taken for hung'
    ;;
inside) # the stall shows in the table, and as the longest call
    lExpected=$lStallErrors
    "$@" --stall --inside >out 2>err
    gave $? 0
    countsAsWc ownText
    says out '^thread .* queue  *waiting .* messages/s '
    says out '^Worker  *\[####################\]  *64/64 .*, in one for [0-9]\{3,4\} ms$'
    says out '^Collector  *\[\.\{20\}\] .* [0-9]\{1,2\} ms'
    says out ' [12][0-9]\{3\} ms, message 0x00000001$'
    ;;
dump) # a signal says in which message, and what waits behind it
    lExpected=$lStallErrors
    "$@" --stall >out 2>err &
    lPid=$!
    until grep -q 'thread "Worker" is late' out; do
        kill -0 "$lPid" || failed "it ended before it hung"
        sleep 0.05
    done
    kill -USR1 "$lPid"
    wait "$lPid"
    lResult=$?
    lPid=
    [ "$lResult" -eq 0 ] || failed "exit code $lResult"
    countsAsWc ownText
    lWorker='^thread [0-9]* "Worker": '
    says err "${lWorker}running, message 0x00000001 for [0-9]* ms, last report .*Worker.cpp suffer:[0-9]*:1$"
    says err "${lWorker}accepted 65, delivered 1, .*, waiting 64, most 64; refused full [1-9]"
    says err '^utl: [0-9]* threads, 0 passed over, 0 lines dropped$'
    ;;
locked)
    cp "$lSample" text
    refuses 'text: it is locked by another process$' flock -x text "$@" text
    refuses 'the log text: it is locked by another process$' flock -s text "$@" --log text
    takes text text flock -s text "$@"
    ;;
log) # what standard output shows; one run after the other; a full file makes room
    "$@" --log new/folder/log >out 2>err
    gave $? 0
    countsAsWc ownText
    lExpected=$lStallErrors
    "$@" --stall --log new/folder/log >>out 2>err
    stalled
    printf 'one\n\200' | "$@" --encoding sjis --log new/folder/log - >>out 2>err
    says new/folder/log 'WRN: standard input, line 2: malformed'
    grep ' utlDemo: ' out | cmp - new/folder/log || failed "standard output and the log differ"
    head -c 65536 /dev/zero >full
    for _ in 1 2; do # the second time there is an old one
        "$@" --log full >out 2>err
        gave $? 0
        [ "$(wc -c <full.old)" -eq 65536 ] && [ "$(wc -l <full)" -eq 2 ] || failed "the full log was not put aside"
        head -c 65536 /dev/zero >full
    done
    refuses 'the log \.: Is a directory$' "$@" --log .
    refuses 'the log new/folder/log/log: Not a directory$' "$@" --log new/folder/log/log
    ;;
again) # until the time is over
    "$@" --for 1 "$lSample" >out 2>err
    gave $? 0
    countsAsWc "$lSample"
    says out '^  passes  *\([2-9]\|[1-9][0-9]\)'
    "$@" --for 1 - <"$lSample" >out 2>err
    gave $? 1
    says err 'cannot read standard input again and again'
    ;;
missing) refuses 'nowhere/text: No such file or directory' "$@" nowhere/text ;;
unreadable)
    ln -s loop loop
    refuses 'loop: Too many levels of symbolic links' "$@" loop
    refuses 'standard input: Bad file descriptor' "$@" - <&-
    "$@" "$lSample" >out 2>err <&- # the file must not take its place
    gave $? 0
    : >secret
    chmod 0 secret
    [ -r secret ] || refuses 'secret: Permission denied' "$@" secret # root may read everything
    ;;
directory)
    "$@" . >out 2>err
    gave $? 1
    says err '^utlDemo: cannot read .: Is a directory$'
    counted lines 0
    worked
    ;;
usage)
    for lArguments in --nonsense --word 'a --word' 'a b' '--stall a b' --log '--encoding utf-8' \
        '--encoding x a' '--for 0' '--for 1x'; do
        # shellcheck disable=SC2086 # several words
        "$@" $lArguments >out 2>err
        lCode=$?
        [ "$lCode" -eq 2 ] && grep -q '^usage: ' err || failed "exit code $lCode for $lArguments"
    done
    "$@" --help >out 2>err
    gave $? 0
    says out '^usage: '
    ;;
interruptedWaiting) # for input: more than a pipe holds has gone through, so some has been read
    startOnPipe "$@"
    yes 'まだまだ続く' | head -n 10000 >&3
    interrupted INT 130
    ! grep -q 'after 0 lines' err || failed "nothing was read"
    ;;
interruptedReading) # with input always at hand
    startOnPipe "$@"
    yes 'どこまでも続く' >&3 2>yesErr &
    lYes=$!
    yes 'まだまだ続く' | head -n 10000 >&3
    interrupted TERM 143
    kill "$lYes" 2>/dev/null || : # it may have found nobody to read
    ;;
interruptedStalling) # the queue is full by then; what is in it is counted, and no more is read
    lExpected=$lStallErrors
    startOnPipe "$@" --stall
    yes 'まだまだ続く' | head -n 2000 >&3
    until grep -q ' utlDemo: DTL: thread' out; do
        kill -0 "$lPid" 2>/dev/null || failed "no stall was reported"
        sleep 0.1
    done
    interrupted INT 130
    stalled
    [ "$(sed -n 's/.*after \([0-9]*\) lines/\1/p' err)" -le 100 ] || failed "the reader went on"
    ;;
*) failed "no such check" ;;
esac

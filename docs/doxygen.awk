# Doxygen's view of a header: what its comments leave to the reader's eye is said to Doxygen. Lines stay lines, so that
# messages name the right ones.

{ mLines[NR] = $0 }

function indentOf(nLine) { match(nLine, /^ */); return RLENGTH }

# A comment is for all declarations below it up to an empty line, another comment or the end of the braces, but for those
# that have or inherit one of their own.
# Result: the line behind these where there are several, 0 otherwise.
function groupEnd(nFirst,    lIndent, lLine, lCount) {
    lIndent = indentOf(mLines[nFirst])
    for (lLine = nFirst; mLines[lLine] ~ /^ *(\/\/\/|template |UTL_SHARP_EDGE)/; ++lLine);
    if (mLines[lLine] ~ /^ *(class|struct|enum|namespace) /)
        return 0
    for (; lLine <= NR && mLines[lLine] !~ /^ *(\/\/.*|#.*)?$/ && indentOf(mLines[lLine]) >= lIndent; ++lLine)
        lCount += indentOf(mLines[lLine]) == lIndent && mLines[lLine] !~ /^ *([{}]|template |UTL_SHARP_EDGE)|~|override|= de|\/\/\/</
    return lCount > 1 ? lLine : 0
}

# Text stays text: no commands, HTML, links, emphasis. "npDst, nDstSize: ..." are parameters, but in a comment for several
# functions, which need not all have them; "Result: ..." is the result, "Caution: ..." a warning, "Threads: ..." and the
# like are headings.
function prose(nText, nIsFirst, nIsGroup,    lLabel) {
    gsub(/[\\%<>&#*]/, "\\\\&", nText)
    gsub(/>::/, ">\\::", nText)
    if (nIsFirst || !match(nText, /^(np?[A-Z][A-Za-z0-9]*(, np?[A-Z][A-Za-z0-9]*)*|[A-Z][a-z]+|Time-outs|convert[A-Za-z.]+): +/))
        return nText
    lLabel = substr(nText, 1, RLENGTH)
    nText = substr(nText, RLENGTH + 1)
    sub(/: +$/, "", lLabel)
    if (lLabel == "Result")
        return "@return " nText
    if (lLabel == "Caution")
        return "@warning " nText
    if (lLabel !~ /^np?[A-Z]/ || nIsGroup) {
        gsub(/,/, "\\,", lLabel)
        return "@label{" lLabel "} " nText
    }
    gsub(/ /, "", lLabel)
    return "@param " lLabel " " nText
}

END {
    lFile = FILENAME
    sub(/.*\//, "", lFile)
    for (i = 1; i <= NR; ++i) {
        lPrefix = ""
        if (i == lEnd)
            lPrefix = "/** @} */ "
        lIsComment = mLines[i] ~ /^ *\/\/\//
        lIsFirst = lIsComment && mLines[i - 1] !~ /^ *\/\/\//
        if (lIsFirst && i > 1 && mLines[i] !~ /@file/ && (lNext = groupEnd(i))) {
            lPrefix = lPrefix "/** @{ */ "
            lEnd = lNext
        }
        if (lIsFirst)
            lIsGroup = lPrefix ~ /@{/
        if (i == 1)
            sub(/^\/\/\/ /, "/// @file " lFile " ", mLines[i])
        else if (mLines[i] ~ /^ *[^ \/].*= default;$/)
            mLines[i] = "" # what the language makes needs no words
        else
            sub(/= delete;.*/, "= delete; ///< Deleted.", mLines[i])
        if (match(mLines[i], /\/\/\/<? /))
            mLines[i] = substr(mLines[i], 1, RSTART + RLENGTH - 1) \
                prose(substr(mLines[i], RSTART + RLENGTH), lIsFirst || !lIsComment, lIsGroup)
        print lPrefix mLines[i]
    }
}

# Doxygen's view of a header: what its comments leave to the reader's eye is said to Doxygen. Lines stay lines, so that
# messages name the right ones.

{ mLines[NR] = $0 }

function indentOf(nLine) { match(nLine, /^ */); return RLENGTH }

# A comment is for all declarations below it up to an empty line, another comment or the end of the braces, but for those
# that have or inherit one of their own.
# Result: the line behind these where there are several, 0 otherwise.
function groupEnd(nFirst,    lIndent, lLine, lCount) {
    lIndent = indentOf(mLines[nFirst])
    for (lLine = nFirst; mLines[lLine] ~ /^ *(\/\/\/|template )/; ++lLine);
    if (mLines[lLine] ~ /^ *(class|struct|enum|namespace) /)
        return 0
    for (; lLine <= NR && mLines[lLine] !~ /^ *(\/\/.*|#.*)?$/ && indentOf(mLines[lLine]) >= lIndent; ++lLine)
        lCount += indentOf(mLines[lLine]) == lIndent && mLines[lLine] !~ /^ *([{}]|template )|~|override|= de|\/\/\/</
    return lCount > 1 ? lLine : 0
}

# Text stays text: no commands, HTML, links, emphasis. "Result: ..." and "npDst, nDstSize: ..." are items of a list.
function prose(nText, nIsFirst) {
    gsub(/[\\%<>&#*]/, "\\\\&", nText)
    gsub(/>::/, ">\\::", nText)
    if (match(nText, /^([A-Z][a-z]+|Time-outs|n[A-Z][A-Za-z]*|np[A-Z][A-Za-z]*|convert[A-Za-z.]+)(, n[A-Za-z]+)*: /))
        nText = (nIsFirst ? "" : "- ") "**" substr(nText, 1, RLENGTH - 2) "**:" substr(nText, RLENGTH)
    return nText
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
        if (i == 1)
            sub(/^\/\/\/ /, "/// @file " lFile " ", mLines[i])
        else if (mLines[i] ~ /^ *[^ \/].*= default;$/)
            mLines[i] = "" # what the language makes needs no words
        else
            sub(/= delete;.*/, "= delete; ///< Deleted.", mLines[i])
        if (match(mLines[i], /\/\/\/<? /))
            mLines[i] = substr(mLines[i], 1, RSTART + RLENGTH - 1) \
                prose(substr(mLines[i], RSTART + RLENGTH), lIsFirst || !lIsComment)
        print lPrefix mLines[i]
    }
}

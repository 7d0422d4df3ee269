# Shows the comments of a header to Doxygen. The headers are written for a reader of the source: // in front of what they
# document, or after it on the same line.
#
#     // --- Timing ---        a heading over the members that follow, with the lines up to a blank one as its text
#     // Whole lines           document the declaration directly below them
#     int Count();  // text    documents what stands on its line
#     //     indented          example lines and drawings, kept as they are
#
# A comment with a blank line below it documents nothing.

function close_heading() {
    if (heading) print "///@}"
    heading = 0
}

# The lines held back, as documentation.
function put_documentation(    i, text, kept, blank) {
    if (held) print "/**"
    for (i = 1; i <= held; ++i) {
        text = line[i]
        sub(/^ *\/\/ ?/, "", text)
        if (text == "") {
            ++blank
            continue
        }
        if (kept && text !~ /^  /) {
            print "@endverbatim"
            kept = 0
        }
        for (; blank; --blank) print ""
        if (!kept && text ~ /^  /) {
            print "@verbatim"
            kept = 1
        }
        # What Doxygen would take for a command, a link or HTML.
        if (!kept) gsub(/[\\@<>#]/, "\\\\&", text)
        print text
    }
    if (kept) print "@endverbatim"
    if (held) print "*/"
    held = 0
}

/^ *\/\/ --- .* ---$/ {
    close_heading()
    title = $0
    gsub(/^ *\/\/ --- | ---$/, "", title)
    print "/// @name " title
    heading = 1
    opening = 1
    next
}

/^ *\/\// {
    line[++held] = $0
    next
}

{
    if (opening) {
        # The first lines under a heading are its text when a blank line ends them.
        if (/^ *$/) put_documentation()
        print "///@{"
        opening = 0
    }
    if (/^ *$/) held = 0
    put_documentation()
    if (/^( *(public|protected|private):|};)/) close_heading()
    sub(/  \/\/ /, "  ///< ")
    print
}

# The instructions of one run of each operation, from the files that callgrind wrote: "OPERATION | PATTERN", a tab,
# the number. Counts the library, the program and libstdc++, but not the C library and its maths: they choose at run
# time among variants for the processor.
#
#     awk -v runs=N -f instructions.awk FILE...

FNR == 1 { Finish(); name = ""; counted = 1; called = 0; sum = 0 }
/^desc: Trigger: Client Request: / { name = substr($0, 32) }
# A code file is named at its first use, also as that of a called function, and has a number from then on.
/^c?ob=/ {
    match($0, /\([0-9]+\)/)
    id = substr($0, RSTART, RLENGTH)
    if (RSTART + RLENGTH <= length($0)) object[FILENAME, id] = substr($0, RSTART + RLENGTH + 1)
    if (/^ob=/) counted = object[FILENAME, id] !~ /\/(libc|libm|ld-linux[^\/]*)[.]so[.0-9]*$/
}
# The line after "calls=" has the cost of the called function, which is also listed separately.
/^calls=/ { called = 1; next }
/^[+*0-9-]/ {
    if (!called && counted) sum += $2
    called = 0
}
END { Finish() }

function Finish() {
    if (name != "") printf "%s\t%d\n", name, sum / runs
}

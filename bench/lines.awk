# Specification strings of five phases and a balance mode. Each has its own numbers, and each is played exactly; with
# rest=50 half a period is left over at the end of each train, and each text gets a warning.
BEGIN {
    for (i = 0; i < lines; ++i) {
        len = 100 * (1 + i * 7 % 5)
        amp = 10 * (3 + i * 13 % 29)
        offset = 100 * (i % 3)
        gap = 100 * (1 + i % 7)
        printf "Line%d:(%d,0)(%d,-%d)(%d,0)(%d,%d)(%d,0):DurationMsec=[%d]:ChargeBalanceIdx=[0]\n", i, offset, len,
               amp, gap, len, amp, 100000 - offset - 2 * len - gap, 100 * (1 + i % 40) + rest
    }
}

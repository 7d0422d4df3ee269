"""What calls from Python cost. Prints the rows of a table of docs/performance.md.

Times are processor times of one core, the shortest of several runs: other programs can only lengthen them.
"""

import time
from typing import Callable

import tarvutil as tv

RUNS = 15
TEXTS = 100_000
TEXT = "Lilly:(0,0)(200,-60)(100,0)(400,30)(9300,0):DurationMsec=[1000]:ChargeBalanceIdx=[2]"


def shortest_us(call: Callable[[], object], calls: int) -> float:
    """Microseconds of one of calls."""
    best = float("inf")
    for _ in range(RUNS):
        start = time.process_time()
        for _ in range(calls):
            call()
        best = min(best, time.process_time() - start)
    return 1e6 * best / calls


def texts() -> "list[str]":
    return [
        f"p{i}:(0,0)({20 * (5 + i % 15)},-{1 + i % 60})(100,0)({20 * (5 + i % 15)},{1 + i % 60})(9300,0):DurationMsec=[1000]"
        for i in range(TEXTS)
    ]


stim = tv.Stimulator(time_step_us=20, amp_step_ua=1)
many = texts()
pulse = stim.lilly(amplitude_ua=-60, phase1_us=200, ipi_us=100, balance=2, frequency_hz=100)
amplitudes = iter(range(10**9))


def edit() -> object:
    pulse.amplitude_ua = -10 - next(amplitudes) % 50
    return pulse.words


print("| Call | us |\n|---|--:|")
one = shortest_us(lambda: stim.encode(TEXT), 20000)
listed = shortest_us(lambda: stim.encode(many), 1) / len(many)
for name, value in (
    ("`encode` of one text", one),
    (f"`encode` of a list of {len(many)} texts, per text", listed),
    ("an amplitude set, and the words", shortest_us(edit, 2000)),
    ("`check` of one text", shortest_us(lambda: stim.check(TEXT), 1000)),
):
    print(f"| {name} | {value:.2f} |")

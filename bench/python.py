"""What calls from Python cost, beside the library itself. Prints a table of docs/performance.md, and the targets.

    python.py PROGRAM     of bench/Texts.cpp: it reads and encodes the same texts without Python

Times are processor times of one core, the shortest of several runs: other programs can only lengthen them.
"""

import subprocess
import sys
import time
from typing import Callable

import tarvutil as tv

RUNS = 15
CALLS = 20_000
TEXTS = 100_000
MOST_ABOVE_LIBRARY_US = 2.0  # of one text
MOST_OF_LIST_US = 1.5  # per text
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


def library_us(texts: "list[str]") -> "list[float]":
    """Microseconds per text of the library: of the first, and of all."""
    command = [sys.argv[1], repr(stim.time_step_us), repr(stim.amp_step_ua), str(CALLS)]
    return [float(us) for us in subprocess.check_output(command, input="\n".join(texts), text=True).split()]


def target(what: str, us: float, most: float) -> None:
    print(f"- {what}: {us:.2f} us, the target is {most:g} us: {'met' if us <= most else 'MISSED'}")


one_library, _ = library_us([TEXT])
_, listed_library = library_us(many)
one = shortest_us(lambda: stim.encode(TEXT), CALLS)
listed = shortest_us(lambda: stim.encode(many), 1) / len(many)
print("| Call | us | the library alone, us | above it, us |\n|---|--:|--:|--:|")
for name, value, alone in (
    ("`encode` of one text", one, one_library),
    (f"`encode` of a list of {len(many)} texts, per text", listed, listed_library),
):
    print(f"| {name} | {value:.2f} | {alone:.2f} | {value - alone:.2f} |")
for name, value in (
    ("an amplitude set, and the words", shortest_us(edit, 2000)),
    ("`check` of one text", shortest_us(lambda: stim.check(TEXT), 1000)),
):
    print(f"| {name} | {value:.2f} | | |")
print()
target("One text, above the library alone", one - one_library, MOST_ABOVE_LIBRARY_US)
target("A list, per text", listed, MOST_OF_LIST_US)

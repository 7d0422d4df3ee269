"""Stimulation patterns for a current stimulator, and the command words that play them.

    >>> import tarvutil as tv
    >>> stim = tv.Stimulator(time_step_us=20, amp_step_ua=1, amp_max_ua=100, budget=101)
    >>> pulse = stim.lilly(amplitude_ua=-60, phase1_us=200, ipi_us=100, balance=2, frequency_hz=100, pulses=100)
    >>> [f"{word:08X}" for word in pulse.words]
    ['00000064', '000AA03C', '00058000', '0014A09E', '01D10000']
    >>> stim.check(pulse).period_us.played
    10000.0

Units stand at the ends of names: us (microseconds), ms (milliseconds), ua (microamperes), hz, nc (nanocoulombs).
An object is used by one thread at a time; different objects are independent. Other threads of Python run while a report
is made, or its picture or time steps, while a list of texts is encoded, and in designs and schedules. The calls of a few
microseconds keep the interpreter's lock: encode of one text, and the edits and the words of a pattern.
"""

from ._core import version as __version__
from .designs import Change, Design
from .errors import NotPlayable
from .patterns import LillyPattern, Pattern, PlainPattern, Play
from .played import Played, decode
from .reports import AskedPlayed, CurrentPhase, Excess, Finding, LimitValue, PhaseReport, Refusal, Report
from .schedules import Command, Schedule, Total
from .stimulator import LIMITS, PatternFile, Stimulator, read_patterns

__all__ = [
    "LIMITS",
    "AskedPlayed",
    "Change",
    "Command",
    "CurrentPhase",
    "Design",
    "Excess",
    "Finding",
    "LillyPattern",
    "LimitValue",
    "NotPlayable",
    "Pattern",
    "PatternFile",
    "PhaseReport",
    "PlainPattern",
    "Play",
    "Played",
    "Refusal",
    "Report",
    "Schedule",
    "Stimulator",
    "Total",
    "__version__",
    "decode",
    "read_patterns",
]

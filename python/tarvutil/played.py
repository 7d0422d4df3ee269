"""Command words as current over time."""

from __future__ import annotations

from dataclasses import dataclass
from typing import List

import numpy as np
import numpy.typing as npt

from . import _core
from .numbers import Words, above_zero, whole, word_array
from .records import Record

Numbers = npt.NDArray[np.float64]


@dataclass(frozen=True, eq=False)
class Played(Record):
    """One cycle as words play it: stretches of constant current, in order and without gaps.

    cycles: from word 0. period_us: length of the cycle. starts_us, durations_us, currents_ua: float64 of shape (n,).
    words: the index in the word array of the word that each stretch belongs to. remarks: words that no pattern of the
    stimulator has, such as an amplitude above 100 steps, a sentence each. array: the word array, uint32; and the steps
    that its words are for.
    """

    cycles: int
    period_us: float
    starts_us: Numbers
    durations_us: Numbers
    currents_ua: Numbers
    words: npt.NDArray[np.int64]
    remarks: List[str]
    array: Words
    time_step_us: float
    amp_step_ua: float

    def waveform(self, sample_rate_hz: float, cycles: int = 1) -> Numbers:
        """Samples of this number of cycles, microamperes, float64 of shape (n,).

        A sample is the mean current over its interval. So the sum of the samples, divided by the rate, is the charge
        at every rate. The last interval may extend beyond the last cycle: the current there is 0.

            >>> decode([1, 0x000AA03C, 0x0014A09E], time_step_us=20, amp_step_ua=1).waveform(5000)
            array([-60.,  30.,  30.])
        """
        rate = above_zero("sample_rate_hz", sample_rate_hz)
        repeats = whole("cycles", cycles, 1, 2**31 - 1)
        count = repeats * self.period_us * rate / 1e6
        if count > MAX_SAMPLES:
            raise ValueError(f"sample_rate_hz: {count:.0f} samples are more than the largest number, {MAX_SAMPLES}")
        if repeats * len(self.starts_us) > MAX_SAMPLES:
            raise ValueError(f"cycles: {repeats} cycles have more than {MAX_SAMPLES} stretches of current")
        return _core.samples(self.array, self.time_step_us, self.amp_step_ua, repeats, rate)


MAX_SAMPLES = 100_000_000


def decode(words: npt.ArrayLike, *, time_step_us: float = 33.333332, amp_step_ua: float = 10.0) -> Played:
    """The current that words of any source play: word 0 with the cycles, and the words of one cycle.

    words: whole numbers of shape (n,). time_step_us, amp_step_ua: of the stimulator that plays them, above 0.
    Raises ValueError for a number that is not a valid word, with its index.
    """
    array = word_array(words).copy()
    array.flags.writeable = False
    time_step = float(np.float32(above_zero("time_step_us", time_step_us)))
    amp_step = float(np.float32(above_zero("amp_step_ua", amp_step_ua)))
    return Played(*_core.segments(array, time_step, amp_step), array, time_step, amp_step)

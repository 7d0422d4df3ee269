"""Patterns: a list of phases that is played once per period, and the words that play it."""

from __future__ import annotations

import math
from typing import TYPE_CHECKING, Any, Callable, Dict, List, Optional, Tuple, Union

import numpy as np
import numpy.typing as npt

from . import _core
from .errors import NotPlayable

if TYPE_CHECKING:
    from .stimulator import Stimulator

Words = npt.NDArray[np.uint32]
Phases = npt.NDArray[np.float32]


def _single(name: str, value: float, endless: bool = False) -> float:
    """value, finite in single precision (or infinite, for a train without end)."""
    number = float(value)
    if endless and number == math.inf:
        return number
    if not math.isfinite(number) or not math.isfinite(float(np.float32(min(max(number, -3.5e38), 3.5e38)))):
        raise ValueError(f"{name}: {value!r} is not a finite number in single precision")
    return number


def _whole(name: str, value: int, low: int, high: int) -> int:
    if isinstance(value, bool) or int(value) != value or not low <= value <= high:
        raise ValueError(f"{name}: {value!r} is not a whole number from {low} to {high}")
    return int(value)


def _same(asked: float, got: float) -> bool:
    """Equal but for what single precision does to a value on the way."""
    if asked == got:
        return True
    single = float(np.float32(asked))
    return math.isfinite(single) and abs(single - got) <= 1e-6 * abs(single)


class BasePattern:
    """What all kinds of patterns have in common.

    Reading `words` of a pattern that does not fit the time steps or the budget raises NotPlayable.
    """

    _core: _core.Pattern
    stimulator: "Stimulator"

    def __init__(self, stimulator: "Stimulator", core: _core.Pattern) -> None:
        self.stimulator = stimulator
        self._core = core
        self._words: Optional[Tuple[int, Words]] = None

    @property
    def words(self) -> Words:
        """The word array, uint32, word 0 with the number of cycles first; read-only.

        An array that was handed out keeps its values, whatever is edited later.
        """
        count = self._core.change_count
        if self._words is None or self._words[0] != count:
            words = self._core.words()
            if len(words) == 0:
                raise NotPlayable("the phases do not fit the time steps or the budget")
            self._words = (self._core.change_count, words)
        return self._words[1]

    @property
    def phases(self) -> Phases:
        """A copy of the phases, float32 of shape (n, 2): length in microseconds, amplitude in microamperes.

        Assigning an array of that shape replaces all phases, or raises NotPlayable.
        """
        return self._core.phases()

    @phases.setter
    def phases(self, phases: npt.ArrayLike) -> None:
        array = _phase_array(phases)
        if not self._core.set_phases(array):
            raise NotPlayable("the phases do not fit the time steps or the budget")

    def set_phase(self, index: int, length_us: float, amplitude_ua: float) -> None:
        """Offers a phase in the place of phase index; raises NotPlayable when the pattern refuses it."""
        length, amplitude = _single("length_us", length_us), _single("amplitude_ua", amplitude_ua)
        if not self._core.set_phase(_whole("index", index, 0, 2**31 - 1), length, amplitude):
            raise NotPlayable(f"phase {index} ({length_us} us, {amplitude_ua} uA) is refused", index)

    @property
    def period_ms(self) -> float:
        return self._core.period_ms

    @period_ms.setter
    def period_ms(self, period_ms: float) -> None:
        self._core.set_period(_single("period_ms", period_ms))

    @property
    def train_ms(self) -> float:
        """Length of the train, milliseconds; infinite without end. Assigning a train below one period gives one."""
        return self._core.train_ms

    @train_ms.setter
    def train_ms(self, train_ms: float) -> None:
        self._core.set_train(_single("train_ms", train_ms, endless=True))

    @property
    def pulses(self) -> float:
        """Cycles in the train; infinite without end."""
        return math.inf if self._core.continuous else self._core.cycles

    @pulses.setter
    def pulses(self, pulses: int) -> None:
        self._core.set_cycles(_whole("pulses", pulses, 1, 2**31 - 1))

    @property
    def text(self) -> str:
        """The specification string, with the head "Python"; it holds six decimals of each number."""
        return "Python:" + self._core.text()

    def play(self, channel: int = 0, now_ms: int = 0, clock: Optional[Callable[[], int]] = None) -> "Play":
        """A continued play of which the first block, the present words, is sent at now_ms. See Play."""
        return Play(self, channel, now_ms, clock)


def _phase_array(phases: npt.ArrayLike) -> Phases:
    array = np.asarray(phases)
    if array.ndim != 2 or array.shape[1] != 2:
        raise ValueError(f"phases: shape {array.shape} is not (n, 2): length_us, amplitude_ua")
    if array.dtype.kind not in "iuf":
        raise ValueError(f"phases: numbers are needed, not {array.dtype}")
    return np.ascontiguousarray(array, dtype=np.float32)


class PlainPattern(BasePattern):
    """Any number of phases, played as they are or refused."""

    _core: _core.Plain

    def __init__(self, stimulator: "Stimulator", phases: Optional[npt.ArrayLike] = None) -> None:
        super().__init__(stimulator, _core.Plain(stimulator.core))
        if phases is not None:
            self.phases = phases  # type: ignore[assignment]


class Pattern(BasePattern):
    """A kind of pattern of your own: override adjust_phases and set_period.

    Both get copies. An exception in them refuses the edit, and is raised when the library has returned.
    """

    def __init__(self, stimulator: "Stimulator", phases: Optional[npt.ArrayLike] = None) -> None:
        super().__init__(stimulator, _core.OwnKind(stimulator.core, self._adjust, self._set_period))
        if phases is not None:
            self.phases = phases  # type: ignore[assignment]

    def adjust_phases(self, current: Phases, proposed: Phases, budget: int) -> Optional[npt.ArrayLike]:
        """Phases that fit in the place of proposed, which do not, or None to refuse the edit.

        current, proposed: float32 of shape (n, 2). budget: words besides word 0.
        """
        return None

    def set_period(self, current: Phases, period_ms: float) -> Optional[npt.ArrayLike]:
        """The phases with a period as near to period_ms as the kind allows, or None to keep the period."""
        return None

    def _adjust(self, current: Phases, proposed: Phases, budget: int) -> Optional[Phases]:
        adjusted = self.adjust_phases(current, proposed, budget)
        return None if adjusted is None else _phase_array(adjusted)

    def _set_period(self, current: Phases, period_ms: float) -> Optional[Phases]:
        phases = self.set_period(current, period_ms)
        return None if phases is None else _phase_array(phases)


_LILLY_ORDER = (
    "phase1_us",
    "ipi_us",
    "balance",
    "amplitude_ua",
    "phase2_us",
    "amplitude2_ua",
    "offset_ms",
    "period_ms",
    "frequency_hz",
    "train_ms",
    "pulses",
)


class LillyPattern(BasePattern):
    """A charge-balanced biphasic pulse within a period: offset, phase 1, interphase interval, phase 2, end phase.

    amplitude_ua: of phase 1, microamperes; negative for a cathodal phase first.
    phase1_us, ipi_us: lengths of phase 1 and the interphase interval, microseconds.
    balance: 0 off, or 1 to 4 for a phase 2 that is 1, 2, 4 or 8 times weaker and longer than phase 1.
    phase2_us, amplitude2_ua: of phase 2, without a balance mode.
    offset_ms: time before phase 1, milliseconds.
    frequency_hz or period_ms: pulse rate, or its period.
    train_ms or pulses: length of the train, milliseconds (infinite without end), or its number of pulses.
    """

    _core: _core.Lilly

    def __init__(self, stimulator: "Stimulator", **parameters: float) -> None:
        super().__init__(stimulator, _core.Lilly(stimulator.core))
        if parameters:
            self.set(**parameters)

    def set(self, *, exact: bool = True, **parameters: float) -> Dict[str, float]:
        """Sets several parameters at once and returns what is in effect.

        With exact, raises NotPlayable when a parameter would not be what was asked, after rounding to single
        precision, or when the pattern would have no words; the pattern then stays as it was before the call.
        """
        unknown = set(parameters) - set(_LILLY_ORDER)
        if unknown:
            raise TypeError(f"a Lilly pattern has no parameter {sorted(unknown)[0]!r}")
        trial = self._core.copy()
        for name in _LILLY_ORDER:
            if name in parameters:
                _set_lilly(trial, name, parameters[name])
        effect = {name: _get_lilly(trial, name) for name in parameters}
        if exact:
            for name, asked in parameters.items():
                if not _same(float(asked), effect[name]):
                    raise NotPlayable(
                        f"{name}: {asked:g} is asked, {effect[name]:g} would be in effect",
                        advice="exact=False takes what the library makes of it",
                    )
            if len(trial.words()) == 0:
                raise NotPlayable("the pulse does not fit the time steps or the budget")
        self._core = trial
        self._words = None
        return effect

    def __getattr__(self, name: str) -> float:
        if name in _LILLY_ORDER:
            return _get_lilly(self._core, name)
        raise AttributeError(f"{type(self).__name__!r} object has no attribute {name!r}")

    def __setattr__(self, name: str, value: Any) -> None:
        if name in _LILLY_ORDER:
            self.set(**{name: value})
        else:
            super().__setattr__(name, value)


def _set_lilly(core: _core.Lilly, name: str, value: float) -> None:
    if name == "balance":
        core.set_balance(_whole(name, int(value) if float(value).is_integer() else value, 0, 4))  # type: ignore[arg-type]
    elif name == "pulses":
        core.set_cycles(_whole(name, int(value) if float(value).is_integer() else value, 1, 2**31 - 1))  # type: ignore[arg-type]
    elif name == "frequency_hz":
        if not value > 0:
            raise ValueError(f"frequency_hz: {value!r} is not above 0")
        core.set_frequency(_single(name, value))
    elif name == "period_ms":
        core.set_period(_single(name, value))
    elif name == "train_ms":
        core.set_train(_single(name, value, endless=True))
    else:
        getattr(core, "set_" + name)(_single(name, value))


def _get_lilly(core: _core.Lilly, name: str) -> float:
    if name == "pulses":
        return math.inf if core.continuous else core.cycles
    return float(getattr(core, name))


class Play:
    """A play of more cycles than one command holds: the blocks after the first, and when they are due.

        play = pulse.play(channel=3, clock=lambda: time.monotonic_ns() // 1_000_000)
        send(pulse.words)
        while play.cycles_left:
            block = play.next()
            if block is not None:
                send(block)

    A block is due 4095 periods after the one before, and is given from 3 ms after that on.
    """

    def __init__(
        self, pattern: BasePattern, channel: int = 0, now_ms: int = 0, clock: Optional[Callable[[], int]] = None
    ) -> None:
        self._clock = clock
        started = int(pattern.words[0])
        if clock is not None:
            now_ms = clock()
        self._core = _core.Play(pattern._core, _whole("channel", channel, -(2**31), 2**31 - 1), started, int(now_ms))
        self.channel = channel

    @property
    def cycles_left(self) -> int:
        """Cycles to be commanded; the largest 32-bit number for a train without end."""
        return max(self._core.cycles_left, 0)

    @property
    def due_ms(self) -> int:
        return self._core.due_ms

    def _now(self, now_ms: Optional[int]) -> int:
        if now_ms is not None:
            return int(now_ms)
        if self._clock is None:
            raise ValueError("now_ms: without a clock the time is needed")
        return int(self._clock())

    def ready(self, now_ms: Optional[int] = None) -> bool:
        return self._core.ready(self._now(now_ms))

    def next(self, now_ms: Optional[int] = None) -> Optional[Words]:
        """The words of the next block, or None when none is due or left."""
        return self._core.next(self._now(now_ms))

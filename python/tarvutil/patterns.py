"""Patterns: a list of phases that is played once per period, and the words that play it."""

from __future__ import annotations

import copy
import math
import weakref
from typing import TYPE_CHECKING, Callable, Dict, Optional, Tuple, Type, TypeVar, Union, overload

import numpy.typing as npt

from . import _core
from .attributes import Guarded, near
from .errors import NotPlayable, not_playable
from .numbers import (
    INT32_MAX,
    Phases,
    Words,
    above_zero,
    milliseconds,
    phase_array,
    same,
    single,
    whole,
    zero_or_above,
)

if TYPE_CHECKING:
    from .stimulator import Stimulator

_Kind = TypeVar("_Kind", bound="BasePattern")
_Own = TypeVar("_Own", bound="Pattern")
OwnAdjust = Callable[[Phases, Phases, int], Optional[Phases]]
OwnPeriod = Callable[[Phases, float], Optional[Phases]]


class Parameter:
    """A number of a pattern. Reading it returns the value in effect; assigning to it is `set` of that one parameter."""

    def __init__(self, doc: str) -> None:
        self.__doc__ = doc
        self.name = ""

    def __set_name__(self, owner: type, name: str) -> None:
        self.name = name

    @overload
    def __get__(self, pattern: None, owner: type) -> "Parameter": ...

    @overload
    def __get__(self, pattern: "BasePattern", owner: type) -> float: ...

    def __get__(self, pattern: Optional["BasePattern"], owner: type) -> Union["Parameter", float]:
        return self if pattern is None else read(pattern._core, self.name)

    def __set__(self, pattern: "BasePattern", value: float) -> None:
        pattern._change({self.name: value}, exact=True)


class BasePattern(Guarded):
    """What all kinds of patterns have in common.

    A pattern is used by one thread at a time.
    """

    __slots__ = ("stimulator", "_core", "_words", "__weakref__")

    # In the order in which they are set: each may change those after it.
    _parameters: Tuple[str, ...] = ("period_ms", "frequency_hz", "train_ms", "pulses")

    period_ms = Parameter("Length of one cycle, milliseconds. The train keeps its length.")
    frequency_hz = Parameter("Cycles per second; above 0. The train keeps its length.")
    train_ms = Parameter("Length of the train, milliseconds, at least one period; infinite for one without end.")
    pulses = Parameter("Cycles in the train, from 1; infinite for a train without end.")

    def __init__(self, stimulator: "Stimulator", core: _core.Pattern) -> None:
        self.stimulator = stimulator
        self._core = core
        self._words: Optional[Tuple[int, Words]] = None

    @classmethod
    def _of(cls: Type[_Kind], stimulator: "Stimulator", core: _core.Pattern) -> _Kind:
        """A pattern around one of the compiled core, of the same kind."""
        pattern = cls.__new__(cls)
        BasePattern.__init__(pattern, stimulator, core)
        return pattern

    def __copy__(self: _Kind) -> _Kind:
        """A pattern of its own: to edit one of the two leaves the other as it is."""
        return self._of(self.stimulator, self._core.copy())

    def __deepcopy__(self: _Kind, memo: Dict[int, object]) -> _Kind:
        return self.__copy__()

    @property
    def label(self) -> str:
        """A name of your own, empty until it is set. Neither words nor text depend on it."""
        return self._core.label

    @label.setter
    def label(self, label: str) -> None:
        self._core.label = label

    @property
    def words(self) -> Words:
        """The word array: uint32 of shape (n,), word 0 with the number of cycles first; read-only.

        An array that was handed out keeps its values, whatever is edited later. Raises NotPlayable when the phases do
        not fit the time steps or the budget.
        """
        if self._words is None or self._words[0] != self._core.change_count:
            words = _words(self._core)
            self._words = (self._core.change_count, words)
        return self._words[1]

    @property
    def phases(self) -> Phases:
        """A copy of the phases: float32 of shape (n, 2), length in microseconds and amplitude in microamperes.

        Assigning an array of that shape replaces all phases, clamped to the largest amplitude, or raises NotPlayable
        and changes nothing.
        """
        return self._core.phases()

    @phases.setter
    def phases(self, phases: npt.ArrayLike) -> None:
        self._set_phases(phases)

    def _set_phases(self, phases: npt.ArrayLike) -> None:
        try:
            self._core.set_phases(phase_array(phases))
        except _core.NotPlayable as refused:
            raise not_playable(refused) from None

    def _begin(self, phases: npt.ArrayLike, parameters: Dict[str, float], exact: bool) -> None:
        self._set_phases(phases)
        self._change(parameters if "train_ms" in parameters else {"pulses": 1, **parameters}, exact)

    def set_phase(self, index: int, length_us: float, amplitude_ua: float, *, exact: bool = True) -> None:
        """Replaces phase index, from 0: microseconds, microamperes.

        Raises NotPlayable, and changes nothing, when the pattern refuses the phase; with exact also when the pattern
        would repair or clamp it.
        """
        place = whole("index", index, 0, len(self._core.phases()) - 1)
        asked = (zero_or_above("length_us", length_us), single("amplitude_ua", amplitude_ua))
        trial = self._core.copy()
        if not trial.set_phase(place, *asked):
            raise NotPlayable(f"the pattern refuses phase {place} ({asked[0]:.9g} us, {asked[1]:.9g} uA)", place)
        held = trial.phases()[place]
        if exact and not all(same(a, float(b)) for a, b in zip(asked, held)):
            raise NotPlayable(
                f"phase {place}: the pattern would use ({held[0]:.9g} us, {held[1]:.9g} uA), "
                f"not ({asked[0]:.9g} us, {asked[1]:.9g} uA)",
                place,
                ACCEPT,
            )
        self._core.assign(trial)

    def set(self, *, exact: bool = True, **parameters: float) -> Dict[str, float]:
        """Sets several parameters at once, or none of them, and returns what is in effect.

        With exact, raises NotPlayable when a parameter would not be as asked, after rounding to single precision, or
        when the pattern would have no words. Without exact, accepts the values that the library puts into effect. An
        amplitude of a balanced pulse is then clamped in each phase separately, and the charges can differ.
        The pattern stays as it was before the call whenever an exception is raised.
        """
        return self._change(parameters, exact)

    def _change(self, parameters: Dict[str, float], exact: bool) -> Dict[str, float]:
        for name in parameters:
            if name not in self._parameters:
                others = near(name, self._parameters) or f"; the parameters are {', '.join(self._parameters)}"
                raise TypeError(f"{name}: not a parameter{others}")
        trial = self._core.copy()
        extend = "period_ms" in parameters or "frequency_hz" in parameters
        for name in self._parameters:
            if name in parameters:
                write(trial, name, parameters[name], extend)
        effect = {name: read(trial, name) for name in parameters}
        if exact:
            for name, asked in parameters.items():
                if not _in_effect(name, float(asked), effect[name]):
                    other = ALTERNATIVES.get(name)
                    if other in parameters:
                        raise NotPlayable(
                            f"{name} {float(asked):.9g} and {other} {parameters[other]:.9g} conflict: set one of the two"
                        )
                    raise NotPlayable(
                        f"{name}: the pattern would use {effect[name]:.9g}, not {float(asked):.9g}",
                        advice=_advice(name, extend),
                    )
            _words(trial)
        self._core.assign(trial)
        return effect

    @property
    def text(self) -> str:
        """The specification string, with the head "Pattern" and six decimals of each number.

        Reading it back rounds lengths to whole microseconds and amplitudes to whole steps.
        """
        return "Pattern:" + self._core.text()

    def play(
        self, channel: int = 0, now_ms: int = 0, clock: Optional[Callable[[], int]] = None
    ) -> "Play":
        """A continued play of which the first block, the present words, is sent at now_ms. See Play."""
        return Play(self, channel, now_ms, clock)


class PlainPattern(BasePattern):
    """Any number of phases, played as they are or refused.

    phases: an array of shape (n, 2), lengths in microseconds and amplitudes in microamperes; n from 1. The train is
    one period unless train_ms or pulses is given. A period that is set changes the last phase. Raises
    NotPlayable when the phases do not fit. exact: of the parameters, as in set.
    """

    __slots__ = ()

    def __init__(
        self, stimulator: "Stimulator", phases: npt.ArrayLike, *, exact: bool = True, **parameters: float
    ) -> None:
        super().__init__(stimulator, _core.Plain(stimulator.plain_core))
        self._begin(phases, parameters, exact)


class Pattern(BasePattern):
    """A kind of pattern of your own: override adjust_phases and set_period.

    phases: as PlainPattern's. Both functions get copies. While one of them runs, the pattern can be read and not
    edited. An exception in them refuses the edit and is raised when the library has returned. A class of your own may
    have attributes of its own, so a misspelt one is not an error there.
    """

    def __init__(
        self, stimulator: "Stimulator", phases: npt.ArrayLike, *, exact: bool = True, **parameters: float
    ) -> None:
        super().__init__(stimulator, self._own_core(stimulator))
        self._begin(phases, parameters, exact)

    def _own_core(self, stimulator: "Stimulator") -> _core.Pattern:
        """A compiled core that asks this object."""
        pattern = weakref.ref(self)

        def adjust(current: Phases, proposed: Phases, budget: int) -> Optional[Phases]:
            me = pattern()
            adjusted = None if me is None else me.adjust_phases(current, proposed, budget)
            return None if adjusted is None else phase_array(adjusted)

        def period(current: Phases, period_ms: float) -> Optional[Phases]:
            me = pattern()
            changed = None if me is None else me.set_period(current, period_ms)
            return None if changed is None else phase_array(changed)

        return _core.OwnKind(stimulator.plain_core, adjust, period)

    def __copy__(self: _Own) -> _Own:
        copied = self._of(self.stimulator, self._core)
        copied._core = copied._own_core(self.stimulator)
        copied._core.assign(self._core)
        vars(copied).update(vars(self))
        return copied

    def __deepcopy__(self: _Own, memo: Dict[int, object]) -> _Own:
        copied = memo[id(self)] = self.__copy__()
        vars(copied).update(copy.deepcopy(vars(self), memo))
        return copied

    def adjust_phases(self, current: Phases, proposed: Phases, budget: int) -> Optional[npt.ArrayLike]:
        """Returns phases that fit, in place of proposed, which do not fit; or None to refuse the edit.

        current, proposed: float32 of shape (n, 2), microseconds and microamperes. budget: words besides word 0.
        """
        return None

    def set_period(self, current: Phases, period_ms: float) -> Optional[npt.ArrayLike]:
        """Returns phases with a period as near to period_ms (milliseconds) as the kind allows, or None to keep it."""
        return None


class LillyPattern(BasePattern):
    """A biphasic pulse within a period, charge-balanced with balance 1 to 4: offset, phase 1, interphase interval,
    phase 2, end phase.

    A new one has phases of 100 us and three amplitude steps, 100 us apart, cathodal first, in a period of 100 ms and
    a train of 1 s, and balance 0: phase 2 does not follow phase 1 until balance is set. Lengths fit the period, or change it when period_ms or frequency_hz is set in the same call.
    exact: as in set.

        >>> import tarvutil as tv
        >>> stim = tv.Stimulator(time_step_us=20, amp_step_ua=1)
        >>> pulse = stim.lilly(amplitude_ua=-60, phase1_us=200, balance=2, frequency_hz=100)
        >>> pulse.phase2_us, pulse.amplitude2_ua
        (400.0, 30.0)
        >>> pulse.set(amplitude_ua=-70.4, exact=False)
        {'amplitude_ua': -70.0}
        >>> pulse.amplitude_ua = -70.4
        Traceback (most recent call last):
            ...
        tarvutil.errors.NotPlayable: amplitude_ua: the pattern would use -70, not -70.4; exact=False accepts that
    """

    __slots__ = ()
    _parameters = (
        "phase1_us",
        "ipi_us",
        "balance",
        "amplitude_ua",
        "phase2_us",
        "amplitude2_ua",
        "polarity",
        "offset_ms",
        *BasePattern._parameters,
    )

    amplitude_ua = Parameter("Current of phase 1, microamperes, whole steps; negative for a cathodal phase first.")
    phase1_us = Parameter("Length of phase 1, microseconds.")
    ipi_us = Parameter("Interphase interval, microseconds.")
    balance = Parameter("0 off, or 1 to 4: phase 2 is 1, 2, 4 or 8 times weaker and longer than phase 1.")
    phase2_us = Parameter("Length of phase 2, microseconds; follows from phase 1 when balance is not 0.")
    amplitude2_ua = Parameter("Current of phase 2, microamperes; follows from phase 1 when balance is not 0.")
    polarity = Parameter("0 for a cathodal phase first, 1 for an anodal phase first. Exchanges the phases.")
    offset_ms = Parameter("Time before phase 1, milliseconds.")

    def __init__(self, stimulator: "Stimulator", *, exact: bool = True, **parameters: float) -> None:
        super().__init__(stimulator, _core.Lilly(stimulator.lilly_core))
        if parameters:
            self._change(parameters, exact)

    def _set_phases(self, phases: npt.ArrayLike) -> None:
        array = phase_array(phases)
        if len(array) != 5:
            raise ValueError(f"phases: a Lilly pattern has 5 phases, not {len(array)}")
        super()._set_phases(array)


def _words(core: _core.Pattern) -> Words:
    try:
        return core.words()
    except _core.NotPlayable as refused:
        raise not_playable(refused) from None


def read(core: _core.Pattern, name: str) -> float:
    """The parameter of that name in effect."""
    if name == "pulses" and core.continuous:
        return math.inf
    value: float = getattr(core, name)
    return value


def write(core: _core.Pattern, name: str, value: float, extend_period: bool) -> None:
    """Sets the parameter of that name. With extend_period a length may make the period longer."""
    setter = getattr(core, "set_" + name)
    if name == "balance":
        setter(whole(name, value, 0, 4))
    elif name == "polarity":
        setter(whole(name, value, 0, 1))
    elif name == "pulses" and isinstance(value, float) and value == math.inf:
        core.set_train_ms(math.inf)
    elif name == "pulses":
        setter(whole(name, value, 1, INT32_MAX))
    elif name in ("period_ms", "frequency_hz"):
        setter(above_zero(name, value))
    elif name == "train_ms":
        setter(above_zero(name, value, endless=True))
    elif name.startswith("amplitude"):
        setter(single(name, value))
    else:
        setter(zero_or_above(name, value), extend_period)


# Two ways to set the same.
ALTERNATIVES = {
    "period_ms": "frequency_hz",
    "frequency_hz": "period_ms",
    "train_ms": "pulses",
    "pulses": "train_ms",
}

ACCEPT = "exact=False accepts that"


def _advice(name: str, extend_period: bool) -> str:
    if name in ("phase1_us", "phase2_us", "ipi_us", "offset_ms") and not extend_period:
        return f"{ACCEPT}; with period_ms or frequency_hz in the same call the period can change"
    return ACCEPT


def _in_effect(name: str, asked: float, got: float) -> bool:
    return asked == got if name in ("balance", "polarity", "pulses") else same(asked, got)


class Play:
    """A play of more cycles than one command has: the blocks after the first, and when they are due.

        play = pulse.play(channel=3, clock=lambda: time.monotonic_ns() // 1_000_000)
        send(pulse.words)
        while play.cycles_left:
            block = play.next()
            if block is not None:
                send(block)

    channel: number of the stimulator's channel, stored for the caller. now_ms: when the first block is sent, in whole
    milliseconds of any clock. clock: called for the time when a call has none; also called now.

    A block is due 4095 periods after the one before, and is available from 3 ms after that on. Edits of the pattern
    are played from the next block on.
    """

    def __init__(
        self,
        pattern: BasePattern,
        channel: int = 0,
        now_ms: int = 0,
        clock: Optional[Callable[[], int]] = None,
    ) -> None:
        self.pattern = pattern
        self.channel = whole("channel", channel, -INT32_MAX - 1, INT32_MAX)
        if clock is not None and not callable(clock):
            raise TypeError(f"clock: a function is needed, not {type(clock).__name__}")
        self._clock = clock
        started = int(pattern.words[0])
        now = milliseconds("now_ms", now_ms if clock is None else clock())
        self._core = _core.Play(pattern._core, self.channel, started, now)

    @property
    def cycles_left(self) -> int:
        """Cycles to be commanded; 2**31 - 1 for a train without end."""
        return max(self._core.cycles_left, 0)

    @property
    def due_ms(self) -> int:
        """When the next block is due, milliseconds of the caller's clock."""
        return self._core.due_ms

    def ready(self, now_ms: Optional[int] = None) -> bool:
        """Whether next gives a block at that time."""
        return self._core.ready(self._now(now_ms))

    def next(self, now_ms: Optional[int] = None) -> Optional[Words]:
        """The words of the next block, uint32 and read-only, or None when none is due or left."""
        try:
            return self._core.next(self._now(now_ms))
        except _core.NotPlayable as refused:
            raise not_playable(refused) from None

    def _now(self, now_ms: Optional[int]) -> int:
        if now_ms is None:
            if self._clock is None:
                raise ValueError("now_ms: a play without a clock needs it")
            now_ms = self._clock()
        return milliseconds("now_ms", now_ms)

"""The stimulator that patterns are for, and the operations on it."""

from __future__ import annotations

import json
import os
from dataclasses import dataclass
from typing import Dict, List, Literal, Optional, Tuple, Union, overload

import numpy as np
import numpy.typing as npt

from . import _core
from .attributes import Guarded, near
from .designs import Design, design
from .errors import not_playable, not_playable_from
from .numbers import Words, above_zero, single, whole, zero_or_above
from .patterns import BasePattern, LillyPattern, PlainPattern
from .played import Played, decode
from .reports import Report

_Texts = Union[List[str], Tuple[str, ...]]
_Path = Union[str, "os.PathLike[str]"]


class Stimulator(Guarded):
    """A current stimulator.

    time_step_us: duration of one time step, microseconds, above 0.
    amp_step_ua: one amplitude step, microamperes, above 0; a word has at most 100 of them.
    amp_max_ua: largest amplitude, microamperes, 0 or above; 100 amplitude steps when not given.
    budget: largest number of words of a pattern, word 0 included, 1 to 1024.

    ValueError names a value that no pattern can be made with. Values are rounded to single precision.
    """

    __slots__ = ("lilly_core", "plain_core", "limits", "exact", "places", "__weakref__")

    def __init__(
        self,
        time_step_us: float = 33.333332,
        amp_step_ua: float = 10.0,
        amp_max_ua: Optional[float] = None,
        budget: int = 101,
    ) -> None:
        values = (
            above_zero("time_step_us", time_step_us),
            above_zero("amp_step_ua", amp_step_ua),
            None if amp_max_ua is None else zero_or_above("amp_max_ua", amp_max_ua),
            whole("budget", budget, 1, 1024),
        )
        self.lilly_core = _core.Stimulator(False, *values)
        self.plain_core = _core.Stimulator(True, *values)
        self.limits: Dict[str, float] = {}
        self.exact = False
        self.places: Dict[str, str] = {}

    @classmethod
    def from_device(cls, path: _Path) -> "Stimulator":
        """The stimulator of a device file, with its limits: TOML with the tables [stimulator] and [limits].

        Its limits apply in check, design and schedules, unless the call sets another; encode and words ignore them. The
        kind of its patterns is that of each call. `limits` has the limits, `places` the file and line of each value.
        Raises OSError for a file that cannot be read, ValueError with the line for a faulty file.
        """
        return read_files(path, None)[0]

    @property
    def time_step_us(self) -> float:
        return self.plain_core.time_step_us

    @property
    def amp_step_ua(self) -> float:
        return self.plain_core.amp_step_ua

    @property
    def amp_max_ua(self) -> float:
        return self.plain_core.amp_max_ua

    @property
    def budget(self) -> int:
        return self.plain_core.budget

    def __repr__(self) -> str:
        return (
            f"Stimulator(time_step_us={self.time_step_us:.9g}, amp_step_ua={self.amp_step_ua:.9g}, "
            f"amp_max_ua={self.amp_max_ua:.9g}, budget={self.budget})"
        )

    def lilly(self, *, exact: bool = True, **parameters: float) -> LillyPattern:
        """A biphasic pulse, balanced with balance 1 to 4; see LillyPattern for its parameters, and its set for exact.

        Raises NotPlayable.
        """
        return LillyPattern(self, exact=exact, **parameters)

    def plain(self, phases: npt.ArrayLike, *, exact: bool = True, **parameters: float) -> PlainPattern:
        """A pattern of any phases, an array of shape (n, 2); see PlainPattern. Raises NotPlayable."""
        return PlainPattern(self, phases, exact=exact, **parameters)

    @overload
    def pattern(self, text: str, *, plain: Literal[False] = ..., lenient: bool = ...) -> LillyPattern: ...

    @overload
    def pattern(self, text: str, *, plain: Literal[True], lenient: bool = ...) -> PlainPattern: ...

    @overload
    def pattern(self, text: str, *, plain: bool, lenient: bool = ...) -> Union[LillyPattern, PlainPattern]: ...

    def pattern(
        self, text: str, *, plain: bool = False, lenient: bool = False
    ) -> Union[LillyPattern, PlainPattern]:
        """The pattern that a specification string describes: a LillyPattern, or with plain a PlainPattern.

        Lengths are rounded to whole microseconds, amplitudes to whole steps. plain, lenient: how the text is read, as in
        encode. Raises NotPlayable for a text that has no words.

            >>> text = "Lilly:(0,0)(200,-60)(100,0)(400,30)(9300,0):DurationMsec=[1000]:ChargeBalanceIdx=[2]"
            >>> Stimulator(20, 1).pattern(text).pulses
            100
        """
        core = self.plain_core if plain else self.lilly_core
        try:
            found = _core.pattern_of(core, text, lenient)
        except _core.NotPlayable as refused:
            raise not_playable(refused) from None
        return PlainPattern._of(self, found) if plain else LillyPattern._of(self, found)

    @overload
    def encode(self, text: str, *, plain: bool = ..., lenient: bool = ..., exact: bool = ...) -> Words: ...

    @overload
    def encode(
        self, text: _Texts, *, plain: bool = ..., lenient: bool = ..., exact: bool = ...
    ) -> List[Words]: ...

    def encode(
        self, text: Union[str, _Texts], *, plain: bool = False, lenient: bool = False, exact: bool = False
    ) -> Union[Words, List[Words]]:
        """The word array of a specification string, uint32 and read-only, or a list of them for several texts.

        plain: the texts are of plain patterns, with any number of phases. lenient: irregular texts are read as the
        library reads them, not refused. exact: a text whose words play anything but its numbers is refused; without it
        they may differ, and check compares them. Raises NotPlayable for the first text that is refused. Limits of a
        device file do not apply. The arrays of several texts share memory, which is freed with the last of them.
        """
        core = self.plain_core if plain else self.lilly_core
        if isinstance(text, str):
            try:
                words = _core.encode_text(core, text, lenient)
            except _core.NotPlayable as refused:
                raise not_playable(refused) from None
            if exact:
                _need_exact(core, text, lenient)
            return words
        if not isinstance(text, (list, tuple)):
            raise TypeError(f"text: a str or a list of them is needed, not {type(text).__name__}")
        texts = list(text)
        arrays = _core.encode_texts(core, texts, lenient)
        if len(arrays) < len(texts):
            try:
                _core.encode_text(core, texts[len(arrays)], lenient)
            except _core.NotPlayable as refused:
                raise not_playable(refused, len(arrays)) from None
        if exact:
            for index, one in enumerate(texts):
                _need_exact(core, one, lenient, index)
        return arrays

    def decode(self, words: npt.ArrayLike) -> Played:
        """The current that this stimulator plays for words of any source; see tarvutil.decode.

        Words count in the steps of the stimulator that they were made for: another one plays another current.
        """
        return decode(words, time_step_us=self.time_step_us, amp_step_ua=self.amp_step_ua)

    def check(
        self,
        pattern: Union[str, BasePattern],
        *,
        plain: bool = False,
        lenient: bool = False,
        exact: bool = False,
        **limits: Optional[float],
    ) -> Report:
        """A report that compares what will be played with a text, or with the phases of a pattern.

        A refused text has a report, too, with its refusal. plain, lenient: how a text is read, as in encode.
        limits: the largest values allowed, each 0 or above, or None for no limit; the names are those of
        tarvutil.LIMITS, such as max_error_us. With whole_cycles=True the number of cycles must be exact; with
        exact=True no error may exceed the rounding of single precision. area_cm2: of the electrode, above 0, needed by
        limits of density and k. Limits of a device file apply, unless the call sets another.

            >>> text = "Head:(200,-60)(53,0)(200,60):DurationMsec=[1]"
            >>> report = Stimulator().check(text, plain=True, max_error_us=0.5)
            >>> report.within_limits
            False
            >>> report.exceeded
            [Excess(limit='max-error', value=-0.666676, most=0.5, unit='us')]
        """
        most = limits_of(self, limits, LIMITS)
        exact = exact or self.exact
        if isinstance(pattern, str):
            core = self.plain_core if plain else self.lilly_core
            return Report(_core.Report(core, pattern, lenient, most, exact), self)
        if not isinstance(pattern, BasePattern):
            raise TypeError(f"pattern: a text or a pattern is needed, not {type(pattern).__name__}")
        if repr(pattern.stimulator) != repr(self):
            raise ValueError("pattern: it was made for another stimulator")
        return Report(_core.Report(pattern._core, most, exact), self)

    def design(self, *, exact: bool = False, **parameters: Union[float, str]) -> List[Design]:
        """Specification strings from the parameters of a pulse or burst, one or, of a sweep, several.

        amplitude (uA, without sign), phase1, ipi (us), frequency (Hz), one of train (ms, inf without end), pulses, on
        (s); balance (0 to 4), polarity ("negative", "positive"), offset (ms), phase2 (us) and amplitude2 (uA) with balance
        0; burst (pulses) and burst_rate (Hz); ramp_up, ramp_down (pulses); times, off (s); name. A sweep is a text,
        "FROM:TO:STEP". Raises TypeError for an unknown name, ValueError for a value outside its range and for values
        that do not go together. A design that nothing plays is none of these: it has no text.

            >>> made = Stimulator().design(amplitude=57, phase1=200, ipi=100, frequency=100, pulses=3)
            >>> made[0].text
            'Lilly:(0,0)(200,-60)(100,0)(200,60)(9500,0):DurationMsec=[30]:ChargeBalanceIdx=[1]'
            >>> made[0].remarks[0]
            'amplitude: 57 uA is played as 60 uA'
            >>> made[0].changes[0].asked, made[0].changes[0].played
            (57.0, 60.0)
        """
        return design(self, exact or self.exact, parameters, limits_of(self, {}, LIMITS))


LIMITS = tuple(_core.limit_names())


@dataclass(frozen=True)
class PatternFile:
    """The texts of a pattern file, a line each, and the stimulator that they are for.

    plain: its first line says that they are texts of plain patterns. Pass it to encode and check.
    """

    stimulator: Stimulator
    plain: bool
    texts: List[str]


def read_patterns(path: _Path, device: Optional[_Path] = None) -> PatternFile:
    """Reads a pattern file: UTF-8, one specification string per line; empty lines and lines that begin with # are comments.

    A comment in the first line may give options of the stimulator, "# --pattern plain --time-step 20". device: path of a
    device file, for values that the first line does not give and for limits; the smaller largest amplitude is used.
    Raises OSError for a file that cannot be read, ValueError with the line for a fault in an option.

        >>> file = read_patterns("patterns/retina.txt")
        >>> file.stimulator.time_step_us, len(file.texts), file.stimulator.places["amp_step_ua"]
        (20.0, 1, 'patterns/retina.txt:1')
        >>> len(file.stimulator.encode(file.texts[0], plain=file.plain))
        5
    """
    stimulator, plain, contents = read_files(device, path)
    lines = (line.removesuffix("\r") for line in contents.removeprefix("\ufeff").split("\n"))
    return PatternFile(stimulator, plain, [line for line in lines if line.strip(" \t\v\f\r")[:1] not in ("", "#")])


def read_files(device: Optional[_Path], patterns: Optional[_Path]) -> Tuple[Stimulator, bool, str]:
    """The stimulator of a device file and a pattern file, whether the latter is of plain patterns, and its contents."""
    files = [None if path is None else (_contents(path), os.fsdecode(path)) for path in (device, patterns)]
    core, limits, exact, places = _core.read_files(*files)
    stimulator = Stimulator(core.time_step_us, core.amp_step_ua, core.amp_max_ua, core.budget)
    stimulator.limits, stimulator.exact, stimulator.places = limits, exact, places
    return stimulator, core.plain, "" if files[1] is None else files[1][0]


def _contents(path: _Path) -> str:
    try:
        with open(os.fspath(path), "rb") as file:
            contents = file.read()
    except ValueError as fault:
        raise ValueError(f"path: {path!r}: {fault}") from None
    try:
        return contents.decode()
    except UnicodeDecodeError as fault:
        line = contents.count(b"\n", 0, fault.start) + 1
        raise ValueError(f"{os.fsdecode(path)}:{line}: a byte that is not UTF-8") from None


def _need_exact(core: _core.Stimulator, text: str, lenient: bool, index: Optional[int] = None) -> None:
    report = _core.Report(core, text, lenient, {}, True)
    if not report.within_limits:
        raise not_playable_from(json.loads(report.json()), index)


def limits_of(
    stimulator: Stimulator, limits: Dict[str, Optional[float]], names: Tuple[str, ...]
) -> Dict[str, float]:
    """The limits of the stimulator, and those of a call, whose names are among names. None removes one, or False."""
    held = (*LIMITS, "max_total_current_ua")
    for name in stimulator.limits:
        if name not in held:
            raise TypeError(f"{name}: not a limit{near(name, held)}")
    given = _limits(limits, names)
    removed = {name for name, most in limits.items() if most is None or (name == "whole_cycles" and not most)}
    return {name: most for name, most in {**stimulator.limits, **given}.items() if name not in removed}


def _limits(limits: Dict[str, Optional[float]], names: Tuple[str, ...]) -> Dict[str, float]:
    given = {}
    for name, most in limits.items():
        if name not in names:
            raise TypeError(f"{name}: not a limit{near(name, names) or '; the limits are ' + ', '.join(names)}")
        if name == "whole_cycles":
            if not (most is None or isinstance(most, (bool, np.bool_))):
                raise TypeError(f"{name}: True or False is needed, not {most!r}")
            if most:
                given[name] = 0.0
        elif most is not None:
            given[name] = single(name, most)
            if not given[name] >= 0 and name != "max_k":
                raise ValueError(f"{name}: {most!r} is not 0 or above")
            if name == "area_cm2" and given[name] == 0:
                raise ValueError("area_cm2: 0 is not above 0")
    return given

"""Reports: what will be played, compared with what was asked."""

from __future__ import annotations

import functools
import html
import json
import math
from dataclasses import dataclass
from typing import TYPE_CHECKING, Any, Dict, List, Optional


from . import _core
from .errors import not_playable_from
from .numbers import Words
from .played import Numbers, Played, decode
from .records import Record

if TYPE_CHECKING:
    from matplotlib.axes import Axes

    from .stimulator import Stimulator


@dataclass(frozen=True)
class AskedPlayed(Record):
    """A figure as asked and as played, in the unit at the end of its name."""

    asked: float
    played: float

    @property
    def error(self) -> float:
        return self.played - self.asked


@dataclass(frozen=True)
class PhaseReport(Record):
    """One phase: its start within the cycle, its length and amplitude."""

    start_us: AskedPlayed
    length_us: AskedPlayed
    amplitude_ua: AskedPlayed


@dataclass(frozen=True)
class CurrentPhase(Record):
    """A stretch of one polarity without a pause, as played.

    start_us: within the cycle. charge_nc: with its sign. density_uc_per_cm2: its charge per area of the electrode, without
    sign, and k, log10 of the density times the charge in uC (Shannon 1992): None without the area. A phase at both ends of
    the cycle is one phase, which starts at the end.
    """

    start_us: float
    duration_us: float
    charge_nc: float
    density_uc_per_cm2: Optional[float]
    k: Optional[float]


@dataclass(frozen=True)
class Finding(Record):
    """One cause of a difference between played and asked.

    cause: its name, such as "split-point-cut". phase: index of the first phase that has it, or None for the whole
    pattern. by_us: how much longer, or later, it is played. by_ua: how much more positive the current is.
    notable: from half a microsecond or one amplitude step on. text: the same as a sentence.
    """

    cause: str
    phase: Optional[int]
    by_us: float
    by_ua: float
    notable: bool
    text: str


@dataclass(frozen=True)
class Excess(Record):
    """A limit that is exceeded: its name, the signed value, and the limit; unit: "us", "nc"."""

    limit: str
    value: float
    most: float
    unit: str


@dataclass(frozen=True)
class LimitValue(Record):
    """A figure that has a limit, set or not.

    limit: the name of the limit. what: it limits. value: of the pattern as played, in unit; None without words, or where
    the area of the electrode is needed and not set. most: the limit, or None.
    """

    limit: str
    what: str
    unit: str
    value: Optional[float]
    most: Optional[float]
    exceeded: bool


@dataclass(frozen=True)
class Refusal(Record):
    """Why there are no words.

    phase: index of the phase that cannot be played, or None. meets_phase: the phase that began the time step in which
    it starts. carried_us: how much of that step is filled before it.
    """

    text: str
    phase: Optional[int]
    meets_phase: Optional[int]
    carried_us: Optional[float]


class Report:
    """What will be played, compared with a text or with the phases of a pattern.

    Without words, `refusal` has the reason, and every property of what is played raises NotPlayable. In a notebook a
    report shows its picture.
    """

    def __init__(self, core: _core.Report, stimulator: "Stimulator") -> None:
        self.stimulator = stimulator
        self._core = core
        self._found: Dict[str, Any] = json.loads(core.json())

    def to_dict(self) -> Dict[str, Any]:
        """The object that `tarvutil check --format json` prints, without its place."""
        found: Dict[str, Any] = json.loads(self._core.json())
        return found

    @property
    def text(self) -> str:
        """The specification string that was checked."""
        return str(self._found["text"])

    @property
    def encoded(self) -> bool:
        """Whether there are words."""
        return bool(self._found["encoded"])

    @property
    def within_limits(self) -> bool:
        """Whether there are words and no limit is exceeded."""
        return self._core.within_limits

    @property
    def refusal(self) -> Optional[Refusal]:
        """Why there are no words, or None."""
        if self.encoded:
            return None
        found = self._found["refusal"]
        text = found["text"] or "; ".join(self._found.get("errors", []))
        return Refusal(text, found["phase"], found["meets_phase"], found["carried_us"])

    @property
    def errors(self) -> List[str]:
        """The reasons why the text has no words, a sentence each."""
        return list(self._found.get("errors", []))

    @property
    def warnings(self) -> List[str]:
        """Warnings about a text that is played, a sentence each."""
        return list(self._found.get("warnings", []))

    @property
    def words(self) -> Words:
        """The word array: uint32 of shape (n,), word 0 with the number of cycles first; read-only."""
        self._with_words()
        return self._core.words()

    @functools.cached_property
    def played(self) -> Played:
        """What the words play."""
        steps = self.stimulator
        return decode(self.words, time_step_us=steps.time_step_us, amp_step_ua=steps.amp_step_ua)

    @property
    def period_us(self) -> AskedPlayed:
        """Length of a cycle."""
        return self._pair("period", "_us")

    @property
    def frequency_hz(self) -> AskedPlayed:
        """Cycles per second."""
        return self._pair("frequency", "_hz")

    @property
    def pulses(self) -> AskedPlayed:
        """Cycles of the train; infinite without end. The asked number may have a fraction."""
        return self._pair("cycles", "", endless=True)

    @property
    def train_ms(self) -> AskedPlayed:
        """Length of the train; infinite without end."""
        return self._pair("train", "_ms", endless=True)

    @property
    def positive_charge_nc(self) -> AskedPlayed:
        """Of the positive current, per cycle."""
        return self._pair("positive_charge", "_nc")

    @property
    def negative_charge_nc(self) -> AskedPlayed:
        """Of the negative current, per cycle; 0 or below."""
        return self._pair("negative_charge", "_nc")

    @property
    def net_charge_nc(self) -> AskedPlayed:
        """Sum of both, per cycle."""
        return self._pair("net_charge", "_nc")

    @property
    def train_net_charge_nc(self) -> AskedPlayed:
        """Net charge of the whole train; not a number where a train without end has a net charge per cycle."""
        return self._pair("train_net_charge", "_nc")

    @property
    def duty_pct(self) -> float:
        """Time with current, per cent of the cycle as played."""
        return self._current("duty_pct")

    @property
    def rms_ua(self) -> float:
        """Root mean square of the current over the cycle as played."""
        return self._current("rms_ua")

    @property
    def direct_current_na(self) -> float:
        """Net charge over the period, as played, nanoamperes."""
        return self._current("direct_current_na")

    @property
    def phases_of_current(self) -> List[CurrentPhase]:
        """The phases of current of a cycle as played; none where the current never pauses or changes its sign."""
        names = CurrentPhase.__dataclass_fields__
        found = self._with_words()["current"]["phases_of_current"]
        return [CurrentPhase(**{name: phase.get(name) for name in names}) for phase in found]

    @property
    def largest_error_us(self) -> float:
        """Of the starts of the phases, with its sign: above 0 a phase starts late."""
        return float(self._with_words()["largest_error_us"])

    @property
    def phases(self) -> List[PhaseReport]:
        """Each phase that was asked."""
        return [
            PhaseReport(
                AskedPlayed(phase["start_asked_us"], phase["start_played_us"]),
                AskedPlayed(phase["asked"]["length_us"], phase["played"]["length_us"]),
                AskedPlayed(phase["asked"]["amplitude_ua"], phase["played"]["amplitude_ua"]),
            )
            for phase in self._with_words()["phases"]
        ]

    @property
    def findings(self) -> List[Finding]:
        """The causes of all differences between played and asked."""
        keys = ("cause", "phase", "by_us", "by_ua", "notable", "text")
        return [Finding(*(found[key] for key in keys)) for found in self._with_words()["deviations"]]

    @property
    def exceeded(self) -> List[Excess]:
        """The limits that are exceeded."""
        return [_excess(found) for found in self._with_words()["exceeded"]]

    @property
    def limits(self) -> List[LimitValue]:
        """Each figure that can be limited, set or not."""
        return [LimitValue(**found) for found in json.loads(self._core.limits_json())]

    def waveform(self, sample_rate_hz: float, cycles: int = 1) -> Numbers:
        """Samples of this number of cycles as played, microamperes; see Played.waveform."""
        return self.played.waveform(sample_rate_hz, cycles)

    def plot(self, ax: "Optional[Axes]" = None, *, whole_cycle: bool = False) -> "Axes":
        """Draws one cycle as asked and as played, and returns the Matplotlib axes.

        Above them stand the rates asked and played; below them, the limits that are exceeded and what is played
        otherwise than asked. Long pauses are shortened: a grey band with the length of the pause. With whole_cycle no
        pause is shortened, and the axis is in microseconds from the start of the cycle. Needs Matplotlib (pip install
        tarvutil[plot]).
        """
        from .plot import plot

        return plot(self, ax, whole_cycle)

    def svg(self, *, train: bool = False) -> str:
        """One cycle as asked and as played, or the whole train, as an SVG document; needs nothing else installed.

        Raises NotPlayable without words, ValueError for a train without end.
        """
        found = self._with_words()
        if train and found["continuous"]:
            raise ValueError("train: it has no end")
        return self._core.svg(train)

    def time_steps(self) -> List[Dict[str, Any]]:
        """How each of the usual time steps plays the text: time_step_us, words (None where it is refused),
        largest_error_us, period_error_us, net_charge_nc, as_asked."""
        steps: List[Dict[str, Any]] = json.loads(self._core.steps_json())
        return steps

    @property
    def advice(self) -> List[str]:
        """What would play in place of a refused text, none to three sentences."""
        return list(self._found.get("advice", {}).get("sentences", []))

    def _repr_html_(self) -> str:
        if self.encoded:
            return self.svg()
        return "".join(f"<p>{html.escape(line)}</p>" for line in self.errors + self.advice)

    def __repr__(self) -> str:
        if not self.encoded:
            return f"<Report: no words: {'; '.join(self.errors)}>"
        figures = (
            f"<Report: {len(self.words)} words, period {self.period_us.played:.9g} us, "
            f"largest error {self.largest_error_us:.9g} us, net charge {self.net_charge_nc.played:.9g} nC"
        )
        return "\n  ".join([figures, self._picture()["subtitle"], *self._notes()]) + ">"

    def _picture(self) -> Dict[str, Any]:
        self._with_words()
        picture: Dict[str, Any] = json.loads(self._core.picture_json())
        return picture

    def _notes(self) -> List[str]:
        """The limits that are exceeded and the largest differences, a sentence each."""
        sentences: List[str] = []
        for line in self._picture()["notes"]:
            if line.startswith("   ") and sentences:
                sentences[-1] += line[2:]
            else:
                sentences.append(line)
        return sentences

    def _with_words(self) -> Dict[str, Any]:
        if not self.encoded:
            raise not_playable_from(self._found)
        return self._found

    def _current(self, name: str) -> float:
        value = self._with_words()["current"][name]
        return math.nan if value is None else float(value)

    def _pair(self, name: str, unit: str, endless: bool = False) -> AskedPlayed:
        found = self._with_words()
        unknown = math.inf if endless and found["continuous"] else math.nan
        values = (found[f"{name}_{which}{unit}"] for which in ("asked", "played"))
        return AskedPlayed(*(unknown if value is None else float(value) for value in values))


def _excess(found: Dict[str, Any]) -> Excess:
    key = next(key for key in found if key.startswith("value"))
    unit = key[len("value") :]
    return Excess(found["limit"], found[key], found["limit" + unit], unit.lstrip("_"))

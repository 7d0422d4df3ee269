"""Reports: what will be played beside what was asked."""

from __future__ import annotations

import json
import math
from dataclasses import dataclass, field
from typing import TYPE_CHECKING, Any, Dict, List, Optional, Tuple

import numpy as np
import numpy.typing as npt

from . import _core
from .errors import NotPlayable

if TYPE_CHECKING:
    from matplotlib.axes import Axes

    from .patterns import Words


@dataclass(frozen=True)
class AskedPlayed:
    """A figure as it was asked and as it is played, in the unit that its name ends with."""

    asked: float
    played: float

    @property
    def error(self) -> float:
        return self.played - self.asked


@dataclass(frozen=True)
class PhaseReport:
    """One phase: its start, length and amplitude, asked and played."""

    start_us: AskedPlayed
    length_us: AskedPlayed
    amplitude_ua: AskedPlayed


@dataclass(frozen=True)
class Finding:
    """One cause for which something is played otherwise than it was asked. phase is None for the whole pattern."""

    cause: str
    phase: Optional[int]
    by_us: float
    by_ua: float
    notable: bool
    text: str


@dataclass(frozen=True)
class Excess:
    """A limit that is exceeded."""

    limit: str
    value: float
    most: float


@dataclass(frozen=True)
class Refusal:
    """Why a text has no words."""

    text: str
    phase: Optional[int]
    meets_phase: Optional[int]
    carried_us: Optional[float]


def _number(value: Optional[float]) -> float:
    return math.nan if value is None else float(value)


def _pair(found: Dict[str, Any], name: str, unit: str) -> AskedPlayed:
    return AskedPlayed(_number(found[f"{name}_asked{unit}"]), _number(found[f"{name}_played{unit}"]))


def refusal_error(report: str) -> NotPlayable:
    """The exception for a text whose report says that it is refused."""
    found = json.loads(report)
    refusal = found.get("refusal", {})
    reason = "; ".join(found.get("errors", [])) or refusal.get("text", "the text has no words")
    adjusted = found.get("adjusted")
    advice = f"repaired, the phases would be {adjusted['text']}" if adjusted and adjusted["fits"] else None
    return NotPlayable(reason, refusal.get("phase"), advice)


class Report:
    """What will be played beside what a specification string asks for.

    text: the specification string. encoded: whether it has words. refusal: why not, or None.
    Of a text with words: period_us, frequency_hz, pulses, train_ms, positive_charge_nc, negative_charge_nc and
    net_charge_nc (per cycle), each AskedPlayed; phases; findings; exceeded (limits); largest_error_us, of the starts
    of the phases. Without words these raise NotPlayable.
    """

    def __init__(self, core: _core.Report) -> None:
        self._core = core
        self._found: Dict[str, Any] = json.loads(core.json())
        self._json = core.json

    def to_dict(self) -> Dict[str, Any]:
        """The object that `tarvutil check --format json` prints, without its place."""
        found: Dict[str, Any] = json.loads(self._core.json())
        return found

    @property
    def text(self) -> str:
        return str(self._found["text"])

    @property
    def encoded(self) -> bool:
        return bool(self._found["encoded"])

    @property
    def within_limits(self) -> bool:
        return self.encoded and not self._found["exceeded"]

    @property
    def refusal(self) -> Optional[Refusal]:
        if self.encoded:
            return None
        found = self._found["refusal"]
        return Refusal(found["text"], found["phase"], found["meets_phase"], found["carried_us"])

    @property
    def warnings(self) -> List[str]:
        return list(self._found.get("warnings", []))

    @property
    def words(self) -> "Words":
        """The word array, uint32 and read-only."""
        self._need_words()
        return self._core.words()

    def _need_words(self) -> Dict[str, Any]:
        if not self.encoded:
            raise refusal_error(self._core.json())
        return self._found

    @property
    def period_us(self) -> AskedPlayed:
        return _pair(self._need_words(), "period", "_us")

    @property
    def frequency_hz(self) -> AskedPlayed:
        return _pair(self._need_words(), "frequency", "_hz")

    @property
    def pulses(self) -> AskedPlayed:
        """Cycles of the train; NaN when it has no end."""
        return _pair(self._need_words(), "cycles", "")

    @property
    def train_ms(self) -> AskedPlayed:
        return _pair(self._need_words(), "train", "_ms")

    @property
    def positive_charge_nc(self) -> AskedPlayed:
        return _pair(self._need_words(), "positive_charge", "_nc")

    @property
    def negative_charge_nc(self) -> AskedPlayed:
        return _pair(self._need_words(), "negative_charge", "_nc")

    @property
    def net_charge_nc(self) -> AskedPlayed:
        return _pair(self._need_words(), "net_charge", "_nc")

    @property
    def largest_error_us(self) -> float:
        return float(self._need_words()["largest_error_us"])

    @property
    def phases(self) -> List[PhaseReport]:
        return [
            PhaseReport(
                AskedPlayed(p["start_asked_us"], p["start_played_us"]),
                AskedPlayed(p["asked"]["length_us"], p["played"]["length_us"]),
                AskedPlayed(p["asked"]["amplitude_ua"], p["played"]["amplitude_ua"]),
            )
            for p in self._need_words()["phases"]
        ]

    @property
    def findings(self) -> List[Finding]:
        return [
            Finding(f["cause"], f["phase"], f["by_us"], f["by_ua"], f["notable"], f["text"])
            for f in self._need_words()["deviations"]
        ]

    @property
    def exceeded(self) -> List[Excess]:
        return [
            Excess(
                e["limit"],
                next(v for k, v in e.items() if k.startswith("value")),
                next(v for k, v in e.items() if k.startswith("limit_")),
            )
            for e in self._need_words()["exceeded"]
        ]

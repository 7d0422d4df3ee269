"""Designs: specification strings from the parameters of a pulse or burst."""

from __future__ import annotations

import json
import math
from dataclasses import dataclass, field
from typing import TYPE_CHECKING, Any, Callable, Dict, List, Optional, Union

from . import _core
from .attributes import near
from .errors import NotPlayable
from .numbers import any_number
from .records import Record
from .reports import Report

if TYPE_CHECKING:
    from .stimulator import Stimulator


@dataclass(frozen=True)
class Change(Record):
    """A difference from the request.

    item: what differs, such as "amplitude" (uA), "phase1" (us), "train" (ms). asked: the request. played: what the words
    play. text: the same as a sentence, with the unit.
    """

    item: str
    asked: float
    played: float
    text: str


@dataclass(frozen=True)
class Design:
    """One specification string, and its differences from the request.

    name: its head. text: None when no words play the request; errors then has the reasons and advice has suggestions.
    reachable: the nearest value that is possible, where one value of the request is out of reach, in the unit of the
    error; else None. plain: it is the text of a plain pattern. adjusted: a list of phases similar to the one requested
    is used. changes: the differences from the request as numbers. remarks: the same, and the totals. exceeded: the limits
    that the differences exceed. Lists are of sentences, except changes.
    """

    name: str
    plain: bool
    text: Optional[str]
    adjusted: bool
    changes: List[Change]
    remarks: List[str]
    exceeded: List[str]
    errors: List[str]
    advice: List[str]
    reachable: Optional[float]
    _found: Dict[str, Any] = field(repr=False, compare=False)
    _report: Callable[[], Report] = field(repr=False, compare=False)

    def to_dict(self) -> Dict[str, Any]:
        """The object that `tarvutil design --format json` prints, without the stimulator."""
        return dict(self._found)

    def report(self) -> Report:
        """The report on the text, with the limits of the design; without a text, on the list that was refused.

        Raises NotPlayable where a value of the request is out of reach, because it then has no list.
        """
        if self.reachable is not None:
            raise NotPlayable("; ".join(self.errors))
        return self._report()


PARAMETERS = tuple(name.replace("-", "_") for name in _core.design_names())


def design(
    stimulator: "Stimulator",
    exact: bool,
    parameters: Dict[str, Union[float, str]],
    limits: Dict[str, float],
) -> List[Design]:
    for name in parameters:
        if name not in PARAMETERS:
            others = near(name, PARAMETERS) or f"; the parameters are {', '.join(PARAMETERS)}"
            raise TypeError(f"{name}: not a parameter of a design{others}")
    texts = {name.replace("_", "-"): _text(name, value) for name, value in parameters.items()}
    made = _core.designs(stimulator.lilly_core, texts, limits, exact)
    return [_design(stimulator, exact, json.loads(found), text) for found, text in made]


def _text(name: str, value: Union[float, str]) -> str:
    if isinstance(value, str):
        if any(letter == "\0" or "\ud800" <= letter <= "\udfff" for letter in value):
            raise ValueError(f"{name}: it contains a NUL or a lone surrogate")
        return value
    number = any_number(name, value, "a number or a text")
    return "inf" if number == math.inf else repr(number)


def _design(stimulator: "Stimulator", exact: bool, found: Dict[str, Any], text: str) -> Design:
    plain = found["pattern"] == "plain"
    return Design(
        found["name"],
        plain,
        found.get("text"),
        found.get("adjusted", False),
        [Change(one["item"], one["asked"], one["got"], one["text"]) for one in found.get("changes", [])],
        found.get("remarks", []),
        [excess["text"] for excess in found.get("exceeded", [])],
        found.get("errors", []),
        found.get("advice", []),
        found.get("reachable"),
        found,
        lambda: stimulator.check(text, plain=plain, exact=exact),
    )

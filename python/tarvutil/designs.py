"""Designs: specification strings from the parameters of a pulse or burst."""

from __future__ import annotations

import json
import math
from dataclasses import dataclass
from typing import Any, Dict, List, Optional, Union

from . import _core
from .numbers import any_number


@dataclass(frozen=True)
class Design:
    """One specification string, and its differences from the request.

    name: its head. text: None when no words play the request; errors then has the reasons and advice has suggestions.
    plain: it is the text of a plain pattern. adjusted: a list of phases similar to the one requested is used.
    remarks: the differences from the request. exceeded: the limits that these exceed. All lists are of sentences.
    """

    name: str
    plain: bool
    text: Optional[str]
    adjusted: bool
    remarks: List[str]
    exceeded: List[str]
    errors: List[str]
    advice: List[str]


def design(
    core: _core.Stimulator, limits: Dict[str, float], exact: bool, parameters: Dict[str, Union[float, str]]
) -> List[Design]:
    texts = {name.replace("_", "-"): _text(name, value) for name, value in parameters.items()}
    return [_design(found) for found in json.loads(_core.designs(core, texts, limits, exact))]


def _text(name: str, value: Union[float, str]) -> str:
    if isinstance(value, str):
        if any(letter == "\0" or "\ud800" <= letter <= "\udfff" for letter in value):
            raise ValueError(f"{name}: it contains a NUL or a lone surrogate")
        return value
    number = any_number(name, value, "a number or a text")
    return "inf" if number == math.inf else repr(number)


def _design(found: Dict[str, Any]) -> Design:
    return Design(
        found["name"],
        found["pattern"] == "plain",
        found.get("text"),
        found.get("adjusted", False),
        found.get("remarks", []),
        [excess["text"] for excess in found.get("exceeded", [])],
        found.get("errors", []),
        found.get("advice", []),
    )

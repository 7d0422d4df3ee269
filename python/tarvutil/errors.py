"""The exceptions of the package."""

from __future__ import annotations

import json
from typing import Any, Dict, Optional

from . import _core


class NotPlayable(ValueError):
    """A pattern, a text or a schedule that cannot be played as it was asked. Nothing was changed.

    A ValueError that is not NotPlayable names an argument outside its range.

    reason: the reason, in one sentence.
    phase: index of the phase that cannot be played, or None.
    advice: a suggestion, or None.
    text_index: which of several texts it is, from 0, or None.
    """

    def __init__(
        self,
        reason: str,
        phase: Optional[int] = None,
        advice: Optional[str] = None,
        text_index: Optional[int] = None,
    ) -> None:
        place = "" if text_index is None else f"text {text_index}: "
        super().__init__(place + reason + ("" if advice is None else f"; {advice}"))
        self.reason = reason
        self.phase = phase
        self.advice = advice
        self.text_index = text_index


def not_playable(refused: _core.NotPlayable, text_index: Optional[int] = None) -> NotPlayable:
    """The exception for a refusal of the compiled core, which brings the JSON of the report on it."""
    return not_playable_from(json.loads(str(refused)), text_index)


def not_playable_from(report: Dict[str, Any], text_index: Optional[int] = None) -> NotPlayable:
    """The exception for a report that has no words, or whose limits are exceeded; or for errors without a report."""
    if "encoded" not in report:
        return NotPlayable("; ".join(report["errors"]), text_index=text_index)
    if report["encoded"]:
        return NotPlayable("; ".join(excess["text"] for excess in report["exceeded"]), text_index=text_index)
    refusal = report["refusal"]
    reason = "; ".join(report.get("errors", [])) or refusal["text"] or "there are no words"
    adjusted = report.get("adjusted")
    advice = f"repaired, the phases would be {adjusted['text']}" if adjusted and adjusted["fits"] else None
    return NotPlayable(reason, refusal["phase"], advice, text_index)

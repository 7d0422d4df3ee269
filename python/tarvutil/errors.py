"""The exceptions of the package."""

from __future__ import annotations

from typing import Optional


class NotPlayable(ValueError):
    """A pattern or a text that cannot be played as it was asked; nothing was changed.

    phase: index of the phase that cannot be played, or None.
    reason: why, in one sentence.
    advice: what would work, or None.
    """

    def __init__(self, reason: str, phase: Optional[int] = None, advice: Optional[str] = None) -> None:
        super().__init__(reason if advice is None else f"{reason}; {advice}")
        self.reason = reason
        self.phase = phase
        self.advice = advice

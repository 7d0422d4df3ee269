"""The stimulator that patterns are for, and what it is asked."""

from __future__ import annotations

from typing import Any, List, Optional, Sequence, Union, overload

from . import _core
from .errors import NotPlayable
from .patterns import BasePattern, LillyPattern, PlainPattern, Words, npt
from .reports import Report, refusal_error


class Stimulator:
    """A current stimulator.

    time_step_us: duration of one time step, microseconds, above 0.
    amp_step_ua: one amplitude step, microamperes, above 0; a word holds at most 100 of them.
    amp_max_ua: largest amplitude, microamperes, 0 or above; 100 amplitude steps when not given.
    budget: most words of a pattern, word 0 included, 1 to 1024.

    ValueError names a value that no pattern can be made with.
    """

    def __init__(
        self,
        time_step_us: float = 33.333332,
        amp_step_ua: float = 10.0,
        amp_max_ua: Optional[float] = None,
        budget: int = 101,
    ) -> None:
        self.core = _core.Stimulator(False, time_step_us, amp_step_ua, amp_max_ua, budget)
        self._plain_core = _core.Stimulator(True, time_step_us, amp_step_ua, amp_max_ua, budget)

    @property
    def time_step_us(self) -> float:
        return self.core.time_step_us

    @property
    def amp_step_ua(self) -> float:
        return self.core.amp_step_ua

    @property
    def amp_max_ua(self) -> float:
        return self.core.amp_max_ua

    @property
    def budget(self) -> int:
        return self.core.budget

    def __repr__(self) -> str:
        return (
            f"Stimulator(time_step_us={self.time_step_us:.9g}, amp_step_ua={self.amp_step_ua:.9g}, "
            f"amp_max_ua={self.amp_max_ua:.9g}, budget={self.budget})"
        )

    def lilly(self, **parameters: float) -> LillyPattern:
        """A balanced biphasic pulse; see LillyPattern for its parameters. Raises NotPlayable."""
        return LillyPattern(self, **parameters)

    def plain(self, phases: npt.ArrayLike) -> PlainPattern:
        """A pattern of any phases, an (n, 2) array of length_us and amplitude_ua. Raises NotPlayable."""
        return PlainPattern(self, phases)

    @overload
    def encode(self, text: str, *, plain: bool = ..., lenient: bool = ...) -> Words: ...

    @overload
    def encode(self, text: Sequence[str], *, plain: bool = ..., lenient: bool = ...) -> List[Words]: ...

    def encode(self, text: Union[str, Sequence[str]], *, plain: bool = False, lenient: bool = False) -> Any:
        """The word array of a specification string, uint32 and read-only, or a list of them for several texts.

        plain: the texts are of plain patterns, with any number of phases. lenient: irregular texts are read as the
        library reads them, not refused. Raises NotPlayable for the first text that has no words. Several texts are
        encoded without the interpreter's lock.
        """
        core = self._plain_core if plain else self.core
        try:
            if isinstance(text, str):
                return core.encode_text(text, lenient)
            return core.encode_texts(list(text), lenient)
        except _core.NotPlayable as refused:
            raise refusal_error(str(refused)) from None

    def check(self, pattern: Union[str, BasePattern], *, plain: bool = False, lenient: bool = False) -> Report:
        """A report on what will be played beside what a text, or a pattern's own phases, ask for.

        A text that is refused gives a report as well, with its refusal.
        """
        if isinstance(pattern, str):
            return Report(_core.Report(self._plain_core if plain else self.core, pattern, lenient))
        is_lilly = isinstance(pattern, LillyPattern)
        return Report(_core.Report(self.core if is_lilly else self._plain_core, pattern.text, lenient))

"""Schedules: trains on several channels, each from its own start."""

from __future__ import annotations

import json
from dataclasses import dataclass
from typing import Callable, List, Optional, TypeVar

from . import _core
from .errors import not_playable
from .numbers import Words, milliseconds, whole
from .records import Record
from .stimulator import LIMITS, Stimulator, limits_of

_Result = TypeVar("_Result")
MAX_CHANNEL = 1_000_000


@dataclass(frozen=True, eq=False)
class Command(Record):
    """A block of cycles that the host sends.

    train: its number. sent_ms: when a host that polls sends it, due_ms: when it is due. cycles: in word 0.
    cycles_left: of the train, to be commanded after it; None for a train without end. words: uint32 of shape (n,),
    read-only.
    """

    train: int
    channel: int
    sent_ms: int
    due_ms: int
    cycles: int
    cycles_left: Optional[int]
    words: Words


@dataclass(frozen=True)
class Total(Record):
    """The largest current of all channels together: as a sum of magnitudes, and as a net sum.

    Currents in microamperes, the first time of each in milliseconds.
    """

    largest_total_current_ua: float
    largest_total_current_at_ms: float
    largest_net_current_ua: float
    largest_net_current_at_ms: float


class Schedule:
    """Trains of one stimulator on several channels.

    plain: the texts are of plain patterns. exact, limits: as in Stimulator.check, for each train; and
    max_total_current_ua, for the sum of the magnitudes of the currents of all channels at any time.

        >>> import tarvutil as tv
        >>> schedule = tv.Schedule(tv.Stimulator())
        >>> text = "H:(0,0)(200,-50)(100,0)(200,50)(9500,0):DurationMsec=[50000]"
        >>> schedule.add(1, 0, text), schedule.add(2, 5, text)
        (0, 1)
        >>> [(command.channel, command.due_ms, command.cycles) for command in schedule.commands()]
        [(1, 0, 4095), (1, 0, 905), (2, 5, 4095), (2, 5, 905)]
    """

    def __init__(
        self, stimulator: Stimulator, *, plain: bool = False, exact: bool = False, **limits: Optional[float]
    ) -> None:
        self.stimulator = stimulator
        core = stimulator.plain_core if plain else stimulator.lilly_core
        names = (*LIMITS, "max_total_current_ua")
        self._core = _core.Schedule(core, limits_of(stimulator, limits, names), exact or stimulator.exact)

    def add(self, channel: int, start_ms: int, text: str, *, lenient: bool = False) -> int:
        """Adds the train of a specification string on a channel, 0 to 1000000, and returns its number, from 0.

        start_ms: whole milliseconds, 0 or above. Raises NotPlayable for a text that has no words, whose words last no
        time, or that exceeds a limit.
        """
        start = milliseconds("start_ms", start_ms)
        if start < 0:
            raise ValueError(f"start_ms: {start_ms!r} is below 0")
        number = whole("channel", channel, 0, MAX_CHANNEL)
        return _playable(lambda: self._core.add(number, start, text, lenient))

    def commands(self, *, poll_ms: int = 1, until_ms: Optional[int] = None) -> List[Command]:
        """The commands of a host that polls every poll_ms, in the order of the due times, until until_ms.

        Raises NotPlayable when a train begins while its channel still plays another, and when max_total_current_ua is
        exceeded; ValueError for a train without end when until_ms is not given.
        """
        poll, until = whole("poll_ms", poll_ms, 1, 1_000_000), _until(until_ms)
        rows, words = _playable(lambda: self._core.commands(poll, until))
        found, begin = [], 0
        for row in rows:
            train, channel, sent, due, cycles, left, end = row.tolist()
            found.append(Command(train, channel, sent, due, cycles, None if left < 0 else left, words[begin:end]))
            begin = end
        return found

    def total(self, *, until_ms: Optional[int] = None) -> Total:
        """The current of all channels together; raises as commands does."""
        found = json.loads(_playable(lambda: self._core.total_json(_until(until_ms))))
        return Total(*(found[name] for name in Total.__dataclass_fields__))

    def cuts(self, *, until_ms: int) -> List[str]:
        """A sentence for each train that until_ms leaves out or cuts.

        The words of a train that is cut play on: the host must stop its channel.
        """
        return self._core.cuts(whole("until_ms", until_ms, 0, 2**53))

    def events(self, *, until_ms: Optional[int] = None) -> str:
        """The trains as a table of events: lines with tabs between the columns, onset and duration in seconds.

        Raises as commands does.
        """
        return _playable(lambda: self._core.events(_until(until_ms)))


def _playable(call: Callable[[], _Result]) -> _Result:
    try:
        return call()
    except _core.NotPlayable as refused:
        raise not_playable(refused) from None


def _until(until_ms: Optional[int]) -> Optional[int]:
    return None if until_ms is None else whole("until_ms", until_ms, 0, 2**53)

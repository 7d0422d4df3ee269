"""The picture of a report, drawn with Matplotlib."""

from __future__ import annotations

import textwrap
from typing import TYPE_CHECKING, Any, Dict, List, Optional

import numpy as np

if TYPE_CHECKING:
    from matplotlib.axes import Axes

    from .reports import Report

# As in every other picture.
PLAYED = "#0072b2"
ASKED = "#000000"
FAINT = "#555555"
NOTE = "#9c3d00"
BREAK = "#eeeeee"
TEXT_POINTS = 8.0
LETTER = 0.57  # width of a letter or digit, of the size of the text


def plot(report: "Report", ax: "Optional[Axes]", whole_cycle: bool) -> "Axes":
    import matplotlib.axes

    picture = report._picture()
    alone = ax is None
    if ax is None:
        import matplotlib.pyplot as plt

        ax = plt.figure(figsize=(8, 3.5), layout="constrained").add_subplot()
    if not isinstance(ax, matplotlib.axes.Axes):
        raise TypeError(f"ax: a Matplotlib Axes is needed, not {type(ax).__name__}; its figure.savefig writes a file")
    # The layout has not been computed yet. In a figure of their own the axes become this part of its width.
    width = 0.9 * ax.figure.bbox.width if alone else ax.bbox.width
    points = width / ax.figure.dpi * 72
    columns = max(int(points / (LETTER * TEXT_POINTS)), 30)
    notes = list(report._notes())
    if whole_cycle:
        usec, at = np.array(report._core.time_axis()).T
        for curve in (picture["asked"], picture["played"]):
            curve[:] = [(float(np.interp(time, at, usec)), current) for time, current in curve]
        ax.set_xlim(0, usec[-1])
        ax.set_xlabel("time, us")
    else:
        if _draw_breaks(ax, picture, columns):
            notes.insert(0, picture["breaks_text"])
        ax.set_xlim(0, picture["width"])
        ax.set_xticks(*_ticks(_that_fit(picture["time_ticks"], picture["width"], columns)))
        ax.set_xlabel(picture["time_axis"])
    _draw_curve(ax, picture, "played", color=PLAYED, linewidth=2.5)
    ax.fill_between(*np.array(picture["played"]).T, color=PLAYED, alpha=0.25, linewidth=0)
    _draw_curve(ax, picture, "asked", color=ASKED, linewidth=1, linestyle="--")
    ax.set_ylim(picture["low_ua"], picture["high_ua"])
    ax.set_yticks(*_ticks(picture["current_ticks"]))
    ax.set_ylabel(picture["current_axis"])
    ax.legend(loc="lower right")
    _write_around(ax, picture, notes, columns)
    return ax


def _draw_curve(ax: "Axes", picture: Dict[str, Any], name: str, **style: Any) -> None:
    """A curve, and the stroke at its end."""
    times, currents = np.array(picture[name]).T
    ax.plot(times, currents, label=picture[f"{name}_name"], **style)
    cap = picture["cap_ua"]
    ax.plot([times[-1]] * 2, [-cap, cap], **{**style, "linestyle": "-"}, clip_on=False)


def _draw_breaks(ax: "Axes", picture: Dict[str, Any], columns: int) -> bool:
    """The shortened pauses, as bands. Returns whether one has no room for its length."""
    unlabelled = False
    for begin, end, label in picture["breaks"]:
        ax.axvspan(begin, end, color=BREAK, linewidth=0, zorder=0)
        room = (end - begin) / picture["width"] * columns - 1
        unlabelled = unlabelled or not label
        shown = f"pause, {label}" if label and len(label) + 7 <= room else label
        ax.text(
            (begin + end) / 2,
            0.96,
            shown,
            transform=ax.get_xaxis_transform(),
            rotation=0 if len(shown) <= room else 90,
            ha="center",
            va="top",
            fontsize=TEXT_POINTS,
            color=FAINT,
        )
    return unlabelled


def _write_around(ax: "Axes", picture: Dict[str, Any], notes: List[str], columns: int) -> None:
    """Writes what is played above the axes, and the notes below; layouts that Matplotlib computes make room for them."""
    heads = _wrapped(picture["title"], columns) + _wrapped(picture["subtitle"], columns)
    ax.set_title(_verbatim(heads), loc="left", fontsize=TEXT_POINTS, color=ASKED)
    lines = [line for note in notes for line in _wrapped(note, columns, "   ")]
    if lines:
        below = -4.5 * TEXT_POINTS  # the ticks and the name of the axis are above
        ax.annotate(
            _verbatim(lines),
            (0, 0),
            (0, below),
            xycoords="axes fraction",
            textcoords="offset points",
            va="top",
            fontsize=TEXT_POINTS,
            color=NOTE,
            annotation_clip=False,
        )


def _wrapped(text: str, columns: int, indent: str = "") -> List[str]:
    return textwrap.wrap(text, columns, subsequent_indent=indent, break_on_hyphens=False)


def _verbatim(lines: List[str]) -> str:
    """Lines that Matplotlib does not take for mathematics."""
    return "\n".join(lines).replace("$", r"\$")


def _that_fit(ticks: List[Any], width: float, columns: int) -> List[Any]:
    """The ticks whose labels do not touch; the last one, the end, is always among them."""
    larger = 1.25  # than the text that columns counts
    kept: List[Any] = []
    for at, label in sorted(ticks, reverse=True):
        need = (1 + (len(label) + len(kept[-1][1])) / 2) * larger if kept else 0
        if not kept or (kept[-1][0] - at) / width * columns >= need:
            kept.append((at, label))
    return kept


def _ticks(pairs: List[Any]) -> Any:
    return [at for at, _ in pairs], [label for _, label in pairs]

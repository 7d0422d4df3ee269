"""The picture of a report, drawn with Matplotlib."""

from __future__ import annotations

from typing import TYPE_CHECKING, Optional, Tuple

import numpy as np

from .played import Numbers

if TYPE_CHECKING:
    from matplotlib.axes import Axes

    from .reports import Report

# As in every other picture.
PLAYED = "#0072b2"
ASKED = "#000000"


def plot(report: "Report", ax: "Optional[Axes]", whole_cycle: bool) -> "Axes":
    played = report.played
    asked = report.phases
    asked_starts = np.array([phase.start_us.asked for phase in asked])
    asked_lengths = np.array([phase.length_us.asked for phase in asked])
    asked_currents = np.array([phase.amplitude_ua.asked for phase in asked])
    if ax is None:
        import matplotlib.pyplot as plt

        ax = plt.figure(figsize=(8, 3.5), layout="constrained").add_subplot()
    corners = _steps(played.starts_us, played.durations_us, played.currents_ua)
    ax.plot(*corners, color=PLAYED, linewidth=2.5, label="played")
    ax.fill_between(*corners, color=PLAYED, alpha=0.25, linewidth=0)
    asked_corners = _steps(asked_starts, asked_lengths, asked_currents)
    ax.plot(*asked_corners, color=ASKED, linewidth=1, linestyle="--", label="asked")
    if not whole_cycle:
        starts = np.concatenate((asked_starts[asked_currents != 0], played.starts_us[played.currents_ua != 0]))
        ends = np.concatenate(
            (
                (asked_starts + asked_lengths)[asked_currents != 0],
                (played.starts_us + played.durations_us)[played.currents_ua != 0],
            )
        )
        if len(starts):
            margin = 0.1 * (ends.max() - starts.min())
            ax.set_xlim(starts.min() - margin, ends.max() + margin)
    ax.set_xlabel("time, us")
    ax.set_ylabel("current, uA")
    ax.set_title(
        f"period {played.period_us / 1000:.6g} ms, net charge {report.net_charge_nc.played + 0.0:.3g} nC per cycle, "
        f"largest error {report.largest_error_us + 0.0:.3g} us",
        fontsize="medium",
    )
    ax.legend()
    return ax


def _steps(starts: Numbers, lengths: Numbers, currents: Numbers) -> Tuple[Numbers, Numbers]:
    """The corners of a curve that begins and ends at no current."""
    times = np.repeat(np.append(starts, starts[-1] + lengths[-1]), 2)
    levels = np.append(np.append(0.0, np.repeat(currents, 2)), 0.0)
    return times, levels

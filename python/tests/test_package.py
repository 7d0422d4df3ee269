"""What the package adds to the library: Python's values, errors, memory and threads."""

import copy
import gc
import math
import sys
import threading
import time
from pathlib import Path
from typing import Any, Callable, Dict, List, Optional, Type, cast

import matplotlib
import numpy as np
import numpy.typing as npt
import pytest
from hypothesis import given
from hypothesis import strategies as st

import tarvutil as tv
from tarvutil import _core
from tarvutil.numbers import Phases
from tarvutil.patterns import BasePattern

matplotlib.use("Agg")

STIM = tv.Stimulator(time_step_us=20, amp_step_ua=1, amp_max_ua=100)
PULSE: Dict[str, Any] = dict(amplitude_ua=-60, phase1_us=200, ipi_us=100, balance=2, frequency_hz=100, pulses=100)
TEXT = "Lilly:(0,0)(200,-60)(100,0)(400,30)(9300,0):DurationMsec=[1000]:ChargeBalanceIdx=[2]"


class RoundsUp(tv.Pattern):
    """Lengthens every phase to whole time steps."""

    def adjust_phases(self, current: Phases, proposed: Phases, budget: int) -> npt.ArrayLike:
        proposed[:, 0] = np.ceil(proposed[:, 0] / 20) * 20
        return proposed

    def set_period(self, current: Phases, period_ms: float) -> Optional[npt.ArrayLike]:
        if period_ms == 13:
            raise KeyError("thirteen")
        current[-1, 0] += 1000 * period_ms - current[:, 0].sum()
        return current


def test_the_compiled_core_gives_the_same_bits_as_every_build() -> None:
    with open("tools/samebits/SameBits.checksums", encoding="utf-8") as checksums:
        patterns, checksum = checksums.readline().split()
    assert _core.same_bits(int(patterns)) == checksum


def test_an_array_keeps_its_values_and_cannot_be_written() -> None:
    pulse = STIM.lilly(**PULSE)
    first, phases = pulse.words, pulse.phases
    values = first.tolist()
    assert pulse.words is first
    pulse.amplitude_ua = -70
    phases[:] = 0
    assert first.tolist() == values != pulse.words.tolist()
    for array in (first, STIM.encode(TEXT), STIM.encode([TEXT])[0], STIM.check(TEXT).words):
        assert array.dtype == np.uint32
        with pytest.raises(ValueError):
            array[0] = 1
    assert STIM.encode(TEXT).tolist() == values == STIM.encode((TEXT, TEXT))[1].tolist()


@pytest.mark.parametrize(
    ("parameters", "named"),
    [
        (dict(amplitude_ua=-70, phase1_us=1e6), "phase1_us"),
        (dict(amplitude_ua=-70.4), "amplitude_ua"),
        (dict(amplitude_ua=-170), "amplitude_ua"),
        (dict(amplitude_ua=-70, phase2_us=100), "phase2_us"),
        (dict(pulses=50, frequency_hz=math.nan), "frequency_hz"),
        (dict(pulses=2.5), "pulses"),
        (dict(pulses=2**31), "pulses"),
        (dict(balance=5), "balance"),
        (dict(ipi_us=-20, offset_ms=1), "ipi_us"),
        (dict(ipi_us=10**400), "ipi_us"),
        (dict(train_ms=-math.inf), "train_ms"),
    ],
)
def test_set_changes_all_or_nothing(parameters: Dict[str, Any], named: str) -> None:
    pulse = STIM.lilly(**PULSE)
    before = (pulse.text, pulse.words.tolist())
    with pytest.raises(ValueError, match=f"^{named}: "):
        pulse.set(**parameters)
    assert (pulse.text, pulse.words.tolist()) == before


def test_set_returns_what_is_in_effect() -> None:
    pulse = STIM.lilly(**PULSE)
    assert pulse.set(exact=False, amplitude_ua=-170, ipi_us=110) == {"amplitude_ua": -100, "ipi_us": 110}
    assert STIM.lilly(exact=False, amplitude_ua=-60.4).amplitude_ua == -60
    assert pulse.set(pulses=math.inf) == {"pulses": math.inf} and pulse.train_ms == math.inf
    assert (pulse.phase2_us, pulse.amplitude2_ua, pulse.period_ms) == (400, 85, 10)


@given(st.lists(st.tuples(st.floats(0, 3000, width=32), st.floats(-100, 100, width=32)), min_size=1, max_size=12))
def test_a_report_on_a_pattern_asks_for_its_own_phases(phases: List[Any]) -> None:
    try:
        pattern = STIM.plain(phases)
    except tv.NotPlayable:
        return
    report = STIM.check(pattern)
    assert [[p.length_us.asked, p.amplitude_ua.asked] for p in report.phases] == pattern.phases.tolist()
    assert report.words.tolist() == pattern.words.tolist()
    assert not {finding.cause for finding in report.findings} & {"length-read", "amplitude-read"}
    if pattern.period_ms > 0:
        for rate in (1e4, 123456.7):
            charge = report.waveform(rate, cycles=3).sum() / rate * 1e3
            assert charge == pytest.approx(3 * report.net_charge_nc.played, abs=1e-5)


@pytest.mark.parametrize(
    ("call", "error", "named"),
    [
        (lambda: STIM.encode("Head:\ud800"), ValueError, "text"),
        (lambda: STIM.encode("Head:(200,-60)\0:DurationMsec=[1]", plain=True), tv.NotPlayable, "byte 15"),
        (lambda: STIM.encode([TEXT, "Head"]), tv.NotPlayable, "text 1: "),
        (lambda: STIM.encode([TEXT, cast(str, b"Head")]), TypeError, "^text 1: "),
        (lambda: STIM.encode([TEXT, TEXT.replace("9300", "9310")], exact=True), tv.NotPlayable, "^text 1: .*exceeded"),
        (lambda: STIM.check(TEXT).plot(cast(Any, "x.png")), TypeError, "^ax: "),
        (lambda: STIM.design(amplitude_ua=60), TypeError, "^amplitude_ua: .*near it: amplitude"),
        (lambda: STIM.design(amplitude=60, burst_rate=-1), ValueError, "^burst_rate: "),
        (lambda: STIM.design(amplitude="60:56:-1"), ValueError, "STEP above 0"),
        (lambda: STIM.decode([]), ValueError, "no words"),
        (lambda: STIM.decode("00000064"), TypeError, "array"),
        (lambda: tv.Schedule(STIM).add(0, -5, TEXT), ValueError, "^start_ms: -5"),
        (lambda: tv.Schedule(STIM, plain=True).add(0, 0, "H:(0,50):DurationMsec=[1]"), tv.NotPlayable, "last no time"),
        (lambda: tv.Schedule(STIM).add(0, cast(int, 0.5), TEXT), ValueError, "^start_ms: 0.5"),
        (lambda: tv.Schedule(STIM).add(2_000_000, 0, TEXT), ValueError, "^channel: 2000000 .* 1000000$"),
        (lambda: STIM.encode(cast(str, 5)), TypeError, "text"),
        (lambda: STIM.lilly(ipi_us=cast(float, np.array([100.0]))), TypeError, "ipi_us"),
        (lambda: STIM.design(amplitude=10**400), ValueError, "amplitude"),
        (lambda: STIM.design(amplitude=10, name="a\0"), ValueError, "^name: "),
        (lambda: STIM.lilly().set(exact=False, ipi_us=-5), ValueError, "^ipi_us: "),
        (lambda: STIM.lilly().set(exact=False, period_ms=-5), ValueError, "^period_ms: "),
        (lambda: STIM.lilly().set_phase(0, -5, 0, exact=False), ValueError, "^length_us: "),
        (lambda: STIM.design(amplitude=10, name="a\ud800"), ValueError, "^name: "),
        (lambda: STIM.check(TEXT, max_k=-1), ValueError, "^max_k: .*area"),
        (lambda: STIM.lilly().play(clock=cast(Any, 5)), TypeError, "clock"),
        (lambda: tv.Stimulator.from_device(cast(str, 0)), TypeError, "int"),
        (lambda: tv.Stimulator.from_device("x\0y"), ValueError, "path"),
        (lambda: STIM.plain([[200, math.nan]]), ValueError, "phases"),
        (lambda: STIM.plain([[1e39, 1]]), ValueError, "phases"),
        (lambda: STIM.plain([[200, -60, 1]]), ValueError, "phases"),
        (lambda: STIM.plain([["200", "-60"]]), TypeError, "phases"),
        (lambda: STIM.plain(np.zeros((0, 2))), tv.NotPlayable, "no phase"),
        (lambda: STIM.plain([[20, 60], [5, 0], [10, 60], [5, 1]]), tv.NotPlayable, "phase 2"),
        (lambda: setattr(STIM.lilly(), "phases", [[20, 0]]), ValueError, "phases"),
        (lambda: STIM.lilly().set_phase(5, 20, 0), ValueError, "^index: "),
        (lambda: STIM.check(tv.Stimulator().lilly()), ValueError, "pattern"),
        (lambda: STIM.check(TEXT, max_error_us=-1), ValueError, "max_error_us"),
        (lambda: STIM.check(TEXT, whole_cycles=2), TypeError, "whole_cycles"),
        (lambda: STIM.check(TEXT, max_errors=1), TypeError, "max_errors"),
        (lambda: STIM.decode([1, 2**32]), ValueError, "words"),
        (lambda: STIM.decode([1.5]), TypeError, "words"),
        (lambda: STIM.decode(STIM.encode(TEXT)).waveform(1e300), ValueError, "sample_rate_hz"),
        (lambda: STIM.lilly().play(now_ms=2**63), ValueError, "now_ms"),
        (lambda: tv.Stimulator(time_step_us=0), ValueError, "^time_step_us: "),
        (lambda: STIM.lilly(frequency_hz=50, period_ms=10), tv.NotPlayable, "period_ms 10 and frequency_hz 50 conflict"),
        (lambda: setattr(STIM.lilly(), "amplitude_uA", -20), AttributeError, "amplitude_uA: .*LillyPattern.* amplitude_ua"),
        (lambda: setattr(STIM.plain([[20, 5]]), "frequency", 50), AttributeError, "near it: frequency_hz"),
        (lambda: setattr(STIM, "amp_max", 500), AttributeError, "near it: amp_max_ua"),
        (lambda: setattr(STIM.lilly(), "set", 5), AttributeError, "set"),
        (lambda: tv.Stimulator(budget=2000), ValueError, "budget"),
        (lambda: STIM.check("Head").plot(), tv.NotPlayable, ""),
        (lambda: STIM.pattern("Head:(200,-60)"), tv.NotPlayable, "phase"),
        (lambda: setattr(STIM.lilly(), "label", b"left"), TypeError, "^label: "),
        (lambda: STIM.design(amplitude=10, phase1=200, frequency=4000, pulses=1)[0].report(), tv.NotPlayable, "frequency"),
    ],
)
def test_a_bad_argument_is_named(call: Callable[[], object], error: Type[Exception], named: str) -> None:
    with pytest.raises(error, match=named):
        call()


def test_limits_of_files_apply_and_have_places(tmp_path: Path) -> None:
    device, patterns = tmp_path / "lab.toml", tmp_path / "p.txt"
    device.write_text(
        "[stimulator]\namp-max = 90\nbudget = 50\n[limits]\nmax-period-error = 1\nmax-total-current = 100\n"
        "whole-cycles = true\n"
    )
    off = TEXT.replace("9300", "9310")
    patterns.write_bytes(b"\xef\xbb\xbf# --time-step 20 --amp-step 1 --amp-max 95\r\n" + f"{TEXT}\r\n\n{off}".encode())
    file = tv.read_patterns(patterns, device)
    assert file.texts == [TEXT, off] and not file.plain
    stim = file.stimulator
    assert (stim.time_step_us, stim.amp_max_ua, stim.budget) == (20, 90, 50)
    assert (stim.places["time_step_us"], stim.places["amp_max_ua"]) == (f"{patterns}:1", f"{device}:2")
    assert stim.places["max_total_current_ua"] == f"{device}:6"
    assert [excess.limit for excess in stim.check(off).exceeded] == ["max-period-error", "whole-cycles"]
    assert stim.check(off, max_period_error_us=None, whole_cycles=False).within_limits
    schedule = tv.Schedule(stim)
    with pytest.raises(tv.NotPlayable, match="^max-period-error exceeded: 10 us.*; whole-cycles"):
        schedule.add(0, 0, off)
    schedule.add(1, 0, TEXT)
    schedule.add(2, 50, TEXT)
    refused: List[Callable[[], object]] = [schedule.commands, schedule.total, schedule.events]
    for call in refused:
        with pytest.raises(tv.NotPlayable, match="^max-total-current exceeded: 120 uA at 50 ms"):
            call()
    schedule.add(1, 999, TEXT)
    with pytest.raises(tv.NotPlayable, match="^channel 1 still plays.* number 0 .* number 2 starts at 999"):
        schedule.commands()
    assert schedule.cuts(until_ms=1000)[0] == "train 1: cut: its words play longer; the host must stop channel 2 at 1000 ms"
    device.write_bytes(b"[stimulator]\n# \xff\n")
    with pytest.raises(ValueError, match="lab.toml:2: "):
        tv.Stimulator.from_device(device)


@pytest.mark.parametrize("dtype", [">f4", "<f8", ">i2", "f2"])
def test_numbers_of_any_type_and_order_have_their_value(dtype: str) -> None:
    phases = np.array([[200, 0], [-60, 0]], dtype).T
    assert STIM.plain(phases).words.tolist() == STIM.plain([[200, -60], [0, 0]]).words.tolist()
    assert STIM.decode(STIM.encode(TEXT).astype(">u4")[::1]).to_dict() == STIM.decode(STIM.encode(TEXT)).to_dict()


def test_an_own_kind_repairs_refuses_and_raises() -> None:
    own = RoundsUp(STIM, [[200, -60], [200, 60], [600, 0]])
    own.set_phase(0, 190, -60, exact=False)
    assert own.phases[0, 0] == 200
    own.set(period_ms=2)
    assert (own.period_ms, own.pulses, len(own.words)) == (2, 1, 4)
    before = own.text
    with pytest.raises(KeyError, match="thirteen"):
        own.set(period_ms=13)
    assert own.text == before and own.set(period_ms=3) == {"period_ms": 3}


def test_an_own_kind_has_attributes_of_its_own() -> None:
    class Began(tv.Pattern):
        def __init__(self, begin: bool) -> None:
            self.made_for = "rat 7"
            if begin:
                super().__init__(STIM, [[200, -60.4]], exact=False)

    assert Began(True).made_for == "rat 7" and len(Began(True).words) > 1
    with pytest.raises(RuntimeError, match="Began: .*__init__"):
        Began(False).words


class OfOneLength(tv.Pattern):
    """Any phase that does not fit gets this length."""

    length_us = 40.0

    def adjust_phases(self, current: Phases, proposed: Phases, budget: int) -> npt.ArrayLike:
        proposed[:, 0] = self.length_us
        return proposed


@pytest.mark.parametrize("duplicate", [copy.copy, copy.deepcopy])
def test_a_copy_is_a_pattern_of_its_own(duplicate: Callable[[BasePattern], BasePattern]) -> None:
    own = OfOneLength(STIM, [[200, -60], [200, 60]], pulses=3)
    own.length_us = 80.0
    for pattern in (STIM.lilly(**PULSE), STIM.plain([[200, -60], [200, 60]]), own):
        words = pattern.words
        copied = duplicate(pattern)
        assert type(copied) is type(pattern) and (copied.words == words).all() and copied.text == pattern.text
        copied.set_phase(1, 400, 50, exact=False)
        assert (pattern.words == words).all() and not np.array_equal(copied.words, words)
    own.length_us = 60.0
    copied.set_phase(0, 190, -60, exact=False)
    assert copied.phases[0, 0] == 80 and own.phases[0, 0] == 200
    del own, pattern
    copied.set_phase(0, 190, -60, exact=False)


def test_an_own_kind_without_phases_has_no_words() -> None:
    class Empties(tv.Pattern):
        def set_period(self, current: Phases, period_ms: float) -> Optional[npt.ArrayLike]:
            return np.zeros((0, 2))

    own = Empties(STIM, [[200, -60], [200, 60]], pulses=10000)
    play = own.play()
    own.set(period_ms=2, exact=False)
    assert len(own.phases) == 0
    with pytest.raises(tv.NotPlayable, match="no phase"):
        own.words
    with pytest.raises(tv.NotPlayable, match="no phase"):
        play.next(10**6)


def test_a_pattern_cannot_be_edited_while_it_is_asked() -> None:
    class Reenters(tv.Pattern):
        def adjust_phases(self, current: Phases, proposed: Phases, budget: int) -> Optional[npt.ArrayLike]:
            trials[-1].set_phases(current)
            return None

    own = Reenters(STIM, [[200, -60], [200, 60]])
    trials = [own._core]
    with pytest.raises(RuntimeError, match="being edited"):
        own._core.set_phase(0, 190, -60)
    assert own.phases[0, 0] == 200


def test_a_play_sends_every_cycle_and_outlives_the_name_of_its_pattern() -> None:
    now = [0]
    play = STIM.lilly(**dict(PULSE, pulses=10000)).play(channel=2, clock=lambda: now[0])
    gc.collect()
    sent = 4095
    while play.cycles_left:
        assert play.next() is None or not play.ready()
        now[0] = play.due_ms + 3
        block = play.next()
        assert block is not None
        sent += int(block[0])
    assert sent == 10000 and play.next() is None


LONG = "P:" + "(60,-60)(60,0)(60,60)(60,0)" * 10 + ":DurationMsec=[1e6]"


def long_calls() -> List[Any]:
    plain, own = STIM.plain([[60, -60], [60, 0]] * 20), RoundsUp(STIM, [[200, -60], [200, 0]])
    report = STIM.check(LONG, plain=True)
    schedule = tv.Schedule(STIM, plain=True)
    schedule.add(0, 0, LONG)
    lilly = STIM.lilly_core
    return [
        ("encode of one text", lambda: STIM.encode(TEXT), False),
        ("encode", lambda: STIM.encode([TEXT] * 50), True),
        ("report on a text", lambda: _core.Report(lilly, TEXT, False, {}, False), True),
        ("report on a pattern", lambda: _core.Report(plain._core, {}, False), True),
        ("report on an own kind", lambda: _core.Report(own._core, {}, False), True),
        ("report as an object", report.to_dict, True),
        ("time steps", report.time_steps, True),
        ("picture", report.svg, True),
        ("design", lambda: STIM.design(amplitude="10:60:10", phase1=200, frequency=100, pulses=10), True),
        ("schedule", lambda: tv.Schedule(STIM).add(0, 0, TEXT), True),
        ("commands", schedule.commands, True),
        ("total", schedule.total, True),
        ("events", schedule.events, True),
    ]


@pytest.mark.parametrize(("name", "call", "free"), long_calls())
def test_other_threads_run_during_a_long_call(name: str, call: Callable[[], object], free: bool) -> None:
    counts, done = [0], threading.Event()

    def count() -> None:
        while not done.is_set():
            counts[0] += 1
            time.sleep(0)

    interval = sys.getswitchinterval()
    sys.setswitchinterval(3600)  # a thread gets the lock only when another gives it up
    thread = threading.Thread(target=count)
    thread.start()
    try:
        before, calls = counts[0], 0
        deadline = time.monotonic() + 60  # on a busy machine the other thread may wait long for a processor
        while counts[0] == before and (time.monotonic() < deadline if free else calls < 300):
            call()
            calls += 1
        ran = counts[0] > before
    finally:
        done.set()
        sys.setswitchinterval(interval)
        thread.join()
    assert ran == free


def test_threads_encode_while_others_run() -> None:
    expected = STIM.encode(TEXT).tolist()
    results: List[bool] = []

    def work(phase1_us: float) -> None:
        pulse = STIM.lilly(**dict(PULSE, phase1_us=phase1_us))
        words = pulse.words.tolist()
        same = [STIM.encode([TEXT] * 200)[-1].tolist() == expected and pulse.words.tolist() == words for _ in range(50)]
        results.append(all(same))

    threads = [threading.Thread(target=work, args=(20 * i,)) for i in range(5, 9)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert results == [True] * 4


def test_no_call_leaks() -> None:
    def calls(count: int) -> None:
        pulse = STIM.lilly(**PULSE)
        for i in range(count):
            STIM.encode(TEXT)
            pulse.set(amplitude_ua=-20 - i % 50)
            pulse.words
            if i % 20 == 0:
                STIM.encode([TEXT] * 10)
                STIM.check("Head:(1,1)(1,-1):DurationMsec=[1]", plain=True)
                STIM.decode(STIM.check(pulse).words)
                RoundsUp(STIM, [[200, -60], [0, 0]]).play()
                with pytest.raises(tv.NotPlayable):
                    pulse.set(amplitude_ua=-0.5)
        gc.collect()

    calls(5000)
    before = resident_kib()
    calls(100_000)
    assert resident_kib() - before < 2048


def resident_kib() -> int:
    with open("/proc/self/status", encoding="utf-8") as status:
        return next(int(line.split()[1]) for line in status if line.startswith("VmRSS"))


def test_the_plot_shows_asked_and_played() -> None:
    pulse = STIM.lilly(amplitude_ua=-60, phase1_us=200, ipi_us=100, balance=2, frequency_hz=130, train_ms=2000)
    report = STIM.check(pulse, max_phase_charge_nc=10)
    axes = report.plot(whole_cycle=True)
    played, _, asked, _ = (np.array(line.get_xydata()) for line in axes.get_lines())
    for curve in (asked, played):
        assert curve[:, 1].min() == -60 and curve[:, 1].max() == 30
        assert curve[curve[:, 1] == 30, 0].tolist() == pytest.approx([300, 700])
    strokes = [line.get_xdata()[0] for line in axes.get_lines()[1::2]]
    assert strokes == pytest.approx([7700, 1e6 / 130]) and axes.get_xlim() == pytest.approx((0, 7700))
    shortened = report.plot()
    shown = [text.get_text() for text in shortened.texts]
    assert shown[0] == "pause, 6.992 ms" and shortened.get_xlim()[1] < 1500
    for text in (repr(report), "\n".join([axes.get_title(loc="left"), *shown])):
        assert "asked 130 Hz, played 129.87 Hz" in text and "max-phase-charge exceeded: 12 nC" in text
        assert "the period is 7700 us, not 7692.308" in text


def test_a_design_has_its_differences_as_numbers_and_a_report() -> None:
    stim = tv.Stimulator(time_step_us=20, amp_step_ua=10)
    stim.limits = {"max_phase_charge_nc": 11.0}
    (made,) = stim.design(amplitude=57, phase1=200, frequency=100, pulses=3)
    assert (made.changes[0].item, made.changes[0].asked, made.changes[0].played) == ("amplitude", 57, 60)
    assert [change.text for change in made.changes] == made.remarks[: len(made.changes)]
    assert made.text == made.report().text and made.report().exceeded[0].to_dict()["value"] == pytest.approx(12)
    (refused,) = stim.design(amplitude=60, phase1=205, ipi=3, balance=0, phase2=205, amplitude2=60, frequency=100, pulses=3)
    (beyond,) = stim.design(amplitude=60, phase1=200, frequency=4000, pulses=3)
    assert beyond.text is None and beyond.reachable == beyond.to_dict()["reachable"] and refused.reachable is None
    assert refused.adjusted or not refused.report().encoded


@pytest.mark.parametrize("plain", [False, True])
def test_a_pattern_of_a_text_is_that_of_its_parameters(plain: bool) -> None:
    pattern = STIM.pattern(TEXT.split(":Charge")[0] if plain else TEXT, plain=plain)
    assert isinstance(pattern, tv.PlainPattern if plain else tv.LillyPattern)
    assert pattern.words.tolist() == STIM.encode(TEXT).tolist() and pattern.stimulator is STIM
    pattern.label = "left \u00b5"
    pattern.set(pulses=7)
    assert (pattern.label, pattern.pulses) == ("left \u00b5", 7)


def test_the_figures_of_the_current_are_those_of_the_words() -> None:
    stim = tv.Stimulator(time_step_us=20, amp_step_ua=1)
    report = stim.check("P:(200,-60)(100,0)(200,50)(500,0):DurationMsec=[10]", plain=True, area_cm2=2e-5)
    assert report.duty_pct == pytest.approx(40) and report.train_net_charge_nc.played == pytest.approx(-20)
    assert report.direct_current_na == pytest.approx(-2000) and report.rms_ua == pytest.approx(math.sqrt(0.2 * 6100))
    first, second = report.phases_of_current
    assert (first.start_us, first.duration_us, first.charge_nc, second.charge_nc) == (0, 200, -12, 10)
    assert first.density_uc_per_cm2 == pytest.approx(600) and first.k == pytest.approx(math.log10(600 * 0.012))

"""The program and the package give the same words, reports and messages for the same texts."""

import json
import os
import subprocess
from typing import Any, Dict, List

import pytest
from hypothesis import HealthCheck, given, settings
from hypothesis import strategies as st

import tarvutil as tv

PROGRAM = os.environ.get("TARVUTIL_PROGRAM", "build/tools/tarvutil/tarvutil")

numbers = st.one_of(
    st.integers(-2000, 20000).map(str),
    st.floats(-500, 500).map(lambda value: f"{value:.4g}"),
    st.sampled_from(["0", "", "inf", "nan", "1e39", "-0", "2OO", " 5", "33.333332", "0.5"]),
)
amplitudes = st.one_of(st.integers(-100, 100).map(str), numbers)
lengths = st.one_of(st.integers(0, 50).map(lambda steps: str(20 * steps)), numbers)
phases = st.tuples(lengths, amplitudes).map(lambda phase: f"({phase[0]},{phase[1]})")
phase_lists = st.one_of(st.lists(phases, min_size=5, max_size=5), st.lists(phases, max_size=8)).map("".join)
trains = numbers.map(lambda number: f":DurationMsec=[{number}]")
balances = st.one_of(st.just(""), numbers.map(lambda number: f":ChargeBalanceIdx=[{number}]"))
texts = st.one_of(
    st.tuples(st.just("Head:"), phase_lists, trains, balances).map("".join),
    st.text(st.characters(blacklist_categories=("Cs",), blacklist_characters="\n\r\0"), min_size=1),
).filter(lambda text: text.strip() != "" and not text.lstrip().startswith("#"))


def run(command: str, texts: List[str], *options: str, file: str = "--file") -> List[Dict[str, Any]]:
    lines = subprocess.run(
        [PROGRAM, command, "--format", "json", "--amp-step", "1", *options, file, "-"],
        input="\n".join(texts).encode() + b"\n",
        capture_output=True,
    ).stdout
    # The last object of check and play, without a place, sums them up.
    return [found for found in map(json.loads, lines.splitlines()) if "place" in found]


@pytest.mark.parametrize("plain", [False, True])
@pytest.mark.parametrize("lenient", [False, True])
@settings(max_examples=12, deadline=None, suppress_health_check=[HealthCheck.too_slow])
@given(st.lists(texts, min_size=5, max_size=15), st.sampled_from([20.0, 33.333332, 7.3]))
def test_words_reports_and_messages_are_those_of_the_program(
    plain: bool, lenient: bool, texts: List[str], time_step_us: float
) -> None:
    stim = tv.Stimulator(time_step_us=time_step_us, amp_step_ua=1)
    options = ["--time-step", str(time_step_us), "--pattern", "plain" if plain else "lilly"]
    options += ["--lenient"] * lenient
    limits: Dict[str, Any] = dict(max_error_us=0.5, max_charge_error_nc=1, whole_cycles=True)
    checked = run("check", texts, *options, "--max-error", "0.5", "--max-charge-error", "1", "--whole-cycles")
    encoded = run("encode", texts, *options)
    assert len(checked) == len(encoded) == len(texts)
    playable, trains = [], []
    for text, expected, with_words in zip(texts, checked, encoded):
        del expected["place"]
        report = stim.check(text, plain=plain, lenient=lenient, **limits)
        assert report.to_dict() == expected
        if report.encoded:
            playable.append((text, with_words["words"]))
            if report.period_us.played > 0:  # else it has thousands of commands
                trains.append(text)
            assert stim.encode(text, plain=plain, lenient=lenient).tolist() == with_words["words"]
        else:
            with pytest.raises(tv.NotPlayable) as refused:
                stim.encode([text], plain=plain, lenient=lenient)
            assert refused.value.text_index == 0
            assert refused.value.reason == "; ".join(expected["errors"])
    assert_decoded(stim, [words for _, words in playable], *options[:2])
    assert_scheduled(tv.Schedule(stim, plain=plain), trains[:3], lenient, *options)
    together = stim.encode([text for text, _ in playable], plain=plain, lenient=lenient)
    assert [words.tolist() for words in together] == [words for _, words in playable]


def assert_decoded(stim: tv.Stimulator, arrays: List[List[int]], *options: str) -> None:
    decoded = run("decode", [" ".join(f"0x{word:08X}" for word in words) for words in arrays], *options)
    assert len(decoded) == len(arrays)
    for words, expected in zip(arrays, decoded):
        played = stim.decode(words)
        assert (played.cycles, played.period_us) == (expected["cycles"], expected["period_us"])
        assert played.remarks == expected.get("warnings", [])
        for values, name in (
            (played.starts_us, "start_us"),
            (played.durations_us, "duration_us"),
            (played.currents_ua, "current_ua"),
            (played.words, "word"),
        ):
            assert values.tolist() == [segment[name] for segment in expected["segments"]]


def assert_scheduled(schedule: tv.Schedule, texts: List[str], lenient: bool, *options: str) -> None:
    for channel, text in enumerate(texts):
        schedule.add(channel, 7 * channel, text, lenient=lenient)
    lines = [f"{channel}\t{7 * channel}\t{text}" for channel, text in enumerate(texts)]
    played = run("play", lines, *options, "--until", "150", "--poll", "10", file="--schedule")
    commands = [command.to_dict() for command in schedule.commands(poll_ms=10, until_ms=150)]
    assert len(commands) == len(played)
    for command, expected in zip(commands, played):
        assert command.pop("train") == int(expected.pop("place").rsplit(":")[-1]) - 1
        if expected.pop("continuous", False):
            expected["cycles_left"] = None
        assert command == expected


@settings(max_examples=12, deadline=None)
@given(st.integers(1, 120), st.integers(1, 900), st.integers(0, 300), st.integers(0, 4), st.floats(1, 900))
def test_designs_and_their_remarks_are_those_of_the_program(
    amplitude: int, phase1: int, ipi: int, balance: int, frequency: float
) -> None:
    request: Dict[str, Any] = dict(amplitude=amplitude, phase1=phase1, ipi=ipi, frequency=round(frequency, 3), pulses=9)
    request.update(dict(balance=0, phase2=phase1, amplitude2=amplitude) if balance == 0 else dict(balance=balance))
    options = [part for name, value in request.items() for part in (f"--{name}", str(value))]
    printed = subprocess.run(
        [PROGRAM, "design", "--time-step", "20", "--amp-step", "1", *options], capture_output=True, text=True
    )
    (made,) = tv.Stimulator(time_step_us=20, amp_step_ua=1).design(**request)
    assert printed.stdout.splitlines() == ([] if made.text is None else [made.text])
    for sentence in made.remarks + made.errors:
        assert sentence in printed.stderr

"""Random texts and lives of patterns, a line each, and what Python makes of them.

    lives.py make COUNT SEED     prints the lines, with tabs between their parts:
        text   TIME_STEP   AMP_STEP   0, or 1 for a plain pattern   SPECIFICATION STRING
        life   TIME_STEP   AMP_STEP   NAME=VALUE,NAME=VALUE,...     edits of a Lilly pattern; +NAME: a length that may
                                                                    make the period longer
    lives.py play FILE           prints, as the readers in the other languages do, the words of each text, and after
                                 each edit what is in effect and the words: "refused" where there are none
"""

import random
import sys

STEPS = ("33.333332", "20", "10")
AMP_STEPS = ("10", "1")


def length(rng, step):
    return rng.choice((str(rng.randint(0, 40) * int(float(step))), str(rng.randint(0, 3000)), f"{rng.random() * 900:.3f}"))


def text(rng, step, plain):
    count = rng.choice((1, 2, 7)) if plain else rng.choice((5, 5, 5, 5, 4))
    phases = [f"({length(rng, step)},{rng.choice((0, rng.randint(-110, 110)))})" for _ in range(count)]
    if not plain and count == 5 and rng.random() < 0.7:
        amplitude, width = rng.randint(1, 100), length(rng, step)
        phases[1:4] = [f"({width},-{amplitude})", f"({length(rng, step)},0)", f"({width},{amplitude})"]
        phases[0], phases[4] = f"({length(rng, step)},0)", f"({rng.randint(0, 60000)},0)"
    parts = ["T", "".join(phases)]
    parts.append(f"DurationMsec=[{rng.choice(('1', 'inf', '0.5', '1e3', 'x', str(rng.randint(1, 90000))))}]")
    if not plain and rng.random() < 0.5:
        parts.append(f"ChargeBalanceIdx=[{rng.randint(0, 5)}]")
    return ":".join(parts)


def edit(rng):
    name, value = rng.choice((
        ("phase1_us", f"{rng.uniform(0, 900):.3f}"),
        ("ipi_us", f"{rng.uniform(0, 400):.3f}"),
        ("phase2_us", f"{rng.uniform(0, 900):.3f}"),
        ("offset_ms", f"{rng.uniform(0, 9):.4f}"),
        ("phase1_ua", f"{rng.uniform(-1100, 1100):.2f}"),
        ("phase2_ua", f"{rng.uniform(-1100, 1100):.2f}"),
        ("frequency_hz", f"{10 ** rng.uniform(0, 3):.4f}"),
        ("train_ms", f"{10 ** rng.uniform(0, 5):.3f}"),
        ("period_ms", f"{10 ** rng.uniform(-1, 3):.4f}"),
        ("polarity", str(rng.randint(0, 1))),
        ("balance_mode", str(rng.randint(0, 4))),
        ("cycles", str(rng.randint(1, 9000))),
    ))
    extend = name in ("phase1_us", "phase2_us", "ipi_us", "offset_ms") and rng.random() < 0.5
    return f"{'+' * extend}{name}={value}"


def make(count, seed):
    rng = random.Random(seed)
    for _ in range(count):
        step, amp = rng.choice(STEPS), rng.choice(AMP_STEPS)
        if rng.random() < 0.5:
            plain = rng.random() < 0.3
            print("text", step, amp, int(plain), text(rng, step, plain), sep="\t")
        else:
            print("life", step, amp, ",".join(edit(rng) for _ in range(rng.randint(1, 12))), sep="\t")


def play(path):
    import tarvutil as tv
    from tarvutil.patterns import read, write

    names = {"phase1_ua": "amplitude_ua", "phase2_ua": "amplitude2_ua", "balance_mode": "balance", "cycles": "pulses"}

    def words(get):
        try:
            return " ".join(f"{word:08X}" for word in get())
        except tv.NotPlayable:
            return "refused"

    for line in open(path, encoding="utf-8"):
        kind, step, amp, *rest = line.rstrip("\n").split("\t")
        stim = tv.Stimulator(time_step_us=float(step), amp_step_ua=float(amp))
        if kind == "text":
            print(words(lambda: stim.encode(rest[1], plain=rest[0] == "1", lenient=True)))
            continue
        pulse, out = stim.lilly(), []
        for name, value in (item.split("=") for item in rest[0].split(",")):
            extend = name.startswith("+")
            name = names.get(name, name.lstrip("+"))
            if extend:  # set lets the period grow only for a period of the same call
                write(pulse._core, name, float(value), True)
                effect = read(pulse._core, name)
            else:
                effect = pulse.set(exact=False, **{name: float(value)})[name]
            out.append(f"{effect:.9g} " + words(lambda: pulse.words))
        print(";".join(out))


if sys.argv[1] == "make":
    make(int(sys.argv[2]), int(sys.argv[3]))
else:
    play(sys.argv[2])

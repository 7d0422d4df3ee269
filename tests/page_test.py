"""The page in a real browser: scripts/check-web runs this, with TARVUTIL_PROGRAM, TARVUTIL_PAGE and TARVUTIL_SHOTS set."""

import base64
import json
import os
import pathlib
import random
import subprocess
import time

import pytest
from selenium import webdriver
from selenium.webdriver.chrome.service import Service

PROGRAM, PAGE, SHOTS = (os.environ["TARVUTIL_" + name] for name in ("PROGRAM", "PAGE", "SHOTS"))
URL = pathlib.Path(PAGE).resolve().as_uri()
STEPS = {"time-step": "33.333332", "amp-step": "1"}
PULSE = "P:(0,0)(200,-60)(100,0)(400,30)(9300,0):DurationMsec=[1000]:ChargeBalanceIdx=[2]"
MEETING = "A:(0,0)(60,-50)(0,0)(60,50)(7572,0):DurationMsec=[1000]:ChargeBalanceIdx=[1]"
DEVICE = '[stimulator]\ntime-step = 20\namp-step = 1\n[limits]\narea = "2000um2"\nmax-phase-charge = 4\nmax-rate = 500\n'

# What the cases do: on(selector, value, events) changes a control, with the events that a user's change has.
SCRIPT = """
window.q = (selector) => document.querySelector(selector);
window.on = (selector, value, ...events) => {
  const node = q(selector);
  if (node.type === 'checkbox' || node.type === 'radio') node.checked = value; else node.value = value;
  for (const name of events.length ? events : ['input', 'change']) node.dispatchEvent(new Event(name, {bubbles: true}));
};
window.key = (selector, ...keys) => keys.forEach((key) =>
  q(selector).dispatchEvent(new KeyboardEvent('keydown', {key, bubbles: true, cancelable: true})));
window.slider = (field) => `input[type=range][aria-labelledby=field-${field}-label]`;
window.drop = (name, text) => {
  const files = new DataTransfer();
  files.items.add(new File([text], name));
  dispatchEvent(new DragEvent('drop', {dataTransfer: files, cancelable: true}));
};
window.words = () => Array.from(document.querySelectorAll('#words .bits:not(th)'), (cell) => cell.textContent).join(' ');
"""


@pytest.fixture(scope="module")
def browser(tmp_path_factory):
    options = webdriver.ChromeOptions()
    for argument in ("--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--disable-gpu"):
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
    with webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options) as driver:
        driver.downloads = tmp_path_factory.mktemp("saved")
        driver.execute_cdp_cmd("Browser.setDownloadBehavior", {"behavior": "allow", "downloadPath": str(driver.downloads)})
        driver.execute_cdp_cmd("Browser.grantPermissions", {"permissions": ["clipboardReadWrite", "clipboardSanitizedWrite"]})
        driver.execute_cdp_cmd("Page.addScriptToEvaluateOnNewDocument", {"source": SCRIPT})
        size(driver, 1400, 1000)
        yield driver
        # Of everything that ran: no message, and nothing asked of anybody.
        assert [entry["message"] for entry in driver.get_log("browser")] == []
        events = [json.loads(entry["message"])["message"] for entry in driver.get_log("performance")]
        asked = {event["params"]["request"]["url"] for event in events if event["method"] == "Network.requestWillBeSent"}
        assert [url for url in asked if not url.startswith((URL, "data:", f"blob:null/"))] == []


def size(driver, width, height, scheme="light"):
    driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                           {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": width < 500})
    driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [{"name": "prefers-color-scheme", "value": scheme}]})


def opened(driver, text=PULSE, **settings):
    from urllib.parse import urlencode
    driver.get("about:blank")
    driver.get(URL + "#" + urlencode({"text": text, **STEPS, **{key.replace("_", "-"): str(v) for key, v in settings.items()}}))
    until(driver, "q('#version')?.textContent !== ''")
    return driver


def until(driver, condition, seconds=10):
    end = time.monotonic() + seconds
    while not driver.execute_script(f"return Boolean({condition})"):
        assert time.monotonic() < end, condition
        time.sleep(0.02)


# What is done, and what then holds.
CASES = {
    "a field changes the text": ("on('#field-amplitude', 40)", "q('#text').value.includes('(200,-40)(100,0)(400,20)')"),
    "a text changes the fields": (
        "on('#text', 'X:(0,0)(170,-50)(60,0)(170,50)(2933,0):DurationMsec=[inf]:ChargeBalanceIdx=[1]')",
        "q('#field-phase1').value === '170' && q('#field-endless').value === 'yes' && q('#field-balance').value === '1'"),
    "a slider moved there and back leaves no trace": (
        f"on(slider('phase1'), 900, 'input'); on(slider('phase1'), 10, 'input'); on(slider('phase1'), 200)",
        f"q('#text').value === '{PULSE}'"),
    "the polarity turns the pair": ("on('#field-polarity', 'positive')", "q('#text').value.includes('(200,60)(100,0)(400,-30)')"),
    "a name changes the head alone": ("on('#name', 'new: one')", "q('#text').value.startsWith('new  one:(0,0)(200,-60)')"),
    "a length that is repaired is remarked": (
        "on('#field-phase1', 210); on('#field-ipi', 0)", "q('#fields-remarks').textContent.includes(q('#field-ipi').value + ' us')"),
    "whole microseconds at any rate": ("on('#field-frequency', 300)", "q('#text').value.includes('(2633,0):DurationMsec=[333.3]')"),
    "pulses stay when the rate changes": (
        "on('#field-frequency', 50)", "q('#field-pulses').value === '100' && q('#text').value.includes('DurationMsec=[2000]')"),
    "a burst is designed": (
        "on('#field-burst', 3); on('#field-burst-rate', 200)",
        "q('#pattern-kind').value === '1' && q('#text').value.match(/,-60\\)/g).length === 3 && !q('#field-ipi').disabled"),
    "a burst out of reach leaves the text": (
        "on('#field-burst', 3); window.before = q('#text').value; on('#field-burst-rate', 5000)",
        "q('#text').value === before && q('#fields-remarks').textContent !== ''"),
    "a burst of one is a pulse again": (
        "on('#field-burst', 3); on('#field-burst', 1)", "q('#pattern-kind').value === '0' && q('#field-frequency').value === '100'"),
    "a refusal is taken to its advice": (
        f"on('#text', '{MEETING}'); q('#refusal button').click()",
        "q('#refusal').textContent === '' && q('#text').value.includes('(7,0)') && q('#words tbody').rows.length > 4"),
    "a time step in which it plays": (
        f"on('#text', '{MEETING}'); [...document.querySelectorAll('#refusal button')].at(-1).click()",
        "q('#time-step').value === '4' && q('#words tbody').rows.length > 3"),
    "an unusable value is refused and leaves the others": (
        "on('#time-step', -1)", "q('#stimulator-fault').textContent !== '' && q('#time-step').value === '33.333332'"),
    "limits are met and exceeded in words": (
        "on('#limit-max-phase-charge', 10); on('#limit-max-rate', 200)",
        "q('#max-phase-charge').textContent.endsWith('exceeded') && q('#max-rate').textContent.endsWith('met')"
        " && q('#verdict').textContent.startsWith('A limit is exceeded') && q('#findings').textContent.includes('12 nC')"),
    "a density needs an area": ("on('#limit-max-density', 30)", "q('#verdict').textContent.includes('area')"),
    "with an area there is a density": (
        "on('#area', 2000); on('#limit-max-density', 30)",
        "q('#max-density').textContent.includes('600') && q('#charges').textContent.includes('600')"),
    "a device file is dropped": (
        f"drop('lab.toml', {json.dumps(DEVICE)})",
        "q('#time-step').value === '20' && q('#area').value === '2000' && q('#max-phase-charge').textContent.endsWith('exceeded')"),
    "a faulty device file changes nothing": (
        "drop('lab.toml', '[stimulator]\\ntime-step = 20\\nspeed = 3\\n')",
        "q('#stimulator-fault').textContent.includes('lab.toml:3') && q('#time-step').value === '33.333332'"),
    "what is typed is text": (
        "on('#text', '<img src=x onerror=document.title=1>:(<b>1</b>,2):DurationMsec=[1]')",
        "q('#refusal').textContent.includes('<b>') && !q('main b, main img') && document.title.startsWith('TarvUtil')"),
    "keys go from step to step": (
        "key('#curve', 'ArrowRight', 'ArrowRight', 'ArrowRight')",
        "q('#curve').getAttribute('aria-valuetext') === 'time 300 us, asked 30 uA, played 30 uA, phase 3, word 3'"
        " && q('#words tr.lit').dataset.word === '3'"),
    "the pointer reads a value": (
        "const over = q('.u-over'); const box = over.getBoundingClientRect(); over.dispatchEvent(new MouseEvent('mousemove',"
        " {clientX: box.left + 5, clientY: box.top + 9, bubbles: true}))", "q('#value').textContent.includes('-60 uA')"),
    "zoom shows less and the whole all of it": (
        "key('#curve', '+', '+'); q('#later').click(); q('#whole').click();"
        " key('#curve', 'ArrowLeft')", "q('#value').textContent.includes('700 us')"),
    "a stretch is looked at, and an area is in square millimetres": (
        "on('#area', 2000); on('#area-unit', 'mm2'); key('#curve', '+', '+', 'PageDown')",
        "q('#area').value === '0.002' && location.hash.includes('view=')"),
    "a train is drawn": ("on('[value=train]', true, 'change')", "q('#curve').getAttribute('aria-valuemax') === '1000000'"),
    "a train without end has one cycle": (
        "on('#field-endless', 'yes')", "q('[value=train]').disabled && q('#curve').getAttribute('aria-valuemax') === '10000'"),
}


@pytest.mark.parametrize("name", CASES)
def test_feature(browser, name):
    act, holds = CASES[name]
    opened(browser).execute_script(act)
    until(browser, holds)
    # A link to what is seen shows the same.
    if "fault" not in holds:
        time.sleep(0.4)
        pointed = "#value" in holds or "valuetext" in holds  # lights a word: no part of a link
        seen = "[words(), ...Array.from(document.querySelectorAll('input:not([type=file]), select, textarea'), (field) => !field.disabled &&" \
            " field.value + field.checked)" + ("]" if pointed else ", q('canvas')?.toDataURL() ?? null]")
        address, expected = browser.execute_script(f"return [location.href, {seen}]")
        browser.get("about:blank")
        browser.get(address)
        until(browser, "q('#version')?.textContent !== ''")
        until(browser, f"JSON.stringify({seen}) === {json.dumps(json.dumps(expected, ensure_ascii=False, separators=(',', ':')))}")


def program(command, texts, settings):
    options = [part for key, value in settings.items() for part in ("--" + key, value)]
    return subprocess.run([PROGRAM, command, *options, "--file", "-"], input="\n".join(texts), capture_output=True, text=True).stdout


def random_texts(count):
    dice = random.Random(13)
    for i in range(count):
        phases = "".join(f"({dice.choice((0, 33, 60, 100, 200, dice.randrange(3000)))},{dice.choice((0, 0, dice.randrange(-120, 121)))})"
                         for _ in range(5 if i % 2 == 0 else dice.randrange(1, 40)))
        yield "lilly" if i % 2 == 0 else "plain", f"R{i}:{phases}:DurationMsec=[{dice.choice(('inf', 1, 250.5, 1e6))}]"


def lists():
    for path in sorted(pathlib.Path("patterns").glob("*.txt")):
        first, *lines = path.read_text().splitlines()
        given = first.lstrip("# ").replace("--", "").split()
        yield dict(zip(given[::2], given[1::2])), [line for line in lines if line and not line.startswith("#")]
    texts = list(random_texts(500))
    for kind in ("lilly", "plain"):
        yield {**STEPS, "pattern": kind}, [text for of, text in texts if of == kind]


@pytest.mark.parametrize("settings, texts", lists())
def test_words_are_those_of_the_program(browser, settings, texts):
    objects = map(json.loads, program("encode", texts, {**settings, "format": "json"}).splitlines())
    expected = [" ".join(f"0x{word:08X}" for word in one.get("words", [])) or one["errors"] for one in objects]
    opened(browser, texts[0], **settings)
    # The table fills at once where it is seen; it turns pages of 50 words.
    shown = browser.execute_async_script("""
        const [texts, done] = arguments;
        q('#words').scrollIntoView();
        setTimeout(() => done(texts.map((text) => {
          on('#text', text, 'input');
          const errors = Array.from(q('#refusal').querySelectorAll('p'), (p) => p.textContent);
          if (errors.length) return errors;
          const pages = q('#words').parentElement.nextElementSibling;
          const first = words();
          if (pages.hidden) return first;
          pages.lastElementChild.click();
          return first + ' ' + words();
        })), 300);""", texts)
    assert len(expected) == len(texts)
    assert shown == expected


def test_copies_and_files_are_those_of_the_program(browser):
    opened(browser)
    hexadecimal = program("encode", [PULSE], {**STEPS, "format": "hex"}).strip()
    copies = {"text": PULSE, "hex": hexadecimal, "c": "static const uint32_t words[5] = {" + hexadecimal.replace(" ", ", ") + "};",
              "numpy": "words = np.array([" + hexadecimal.replace(" ", ", ") + "], dtype=np.uint32)",
              "matlab": "words = uint32([" + ", ".join(str(int(word, 16)) for word in hexadecimal.split()) + "]);"}
    for what, expected in copies.items():
        browser.execute_script(f"q('#said').textContent = ''; q('[data-copy={what}]').click()")
        until(browser, "q('#said').textContent.startsWith('Copied')")
        assert browser.execute_async_script("navigator.clipboard.readText().then(arguments[0])") == expected
    for what in ("csv", "svg", "png"):
        browser.execute_script(f"q('#said').textContent = ''; q('[data-save={what}]').click()")
        until(browser, "q('#said').textContent.startsWith('Saved')")
    saved = {what: browser.downloads / f"P.{what}" for what in ("csv", "svg", "png")}
    for path in saved.values():
        end = time.monotonic() + 10
        while not path.exists() and time.monotonic() < end: time.sleep(0.05)
    record = program("encode", [PULSE], {**STEPS, "format": "json"})
    assert saved["csv"].read_text() == program("decode", [record], {"format": "csv"})
    drawing = browser.downloads / "program.svg"
    program("plot", [PULSE], {**STEPS, "output": str(drawing)})
    assert saved["svg"].read_text() == drawing.read_text()
    assert saved["png"].read_bytes()[:8] == b"\x89PNG\r\n\x1a\n"


def test_a_change_of_1000_words_is_drawn_within_16_ms(browser):
    """Script, style and layout of one change, by the processor's clock of the page's thread: other programs do not count."""
    opened(browser, pattern="plain", time_step=20, budget=1024)
    browser.execute_cdp_cmd("Performance.enable", {"timeDomain": "threadTicks"})
    change = """
        const done = arguments[0];
        const text = (k) => 'P:' + Array.from({length: 255}, (_, i) => `(40,${10 + (i + k) % 40})(47,0)`).join('') + ':DurationMsec=[1000]';
        (async () => {
          for (let k = 0; k < 20; ++k) {
            on('#text', text(k), 'input');
            await null;
            document.body.getBoundingClientRect();
            await new Promise(requestAnimationFrame);
          }
          done(q('#verdict').textContent);
        })();"""
    assert "996 of 1024 words" in browser.execute_async_script(change)
    before, after = [], []
    for metrics in (before, after):
        if metrics is after: browser.execute_async_script(change)
        metrics += browser.execute_cdp_cmd("Performance.getMetrics", {})["metrics"]
    spent = sum((b["value"] - a["value"]) * 1000 / 20 for a, b in zip(before, after)
                if a["name"] in ("ScriptDuration", "LayoutDuration", "RecalcStyleDuration"))
    print(f"{spent:.1f} ms per change")
    assert spent < 16


@pytest.mark.parametrize("name, width, scheme", [("wide", 1400, "light"), ("narrow", 390, "light"), ("dark", 1400, "dark")])
def test_it_fits_the_screen(browser, name, width, scheme):
    size(browser, width, 1000, scheme)
    opened(browser, max_phase_charge=10, max_rate=200)
    browser.execute_script("key('#curve', 'ArrowRight', 'ArrowRight')")
    until(browser, "document.documentElement.scrollWidth <= innerWidth")
    # What is out of sight is otherwise not drawn.
    browser.execute_script("for (const part of document.querySelectorAll('section')) part.style.contentVisibility = 'visible'")
    time.sleep(0.5)
    height = browser.execute_script("return document.body.scrollHeight")
    picture = browser.execute_cdp_cmd("Page.captureScreenshot", {
        "captureBeyondViewport": True, "clip": {"x": 0, "y": 0, "width": width, "height": height, "scale": 1}})
    pathlib.Path(SHOTS, f"{name}.png").write_bytes(base64.b64decode(picture["data"]))
    size(browser, 1400, 1000)

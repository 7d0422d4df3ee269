// The page: texts, fields and a stimulator in; curves, figures and words out. Every rule is the library's, which runs
// here as WebAssembly through its C interface. Whatever is typed reaches the document as text, never as markup.

const byId = (id) => document.getElementById(id);
const dataOf = (id) => byId(id).textContent;
const C = JSON.parse(dataOf('constants'));  // the enumerators of the C interface
const Protocols = JSON.parse(dataOf('protocols'));

// --- The library ---

const lib = await loadLibrary({ wasmBinary: Uint8Array.from(atob(dataOf('wasm')), (c) => c.charCodeAt(0)) });
const encoder = new TextEncoder();
const decoder = new TextDecoder();
let room = 1 << 18;  // bytes of the buffer in which results come back
let buffer = lib._malloc(room);

function makeRoom(bytes) {
  if (bytes <= room) return;
  lib._free(buffer);
  room = 2 * bytes;
  buffer = lib._malloc(room);
}

const textAt = (size) => decoder.decode(lib.HEAPU8.subarray(buffer, buffer + size));

// The text that call(buffer, capacity) writes; empty when it fails.
function textOf(call) {
  for (;;) {
    const size = call(buffer, room);
    if (size < room) return textAt(Math.max(size, 0));
    makeRoom(size + 1);
  }
}

// The result of call(pointer, length) for a text.
function withText(text, call) {
  const bytes = encoder.encode(text);
  const pointer = lib._malloc(bytes.length + 1);
  lib.HEAPU8.set(bytes, pointer);
  const result = call(pointer, bytes.length);
  lib._free(pointer);
  return result;
}

// A new handle, made by call(reason, capacity); throws the reason.
function newHandle(call) {
  const handle = call(buffer, room);
  if (handle !== 0) return handle;
  throw new Error(textAt(lib.HEAPU8.indexOf(0, buffer) - buffer));
}

const Heaps = new Map([[Float64Array, 'HEAPF64'], [Int32Array, 'HEAP32'], [Uint32Array, 'HEAPU32'], [Float32Array, 'HEAPF32']]);

// The arrays that call(pointers, capacity) writes, of these types; its result is their length.
function arraysOf(types, capacity, call) {
  makeRoom(8 * types.length * capacity);
  const pointers = types.map((_, i) => buffer + 8 * capacity * i);
  const length = Math.max(call(pointers, capacity), 0);
  return types.map((Type, i) => {
    const start = pointers[i] / Type.BYTES_PER_ELEMENT;
    return lib[Heaps.get(Type)].slice(start, start + length);
  });
}

const MaxWords = 1024;

// --- Numbers ---

// To the thousandth, as the program prints.
function rounded(value) {
  if (value === null || value === undefined) return '∞';
  return String(Math.round(value * 1000) / 1000 + 0);
}

// The double with the fewest digits that has the same float.
function shortFloat(value) {
  for (let digits = 1; digits <= 9; ++digits) {
    const short = Number(value.toPrecision(digits));
    if (Math.fround(short) === Math.fround(value)) return short;
  }
  return value;
}

const hex = (word) => '0x' + word.toString(16).toUpperCase().padStart(8, '0');

// --- The stimulator, and the limits that it is asked to keep ---

const stimulator = newHandle((reason, size) => lib._tarvutil_stimulator_new(reason, size));
const Lilly = C.LILLY;
const Plain = C.PLAIN;
const state = { text: Protocols[0].text, design: null, drawn: 'cycle', view: null };  // view: the times to show next
const set = new Set();  // the settings that the address keeps: those given by the user, or by what was opened

function setting(name) {
  withText(name, (key, length) => lib._tarvutil_stimulator_get(stimulator, key, length, buffer));
  return lib.HEAPF64[buffer / 8];
}

// Throws what is wrong with the value; the stimulator then stays as it is.
function setSetting(name, value) {
  const status = withText(name, (key, length) => lib._tarvutil_stimulator_set(stimulator, key, length, value));
  if (status < 0)
    throw new Error(`${name}: ` + textOf((text, size) => lib._tarvutil_stimulator_error(stimulator, text, size)));
  keep(name);
}

const Switches = new Set(['exact', 'whole-cycles']);  // 0 or 1
const unset = (name) => setSetting(name, Switches.has(name) ? 0 : Defaults.get(name) ?? NaN);

function keep(name) {
  const value = setting(name);
  if (Number.isNaN(value) || (Switches.has(name) && value === 0)) set.delete(name);
  else set.add(name);
}

const kind = () => setting('pattern');
const pace = () => [setting('time-step'), setting('amp-step')];

// Sets texts as an address or a protocol has them. Returns what is wrong with those that are not set.
function takeSettings(pairs) {
  const faults = [];
  for (const [name, text] of pairs) {
    const value = { lilly: Lilly, plain: Plain }[text] ?? (text.trim() === '' ? NaN : Number(text));
    try {
      if (Number.isNaN(value)) throw new Error(`${name}: "${text}" is not a number`);
      setSetting(name, value);
    } catch (fault) {
      faults.push(fault.message);
    }
  }
  return faults;
}

// --- The address keeps everything ---

function address() {
  const values = new URLSearchParams({ text: state.text });
  for (const name of set) {
    const value = setting(name);
    values.set(name, name === 'pattern' ? (value === Plain ? 'plain' : 'lilly') : String(Floats.has(name) ? shortFloat(value) : value));
  }
  if (state.design !== null) values.set('design', JSON.stringify(state.design));
  if (state.drawn !== 'cycle') values.set('drawn', state.drawn);
  if (curve.plot !== null && (curve.from > 0 || curve.to < wholeEnd())) values.set('view', `${curve.from},${curve.to}`);
  if (Stimulator.unit.value !== Areas[0][0]) values.set('area-unit', Stimulator.unit.value);
  return '#' + values;
}

const Floats = new Set(['time-step', 'amp-step', 'amp-max']);  // the stimulator keeps them in single precision
let addressTimer = 0;

// Browsers refuse to write the address too often.
function keepAddress() {
  clearTimeout(addressTimer);
  addressTimer = setTimeout(() => history.replaceState(null, '', address()), 150);
}

const Defaults = new Map(['pattern', 'time-step', 'amp-step', 'budget'].map((name) => [name, setting(name)]));

function readAddress() {
  const values = new URLSearchParams(location.hash.slice(1));
  const own = new Set(['text', 'design', 'drawn', 'view', 'area-unit']);
  for (const name of new Set([...set, ...Defaults.keys()])) unset(name);
  if (values.has('text')) state.text = values.get('text');
  else takeSettings(Object.entries(Protocols[0].options));
  state.drawn = values.get('drawn') === 'train' ? 'train' : 'cycle';
  const [from, to] = (values.get('view') ?? '').split(',').map(Number);
  state.view = from >= 0 && from < to ? [from, to] : null;
  curve.hold = '';
  Stimulator.unit.value = values.get('area-unit');
  if (Stimulator.unit.value === '') Stimulator.unit.value = Areas[0][0];
  state.design = null;
  const faults = takeSettings([...values].filter(([name]) => !own.has(name)));
  try {
    // A design belongs to the text that it gives; to another one it says nothing.
    const design = JSON.parse(values.get('design') ?? 'null');
    if (design !== null && designed(design).text === state.text) state.design = design;
  } catch (fault) {
    faults.push(`design: ${fault.message}`);
  }
  byId('stimulator-fault').textContent = faults.join('; ');
}

// --- The report: what the library says of the text ---

let report = { handle: 0 };

function makeReport() {
  if (report.handle !== 0) lib._tarvutil_report_free(report.handle);
  report = { handle: 0, fault: '', figures: null, words: [], asked: null, played: null, axis: null };
  try {
    report.handle = withText(state.text, (text, length) => newHandle((reason, size) =>
      lib._tarvutil_report_new(stimulator, text, length, 0, reason, size)));
  } catch (fault) {
    report.fault = fault.message;
    return;
  }
  report.figures = JSON.parse(reportText(lib._tarvutil_report_json));
  if (!report.figures.encoded) return;
  [report.words] = arraysOf([Uint32Array], MaxWords, ([words], size) => lib._tarvutil_report_words(report.handle, words, size));
  report.asked = askedCourse(report.figures);
  report.played = playedCourse(report.figures);
  report.axis = new TimeAxis();
}

const reportText = (call) => textOf((text, size) => call(report.handle, text, size));

// A course is a cycle of constant currents, each until the next one starts, and the length of the whole train.
function askedCourse(figures) {
  const phases = figures.phases.filter((phase) => phase.asked.length_us > 0);
  return {
    starts: Float64Array.from(phases, (phase) => phase.start_asked_us),
    currents: Float64Array.from(phases, (phase) => phase.asked.amplitude_ua),
    period: figures.period_asked_us,
    train: figures.train_asked_ms * 1000,
  };
}

function playedCourse(figures) {
  const types = [Float64Array, Float64Array, Float64Array, Int32Array, Uint32Array];
  const [starts, durations, currents, words] = arraysOf(types, 2 * MaxWords, ([start, duration, current, index, array], size) => {
    lib.HEAPU32.set(report.words, array / 4);
    return lib._tarvutil_segments(array, report.words.length, ...pace(), start, duration, current, index, size);
  });
  const period = starts.at(-1) + durations.at(-1);
  return { starts, durations, currents, words, period, train: period * (figures.cycles_played ?? Infinity) };
}

// The index of the last start at or before time, -1 before the first.
function indexAt(starts, time) {
  let low = 0;
  let high = starts.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (starts[middle] <= time) low = middle + 1;
    else high = middle;
  }
  return low - 1;
}

// The time axis of a cycle, on which the library shortens long pauses: from time to place and back, linear between knots.
class TimeAxis {
  constructor() {
    [this.times, this.places] = arraysOf([Float64Array, Float64Array], 4 * MaxWords, ([times, places], size) =>
      lib._tarvutil_report_time_axis(report.handle, times, places, size));
  }

  static map(from, to, value) {
    const i = Math.min(Math.max(indexAt(from, value), 0), from.length - 2);
    return to[i] + (value - from[i]) * (to[i + 1] - to[i]) / (from[i + 1] - from[i]);
  }

  at(time) { return TimeAxis.map(this.times, this.places, time); }
  timeAt(place) { return TimeAxis.map(this.places, this.times, place); }

  // The pieces between knots: from, to, and how much they are shortened.
  pieces() {
    return Array.from(this.times.subarray(1), (to, i) => {
      const from = this.times[i];
      return { from, to, scale: (this.places[i + 1] - this.places[i]) / (to - from) };
    });
  }
}

const ToScale = {
  at: (time) => time,
  timeAt: (place) => place,
  pieces: () => [{ from: 0, to: Number.MAX_VALUE, scale: 1 }],
};

// --- The curve ---

const curve = { plot: null, from: 0, to: 1, time: null, word: -1, times: [], hold: '' };

// The report that is drawn: of a text that is refused nothing is, while the plot may still be at work on the one before.
let shown = null;

const inTrain = () => state.drawn === 'train' && shown !== null && !shown.figures.continuous;
const axis = () => inTrain() ? ToScale : shown.axis;
const endOf = (course) => inTrain() ? course.train : course.period;
const wholeEnd = () => Math.max(endOf(shown.asked), endOf(shown.played));

// Calls visit(start, current) for each level of the course from the one that holds at from.
function eachLevel(course, from, to, visit) {
  const end = Math.min(to, endOf(course));
  const count = course.starts.length;
  let cycle = Math.max(Math.floor(from / course.period), 0);
  let i = Math.max(indexAt(course.starts, from - cycle * course.period), 0);
  for (; count > 0; ++cycle, i = 0)
    for (; i < count; ++i) {
      const start = cycle * course.period + course.starts[i];
      if (!(start < end)) return;
      visit(start, course.currents[i]);
    }
}

// Both courses as the columns of a stepped plot: times, asked, played; null where a course has ended.
function exactColumns(from, to) {
  const sides = [shown.asked, shown.played].map((course) => {
    const steps = [];
    eachLevel(course, from, to, (start, current) => steps.push([start, current]));
    steps.push([endOf(course), 0], [endOf(course), null]);
    return steps;
  });
  const times = [...new Set(sides.flatMap((steps) => steps.map(([start]) => start)))].sort((a, b) => a - b);
  const columns = sides.map((steps) => {
    let next = 0;
    let current = null;
    return times.map((time) => {
      let shown = current;
      while (next < steps.length && steps[next][0] <= time) {
        current = steps[next++][1];
        // The last point is drawn to, though nothing follows it.
        shown = current === null ? 0 : current;
      }
      return shown;
    });
  });
  return [times, ...columns];
}

// The least and the largest current in each column of the screen: a train has more cycles than the screen has columns.
function rangeColumns(from, to, count) {
  const width = (to - from) / count;
  const times = Array.from({ length: 2 * count }, (_, i) => from + i * width / 2);
  const columns = [shown.asked, shown.played].map((course) => {
    const lows = new Float64Array(count);
    const highs = new Float64Array(count);
    const include = (column, current) => {
      if (column < 0 || column >= count) return;
      lows[column] = Math.min(lows[column], current);
      highs[column] = Math.max(highs[column], current);
    };
    const ended = Math.ceil((endOf(course) - from) / width);
    if (course.period <= width) {
      for (let i = 0; i < Math.min(ended, count); ++i) course.currents.forEach((current) => include(i, current));
    } else {
      let last = [0, 0];
      const fill = (until) => {
        for (let i = last[0]; i <= Math.min(until, count - 1); ++i) include(i, last[1]);
      };
      eachLevel(course, from, to, (start, current) => {
        const column = Math.max(Math.floor((start - from) / width), 0);
        fill(column);
        last = [column, current];
      });
      fill(Math.min(ended, count) - 1);
    }
    return times.map((_, i) => (i >> 1) >= ended ? null : i % 2 === 0 ? highs[i >> 1] : lows[i >> 1]);
  });
  return [times, ...columns];
}

function columnsOf(from, to) {
  const MostLevels = 4000;
  const cycles = (to - from) / Math.min(shown.asked.period, shown.played.period);
  const levels = Math.max(shown.asked.starts.length, shown.played.starts.length);
  return cycles * levels <= MostLevels ? exactColumns(from, to) : rangeColumns(from, to, 800);
}

const colours = new Map();  // asked for once: each look-up costs as much as a curve

function styleOf(name) {
  if (!colours.has(name)) colours.set(name, getComputedStyle(document.documentElement).getPropertyValue(name).trim());
  return colours.get(name);
}

// 1, 2 or 5 times a power of ten, at least rough.
function roundStep(rough) {
  const power = 10 ** Math.floor(Math.log10(rough));
  return power * [1, 2, 5, 10].find((factor) => factor * power >= rough * (1 - 1e-9));
}

// Times of round numbers, no two labels closer than they are wide; a shortened pause has its own, if it is long.
function timeTicks(plot) {
  const Gap = 70;  // pixels
  const scale = plot.bbox.width / devicePixelRatio / (axis().at(curve.to) - axis().at(curve.from));
  const ticks = [];
  let last = -Infinity;
  for (const piece of axis().pieces()) {
    const from = Math.max(piece.from, curve.from);
    const to = Math.min(piece.to, curve.to);
    const step = roundStep(Gap / (scale * piece.scale));
    if (piece.scale < 1 && (to - from) < 3 * step) continue;
    for (let i = Math.ceil(from / step - 1e-9); i * step <= to; ++i) {
      const place = axis().at(i * step) * scale;
      if (place - last < Gap * 0.8) continue;
      ticks.push(i * step);
      last = place;
    }
  }
  return ticks;
}

const unitOf = (usec) => usec <= 1e4 ? ['us', 1] : usec <= 1e7 ? ['ms', 1e3] : ['s', 1e6];

function timeText(usec) {
  const [unit, size] = unitOf(usec);
  return `${rounded(usec / size)} ${unit}`;
}

// Behind the curves: shortened pauses, with their lengths, and the stretches of the word that is lit.
function drawBehind(plot) {
  const { ctx, bbox } = plot;
  const place = (time) => plot.valToPos(Math.min(Math.max(time, curve.from), curve.to), 'x', true);
  const band = (from, to, colour) => {
    if (to <= curve.from || from >= curve.to) return;
    ctx.fillStyle = colour;
    ctx.fillRect(place(from), bbox.top, Math.max(place(to) - place(from), 2 * devicePixelRatio), bbox.height);
  };
  ctx.save();
  for (const { from, to, scale } of axis().pieces()) {
    if (scale >= 1 - 1e-9 || to <= curve.from || from >= curve.to) continue;
    band(from, to, styleOf('--break'));
    const text = timeText(to - from);
    ctx.fillStyle = styleOf('--faint');
    ctx.font = `${12 * devicePixelRatio}px system-ui, sans-serif`;
    ctx.textAlign = 'center';
    ctx.textBaseline = 'top';
    if (ctx.measureText(text).width < place(to) - place(from))
      ctx.fillText(text, (place(from) + place(to)) / 2, bbox.top + 4 * devicePixelRatio);
  }
  const { starts, words, period } = shown.played;
  for (let i = 0; i < starts.length && !inTrain(); ++i)
    if (words[i] === curve.word) band(starts[i], starts[i + 1] ?? period, styleOf('--lit'));
  ctx.restore();
}

function plotOptions(width, height) {
  const colour = (name) => () => styleOf(name);
  const line = { stroke: colour('--faint'), grid: { stroke: colour('--line'), width: 1 }, ticks: { stroke: colour('--line'), width: 1 } };
  const stepped = uPlot.paths.stepped({ align: 1 });
  return {
    width, height, padding: [8, 26, 0, 0],
    legend: { show: false },
    cursor: { y: false, points: { show: false }, drag: { x: true, y: false, setScale: false }, bind: { dblclick: () => null } },
    select: { show: true },
    scales: {
      x: { time: false, distr: 100, fwd: (time) => axis().at(time), bwd: (place) => axis().timeAt(place), range: () => [curve.from, curve.to] },
      y: { range: () => currentRange() },
    },
    series: [{}, { stroke: colour('--played'), fill: colour('--played-fill'), fillTo: 0, width: 2, paths: stepped, points: { show: false } },
      { stroke: colour('--asked'), width: 1.5, dash: [6, 4], paths: stepped, points: { show: false } }],
    axes: [
      { ...line, splits: timeTicks, filter: (_, ticks) => ticks, values: (_, ticks) => ticks.map((time) => rounded(time / unitOf(curve.to)[1])), size: 46, labelSize: 20, labelGap: 0, label: ' ', font: '12px system-ui', labelFont: '12px system-ui' },
      { ...line, size: 56, label: 'current, uA', labelSize: 20, font: '12px system-ui', labelFont: '12px system-ui' },
    ],
    hooks: { drawClear: [drawBehind], setCursor: [pointed], setSelect: [selected] },
  };
}

function currentRange() {
  const currents = [0, ...shown.asked.currents, ...shown.played.currents];
  const low = Math.min(...currents);
  const high = Math.max(...currents);
  const space = low === high ? 1 : 0.1 * (high - low);
  return [low - space, high + space];
}

// Draws the curves, all of it when what is drawn has changed.
function drawCurve() {
  const box = byId('curve');
  if (!report.figures?.encoded) {
    curve.plot?.destroy();
    curve.plot = null;
    box.replaceChildren(element('p', { className: 'empty' }, 'Nothing is played.'));
    showValue(null);
    return;
  }
  shown = report;
  const hold = `${inTrain()} ${wholeEnd()}`;
  if (hold !== curve.hold) [curve.from, curve.to, curve.hold] = [0, wholeEnd(), hold];
  if (curve.plot === null) {
    box.replaceChildren();
    curve.plot = new uPlot(plotOptions(box.clientWidth, box.clientHeight), [[0], [0], [0]], box);
  }
  if (state.view === null) redraw();
  else show(...state.view.map((time) => axis().at(time)));
  state.view = null;
  box.setAttribute('aria-valuemax', rounded(wholeEnd()));
  showValue(curve.time !== null && curve.time <= wholeEnd() ? curve.time : null);
}

function redraw() {
  const [times, asked, played] = columnsOf(curve.from, curve.to);
  curve.times = times;
  curve.plot.axes[0].label = `time, ${unitOf(curve.to)[0]}`;
  curve.plot.scales.x.min = null;  // places are computed anew: the same times may be shortened elsewhere
  curve.plot.setData([times, played, asked], true);
}

// Shows the times between two places of the axis, both within the whole.
function show(from, to) {
  const end = axis().at(wholeEnd());
  const width = Math.min(Math.max(to - from, end * 1e-6), end);
  const start = Math.min(Math.max(from, 0), end - width);
  [curve.from, curve.to] = [axis().timeAt(start), axis().timeAt(start + width)];
  redraw();
  keepAddress();
}

// Zooms by factor around a time, or moves by a share of what is shown.
function zoom(factor, time = axis().timeAt((axis().at(curve.from) + axis().at(curve.to)) / 2)) {
  const middle = axis().at(time);
  show(middle - (middle - axis().at(curve.from)) * factor, middle + (axis().at(curve.to) - middle) * factor);
}

function move(share) {
  const [from, to] = [axis().at(curve.from), axis().at(curve.to)];
  show(from + share * (to - from), to + share * (to - from));
}

const whole = () => show(0, axis().at(wholeEnd()));

function selected(plot) {
  const { left, width } = plot.select;
  if (width < 4) return;
  const [from, to] = [left, left + width].map((x) => axis().at(plot.posToVal(x, 'x')));
  plot.setSelect({ left: 0, top: 0, width: 0, height: 0 }, false);
  show(from, to);
}

function pointed(plot) {
  showValue(plot.cursor.left >= 0 ? plot.posToVal(plot.cursor.left, 'x') : null);
}

// --- The value at a time ---

function valueAt(time) {
  const current = (course) => {
    if (!(time < endOf(course))) return null;
    const i = indexAt(course.starts, time % course.period);
    return i < 0 ? 0 : course.currents[i];
  };
  const { played, figures } = shown;
  const within = time % played.period;
  const isPlayed = time < endOf(played);
  return {
    time, asked: current(shown.asked), played: current(played),
    phase: isPlayed ? indexAt(figures.phases.map((phase) => phase.start_played_us), within) : -1,
    word: isPlayed ? played.words[indexAt(played.starts, within)] ?? -1 : -1,
  };
}

function showValue(time) {
  curve.time = time;
  const value = time === null || !report.figures?.encoded ? null : valueAt(time);
  const ua = (current) => current === null ? 'ended' : `${rounded(current)} uA`;
  const index = (i) => i < 0 ? '–' : String(i);
  const texts = value === null ? ['–', '–', '–', '–', '–']
    : [`${rounded(value.time)} us`, ua(value.asked), ua(value.played), index(value.phase), index(value.word)];
  const names = ['Time', 'Asked', 'Played', 'Phase', 'Word'];
  const list = byId('value');
  if (list.children.length === 0)
    names.forEach((name) => list.append(element('div', {}, element('dt', {}, name), element('dd'))));
  texts.forEach((text, i) => setText(list.children[i].lastChild, text));
  const slider = byId('curve');
  slider.setAttribute('aria-valuenow', value === null ? 0 : rounded(value.time));
  slider.setAttribute('aria-valuetext', names.map((name, i) => `${name.toLowerCase()} ${texts[i]}`).join(', '));
  light(value === null ? -1 : value.word);
}

// Lights a word in the table, and its stretches in the curve.
function light(word) {
  if (curve.word === word) return;
  curve.word = word;
  for (const row of byId('words').querySelectorAll('tbody tr')) row.classList.toggle('lit', Number(row.dataset.word) === word);
  curve.plot?.redraw(false);
}

// To the next step of the curves in either direction.
function step(direction) {
  const end = wholeEnd();
  const time = curve.time ?? (direction > 0 ? -1 : end);
  // Of times that differ by a rounding only the last is a step.
  const times = curve.times.filter((t, i) => t < end && !(curve.times[i + 1] - t < 1e-3));
  const next = direction > 0 ? times.find((t) => t > time + 1e-3) : times.findLast((t) => t < time - 1e-3);
  if (next === undefined) return;
  const { plot } = curve;
  if (next < curve.from || next > curve.to) move(direction > 0 ? 0.5 : -0.5);
  showValue(next);
  plot.setCursor({ left: plot.valToPos(next, 'x'), top: 0 }, false);
}

function listenToCurve() {
  const box = byId('curve');
  const keys = {
    ArrowRight: () => step(1), ArrowLeft: () => step(-1), '+': () => zoom(0.5, curve.time ?? undefined),
    '-': () => zoom(2, curve.time ?? undefined), 0: whole, PageUp: () => move(-0.5), PageDown: () => move(0.5),
  };
  box.addEventListener('keydown', (event) => {
    const act = keys[event.key];
    if (act === undefined || event.ctrlKey || event.metaKey || event.altKey || curve.plot === null) return;
    event.preventDefault();
    act();
  });
  box.addEventListener('wheel', (event) => {
    if (curve.plot === null || !(event.ctrlKey || event.metaKey)) return;
    event.preventDefault();
    const { left } = curve.plot.cursor;
    zoom(event.deltaY < 0 ? 0.8 : 1.25, left >= 0 ? curve.plot.posToVal(left, 'x') : undefined);
  }, { passive: false });
  box.addEventListener('dblclick', () => curve.plot && whole());
  listenToPan(box);
  const act = (id, call) => byId(id).addEventListener('click', () => curve.plot && call());
  act('earlier', () => move(-0.25));
  act('later', () => move(0.25));
  act('closer', () => zoom(0.5));
  act('farther', () => zoom(2));
  act('whole', whole);
  new ResizeObserver(() => curve.plot?.setSize({ width: box.clientWidth, height: box.clientHeight })).observe(box);
  matchMedia('(prefers-color-scheme: dark)').addEventListener('change', () => {
    colours.clear();
    curve.plot?.redraw();
  });
}

// A drag with Shift moves the view; it must not reach the plot, which would zoom.
function listenToPan(box) {
  let last = null;
  box.addEventListener('mousedown', (event) => {
    if (!event.shiftKey || curve.plot === null) return;
    event.stopPropagation();
    event.preventDefault();
    last = event.clientX;
  }, true);
  addEventListener('mousemove', (event) => {
    if (last === null) return;
    move((last - event.clientX) / curve.plot.over.clientWidth);
    last = event.clientX;
  });
  addEventListener('mouseup', () => { last = null; });
}

// --- Elements and tables ---

function element(name, properties = {}, ...children) {
  const made = Object.assign(document.createElement(name), properties);
  made.append(...children);
  return made;
}

function setText(node, text) {
  if (node.textContent !== text) node.textContent = text;
}

// Rows are kept and only what differs is written: most of a large table stays as it is. A table shows so many rows at a
// time; the buttons below it turn to others.
class Table {
  static Page = 50;

  // Names of columns; those of texts begin with a dot.
  constructor(id, columns, dress = () => {}) {
    this.table = byId(id);
    this.dress = dress;
    this.first = 0;
    this.classes = columns.map((name) => name.startsWith('.') ? 'text' : '');
    const head = element('tr', {}, ...columns.map((name, i) =>
      element('th', { scope: 'col', className: this.classes[i] }, name.replace(/^\./, ''))));
    this.body = element('tbody');
    this.table.append(element('thead', {}, head), this.body);
    this.pages = element('div', { className: 'pages', hidden: true });
    const turn = (by, name) => element('button', { type: 'button', onclick: () => this.turn(by) }, name);
    this.where = element('span');
    this.pages.append(turn(-Table.Page, 'Earlier'), this.where, turn(Table.Page, 'Later'));
    this.table.parentElement.after(this.pages);
    this.seen = true;
    new IntersectionObserver(([entry]) => { this.seen = entry.isIntersecting; }).observe(this.table.closest('section'));
  }

  // makeRows gives an array of texts for each row; the first heads it. A table out of sight is filled a moment later, so
  // that what is seen follows at once.
  fill(makeRows) {
    clearTimeout(this.timer);
    if (this.seen) this.fillNow(makeRows);
    else this.timer = setTimeout(() => this.fillNow(makeRows), 100);
  }

  fillNow(makeRows) {
    const rows = makeRows();
    this.rows = rows;
    this.first = Math.max(Math.min(this.first, rows.length - 1 - (rows.length - 1) % Table.Page), 0);
    this.show();
  }

  turn(by) {
    if (this.first + by < 0 || this.first + by >= this.rows.length) return;
    this.first += by;
    this.show();
  }

  show() {
    const shown = this.rows.slice(this.first, this.first + Table.Page);
    while (this.body.rows.length > shown.length) this.body.deleteRow(-1);
    shown.forEach((texts, i) => {
      let row = this.body.rows[i];
      if (row === undefined) {
        row = element('tr', {}, ...texts.map((_, j) => element(j === 0 ? 'th' : 'td', j === 0 ? { scope: 'row' } : { className: this.classes[j] })));
        this.body.append(row);
      }
      texts.forEach((text, j) => setText(row.cells[j], text));
      this.dress(row, this.first + i);
    });
    this.pages.hidden = this.rows.length <= Table.Page;
    setText(this.where, `${this.first} to ${this.first + shown.length - 1} of ${this.rows.length}`);
  }
}

// --- The fields of a pulse ---

// A choice has options, any other field a number; least and most are those of its slider. key: what tarvutil_design_new
// calls it.
const Fields = [
  { key: 'polarity', label: 'First phase', options: [['negative', 'cathodal (negative)'], ['positive', 'anodal (positive)']] },
  { key: 'amplitude', label: 'Amplitude', unit: 'uA', least: 1, most: 100 },
  { key: 'phase1', label: 'Phase 1', unit: 'us', least: 10, most: 1000, parameter: C.PHASE1_US },
  { key: 'ipi', label: 'Interphase interval', unit: 'us', least: 0, most: 1000, parameter: C.IPI_US },
  { key: 'balance', label: 'Balance', parameter: C.BALANCE_MODE, options: [['1', 'phase 2 mirrors phase 1'], ['2', '1/2 current, 2 × as long'],
    ['3', '1/4 current, 4 × as long'], ['4', '1/8 current, 8 × as long'], ['0', 'off: phase 2 as given']] },
  { key: 'phase2', label: 'Phase 2', unit: 'us', least: 10, most: 1000, parameter: C.PHASE2_US, unbalanced: true },
  { key: 'amplitude2', label: 'Amplitude of phase 2', unit: 'uA', least: 1, most: 100, unbalanced: true },
  { key: 'offset', label: 'Offset', unit: 'ms', least: 0, most: 10, by: 0.1, parameter: C.OFFSET_MS },
  { key: 'frequency', label: 'Rate', unit: 'Hz', least: 1, most: 500, parameter: C.FREQUENCY_HZ },
  { key: 'pulses', label: 'Pulses', unit: '', least: 1, most: 1000, parameter: C.CYCLES },
  { key: 'endless', label: 'Without end', options: [['no', 'no'], ['yes', 'yes, until it is stopped']] },
  { key: 'burst', label: 'Pulses per burst', unit: '', least: 1, most: 20 },
  { key: 'burst-rate', label: 'Rate in a burst', unit: 'Hz', least: 10, most: 1000, bursts: true },
];
// What a slider or a field changes while it is moved: where it passes leaves no trace.
let base = null;

// What use(pattern) returns for a Lilly pattern that has read the text, null when it refuses the text.
function withPattern(text, use) {
  const pattern = newHandle((reason, size) =>
    lib._tarvutil_pattern_new(Lilly, ...pace(), setting('amp-max'), setting('budget'), reason, size));
  const read = withText(text, (pointer, length) => lib._tarvutil_pattern_read(pattern, pointer, length));
  const result = read < 0 ? null : use(pattern);
  lib._tarvutil_pattern_free(pattern);
  return result;
}

function parameter(pattern, which) {
  lib._tarvutil_pattern_get(pattern, which, buffer);
  return shortFloat(lib.HEAPF64[buffer / 8]);
}

// The values of the fields, null when the text is none that they describe.
function fieldValues(text = state.text, design = state.design) {
  if (design !== null) return { burst: 1, ipi: 0, balance: 1, polarity: 'negative', offset: 0, endless: design.train === 'inf' ? 'yes' : 'no', ...design };
  if (kind() !== Lilly) return null;
  return withPattern(text, (pattern) => {
    const values = { burst: 1 };
    for (const field of Fields) if (field.parameter !== undefined) values[field.key] = parameter(pattern, field.parameter);
    values.polarity = parameter(pattern, C.POLARITY) === 0 ? 'negative' : 'positive';
    values.amplitude = Math.abs(parameter(pattern, C.PHASE1_UA));
    values.amplitude2 = Math.abs(parameter(pattern, C.PHASE2_UA));
    values.endless = parameter(pattern, C.CONTINUOUS) === 1 ? 'yes' : 'no';
    return values;
  });
}

// Another head for a text; it plays the same.
function rename(name) {
  const head = name.replace(/[:\r\n]/g, ' ').trim();
  if (head === '') return;
  const { text } = state;
  const before = /^:*[^:]*/.exec(text)[0];
  state.text = head + text.slice(before.length);
  if (state.design !== null) state.design.name = head;
  update();
}

const headOf = (text) => /^:*([^:]*)/.exec(text)[1] || 'Lilly';

// The text of a pattern in the fewest digits.
function textOfPattern(pattern, head) {
  const text = textOf((pointer, size) => lib._tarvutil_pattern_text(pattern, pointer, size));
  return `${head}:` + text.replace(/-?\d+\.\d+/g, (number) => shortFloat(Number(number)));
}

function setParameter(pattern, values, key, value) {
  const put = (which, number) => lib._tarvutil_pattern_set(pattern, which, number, 1, 0);
  const sign = values.polarity === 'negative' ? -1 : 1;
  if (key === 'polarity') {
    // Amplitudes change their signs: C.POLARITY would exchange the phases, with their lengths.
    put(C.PHASE1_UA, value === 'negative' ? -values.amplitude : values.amplitude);
    put(C.PHASE2_UA, value === 'negative' ? values.amplitude2 : -values.amplitude2);
  } else if (key === 'amplitude') put(C.PHASE1_UA, sign * value);
  else if (key === 'amplitude2') put(C.PHASE2_UA, -sign * value);
  else if (key === 'endless') value === 'yes' ? put(C.TRAIN_MS, Infinity) : put(C.CYCLES, 100);
  else put(Fields.find((field) => field.key === key).parameter, Number(value));
}

// Sets one field; the text follows. Lengths of a burst and its pulses are designed, and its text is plain.
function setField(key, value) {
  const from = base ?? { text: state.text, design: state.design };
  const values = fieldValues(from.text, from.design);
  if (values === null) return;
  if (from.design !== null || (key === 'burst' && value > 1)) {
    takeDesign(designOf(values, key, value));
    return;
  }
  state.text = editedText(from.text, values, key, value);
  update(remarksOn(key, value));
}

// Twice through the text: it has whole microseconds, and so another period than the pattern. The pulses are counted in
// that one, and stay when the rate changes.
function editedText(text, values, key, value) {
  const head = headOf(text);
  const edited = withPattern(text, (pattern) => {
    setParameter(pattern, values, key, value);
    return textOfPattern(pattern, head);
  });
  return withPattern(edited, (pattern) => {
    const pulses = key === 'pulses' ? value : values.pulses;
    if (values.endless === 'no' && key !== 'endless') setParameter(pattern, values, 'pulses', pulses);
    return textOfPattern(pattern, head);
  }) ?? edited;
}

// What the pattern makes of the value, where that is another one.
function remarksOn(key, value) {
  const field = Fields.find((one) => one.key === key);
  const got = fieldValues()?.[key];
  const Near = 0.01;  // of a rate, that the words cannot hit exactly
  if (field.options || got === undefined || Math.abs(got - value) <= Near * value) return [];
  return [`${field.label}: ${value} ${field.unit} cannot be set here; it is ${rounded(got)} ${field.unit}.`];
}

// The parameters of a design with one of them changed. A pulse that becomes a burst keeps its rate within it, and the
// pause after a burst is as long as the burst; pulses are whole bursts.
function designOf(values, key, value) {
  const design = { ...values, name: headOf(state.text), [key]: value };
  if (key === 'burst' && values.burst === 1)
    Object.assign(design, { 'burst-rate': values.frequency, frequency: shortFloat(values.frequency / (2 * value)) });
  if (key === 'burst' && value <= 1) design.frequency = values['burst-rate'];
  if (design.burst > 1) design.pulses = Math.max(Math.round(design.pulses / design.burst), 1) * design.burst;
  return design;
}

// What the library makes of a design: its text, or why there is none.
function designed(design) {
  const { endless, ...parameters } = design;
  if (endless === 'yes') Object.assign(parameters, { train: 'inf', pulses: null });
  else parameters.train = null;
  if (Number(parameters.balance) !== 0) Object.assign(parameters, { phase2: null, amplitude2: null });
  if (!(parameters.burst > 1)) Object.assign(parameters, { burst: null, 'burst-rate': null });
  const handle = withText(JSON.stringify(parameters), (text, length) => newHandle((reason, size) =>
    lib._tarvutil_design_new(stimulator, text, length, reason, size)));
  const [made] = JSON.parse(textOf((text, size) => lib._tarvutil_design_json(handle, text, size)));
  lib._tarvutil_design_free(handle);
  return made;
}

function takeDesign(design) {
  let made = {};
  try {
    made = designed(design);
  } catch (fault) {
    made.errors = [fault.message];
  }
  if (made.text === undefined) {
    showFields([...made.errors, ...(made.advice ?? [])]);
    return;
  }
  state.text = made.text;
  state.design = design.burst > 1 ? design : null;
  setSetting('pattern', made.pattern === 'plain' ? Plain : Lilly);
  update(made.changes.filter((change) => change.notable).map((change) => change.text));
}

function makeFields() {
  byId('name').addEventListener('change', (event) => rename(event.target.value));
  for (const field of Fields) {
    const id = `field-${field.key}`;
    const label = element('label', { id: `${id}-label`, htmlFor: id }, field.label);
    const row = element('div', { className: field.options ? 'row' : 'row slid' }, label);
    if (field.options) {
      field.input = element('select', { id }, ...field.options.map(([value, name]) => element('option', { value }, name)));
      field.input.addEventListener('change', () => setField(field.key, field.input.value));
    } else {
      field.input = element('input', { id, type: 'number', step: 'any', min: 0 });
      field.slider = element('input', { type: 'range', min: field.least, max: field.most, step: field.by ?? 1 });
      field.slider.setAttribute('aria-labelledby', label.id);
      field.input.addEventListener('change', () => field.input.value !== '' && setField(field.key, Number(field.input.value)));
      field.slider.addEventListener('input', () => {
        base ??= { text: state.text, design: state.design };
        setField(field.key, Number(field.slider.value));
      });
      field.slider.addEventListener('change', () => { base = null; });
      row.append(field.slider);
    }
    row.append(field.input);
    if (!field.options) row.append(element('span', { className: 'unit' }, field.unit));
    byId('fields').append(row);
  }
}

function showFields(remarks = []) {
  const values = fieldValues();
  byId('name').value = headOf(state.text);
  const list = byId('fields-remarks');
  list.replaceChildren(...remarks.map((text) => element('li', {}, text)));
  setText(byId('fields-help'), values !== null ? ''
    : kind() === Plain ? 'These fields describe a Lilly pattern, and bursts that were made here. The text is another plain pattern.'
      : 'The text is refused: the fields have nothing to show.');
  for (const field of Fields) {
    const off = values === null || (field.unbalanced && Number(values.balance) !== 0) || (field.bursts && values.burst === 1)
      || (field.key === 'pulses' && values.endless === 'yes');
    field.input.disabled = off;
    const value = values === null || (off && !field.unbalanced) || values[field.key] === Infinity ? '' : values[field.key] ?? '';
    if (field.slider) field.slider.disabled = off || value === '';
    if (field.slider && value !== '') {
      field.slider.max = Math.max(field.unit === 'uA' ? setting('amp-max') : field.most, value);
      field.slider.step = field.unit === 'uA' ? shortFloat(setting('amp-step')) : field.by ?? 1;
      field.slider.min = field.unit === 'uA' ? field.slider.step : field.least;
      field.slider.value = value;
    }
    if (!field.options || value !== '') field.input.value = value;
  }
}

// --- The fields of the stimulator and the limits ---

const Stimulator = [
  { name: 'time-step', label: 'Time step', unit: 'us' },
  { name: 'amp-step', label: 'Amplitude step', unit: 'uA' },
  { name: 'amp-max', label: 'Largest amplitude', unit: 'uA' },
  { name: 'budget', label: 'Word budget', unit: 'words' },
];
const Areas = [['um2', 1e8], ['mm2', 1e2], ['cm2', 1]];  // of one square centimetre

function changeSetting(name, value) {
  let fault = '';
  try {
    setSetting(name, value);
  } catch (refused) {
    fault = refused.message;
  }
  changed(fault);
}

// After a change of the stimulator: a design is for one stimulator, and is made anew.
function changed(fault) {
  byId('stimulator-fault').textContent = fault;
  if (state.design !== null) takeDesign(state.design);
  else update();
}

// A device file sets what it gives, and nothing when it has a fault.
async function openDevice(file) {
  const MostBytes = 1e6;
  let fault = file.size > MostBytes ? `${file.name}: larger than a device file` : '';
  if (fault === '') {
    const text = await file.text();
    const status = withText(text, (pointer, length) => withText(file.name, (name, nameLength) =>
      lib._tarvutil_stimulator_read_profile(stimulator, pointer, length, name, nameLength)));
    if (status < 0) fault = textOf((pointer, size) => lib._tarvutil_stimulator_error(stimulator, pointer, size));
  }
  const limits = Array.from(byId('limits').querySelectorAll('tbody tr'), (row) => row.id);
  for (const name of [...Stimulator.map((field) => field.name), 'pattern', 'area', 'exact', ...limits]) keep(name);
  if (setting('amp-max') === 100 * setting('amp-step')) set.delete('amp-max');
  changed(fault);
}

function listenToFiles() {
  const chooser = byId('device');
  chooser.addEventListener('change', async () => {
    if (chooser.files.length > 0) await openDevice(chooser.files[0]);
    chooser.value = '';
  });
  addEventListener('dragover', (event) => event.preventDefault());
  addEventListener('drop', (event) => {
    event.preventDefault();
    const [file] = event.dataTransfer.files;
    if (file) openDevice(file);
  });
}

function numberRow(place, id, label, unit, changed) {
  const input = element('input', { id, type: 'number', step: 'any', min: 0 });
  input.addEventListener('change', () => changed(input.value === '' ? NaN : Number(input.value)));
  place.append(element('div', { className: 'row plain-number' }, element('label', { htmlFor: id }, label), input,
    unit instanceof Node ? unit : element('span', { className: 'unit' }, unit)));
  return input;
}

function makeStimulator() {
  for (const field of Stimulator)
    field.input = numberRow(byId('stimulator'), field.name, field.label, field.unit, (value) => {
      // An empty field is the default.
      changeSetting(field.name, Number.isNaN(value) ? Defaults.get(field.name) ?? NaN : value);
    });
  const unit = element('select', { id: 'area-unit' }, ...Areas.map(([name]) => element('option', { value: name }, name)));
  unit.setAttribute('aria-label', 'Unit of the area');
  unit.addEventListener('change', () => {
    showStimulator();
    keepAddress();
  });
  Stimulator.area = numberRow(byId('stimulator'), 'area', 'Electrode area', unit, (value) =>
    changeSetting('area', value / new Map(Areas).get(unit.value)));
  Stimulator.unit = unit;
  byId('limit-exact').addEventListener('change', (event) => changeSetting('exact', Number(event.target.checked)));
}

function showStimulator() {
  for (const field of Stimulator) field.input.value = shortFloat(setting(field.name));
  const area = setting('area');
  Stimulator.area.value = Number.isNaN(area) ? '' : Number((area * new Map(Areas).get(Stimulator.unit.value)).toPrecision(12));
  byId('pattern-kind').value = kind();
  byId('limit-exact').checked = setting('exact') === 1;
}

// One row for each limit of the library: the input, what is played, and whether the one is within the other. The first
// report makes the rows; without a report they show what is set.
function showLimits() {
  const body = byId('limits').tBodies[0];
  const limits = report.handle !== 0 ? JSON.parse(reportText(lib._tarvutil_report_limits))
    : Array.from(body.rows, ({ id }) => ({ limit: id, value: null, most: set.has(id) ? setting(id) : null, exceeded: false }));
  for (const limit of limits) body.rows[limit.limit] ?? body.append(limitRow(limit));
  for (const { limit, unit, value, most, exceeded } of limits) {
    const { cells } = body.rows[limit];
    const [input] = cells[1].children;
    if (document.activeElement === input) continue;
    if (input.type === 'checkbox') input.checked = most !== null;
    else input.value = most ?? '';
    setText(cells[2], value === null ? '–' : `${rounded(value)} ${unit}`);
    setText(cells[3], most === null ? '' : value === null ? 'not judged' : exceeded ? 'exceeded' : 'met');
    cells[3].className = exceeded ? 'fault' : 'met';
  }
}

function limitRow({ limit, what, unit }) {
  const isSwitch = limit === 'whole-cycles';
  const input = element('input', { type: isSwitch ? 'checkbox' : 'number', step: 'any', min: 0, id: `limit-${limit}` });
  input.setAttribute('aria-label', isSwitch ? 'only whole cycles' : `largest ${what}${unit && `, ${unit}`}`);
  input.addEventListener('change', () =>
    changeSetting(limit, isSwitch ? Number(input.checked) : input.value === '' ? NaN : Number(input.value)));
  return element('tr', { id: limit }, element('th', { scope: 'row' }, what), element('td', {}, input), element('td'), element('td'));
}

// --- What the report says ---

function showVerdict() {
  const { figures, fault } = report;
  const box = byId('verdict');
  const limits = [...set].filter((name) => byId(`limit-${name}`) !== null || name === 'exact').length;
  const bad = fault !== '' || !figures.encoded || figures.exceeded.length > 0;
  let head = limits === 0 ? 'Plays.' : limits === 1 ? 'Plays, within the limit.' : `Plays, within all ${limits} limits.`;
  let rest = '';
  if (fault !== '') {
    [head, rest] = ['Not judged.', fault];
  } else if (!figures.encoded) {
    [head, rest] = ['Refused.', 'There are no words, and nothing can be played.'];
  } else {
    const count = figures.exceeded.length;
    if (count > 0) head = count === 1 ? 'A limit is exceeded.' : `${count} limits are exceeded.`;
    const train = figures.continuous ? 'without end' : `${rounded(figures.cycles_played)} cycles, ${timeText(figures.train_played_ms * 1000)}`;
    rest = `${figures.words} of ${figures.budget_words} words; ${timeText(figures.period_played_us)} per cycle, ${train}`;
  }
  box.classList.toggle('fault-ground', bad);
  if (box.children.length === 0) box.append(element('strong'), element('span'));
  setText(box.children[0], head);
  setText(box.children[1], rest);
}

function showRefusal() {
  const box = byId('refusal');
  const { figures } = report;
  if (figures === null || figures.encoded) {
    box.replaceChildren();
    return;
  }
  box.replaceChildren(...(figures.errors ?? []).map((text) => element('p', {}, text)));
  const offers = element('ul');
  const offer = (act, ...name) => offers.append(element('li', {}, element('button', { type: 'button', onclick: act }, ...name)));
  const { advice } = figures;
  if (advice?.text) offer(() => useText(advice.text), advice.repaired ? 'Use the repaired pattern ' : 'Use the nearest that plays ', element('code', {}, advice.text));
  if (advice?.budget_words) offer(() => changeSetting('budget', advice.budget_words), `Use a budget of ${advice.budget_words} words`);
  for (const step of advice?.steps ?? [])
    if (step.as_asked) offer(() => changeSetting('time-step', step.time_step_us), `Use a time step of ${step.time_step_us} us: plays as asked`);
  if (offers.children.length > 0) box.append(offers);
}

function useText(text) {
  state.text = text;
  state.design = null;
  update();
  byId('text').focus();
}

const Totals = [
  ['Period, us', 'period', '_us'], ['Rate, Hz', 'frequency', '_hz'], ['Cycles', 'cycles', ''], ['Train, ms', 'train', '_ms'],
  ['Positive charge per cycle, nC', 'positive_charge', '_nc'], ['Negative charge per cycle, nC', 'negative_charge', '_nc'],
  ['Net charge per cycle, nC', 'net_charge', '_nc'], ['Net charge of the train, nC', 'train_net_charge', '_nc'],
];
const Currents = [
  ['Largest charge of a phase, nC', 'phase_charge_nc'], ['Largest charge density, uC/cm2', 'density_uc_per_cm2'], ['Largest k', 'k'],
  ['Time with current, %', 'duty_pct'], ['Rate of the nearest pulses, Hz', 'pulse_rate_hz'], ['RMS current, uA', 'rms_ua'],
  ['Direct current, nA', 'direct_current_na'],
];

function figureRows(figures) {
  const totals = Totals.map(([name, key, unit]) => {
    const [asked, played] = [figures[`${key}_asked${unit}`], figures[`${key}_played${unit}`]];
    return [name, rounded(asked), rounded(played), asked === played ? '0' : rounded(played - asked)];
  });
  const currents = Currents.filter(([, key]) => figures.current[key] !== undefined)
    .map(([name, key]) => [name, '', rounded(figures.current[key]), '']);
  const error = ['Largest error of a phase start, us', '', '', rounded(figures.largest_error_us)];
  return [...totals, error, ...currents];
}

const pair = ({ length_us: length, amplitude_ua: amplitude }) => `(${rounded(length)},${rounded(amplitude)})`;

// What changed a phase on its way from the text to the words.
function changesOf(phase) {
  return ['read', 'clamped', 'balanced'].filter((stage) => phase[stage] !== undefined)
    .map((stage) => `${stage} ${pair(phase[stage])}`).join(', ');
}

function phaseRows(figures) {
  return figures.phases.map((phase, i) => [String(i), pair(phase.asked), pair(phase.played), rounded(phase.start_asked_us),
    rounded(phase.start_played_us), rounded(phase.start_error_us), changesOf(phase)]);
}

function chargeRows({ phases_of_current: phases }) {
  return phases.map((phase) => [rounded(phase.start_us), rounded(phase.duration_us), rounded(phase.charge_nc),
    phase.density_uc_per_cm2 === undefined ? '–' : rounded(phase.density_uc_per_cm2), phase.k === undefined ? '–' : rounded(phase.k)]);
}

function wordRows() {
  const { content } = JSON.parse(reportText(lib._tarvutil_report_word_rows));
  const [first, last] = arraysOf([Int32Array, Int32Array], MaxWords, ([from, to], size) =>
    lib._tarvutil_report_word_phases(report.handle, from, to, size));
  return content.map((row, i) => {
    const bits = [String(i), hex(report.words[i]), row.kind];
    if (row.cycles !== undefined) return [...bits, '', '', '', '', `cycles: ${row.cycles}`];
    const flags = [['in_pulse', 'in pulse'], ['flag_14', 'flag 14'], ['after_split', 'current after the split']]
      .filter(([key]) => row[key]).map(([, name]) => name).join(', ');
    return [...bits, first[i] === last[i] ? String(first[i]) : `${first[i]}–${last[i]}`, String(row.duration_steps),
      rounded(row.duration_us), rounded(row.current_ua), [row.split_us > 0 ? `split at ${row.split_us} us` : '', flags].filter(Boolean).join(', ')];
  });
}

const tables = {
  figures: new Table('figures', ['', 'asked', 'played', 'error']),
  phases: new Table('phases', ['phase', 'asked (us, uA)', 'played', 'starts asked, us', 'played', 'error', '.changed']),
  charges: new Table('charges', ['starts, us', 'lasts, us', 'charge, nC', 'density, uC/cm2', 'k']),
  words: new Table('words', ['word', '.bits', '.kind', '.phase', 'steps', 'us', 'uA', '.flags'], (row, i) => {
    row.dataset.word = i;
    row.tabIndex = i === 0 ? 0 : -1;
    row.cells[1].className = 'text bits';
  }),
};

function showTables() {
  const { figures } = report;
  const plays = figures?.encoded === true;
  tables.figures.fill(() => plays ? figureRows(figures) : []);
  tables.phases.fill(() => plays ? phaseRows(figures) : []);
  tables.charges.fill(() => plays ? chargeRows(figures.current) : []);
  tables.words.fill(() => plays ? wordRows() : []);
}

function showFindings() {
  const { figures } = report;
  const Most = 50;
  const found = [...(figures?.exceeded ?? []).map((excess) => ['limit exceeded', excess.text ?? excess.limit, true]),
    ...(figures?.warnings ?? []).map((text) => ['warning', text, true]),
    ...(figures?.deviations ?? []).map(({ cause, text, notable }) => [cause, text, notable])];
  const rows = found.slice(0, Most).map(([cause, text, notable]) =>
    element('li', { className: notable ? 'notable' : '' }, element('span', { className: 'cause' }, cause), text));
  if (found.length > Most) rows.push(element('li', {}, `and ${found.length - Most} more: see the report as JSON`));
  if (rows.length === 0) rows.push(element('li', {}, figures?.encoded ? 'None: it is played as it is asked.' : 'None.'));
  byId('findings').replaceChildren(...rows);
}

function listenToWords() {
  const body = tables.words.body;
  const wordOf = (event) => Number(event.target.closest('tr')?.dataset.word ?? -1);
  body.addEventListener('mouseover', (event) => light(wordOf(event)));
  body.addEventListener('mouseleave', () => light(-1));
  body.addEventListener('focusin', (event) => light(wordOf(event)));
  body.addEventListener('keydown', (event) => {
    const row = event.target.closest('tr');
    const next = { ArrowDown: row?.nextElementSibling, ArrowUp: row?.previousElementSibling }[event.key];
    if (!next) return;
    event.preventDefault();
    row.tabIndex = -1;
    next.tabIndex = 0;
    next.focus();
  });
}

// --- Copy and save ---

const list = (words, text) => Array.from(words, text).join(', ');
const Copies = {
  text: () => state.text,
  hex: () => Array.from(report.words, hex).join(' '),
  c: () => `static const uint32_t words[${report.words.length}] = {${list(report.words, hex)}};`,
  numpy: () => `words = np.array([${list(report.words, hex)}], dtype=np.uint32)`,
  matlab: () => `words = uint32([${list(report.words, String)}]);`,
  json: () => reportText(lib._tarvutil_report_json),
  link: () => location.href.replace(/#.*/s, '') + address(),
};

const say = (text) => setText(byId('said'), text);

async function copy(what) {
  const needsWords = ['hex', 'c', 'numpy', 'matlab'].includes(what);
  if (report.handle === 0 || (needsWords && report.words.length === 0)) {
    say('Nothing to copy: the pattern has no words.');
    return;
  }
  const text = Copies[what]();
  try {
    await navigator.clipboard.writeText(text);
  } catch {
    // Browsers give the clipboard to pages of a safe origin only; the old way needs a selection.
    const box = element('textarea', { value: text, className: 'spoken' });
    document.body.append(box);
    box.select();
    const done = document.execCommand('copy');
    box.remove();
    if (!done) {
      say('The browser does not let this page copy.');
      return;
    }
  }
  say(`Copied: ${text.length > 60 ? text.slice(0, 60) + '…' : text}`);
}

// The stretches of what is drawn, a cycle or the train, as the program prints them.
function csv() {
  const { starts, durations, currents, period } = report.played;
  const stretches = [];
  currents.forEach((current, i) => {
    if (stretches.at(-1)?.current === current) stretches.at(-1).duration += durations[i];
    else stretches.push({ start: starts[i], duration: durations[i], current });
  });
  const lines = ['start_us,duration_us,current_ua\n'];
  const cycles = inTrain() ? report.figures.cycles_played : 1;
  for (let cycle = 0; cycle < cycles; ++cycle)
    for (const { start, duration, current } of stretches) lines.push(`${cycle * period + start},${duration},${current + 0}\n`);
  return lines.join('');
}

const svg = () => textOf((text, size) =>
  lib._tarvutil_report_svg(report.handle, inTrain() ? C.TRAIN : C.CYCLE, text, size));

async function png() {
  const Scale = 2;
  const picture = new Image();
  const url = URL.createObjectURL(new Blob([svg()], { type: 'image/svg+xml' }));
  picture.src = url;
  await picture.decode();
  const canvas = element('canvas', { width: Scale * picture.naturalWidth, height: Scale * picture.naturalHeight });
  canvas.getContext('2d').drawImage(picture, 0, 0, canvas.width, canvas.height);
  URL.revokeObjectURL(url);
  return new Promise((resolve) => { canvas.toBlob(resolve, 'image/png'); });
}

const Saves = {
  csv: () => new Blob([csv()], { type: 'text/csv' }),
  svg: () => new Blob([svg()], { type: 'image/svg+xml' }),
  png,
};

async function save(what) {
  const MostLines = 1e6;
  if (report.played === null) {
    say('Nothing to save: the pattern has no words.');
    return;
  }
  if (what === 'csv' && endOf(report.played) / report.played.period * report.played.starts.length > MostLines) {
    say('The train has more than a million steps: save one cycle.');
    return;
  }
  const url = URL.createObjectURL(await Saves[what]());
  const name = `${headOf(state.text).replace(/[^\w.-]+/g, '-')}.${what}`;
  element('a', { href: url, download: name }).click();
  setTimeout(() => URL.revokeObjectURL(url), 10000);
  say(`Saved: ${name}`);
}

// --- All together ---

// Shows everything anew, after a change of the state. remarks: of the design that made the text.
function update(remarks = []) {
  makeReport();
  const box = byId('text');
  if (box.value !== state.text) box.value = state.text;
  for (const radio of document.getElementsByName('drawn')) {
    const endless = report.figures?.continuous === true;
    radio.checked = radio.value === (endless ? 'cycle' : state.drawn);
    radio.disabled = endless && radio.value === 'train';
  }
  showFields(remarks);
  showStimulator();
  showLimits();
  showVerdict();
  showRefusal();
  showTables();
  showFindings();
  drawCurve();
  keepAddress();
}

function openProtocol(index) {
  const { text, options } = Protocols[index];
  for (const name of [...Defaults.keys(), 'amp-max']) unset(name);
  takeSettings(Object.entries(options));
  useText(text);
}

function listen() {
  byId('text').addEventListener('input', (event) => {
    state.text = event.target.value.replace(/\s*[\r\n]+\s*/g, '');
    state.design = null;
    update();
  });
  byId('pattern-kind').addEventListener('change', (event) => {
    state.design = null;
    changeSetting('pattern', Number(event.target.value));
  });
  const protocol = byId('protocol');
  Protocols.forEach(({ text }, i) => protocol.append(element('option', { value: i }, headOf(text))));
  protocol.addEventListener('change', () => {
    if (protocol.value !== '') openProtocol(Number(protocol.value));
    protocol.value = '';
  });
  for (const radio of document.getElementsByName('drawn'))
    radio.addEventListener('change', () => {
      state.drawn = radio.value;
      update();
    });
  document.addEventListener('click', ({ target }) => {
    if (target.dataset?.copy) copy(target.dataset.copy);
    if (target.dataset?.save) save(target.dataset.save);
  });
  addEventListener('hashchange', () => {
    readAddress();
    update();
  });
}

makeFields();
makeStimulator();
listen();
listenToCurve();
listenToWords();
listenToFiles();
setText(byId('version'), `libTarvUtil ${textOf((text, size) => lib._tarvutil_version(text, size))}`);
makeReport();
showLimits();
readAddress();
update();

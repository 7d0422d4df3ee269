function axes_handle = plot(subject, varargin)
%PLOT  Draws a specification string or a pattern as asked and as played.
%   tarvutil.plot(text) draws one cycle into the current axes; tarvutil.plot(pattern) does so for a pattern of
%   tarvutil.Lilly. Long pauses are shortened: a grey band, with the length of the pause. Below the axes stands what is
%   played otherwise than asked, unless they are a small part of the figure. tarvutil.plot(..., 'train', true) draws the
%   whole train.
%   tarvutil.plot(..., name, value, ...) sets options, see tarvutil.check. h = tarvutil.plot(...) returns the axes.
%
%   Raises tarvutil:notPlayable for a text that has no words, and tarvutil:badArgument for 'train' of a train without end.

  [lenient, options, values] = tarvutil.internal.settings(varargin, {'train'}, true);
  drawn = double(tarvutil.internal.valueOf(values, 'train', false));
  picture = jsondecode(tarvutil_mex('picture', tarvutil.internal.subjectOf(subject), lenient, options{:}, drawn));

  faint = [0.33 0.33 0.33];
  blue = [0 0.447 0.698];
  ax = newplot();
  hold(ax, 'on');
  box = boxOf(ax);
  figure_size = get(ancestor(ax, 'figure'), 'position');
  columns = max(floor(box(3) * figure_size(3) / 8.8), 20);  % of text in the width of the axes
  unlabelled = drawBreaks(ax, picture, columns, faint);
  widths = [2.5 0.7];
  width = widths(picture.fine + 1);
  cap = picture.cap_ua * [-1 1];
  played = line(ax, picture.played(:, 1), picture.played(:, 2), 'color', blue, 'linewidth', width);
  line(ax, picture.played(end, [1 1]), cap, 'color', blue, 'linewidth', width);
  asked = line(ax, picture.asked(:, 1), picture.asked(:, 2), 'linestyle', '--', 'color', [0 0 0], 'linewidth', 1);
  line(ax, picture.asked(end, [1 1]), cap, 'color', [0 0 0], 'linewidth', 1);
  hold(ax, 'off');
  xlim(ax, [0 picture.width]);
  ylim(ax, [picture.low_ua picture.high_ua]);
  [at, label] = ticks(picture.time_ticks);
  set(ax, 'xtick', at, 'xticklabel', label);
  [at, label] = ticks(picture.current_ticks);
  set(ax, 'ytick', at, 'yticklabel', label);
  xlabel(ax, picture.time_axis);
  ylabel(ax, picture.current_axis);
  legend(ax, [played asked], {picture.played_name, picture.asked_name}, 'location', 'southeast');

  notes = {};
  if unlabelled
    notes = {picture.breaks_text};
  end
  if iscell(picture.notes)
    notes = [notes, picture.notes(:)'];
  end
  writeAround(ax, {picture.title, [0 0 0]; picture.subtitle, faint}, notes, columns, box);
  if nargout > 0
    axes_handle = ax;
  end
end

% Where the axes were before room for texts was made, also when they are drawn into again.
function box = boxOf(ax)
  if ~isappdata(ax, 'tarvutil_box')
    setappdata(ax, 'tarvutil_box', get(ax, 'position'));
  end
  box = getappdata(ax, 'tarvutil_box');
end

% Writes heads, rows of text and colour, above the axes, and notes below, and makes room for them, around the box. Each line
% is a text of its own: gnuplot, with which Octave draws files, refuses a text of several lines.
function writeAround(ax, heads, notes, columns, box)
  axis_room = 0.16;  % of the figure, for ticks and their name
  line_room = 0.055;
  above = {};
  colours = {};
  for i = 1:size(heads, 1)
    lines = wrapped(heads{i, 1}, columns);
    above = [above, lines]; %#ok<AGROW>
    colours = [colours, repmat(heads(i, 2), 1, numel(lines))]; %#ok<AGROW>
  end
  lines = cellfun(@(note) wrapped(note, columns), notes, 'UniformOutput', false);
  below = [lines{:}];
  if box(4) < 0.5  % one of several drawings in a figure: the title alone
    above = above(1);
    below = {};
  end
  bottom = box(2) - 0.13 * box(4) + axis_room + line_room * numel(below);
  top = box(2) + 1.09 * box(4) - line_room * (numel(above) + 0.5);
  height = max(top - bottom, box(4) / 4);
  set(ax, 'position', [box(1) + 0.02, bottom, box(3) - 0.03, height]);
  write = @(y, words, colour) text(0, y, words, 'parent', ax, 'units', 'normalized', 'interpreter', 'none', ...
                                   'fontsize', 9, 'color', colour);
  for i = 1:numel(above)
    write(1 + line_room * (numel(above) - i + 0.7) / height, above{i}, colours{i});
  end
  for i = 1:numel(below)
    write(-(axis_room + line_room * (i - 0.5)) / height, below{i}, [0.61 0.24 0]);
  end
end

% The lines of a text, of so many columns at most, divided at blanks where there are some.
function lines = wrapped(words, columns)
  lines = {};
  while numel(words) > columns
    blank = find(words(1:columns + 1) == ' ', 1, 'last');
    if isempty(blank)
      blank = columns;
    end
    lines{end + 1} = strtrim(words(1:blank)); %#ok<AGROW>
    words = words(blank + 1:end);
  end
  lines{end + 1} = words;
end

% A shortened pause is a band with the length of the pause in it. Returns whether one has no room for it.
function unlabelled = drawBreaks(ax, picture, columns, colour)
  breaks = picture.breaks;
  if ~iscell(breaks)
    breaks = num2cell(breaks, 2);
  end
  unlabelled = false;
  low = picture.low_ua;
  high = picture.high_ua;
  for i = 1:numel(breaks)
    [from, to, label] = breaks{i}{:};
    patch(ax, [from to to from], [low low high high], [0.93 0.93 0.93], 'edgecolor', 'none', ...
          'handlevisibility', 'off');
    if isempty(label)
      unlabelled = true;
      continue
    end
    room = (to - from) / picture.width * columns - 1;
    place = {(from + to) / 2, high - 0.08 * (high - low), 'center', 0};
    if numel(label) > room
      place = {(from + to) / 2, high - 0.05 * (high - low), 'right', 90};  % above the legend
    elseif numel(label) + 7 <= room
      label = ['pause, ' label]; %#ok<AGROW>
    end
    text(place{1}, place{2}, label, 'parent', ax, 'horizontalalignment', place{3}, 'rotation', place{4}, ...
         'fontsize', 9, 'color', colour, 'interpreter', 'none');
  end
end

% An array of [at, label], as jsondecode gives it.
function [at, label] = ticks(pairs)
  if ~iscell(pairs)
    pairs = num2cell(pairs, 2);
  end
  at = cellfun(@(pair) pair{1}, pairs);
  label = cellfun(@(pair) pair{2}, pairs, 'UniformOutput', false);
  [at, order] = sort(at(:)');
  label = label(order);
end

function axes_handle = plot(subject, varargin)
%PLOT  Draws a specification string or a pattern as asked and as played.
%   tarvutil.plot(text) draws one cycle, with long pauses shortened, into the current axes; tarvutil.plot(pattern) does so
%   for a pattern of tarvutil.Lilly. tarvutil.plot(..., 'train', true) draws the whole train.
%   tarvutil.plot(..., name, value, ...) sets options, see tarvutil.check. h = tarvutil.plot(...) returns the axes.
%
%   Raises tarvutil:notPlayable for a text that has no words.

  [lenient, options, values] = tarvutil.internal.settings(varargin, {'train'}, true);
  drawn = double(tarvutil.internal.valueOf(values, 'train', 0) ~= 0);
  picture = jsondecode(tarvutil_mex('picture', tarvutil.internal.subjectOf(subject), lenient, options{:}, drawn));
  played = plot(picture.played(:, 1), picture.played(:, 2), 'color', [0 0.447 0.698], 'linewidth', 2.5);
  ax = ancestor(played(1), 'axes');
  hold(ax, 'on');
  plot(ax, picture.asked(:, 1), picture.asked(:, 2), '--', 'color', [0 0 0], 'linewidth', 1);
  hold(ax, 'off');
  xlim(ax, [0 picture.width]);
  ylim(ax, [picture.low_ua picture.high_ua]);
  [at, label] = ticks(picture.time_ticks);
  set(ax, 'xtick', at, 'xticklabel', label);
  [at, label] = ticks(picture.current_ticks);
  set(ax, 'ytick', at, 'yticklabel', label);
  xlabel(ax, picture.time_axis);
  ylabel(ax, picture.current_axis);
  title(ax, {picture.title, picture.subtitle}, 'interpreter', 'none');
  legend(ax, {picture.played_name, picture.asked_name}, 'location', 'southeast');
  if nargout > 0
    axes_handle = ax;
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

function planned = schedule(channels, starts_ms, texts, varargin)
%SCHEDULE  The commands for trains on several channels, each from its own start.
%   planned = tarvutil.schedule(channels, starts_ms, texts) takes a channel (0 to 1000000), a start (whole milliseconds, 0 or
%   above) and a specification string for each train: two arrays of double and a cell array of the same number of elements.
%   It returns a structure: trains, commands in the order in which a host sends them (train, from 0, channel, sent_ms,
%   due_ms, cycles, words as uint32, ...), and total, the largest current of all channels together.
%   planned = tarvutil.schedule(..., 'poll_ms', n) is for a host that polls every n milliseconds, 1 to 1000000, default 1.
%   'until_ms' ends the schedule; a train without end needs it.
%   planned = tarvutil.schedule(..., name, value, ...) sets options, see tarvutil.check; the limit 'max_total_current' (uA)
%   applies to the sum of the magnitudes of all currents.
%
%   Raises tarvutil:notPlayable for a text that has no words, whose words last no time, or that exceeds a limit, for a train
%   that begins while its channel still plays another, and when the total current exceeds its limit.
%
%   Example:
%      text = 'left:(0,0)(200,-40)(60,0)(200,40)(9540,0):DurationMsec=[500]';
%      planned = tarvutil.schedule([0 1], [0 250], {text, text}, 'time_step', 20, 'amp_step', 1);

  [lenient, options, values] = tarvutil.internal.settings(varargin, {'poll_ms', 'until_ms'}, true);
  if ~iscell(texts)
    texts = {texts};
  end
  texts = cellfun(@tarvutil.internal.onlyText, texts, 'UniformOutput', false);
  until_ms = -1;
  if isfield(values, 'until_ms')
    until_ms = values.until_ms;
    if ~(until_ms >= 0 && until_ms < Inf)
      error('tarvutil:badArgument', 'until_ms: %g is not a whole number of 0 or above; a train without end needs one', until_ms);
    end
  end
  planned = jsondecode(tarvutil_mex('schedule', channels, starts_ms, texts, lenient, options{:}, ...
                                    tarvutil.internal.valueOf(values, 'poll_ms', 1), until_ms));
  if ~iscell(planned.commands)
    planned.commands = num2cell(planned.commands);
  end
  for i = 1:numel(planned.commands)
    planned.commands{i}.words = uint32(planned.commands{i}.words(:)');
  end
end

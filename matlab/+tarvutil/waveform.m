function [current_ua, time_s] = waveform(words, rate_hz, varargin)
%WAVEFORM  The current of a word array as samples at a fixed rate.
%   current_ua = tarvutil.waveform(words, rate_hz) returns a column of double: the current averaged over each sample of
%   1/rate_hz seconds from the start of the train, so that the charge is the same. The rest of the last sample counts as 0.
%   [current_ua, time_s] = ... also returns when each sample begins.
%   ... = tarvutil.waveform(words, rate_hz, 'cycles', n) is for n cycles in place of the number that word 0 holds (1 for one
%   cycle); 'time_step' and 'amp_step' are as for tarvutil.decode.
%
%   Raises tarvutil:badArgument when words is not a word array, for a rate that is not finite and above 0, and for
%   more than 100000000 samples.

  [~, ~, values] = tarvutil.internal.settings(varargin, {'time_step', 'amp_step', 'cycles'});
  cycles = tarvutil.internal.valueOf(values, 'cycles', 0);
  if isfield(values, 'cycles') && cycles < 1
    error('tarvutil:badArgument', 'cycles: a number of 1 or above is needed');
  end
  time_step = tarvutil.internal.valueOf(values, 'time_step', 33.333332);
  amp_step = tarvutil.internal.valueOf(values, 'amp_step', 10);
  current_ua = tarvutil_mex('samples', words, time_step, amp_step, cycles, rate_hz);
  time_s = (0:numel(current_ua) - 1)' / rate_hz;
end

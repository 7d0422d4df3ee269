function [cycle, remarks] = decode(words, varargin)
%DECODE  The stretches of constant current that one cycle of a word array plays.
%   cycle = tarvutil.decode(words) returns a structure of columns, one row per stretch, in order and without gaps:
%   start_us, duration_us, current_ua, and word, the index of the word in words (from 1). words is a vector of uint32, word
%   0 first.
%   cycle = tarvutil.decode(words, 'time_step', us, 'amp_step', ua) is for other steps than 33.333332 us and 10 uA: the
%   words do not have them.
%   [cycle, remarks] = tarvutil.decode(...) also returns remarks on words that no pattern of the stimulator has, such as an
%   amplitude above 100 steps: a cell array of sentences.
%
%   Raises tarvutil:badArgument when words is not a word array.

  [~, ~, values] = tarvutil.internal.settings(varargin, {'time_step', 'amp_step'});
  time_step = tarvutil.internal.valueOf(values, 'time_step', 33.333332);
  amp_step = tarvutil.internal.valueOf(values, 'amp_step', 10);
  [numbers, index] = tarvutil_mex('decode', words, time_step, amp_step);
  cycle = struct('start_us', numbers(:, 1), 'duration_us', numbers(:, 2), 'current_ua', numbers(:, 3), ...
                 'word', double(index) + 1);
  if nargout > 1
    decoded = jsondecode(tarvutil_mex('remarks', words, time_step, amp_step));
    remarks = tarvutil.internal.valueOf(decoded, 'warnings', {});
  end
end

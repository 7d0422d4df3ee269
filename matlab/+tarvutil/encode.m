function words = encode(text, varargin)
%ENCODE  Command words of a specification string.
%   words = tarvutil.encode(text) returns the word array as a row of uint32, word 0 with the number of cycles first.
%   words = tarvutil.encode(texts), for a cell array of texts, returns a cell array of the same shape. The first text that
%   is refused ends it.
%   words = tarvutil.encode(..., name, value, ...) sets options, see tarvutil.check.
%
%   Raises tarvutil:notPlayable, with the reason, for a text that has no words.
%
%   Example:
%      words = tarvutil.encode('Pulse:(0,0)(200,-80)(53,0)(200,80)(2880,0):DurationMsec=[1000]', 'amp_step', 1);

  [lenient, options] = tarvutil.internal.settings(varargin);
  if iscell(text)
    words = cellfun(@(one) tarvutil_mex('encode', tarvutil.internal.onlyText(one), lenient, options{:}), text, 'UniformOutput', false);
  else
    words = tarvutil_mex('encode', tarvutil.internal.onlyText(text), lenient, options{:});
  end
end

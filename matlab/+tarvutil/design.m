function designs = design(parameters, varargin)
%DESIGN  Specification strings of biphasic pulses and bursts from their parameters.
%   designs = tarvutil.design(parameters) takes a structure whose fields are the options of the program's design command:
%   amplitude (uA), phase1, ipi (us), frequency (Hz), train (ms, Inf without end) or pulses or on (s), balance (0 to 4),
%   polarity ('negative' or 'positive'), offset (ms), phase2 (us) and amplitude2 (uA) with balance 0, burst (pulses) and
%   burst_rate (Hz), ramp_up, ramp_down (pulses), times, off (s), name. A sweep is a text, 'FROM:TO:STEP'.
%
%   Returns an array of structures, one per text: name, pattern ('lilly' or 'plain', for tarvutil.encode), text, adjusted,
%   changes, remarks (the differences from the request, as sentences), exceeded (limits). A design that nothing plays has no
%   text, but errors.
%   designs = tarvutil.design(parameters, name, value, ...) sets options, see tarvutil.check.
%
%   Raises tarvutil:badArgument for an unknown field, a value outside its range, and fields that do not go together.
%
%   Example:
%      made = tarvutil.design(struct('amplitude', 60, 'phase1', 200, 'ipi', 100, 'balance', 2, ...
%                                    'frequency', 100, 'pulses', 100));
%      words = tarvutil.encode(made.text);

  if ~isstruct(parameters) || numel(parameters) ~= 1
    error('tarvutil:badArgument', 'parameters: one structure is needed');
  end
  names = fieldnames(parameters);
  for i = 1:numel(names)
    value = parameters.(names{i});
    if ischar(value)
      if any(value(:) == 0)
        error('tarvutil:badArgument', '%s: ''%s'' contains a NUL', names{i}, strrep(value(:)', char(0), '\x00'));
      end
    elseif ~(isnumeric(value) && isreal(value) && isscalar(value)) || isnan(value)
      error('tarvutil:badArgument', '%s: a number or a text is needed', names{i});
    elseif value == Inf
      parameters.(names{i}) = 'inf';
    else
      parameters.(names{i}) = sprintf('%.17g', double(value));
    end
  end
  [~, options] = tarvutil.internal.settings(varargin);
  decoded = jsondecode(tarvutil_mex('design', jsonencode(parameters), options{:}));
  designs = decoded(:)';
end

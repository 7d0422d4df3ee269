function values = device(varargin)
%DEVICE  The values of a stimulator and the limits that are in force, and where each comes from.
%   values = tarvutil.device(name, value, ...) takes the options of tarvutil.check, such as 'device', 'patterns' and limits,
%   and returns an array of structures: option (its name), value (a number, logical or text, in the unit of the option), and
%   place: file and line, as in 'lab.toml:3', 'argument', or 'default'.
%
%   Raises tarvutil:badArgument for a faulty file, with its line.
%
%   Example:
%      values = tarvutil.device('patterns', 'patterns/retina.txt');

  [~, options] = tarvutil.internal.settings(varargin);
  decoded = jsondecode(tarvutil_mex('device', options{:}));
  settings = decoded.settings;
  if ~iscell(settings)
    settings = num2cell(settings);
  end
  values = struct('option', {}, 'value', {}, 'place', {});
  for i = 1:numel(settings)
    fields = fieldnames(settings{i});
    key = fields{strncmp(fields, 'value', 5)};
    values(i) = struct('option', settings{i}.option, 'value', settings{i}.(key), 'place', settings{i}.place);
  end
end

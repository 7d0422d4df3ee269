function [lenient, options, values] = settings(pairs, own, others)
% Reads pairs of name and value. own: the names that the caller takes, returned in values; unless others is true, or own is
% not given, there are no others. options: what the gateway takes as a stimulator.

  if nargin < 2, own = {}; end
  if nargin < 3, others = isempty(own); end
  if mod(numel(pairs), 2) ~= 0
    error('tarvutil:badArgument', 'options: pairs of name and value are needed');
  end
  lenient = false;
  device = '';
  path = '';
  names = {};
  numbers = zeros(1, 0);
  values = struct();
  for i = 1:2:numel(pairs)
    name = pairs{i};
    value = pairs{i + 1};
    if ~ischar(name) || isempty(name) || size(name, 1) ~= 1
      error('tarvutil:badArgument', 'options: a name is no row of characters');
    elseif others && strcmp(name, 'device')
      path = tarvutil.internal.onlyText(value);
      device = fileText(path);
    elseif others && strcmp(name, 'lenient')
      lenient = number(name, value) ~= 0;
    elseif any(strcmp(name, own))
      values.(name) = number(name, value);
    elseif ~others
      error('tarvutil:badArgument', 'options: there is no option %s', name);
    elseif strcmp(name, 'pattern')
      if ~any(strcmp(value, {'lilly', 'plain'}))
        error('tarvutil:badArgument', 'pattern: neither lilly nor plain');
      end
      names{end + 1} = name; %#ok<AGROW>
      numbers(end + 1) = strcmp(value, 'plain'); %#ok<AGROW>
    else
      names{end + 1} = strrep(name, '_', '-'); %#ok<AGROW>
      numbers(end + 1) = number(name, value); %#ok<AGROW>
    end
  end
  options = {device, path, names, numbers};
end

function value = number(name, given)
  if ~(isnumeric(given) || islogical(given)) || ~isreal(given) || numel(given) ~= 1
    error('tarvutil:badArgument', '%s: a real number is needed', name);
  end
  value = double(given);
end

function text = fileText(path)
  [file, reason] = fopen(path, 'r');
  if file < 0
    error('tarvutil:badArgument', 'device: %s: %s', path, reason);
  end
  text = fread(file, Inf, 'uint8=>char')';
  fclose(file);
end

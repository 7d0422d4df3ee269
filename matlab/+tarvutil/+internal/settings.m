function [lenient, options, values] = settings(pairs, own, others)
% Reads pairs of name and value. own: the names that the caller takes, returned in values; unless others is true, or own is
% not given, there are no others. options: what the gateway takes as a stimulator. 'lenient' and 'train' are true or false.

  if nargin < 2, own = {}; end
  if nargin < 3, others = isempty(own); end
  if mod(numel(pairs), 2) ~= 0
    error('tarvutil:badArgument', 'options: pairs of name and value are needed');
  end
  lenient = false;
  files = {'', '', '', ''};  % contents and path of the device file, and of the pattern file
  names = {};
  numbers = zeros(1, 0);
  values = struct();
  for i = 1:2:numel(pairs)
    name = pairs{i};
    value = pairs{i + 1};
    if ~ischar(name) || isempty(name) || size(name, 1) ~= 1
      error('tarvutil:badArgument', 'options: the name of an option is a row of characters');
    elseif others && strcmp(name, 'device')
      files(1:2) = {fileText(name, value), value};
    elseif others && strcmp(name, 'patterns')
      files(3:4) = {fileText(name, value), value};
    elseif others && strcmp(name, 'lenient')
      lenient = truth(name, value);
    elseif any(strcmp(name, own)) && strcmp(name, 'train')
      values.train = truth(name, value);
    elseif any(strcmp(name, own))
      values.(name) = number(name, value);
    elseif ~others
      error('tarvutil:badArgument', 'options: %s is not an option', name);
    elseif strcmp(name, 'pattern')
      if ~ischar(value) || ~any(strcmp(value, {'lilly', 'plain'}))
        error('tarvutil:badArgument', 'pattern: "lilly" or "plain" is needed');
      end
      names{end + 1} = name; %#ok<AGROW>
      numbers(end + 1) = strcmp(value, 'plain'); %#ok<AGROW>
    else
      names{end + 1} = strrep(name, '_', '-'); %#ok<AGROW>
      numbers(end + 1) = number(name, value); %#ok<AGROW>
    end
  end
  options = {files{:}, names, numbers};
end

function value = number(name, given)
  if ~(isnumeric(given) || islogical(given)) || ~isreal(given) || numel(given) ~= 1
    error('tarvutil:badArgument', '%s: a real number is needed', name);
  end
  value = double(given);
  if isnan(value)
    error('tarvutil:badArgument', '%s: NaN is not a number', name);
  end
end

function value = truth(name, given)
  value = number(name, given);
  if value ~= 0 && value ~= 1
    error('tarvutil:badArgument', '%s: true or false is needed', name);
  end
end

function text = fileText(name, path)
  if ~ischar(path) || isempty(path) || size(path, 1) ~= 1
    error('tarvutil:badArgument', '%s: the path of a file is needed', name);
  end
  [file, reason] = fopen(path, 'r');
  if file < 0
    error('tarvutil:badArgument', '%s: %s: %s', name, path, reason);
  end
  text = fread(file, Inf, 'uint8=>char')';
  fclose(file);
end

% What the MATLAB and Octave interface makes of the lines of lives.py, whose file is the first argument.
function lives(path)
  file = fopen(path, 'r');
  line = fgetl(file);
  while ischar(line)
    part = strsplit(line, sprintf('\t'));
    step = str2double(part{2});
    amp = str2double(part{3});
    if strcmp(part{1}, 'text')
      kinds = {'lilly', 'plain'};
      out = hex(@() tarvutil.encode(part{5}, 'time_step', step, 'amp_step', amp, ...
                                    'pattern', kinds{str2double(part{4}) + 1}, 'lenient', true));
    else
      pulse = tarvutil.Lilly('time_step', step, 'amp_step', amp);
      edits = strsplit(part{4}, ',');
      for i = 1:numel(edits)
        pair = strsplit(edits{i}, '=');
        extend = pair{1}(1) == '+';
        effect = pulse.set(pair{1}(1 + extend:end), str2double(pair{2}), 'extend', extend);
        edits{i} = sprintf('%.9g %s', effect, hex(@() pulse.words()));
      end
      delete(pulse);
      out = strjoin(edits, ';');
    end
    puts([out "\n"]);
    line = fgetl(file);
  end
  fclose(file);
end

function text = hex(get)
  try
    text = strtrim(sprintf('%08X ', get()));
  catch failure
    if ~strcmp(failure.identifier, 'tarvutil:notPlayable'), rethrow(failure); end
    text = 'refused';
  end
end

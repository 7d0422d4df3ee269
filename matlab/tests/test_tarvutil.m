% Tests what the other languages cannot: what the functions give back, and what they refuse and how.
function test_tarvutil()
  text = 'Pulse:(0,0)(200,-80)(53,0)(200,80)(2880,0):DurationMsec=[1000]';
  words = tarvutil.encode(text, 'amp_step', 1);
  assert(class(words), 'uint32');
  assert(words(1), uint32(300));
  assert(tarvutil.encode({text, text}, 'amp_step', 1), {words, words});

  report = tarvutil.check(text, 'amp_step', 1, 'max_error', 0.5);
  assert(report.encoded);
  assert(numel(report.phases), 5);
  report = tarvutil.check('H:(1,2)');
  assert(~report.encoded);

  % Segments and samples are of one current.
  cycle = tarvutil.decode(words, 'amp_step', 1);
  assert(words(cycle.word(1)), words(2));
  charge = sum(cycle.duration_us .* cycle.current_ua);
  [current, time] = tarvutil.waveform(words, 20000, 'amp_step', 1, 'cycles', 3);
  assert(sum(current) * 50, 3 * charge, 1e-9 * sum(abs(cycle.duration_us .* cycle.current_ua)) + 1e-6);
  assert(time(2), 5e-5, 1e-15);

  [~, remarks] = tarvutil.decode(words, 'amp_step', 1);
  assert(isempty(remarks));
  [~, remarks] = tarvutil.decode(bitor(words, uint32(127)), 'amp_step', 1);
  assert(~isempty(strfind(remarks{1}, '100')));

  planned = tarvutil.schedule([1 2], [0 10], {text, text}, 'amp_step', 1);
  assert(planned.commands{2}.words, words);
  assert([planned.commands{2}.channel planned.commands{2}.due_ms planned.total.largest_total_current_ua], [2 10 160]);

  designs = tarvutil.design(struct('amplitude', '20:60:20', 'phase1', 200, 'frequency', 100, 'train', Inf));
  assert(numel(designs), 3);
  report = tarvutil.check(designs(3).text);
  assert(report.continuous);

  pulse = tarvutil.Lilly('time_step', 20);
  [width, hz] = pulse.set('phase1_us', 205, 'frequency_hz', 50);
  assert([width hz], [pulse.get('phase1_us') pulse.get('frequency_hz')]);
  assert(tarvutil.encode(['A:' pulse.text()], 'time_step', 20), pulse.words());
  twin = pulse;
  delete(pulse);
  other = tarvutil.Lilly();

  device = [tempname() '.toml'];
  file = fopen(device, 'w');
  fputs(file, "[stimulator]\namp-step = 1\n");
  fclose(file);
  assert(tarvutil.encode(text, 'device', device), words);
  file = fopen([device '.txt'], 'w');
  fputs(file, "# --pattern plain --time-step 20\n");
  fclose(file);
  values = tarvutil.device('device', device, 'patterns', [device '.txt'], 'max_error', 2);
  assert({values.place}, {[device '.txt:1'], [device '.txt:1'], [device ':2'], 'default', 'default', 'argument'});
  assert({values([1 2 6]).value}, {'plain', 20, 2});

  bad = 'tarvutil:badArgument';
  endless = strrep(text, '1000', 'inf');
  refused = {
    'tarvutil:badHandle', @() twin.words(), 'freed'
    'tarvutil:badHandle', @() tarvutil.check(pulse), 'freed'
    'tarvutil:badHandle', @() tarvutil_mex('pattern_words', uint64(999)), 'freed'
    'tarvutil:badHandle', @() tarvutil_mex('pattern_words', 1), 'freed'
    'tarvutil:notPlayable', @() tarvutil.encode({text, 'H:(1,2)'}), 'phase'
    'tarvutil:notPlayable', @() tarvutil.encode(text, 'budget', 3), 'budget'
    bad, @() tarvutil.encode(["A" 0 "B"]), 'NUL'
    bad, @() tarvutil.encode(7), 'text'
    bad, @() tarvutil.encode(['ab'; 'cd']), 'text'
    bad, @() tarvutil.encode(text, 'budget', NaN), 'budget'
    bad, @() tarvutil.encode(text, 'time_step', -1), 'time_step is'
    bad, @() tarvutil.encode(text, 'time_step', [1 2]), 'time_step'
    bad, @() tarvutil.encode(text, 'colour', 1), 'colour'
    bad, @() tarvutil.encode(text, 'device', '/no/such'), '/no/such'
    bad, @() tarvutil.encode(text, 'patterns', 5), 'patterns'
    bad, @() tarvutil.encode(text, 'pattern', {}), 'pattern'
    bad, @() tarvutil.encode(text, 'lenient', 2), 'lenient'
    bad, @() tarvutil.check(text, 'max_error', NaN), 'max_error'
    bad, @() tarvutil.check(text, 'max_k', 1), 'max_k needs the area'
    'tarvutil:notPlayable', @() tarvutil.schedule([1 1], [0 5], {text, text}, 'amp_step', 1), 'still plays'
    'tarvutil:notPlayable', @() tarvutil.schedule([1 2], [0 10], {text, text}, 'amp_step', 1, 'max_total_current', 100), '160 uA'
    bad, @() tarvutil.schedule([1 2], 0, {text, text}), 'texts'
    bad, @() tarvutil.schedule(NaN, 0, {text}), 'channels'
    bad, @() tarvutil.schedule(1, -1, {text}), 'starts_ms'
    bad, @() tarvutil.schedule(1, 0, {text}, 'poll_ms', 2^40), 'poll_ms'
    bad, @() tarvutil.schedule(1, 0, {endless}), 'a train without end needs it'
    bad, @() tarvutil.schedule(1, 0, {endless}, 'until_ms', Inf), 'a train without end needs one'
    bad, @() tarvutil.plot(endless, 'train', true), 'train: the train has no end'
    bad, @() tarvutil.plot(text, 'train', 2), 'train'
    bad, @() tarvutil.decode(double(words)), 'uint32'
    bad, @() tarvutil.decode(uint32([])), 'uint32'
    bad, @() tarvutil.decode([words; words]), 'uint32'
    bad, @() tarvutil.decode(words(2:end)), 'words: word 0'
    bad, @() tarvutil.decode([words(1:2) 0]), 'words: word 2'
    bad, @() tarvutil.waveform([words(1:2) 0], 100), 'words: word 2'
    bad, @() tarvutil.decode(words, 'time_step', Inf), 'time_step'
    bad, @() tarvutil.waveform(words, NaN), 'rate'
    bad, @() tarvutil.waveform(words, 2e8), '100000000 samples'
    bad, @() tarvutil.waveform(words, 1e300), '100000000 samples'
    bad, @() tarvutil.waveform(words, 100, 'cycles', 0.5), 'cycles'
    bad, @() tarvutil.design(struct('amplitude', NaN)), 'amplitude'
    bad, @() tarvutil.design(struct('name', ["a" 0 "b"])), 'name: ''a\x00b'''
    bad, @() tarvutil.design(struct('amplitude', {})), 'parameters'
    bad, @() tarvutil.design(struct('amplitude', 1, 'phase1', 200)), 'frequency'
    bad, @() other.set('colour', 1), 'colour'
    bad, @() other.set('phase1_us', NaN), 'phase1_us: not finite'
    bad, @() other.set('ipi_us', -5), 'ipi_us: the length'
    bad, @() other.set('period_ms', -5), 'period_ms: the period'
    bad, @() other.set('cycles', 1e300), 'cycles'
    bad, @() other.set('phase1_us', '200'), 'phase1_us'
    bad, @() other.get(3), 'parameter'
    bad, @() tarvutil_mex(), 'argument'
    bad, @() tarvutil_mex('no such'), 'command'
  };
  for i = 1:size(refused, 1)
    identifier = 'none';
    message = '';
    try
      refused{i, 2}();
    catch failure
      identifier = failure.identifier;
      message = failure.message;
    end
    assert(identifier, refused{i, 1}, sprintf('row %d: %s: %s', i, identifier, message));
    assert(~isempty(strfind(message, refused{i, 3})), sprintf('row %d: %s', i, message));
  end

  figure('visible', 'off');
  axes_handle = tarvutil.plot(text, 'amp_step', 1);
  assert(min(cellfun(@min, get(findobj(axes_handle, 'type', 'line'), 'ydata'))), -80);
  written = get(findobj(axes_handle, 'type', 'text'), 'string');
  for wanted = {text, '2.88 ms', 'as a whole: the start of phase 4 is 452.333 us, not 453'}
    shown = strrep(strjoin(flipud(written(:))', ''), ' ', '');
    assert(~isempty(strfind(shown, strrep(wanted{1}, ' ', ''))), wanted{1});
  end
  close all
  figure('visible', 'off');
  axes_handle = tarvutil.plot(other, 'train', true);
  assert(xlim(axes_handle)(2) > 900);
  picture = [tempname() '.svg'];
  print('-dsvg', picture);
  assert(~isempty(strfind(fileread(picture), 'asked')));
  close all
  printf('%d refusals, and the functions, are as they should be\n', size(refused, 1));
end

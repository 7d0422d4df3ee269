classdef Lilly < handle
%LILLY  A pattern of five phases: offset, phase 1, interphase interval, phase 2, end phase.
%   pulse = tarvutil.Lilly(name, value, ...) makes a pattern for a stimulator, with the options of tarvutil.check except
%   limits and 'lenient'. tarvutil.check and tarvutil.plot accept it in place of a text. It is a handle: a second variable
%   is the same pattern. It is freed with the last variable, or by delete(pulse); later uses raise tarvutil:badHandle.
%
%   Example:
%      pulse = tarvutil.Lilly('time_step', 20);
%      pulse.set('phase1_us', 200, 'phase1_ua', -60, 'frequency_hz', 100, 'cycles', 100);
%      words = pulse.words();
%      delete(pulse);

  properties (SetAccess = private)
    number  % of the pattern in the gateway; 0 when it was freed
  end

  methods
    function this = Lilly(varargin)
      [~, options] = tarvutil.internal.settings(varargin);
      if any(strcmp(options{5}, 'pattern'))
        error('tarvutil:badArgument', 'pattern: tarvutil.Lilly does not accept this option');
      end
      this.number = tarvutil_mex('pattern_new', options{:});
    end

    function delete(this)
      if ~isempty(this.number) && this.number > 0
        tarvutil_mex('pattern_clear', this.number);
        this.number = uint64(0);
      end
    end

    function value = get(this, name)
%   value = pulse.get(name) returns a parameter as a double. Names, with their units: 'phase1_us', 'ipi_us', 'phase2_us',
%   'phase1_ua', 'phase2_ua', 'offset_ms', 'period_ms', 'frequency_hz', 'train_ms' (Inf without end), 'cycles', 'polarity'
%   (0 cathodal first, 1 anodal first), 'balance_mode' (0 to 4), 'amp_step_ua', 'amp_max_ua'; and, to be read only,
%   'time_step_us', 'period_us', 'max_offset_us', 'end_us', 'train_mismatch_ms', 'max_amp_ua', 'min_amp_ua',
%   'phase_count', 'change_count', 'update_count', 'max_words', 'continuous'. Another name raises tarvutil:badArgument.

      value = tarvutil_mex('pattern_get', this.number, name);
    end

    function varargout = set(this, varargin)
%   effect = pulse.set(name, value) changes a parameter, and returns what is then in effect: it differs from value where
%   the pattern rounds, repairs or refuses. [e1, e2, ...] = pulse.set(name1, value1, name2, value2, ...) changes several,
%   in that order. pulse.set(..., 'extend', true) lets the period grow for a length.
%   Raises tarvutil:badArgument for an unknown name and a value that is not finite (a train may be infinite) or outside
%   its range. What stands before that in the list was changed.

      if mod(numel(varargin), 2) ~= 0
        error('tarvutil:badArgument', 'parameters: pairs of name and value are needed');
      end
      names = varargin(1:2:end);
      extend = strcmp(names, 'extend');
      grow = false;
      if any(extend)
        grow = varargin{2 * find(extend, 1, 'last')};
      end
      varargout = {};
      for i = find(~extend)
        varargout{end + 1} = tarvutil_mex('pattern_set', this.number, names{i}, varargin{2 * i}, grow); %#ok<AGROW>
      end
    end

    function words = words(this)
%   words = pulse.words() returns the word array, a row of uint32, word 0 with the number of cycles first. Raises
%   tarvutil:notPlayable when the phases give no words.

      words = tarvutil_mex('pattern_words', this.number);
    end

    function text = text(this)
%   text = pulse.text() returns the phases and the train: ['Name:' pulse.text()] is a specification string.

      text = tarvutil_mex('pattern_text', this.number);
    end
  end
end

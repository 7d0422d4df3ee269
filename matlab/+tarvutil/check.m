function report = check(subject, varargin)
%CHECK  What will be played, compared with what is asked.
%   report = tarvutil.check(text) reports on a specification string, report = tarvutil.check(pattern) on the present state
%   of a pattern of tarvutil.Lilly. The report is a structure with the fields that the manual lists under "The program's
%   output": period_asked_us, period_played_us, phases, deviations, exceeded, ... A refused text has a report, too, with
%   encoded false and the fields refusal, advice and errors.
%   report = tarvutil.check(..., name, value, ...) sets options.
%
%   Options are pairs of name and value, with the names that the program has: 'pattern' ('lilly' or 'plain'), 'time_step'
%   (us, above 0; default 33.333332), 'amp_step' (uA, above 0; default 10), 'amp_max' (uA; default 100 steps), 'budget'
%   (words, 1 to 1024; default 101), a limit such as 'max_error', 'exact' (logical), 'area' (of the electrode, cm2),
%   'device' (path of a device file), 'patterns' (path of a pattern file, whose first line may have options; its other
%   lines are not read), 'lenient' (logical: read irregular texts as the library does; otherwise they are refused).
%   Other options replace the values of the pattern file, and those replace the values of the device file.
%
%   Raises tarvutil:badArgument for an unknown name, a value outside its range, and a faulty file, with its line.
%
%   Example:
%      report = tarvutil.check('Pulse:(0,0)(200,-80)(53,0)(200,80)(2880,0):DurationMsec=[1000]', 'amp_step', 1);
%      report.period_error_us

  [lenient, options] = tarvutil.internal.settings(varargin);
  report = jsondecode(tarvutil_mex('check', tarvutil.internal.subjectOf(subject), lenient, options{:}));
end

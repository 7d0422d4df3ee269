function subject = subjectOf(given)
% A text, or what the gateway knows a pattern by.

  if isa(given, 'tarvutil.Lilly')
    subject = given.number;
  else
    subject = tarvutil.internal.onlyText(given);
  end
end

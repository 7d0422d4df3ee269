function text = onlyText(given)
% A row of characters; MATLAB's strings become one.

  if isa(given, 'string') && isscalar(given)
    given = char(given);
  end
  if ~ischar(given) || (size(given, 1) ~= 1 && ~isempty(given))
    error('tarvutil:badArgument', 'text: a row of characters is needed');
  end
  text = given;
end

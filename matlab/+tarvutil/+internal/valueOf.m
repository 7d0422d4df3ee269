function value = valueOf(values, name, default)
% A field that may be absent.

  value = default;
  if isfield(values, name)
    value = values.(name);
  end
end

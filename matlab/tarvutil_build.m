function tarvutil_build(include_dir, library_dir)
%TARVUTIL_BUILD  Compiles the gateway to the library, once, beside this file.
%   tarvutil_build() finds the header and libtarvutil_c where the compiler looks for them.
%   tarvutil_build(include_dir, library_dir) looks into these folders, also when it runs: library_dir must stay.
%
%   Needs a C compiler that mex or mkoctfile can run. Add this folder to the path, then call tarvutil.encode and the others.

  here = fileparts(mfilename('fullpath'));
  source = fullfile(here, 'tarvutil_mex.c');
  flags = {};
  if nargin > 0
    flags{end + 1} = ['-I' include_dir];
  end
  if nargin > 1
    flags{end + 1} = ['-L' library_dir];
  end
  if exist('OCTAVE_VERSION', 'builtin')
    if nargin > 1
      flags{end + 1} = ['-Wl,-rpath,' library_dir];
    end
    [output, status] = mkoctfile('--mex', '-DTARVUTIL_OCTAVE', flags{:}, '-o', fullfile(here, 'tarvutil_mex.mex'), ...
                                 source, '-ltarvutil_c');
    if status ~= 0
      error('tarvutil:failed', 'tarvutil_mex was not compiled: %s', output);
    end
  else
    if nargin > 1 && isunix()
      flags{end + 1} = ['LDFLAGS=$LDFLAGS -Wl,-rpath,' library_dir];
    end
    mex(flags{:}, '-outdir', here, source, '-ltarvutil_c');
  end
end

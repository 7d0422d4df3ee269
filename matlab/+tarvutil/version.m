function text = version()
%VERSION  The version of the library, '1.0.0'.

  text = tarvutil_mex('version');
end

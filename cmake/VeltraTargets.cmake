# Sources are picked up by folder so that adding a file needs no edit here.
function(veltra_glob out)
  file(GLOB _files CONFIGURE_DEPENDS ${ARGN})
  list(SORT _files)
  set(${out} ${_files} PARENT_SCOPE)
endfunction()

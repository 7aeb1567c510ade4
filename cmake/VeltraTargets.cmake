# Sources are picked up by folder so that adding a file needs no edit here.
function(veltra_glob out)
  file(GLOB _files CONFIGURE_DEPENDS ${ARGN})
  list(SORT _files)
  set(${out} ${_files} PARENT_SCOPE)
endfunction()

# The shipped code (host libraries, solver, plug-in, hostsh) is built with -O3: a
# solve is thousands of small matrix and quaternion operations, and -O3 saves
# about a tenth of it. Tests and sanitized builds keep the build type's flags,
# which compile faster.
function(veltra_product target)
  if(NOT VELTRA_SANITIZE AND CMAKE_BUILD_TYPE MATCHES "^(RelWithDebInfo|Release)$")
    target_compile_options(${target} PRIVATE -O3)
  endif()
endfunction()

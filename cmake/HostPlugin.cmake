# host_add_plugin(NAME SOURCE...): a plug-in for the host, NAME.so, built from
# the sources and linked against the host libraries. loadPlugin NAME finds it
# in HOST_PLUGIN_PATH or in the host's plug-in folder; link further libraries
# and set options on the target NAME as usual.
#
# This file is part of the installed SDK (find_package(HostSDK CONFIG)) and is
# used by the host's own build too, so both make plug-ins the same way.
function(host_add_plugin name)
  if(NOT ARGN)
    message(FATAL_ERROR "host_add_plugin(${name}): no source files given")
  endif()
  add_library(${name} MODULE ${ARGN})
  # The host loads NAME.so by the plug-in's name: no "lib" in front.
  set_target_properties(${name} PROPERTIES PREFIX "" SUFFIX ".so")
  target_compile_features(${name} PRIVATE cxx_std_17)
  target_link_libraries(${name} PRIVATE Host::Anim)
endfunction()

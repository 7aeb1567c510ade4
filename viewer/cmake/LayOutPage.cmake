# Copies the page and the parts of three.js it uses into OUT. The three.js
# add-ons import the bare name 'three'; they are rewritten to the file beside
# them, so the page needs no import map and every asset is a file of ours.
file(MAKE_DIRECTORY ${OUT}/vendor)
file(GLOB _page ${SOURCE}/*)
file(COPY ${_page} DESTINATION ${OUT})
file(COPY ${THREE}/build/three.module.js ${THREE}/build/three.core.js ${THREE}/LICENSE
     DESTINATION ${OUT}/vendor)
foreach(_addon controls/OrbitControls.js controls/TransformControls.js renderers/CSS2DRenderer.js)
  get_filename_component(_name ${_addon} NAME)
  file(READ ${THREE}/examples/jsm/${_addon} _text)
  string(REPLACE "from 'three';" "from './three.module.js';" _text "${_text}")
  file(WRITE ${OUT}/vendor/${_name} "${_text}")
endforeach()
file(TOUCH ${OUT}/index.html ${OUT}/vendor/three.module.js)

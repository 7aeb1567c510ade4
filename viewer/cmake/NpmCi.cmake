# Runs `npm ci` in DIR unless node_modules already holds what package-lock.json
# names (STAMP is a copy of the lock file taken after the last good install).
if(EXISTS ${STAMP})
  file(SHA256 ${DIR}/package-lock.json _lock)
  file(SHA256 ${STAMP} _installed)
  if(_lock STREQUAL _installed)
    file(TOUCH_NOCREATE ${STAMP})
    return()
  endif()
endif()
# puppeteer-core never downloads a browser; the test uses the system's chromium.
set(ENV{PUPPETEER_SKIP_DOWNLOAD} 1)
execute_process(COMMAND ${NPM} ci --no-audit --no-fund --loglevel=error
                WORKING_DIRECTORY ${DIR} RESULT_VARIABLE _status)
if(NOT _status EQUAL 0)
  message(FATAL_ERROR "npm ci failed in ${DIR}")
endif()
file(COPY_FILE ${DIR}/package-lock.json ${STAMP})

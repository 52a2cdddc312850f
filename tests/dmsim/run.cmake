# Runs one dmsim script from the source tree and checks the exit status (0,
# or the N of a "# status: N" line in the script) and, when EXPECTED names a
# file, the output (standard output and error together) against it. A line
# "# options: ..." in the script gives dmsim options.
#   cmake -DDMSIM=... -DSOURCE_DIR=... -DSCRIPT=rel/path.dms [-DEXPECTED=rel/path.out] -P run.cmake
set(want_status 0)
file(STRINGS ${SOURCE_DIR}/${SCRIPT} status_line REGEX "^# status: [0-9]+$")
if(status_line)
  string(REGEX REPLACE "^# status: " "" want_status "${status_line}")
endif()

set(options "")
file(STRINGS ${SOURCE_DIR}/${SCRIPT} options_line REGEX "^# options: .+$")
if(options_line)
  string(REGEX REPLACE "^# options: " "" options "${options_line}")
  separate_arguments(options)
endif()

execute_process(COMMAND ${DMSIM} ${options} ${SCRIPT}
  WORKING_DIRECTORY ${SOURCE_DIR}
  OUTPUT_VARIABLE out ERROR_VARIABLE out RESULT_VARIABLE status)

if(NOT status STREQUAL want_status)
  message(FATAL_ERROR "${SCRIPT}: dmsim exited with ${status}, expected ${want_status}; it printed:\n${out}")
endif()
if(EXPECTED)
  if("$ENV{DMSIM_UPDATE}" STREQUAL "1")
    file(WRITE ${SOURCE_DIR}/${EXPECTED} "${out}")
    message(STATUS "rewrote ${EXPECTED}")
    return()
  endif()
  file(READ ${SOURCE_DIR}/${EXPECTED} want)
  if(NOT out STREQUAL want)
    get_filename_component(name ${EXPECTED} NAME)
    set(actual ${CMAKE_CURRENT_BINARY_DIR}/${name}.actual)
    file(WRITE ${actual} "${out}")
    execute_process(COMMAND diff -u ${SOURCE_DIR}/${EXPECTED} ${actual} OUTPUT_VARIABLE diff)
    message(FATAL_ERROR "${SCRIPT}: the output differs from ${EXPECTED} (actual: ${actual}):\n${diff}")
  endif()
endif()

# dmsim's tests, scripts run by the program (expect_fail.dms shows that
# expectations compare values and report what fails): golden outputs
# (tests/dmsim/NAME.dms beside NAME.out), expect-based scenarios
# (tests/dmsim/NAME.dms alone), the example scripts, and the check that
# `call` reaches every exported function. Set DMSIM_UPDATE=1 in the
# environment to rewrite the golden outputs from what dmsim prints.
set(DMSIM_TESTS ${CMAKE_CURRENT_SOURCE_DIR}/dmsim)

if(NOT TARGET dmsim)
  return()
endif()

# Runs SCRIPT (a path relative to the source tree) and checks dmsim's exit
# status, and its output against EXPECTED when given.
function(dmsim_script_test name script)
  cmake_parse_arguments(T "" "EXPECTED" "" ${ARGN})
  add_test(NAME dmsim.${name}
    COMMAND ${CMAKE_COMMAND} -DDMSIM=$<TARGET_FILE:dmsim> -DSOURCE_DIR=${PROJECT_SOURCE_DIR}
      -DSCRIPT=${script} -DEXPECTED=${T_EXPECTED} -P ${DMSIM_TESTS}/run.cmake)
  set_tests_properties(dmsim.${name} PROPERTIES LABELS dmsim TIMEOUT 600)
endfunction()

file(GLOB DMSIM_SCRIPTS CONFIGURE_DEPENDS ${DMSIM_TESTS}/*.dms)
foreach(script ${DMSIM_SCRIPTS})
  get_filename_component(name ${script} NAME_WE)
  file(RELATIVE_PATH rel ${PROJECT_SOURCE_DIR} ${script})
  if(EXISTS ${DMSIM_TESTS}/${name}.out)
    dmsim_script_test(${name} ${rel} EXPECTED tests/dmsim/${name}.out)
  else()
    dmsim_script_test(${name} ${rel})
  endif()
endforeach()

# Every example script runs to the end; the demo's output is golden too.
file(GLOB DMSIM_EXAMPLES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/examples/*.dms)
foreach(script ${DMSIM_EXAMPLES})
  get_filename_component(name ${script} NAME_WE)
  dmsim_script_test(example.${name} examples/${name}.dms)
endforeach()
dmsim_script_test(demo_output examples/demo.dms EXPECTED tests/dmsim/demo.out)

# How dmsim starts: with no script and no terminal it runs the demo; --help
# documents the language; --lib names the library to load.
add_test(NAME dmsim.no_script_runs_the_demo COMMAND sh -c "$<TARGET_FILE:dmsim> < /dev/null"
  WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
set_tests_properties(dmsim.no_script_runs_the_demo PROPERTIES LABELS dmsim TIMEOUT 120
  PASS_REGULAR_EXPRESSION "== 13\\. An interface index only the kernel driver knows")
add_test(NAME dmsim.help COMMAND dmsim --help)
set_tests_properties(dmsim.help PROPERTIES LABELS dmsim TIMEOUT 60
  PASS_REGULAR_EXPRESSION "usage: dmsim .*expect dm_get_unit_port_from_phyid")
add_test(NAME dmsim.lib_option COMMAND dmsim --lib $<TARGET_FILE:dm_lib_pd> tests/dmsim/calls.dms
  WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
add_test(NAME dmsim.lib_missing COMMAND dmsim --lib /nonexistent/libdm_lib_pd.so tests/dmsim/calls.dms
  WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
set_tests_properties(dmsim.lib_missing PROPERTIES
  PASS_REGULAR_EXPRESSION "^dmsim: cannot load /nonexistent/libdm_lib_pd.so: ")
set_tests_properties(dmsim.lib_option dmsim.lib_missing PROPERTIES LABELS dmsim TIMEOUT 60)

# --json: the demo and every scenario give JSON Lines a script can read.
find_package(Python3 COMPONENTS Interpreter QUIET)
if(Python3_Interpreter_FOUND)
  add_test(NAME dmsim.json_lines
    COMMAND ${Python3_EXECUTABLE} ${DMSIM_TESTS}/json_lines.py $<TARGET_FILE:dmsim>
      ${PROJECT_SOURCE_DIR})
  set_tests_properties(dmsim.json_lines PROPERTIES LABELS dmsim TIMEOUT 600)
endif()
add_test(NAME dmsim.version COMMAND dmsim --version)
set_tests_properties(dmsim.version PROPERTIES LABELS dmsim TIMEOUT 60
  PASS_REGULAR_EXPRESSION "^dmsim [0-9.]+\nlibrary .*: soname libdm_lib_pd\\.so\\.[0-9]+, version [0-9.]+\n")

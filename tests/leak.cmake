# The leak check: the simulator runs the demo and every subsystem's scenario
# script (every message kind, every query family, the shows and events) and
# exits. What it leaves allocated must be only the tables that live as long
# as the process (listed in docs/decisions.md); a block nobody can reach any
# more is a leak and fails the test.
#   AddressSanitizer build: LeakSanitizer checks at exit.
#   build without sanitizers: valgrind, when installed.
#   ThreadSanitizer build: not run (neither checker works beside it).
if(NOT TARGET dmsim)
  return()
endif()
set(DM_LEAK_SCRIPTS ${PROJECT_SOURCE_DIR}/examples/demo.dms)
foreach(s chipid config mgmt port_table preinst_fc rpc_kdev split)
  list(APPEND DM_LEAK_SCRIPTS ${CMAKE_CURRENT_SOURCE_DIR}/dmsim/${s}.dms)
endforeach()

if(DM_SANITIZE MATCHES "address")
  set(DM_LEAK_RUNNER "")
  set(DM_LEAK_ENV "ASAN_OPTIONS=detect_leaks=1:exitcode=23")
elseif(NOT DM_SANITIZE)
  find_program(DM_VALGRIND valgrind)
  if(NOT DM_VALGRIND)
    return()
  endif()
  set(DM_LEAK_RUNNER ${DM_VALGRIND} --quiet --leak-check=full --show-leak-kinds=definite,indirect
      --errors-for-leak-kinds=definite,indirect --error-exitcode=23)
  set(DM_LEAK_ENV "")
else()
  return()
endif()
foreach(script ${DM_LEAK_SCRIPTS})
  get_filename_component(name ${script} NAME_WE)
  add_test(NAME leak.${name} COMMAND ${DM_LEAK_RUNNER} $<TARGET_FILE:dmsim> ${script})
  set_tests_properties(leak.${name} PROPERTIES LABELS "unit;leak" TIMEOUT 300 ENVIRONMENT "${DM_LEAK_ENV}")
endforeach()

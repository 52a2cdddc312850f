# The leak check: tests/leak_scenario.cpp runs a full life of the library
# and exits. What it leaves allocated must be only the tables that live as
# long as the process (listed in docs/decisions.md); a block nobody can reach
# any more is a leak and fails the test.
#   AddressSanitizer build: LeakSanitizer checks at exit.
#   build without sanitizers: valgrind, when installed.
#   ThreadSanitizer build: not run (neither checker works beside it).
add_executable(leak_scenario ${CMAKE_CURRENT_SOURCE_DIR}/leak_scenario.cpp)
target_link_libraries(leak_scenario PRIVATE dm_host dm_lib_pd)
target_link_options(leak_scenario PRIVATE -Wl,--allow-shlib-undefined)

if(DM_SANITIZE MATCHES "address")
  add_test(NAME leak.scenario COMMAND leak_scenario)
  set_tests_properties(leak.scenario PROPERTIES LABELS "unit;leak" TIMEOUT 120
    ENVIRONMENT "ASAN_OPTIONS=detect_leaks=1:exitcode=23")
elseif(NOT DM_SANITIZE)
  find_program(DM_VALGRIND valgrind)
  if(DM_VALGRIND)
    add_test(NAME leak.scenario
      COMMAND ${DM_VALGRIND} --quiet --leak-check=full --show-leak-kinds=definite,indirect
              --errors-for-leak-kinds=definite,indirect --error-exitcode=23
              $<TARGET_FILE:leak_scenario>)
    set_tests_properties(leak.scenario PROPERTIES LABELS "unit;leak" TIMEOUT 300)
  endif()
endif()

# Applications built against an installed tree. consumer.install installs
# this build into DIR/consumer/prefix and checks the layout; then the
# programs of tests/consumer/ are built there once through the CMake package
# (find_package) and once through pkg-config, and run under the host
# stand-in. In sanitizer builds the programs are built with the same
# sanitizers, as a program loading an instrumented library must be.
set(DM_CONSUMER_DIR ${CMAKE_BINARY_DIR}/consumer)
set(DM_CONSUMER_PREFIX ${DM_CONSUMER_DIR}/prefix)
set(DM_CONSUMER_SRC ${CMAKE_CURRENT_SOURCE_DIR}/consumer)
set(DM_CONSUMER_FLAGS "")
if(DM_SANITIZE)
  set(DM_CONSUMER_FLAGS "-fsanitize=${DM_SANITIZE} -fno-omit-frame-pointer")
endif()

add_test(NAME consumer.install
  COMMAND ${CMAKE_COMMAND} -DBUILD_DIR=${CMAKE_BINARY_DIR} -DSOURCE_DIR=${PROJECT_SOURCE_DIR}
    -DPREFIX=${DM_CONSUMER_PREFIX} -DVERSION=${PROJECT_VERSION}
    -P ${DM_CONSUMER_SRC}/install-check.cmake)
set_tests_properties(consumer.install PROPERTIES FIXTURES_SETUP dm_installed)

add_test(NAME consumer.find_package
  COMMAND ${CMAKE_CTEST_COMMAND} --build-and-test ${DM_CONSUMER_SRC} ${DM_CONSUMER_DIR}/cmake
    --build-generator ${CMAKE_GENERATOR}
    --build-makeprogram ${CMAKE_MAKE_PROGRAM}
    --build-options
      -DCMAKE_PREFIX_PATH=${DM_CONSUMER_PREFIX}
      -DCMAKE_C_COMPILER=${CMAKE_C_COMPILER}
      -DCMAKE_CXX_COMPILER=${CMAKE_CXX_COMPILER}
      -DCMAKE_C_FLAGS=${DM_CONSUMER_FLAGS}
      -DCMAKE_CXX_FLAGS=${DM_CONSUMER_FLAGS}
    --test-command ${CMAKE_CTEST_COMMAND} --output-on-failure)

add_test(NAME consumer.pkg_config
  COMMAND ${DM_CONSUMER_SRC}/pkg-config-build.sh ${DM_CONSUMER_PREFIX} ${DM_CONSUMER_SRC}
    ${DM_CONSUMER_DIR}/pkg-config)
set_tests_properties(consumer.pkg_config PROPERTIES ENVIRONMENT
  "CC=${CMAKE_C_COMPILER};CXX=${CMAKE_CXX_COMPILER};EXTRA_FLAGS=${DM_CONSUMER_FLAGS}")

set_tests_properties(consumer.find_package consumer.pkg_config PROPERTIES
  FIXTURES_REQUIRED dm_installed LABELS consumer TIMEOUT 300)
set_tests_properties(consumer.install PROPERTIES LABELS consumer TIMEOUT 120)

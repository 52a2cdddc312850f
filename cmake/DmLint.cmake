# Target `lint`: clang-format (check only), clang-tidy and cppcheck over the
# sources, driven by tools/lint, which keeps its clang configuration of the
# tree in DIR/lint.
add_custom_target(lint
  COMMAND ${PROJECT_SOURCE_DIR}/tools/lint ${CMAKE_BINARY_DIR}/lint
  WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
  USES_TERMINAL
  VERBATIM)

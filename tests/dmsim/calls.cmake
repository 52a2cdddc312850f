# The call table of dmsim names exactly the functions the library exports:
# `dmsim --calls` against abi/dm_lib_pd.symbols. (That each one is found in
# the built library is checked by the calls.dms scenario.)
#   cmake -DDMSIM=... -DSYMBOLS=... -P calls.cmake
execute_process(COMMAND ${DMSIM} --calls OUTPUT_VARIABLE out RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "dmsim --calls exited with ${status}")
endif()
string(REGEX MATCHALL "[a-z_0-9]+" calls "${out}")
file(STRINGS ${SYMBOLS} symbols REGEX "^[a-z_0-9]+$")
set(missing ${symbols})
list(REMOVE_ITEM missing ${calls})
set(extra ${calls})
list(REMOVE_ITEM extra ${symbols})
if(missing OR extra)
  message(FATAL_ERROR "the call table differs from the exported functions;\n"
                      "not callable: ${missing}\nnot exported: ${extra}")
endif()
list(LENGTH calls n)
message(STATUS "dmsim calls all ${n} exported functions")

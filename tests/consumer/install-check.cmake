# Installs a build tree into a fresh prefix and checks the installed layout.
#   cmake -DBUILD_DIR=... -DSOURCE_DIR=... -DPREFIX=... -DVERSION=1.2.3 -P install-check.cmake
file(REMOVE_RECURSE ${PREFIX})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${PREFIX}
  RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "cmake --install failed (${rc})")
endif()

string(REGEX MATCH "^[0-9]+" major ${VERSION})
set(expected
  lib/libdm_lib_pd.so.${VERSION}
  lib/libdm_lib_pd.so.${major}
  lib/libdm_lib_pd.so
  lib/libdm_host.so.${VERSION}
  lib/libdm_host.so
  include/dm_lib_pd/dm_lib_pd.h
  include/dm_lib_pd/dm_types.h
  include/dm_lib_pd/dm_ids.h
  include/dm_lib_pd/wire/dp_common.h
  include/dm_lib_pd/wire/dp_pd_common.h
  include/dm_lib_pd/wire/addr_common.h
  include/dm_lib_pd/wire/dm_host.h
  include/dm_lib_pd/wire/dm_tree.h
  include/dm_lib_pd/host/dm_host_ctl.h
  lib/cmake/dm_lib_pd/dm_lib_pdConfig.cmake
  lib/cmake/dm_lib_pd/dm_lib_pdConfigVersion.cmake
  lib/cmake/dm_lib_pd/dm_lib_pdTargets.cmake
  lib/cmake/dm_lib_pd/dm_lib_pdHostTargets.cmake
  lib/pkgconfig/dm_lib_pd.pc
  lib/pkgconfig/dm_host.pc)
foreach(f ${expected})
  if(NOT EXISTS ${PREFIX}/${f})
    message(FATAL_ERROR "not installed: ${f}")
  endif()
endforeach()
foreach(link lib/libdm_lib_pd.so lib/libdm_lib_pd.so.${major})
  if(NOT IS_SYMLINK ${PREFIX}/${link})
    message(FATAL_ERROR "${link} is not a link to the versioned library")
  endif()
endforeach()

# The installed package names no path of the source or build tree: it can be
# moved anywhere.
file(GLOB_RECURSE package_files ${PREFIX}/lib/cmake/*.cmake ${PREFIX}/lib/pkgconfig/*.pc)
foreach(f ${package_files})
  file(READ ${f} text)
  string(FIND "${text}" "${SOURCE_DIR}" at_source)
  string(FIND "${text}" "${BUILD_DIR}" at_build)
  if(NOT at_source EQUAL -1 OR NOT at_build EQUAL -1)
    message(FATAL_ERROR "${f} names a path of the source or build tree")
  endif()
endforeach()
message(STATUS "installed and checked: ${PREFIX}")

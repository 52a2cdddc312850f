# Installation and packaging.
#
#   component lib  the library (with SONAME and version), the public headers
#                  under include/dm_lib_pd/, the wire-format and host-contract
#                  headers under include/dm_lib_pd/wire/, the CMake package
#                  (find_package(dm_lib_pd), target dm_lib_pd::dm_lib_pd) and
#                  the pkg-config file dm_lib_pd.pc;
#   component sim  the host stand-in (dm_lib_pd::dm_host, dm_host.pc, its
#                  control header under include/dm_lib_pd/host/) and dmsim.
#
# `cmake --install DIR --prefix P` installs both; add `--component lib` for
# the library alone. Every path written into the package is relative to the
# installed tree, so an installed tree can be moved.
include(CMakePackageConfigHelpers)

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME lib)
set(DM_CMAKE_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/dm_lib_pd)
set(DM_WIRE_INCLUDE_DIR ${CMAKE_INSTALL_INCLUDEDIR}/dm_lib_pd/wire)
set(DM_HOST_INCLUDE_DIR ${CMAKE_INSTALL_INCLUDEDIR}/dm_lib_pd/host)

# ---- the library --------------------------------------------------------------
install(TARGETS dm_lib_pd EXPORT dm_lib_pdTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT lib NAMELINK_COMPONENT lib)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/api/dm_lib_pd/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/dm_lib_pd COMPONENT lib
  FILES_MATCHING PATTERN "*.h")
install(FILES
    ${PROJECT_SOURCE_DIR}/include/dp_common.h
    ${PROJECT_SOURCE_DIR}/include/dp_pd_common.h
    ${PROJECT_SOURCE_DIR}/include/addr_common.h
    ${PROJECT_SOURCE_DIR}/include/dm_host.h
    ${PROJECT_SOURCE_DIR}/include/dm_kdev.h
    ${PROJECT_SOURCE_DIR}/common/dm_tree/dm_tree.h
  DESTINATION ${DM_WIRE_INCLUDE_DIR} COMPONENT lib)
install(EXPORT dm_lib_pdTargets NAMESPACE dm_lib_pd::
  DESTINATION ${DM_CMAKE_PACKAGE_DIR} COMPONENT lib)

# ---- the host stand-in and the simulator ----------------------------------------
# The stand-in's control header includes the host contract (wire directory)
# and, through it, the public types.
target_include_directories(dm_host PUBLIC
  $<INSTALL_INTERFACE:${DM_HOST_INCLUDE_DIR}>
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>
  $<INSTALL_INTERFACE:${DM_WIRE_INCLUDE_DIR}>)
install(TARGETS dm_host EXPORT dm_lib_pdHostTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT sim NAMELINK_COMPONENT sim)
install(FILES ${PROJECT_SOURCE_DIR}/host/dm_host_ctl.h
  DESTINATION ${DM_HOST_INCLUDE_DIR} COMPONENT sim)
install(EXPORT dm_lib_pdHostTargets NAMESPACE dm_lib_pd::
  DESTINATION ${DM_CMAKE_PACKAGE_DIR} COMPONENT sim)
if(TARGET dmsim)
  # Installed, the simulator finds the host stand-in beside the library.
  set_target_properties(dmsim PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
  install(TARGETS dmsim RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT sim)
endif()

# ---- CMake package ----------------------------------------------------------------
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/dm_lib_pdConfig.cmake.in
  ${CMAKE_BINARY_DIR}/package/dm_lib_pdConfig.cmake
  INSTALL_DESTINATION ${DM_CMAKE_PACKAGE_DIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/package/dm_lib_pdConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES
    ${CMAKE_BINARY_DIR}/package/dm_lib_pdConfig.cmake
    ${CMAKE_BINARY_DIR}/package/dm_lib_pdConfigVersion.cmake
  DESTINATION ${DM_CMAKE_PACKAGE_DIR} COMPONENT lib)

# ---- pkg-config -------------------------------------------------------------------
# The .pc files find the prefix from their own place (${pcfiledir}), so they
# stay right whatever --prefix the installation is given.
function(dm_pc_dir var dir)
  if(IS_ABSOLUTE "${dir}")
    set(${var} "${dir}" PARENT_SCOPE)
  else()
    set(${var} "\${prefix}/${dir}" PARENT_SCOPE)
  endif()
endfunction()
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(DM_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH DM_PC_UP "/root/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/root")
  string(REGEX REPLACE "/$" "" DM_PC_UP "${DM_PC_UP}")
  set(DM_PC_PREFIX "\${pcfiledir}/${DM_PC_UP}")
endif()
dm_pc_dir(DM_PC_LIBDIR "${CMAKE_INSTALL_LIBDIR}")
dm_pc_dir(DM_PC_INCLUDEDIR "${CMAKE_INSTALL_INCLUDEDIR}")
foreach(pc dm_lib_pd dm_host)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${pc}.pc.in ${CMAKE_BINARY_DIR}/package/${pc}.pc @ONLY)
endforeach()
install(FILES ${CMAKE_BINARY_DIR}/package/dm_lib_pd.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT lib)
install(FILES ${CMAKE_BINARY_DIR}/package/dm_host.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT sim)

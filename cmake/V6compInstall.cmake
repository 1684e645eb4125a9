# SPDX-License-Identifier: Apache-2.0
# The library, its headers in one folder, and the two ways in which other projects find it.
include(CMakePackageConfigHelpers)

set(V6COMP_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/zel_v6comp)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/zel_v6comp)
# Both <zel_v6comp.h> and <zel_v6comp/zel_v6comp.h>.
target_include_directories(zel_v6comp_lib INTERFACE
  $<INSTALL_INTERFACE:${V6COMP_INSTALL_INCLUDEDIR}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)

install(TARGETS zel_v6comp_lib EXPORT zel_v6comp LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ${public_headers} DESTINATION ${V6COMP_INSTALL_INCLUDEDIR})
install(EXPORT zel_v6comp NAMESPACE zel_v6comp:: FILE zel_v6compTargets.cmake DESTINATION ${package_dir})

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/zel_v6compConfig.cmake.in
  ${PROJECT_BINARY_DIR}/zel_v6compConfig.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/zel_v6compConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/zel_v6compConfig.cmake ${PROJECT_BINARY_DIR}/zel_v6compConfigVersion.cmake
  DESTINATION ${package_dir})

# Relative to the file itself, so that an installed tree can be moved.
file(RELATIVE_PATH pc_includedir /${CMAKE_INSTALL_LIBDIR}/pkgconfig /${CMAKE_INSTALL_INCLUDEDIR})
configure_file(${PROJECT_SOURCE_DIR}/cmake/zel_v6comp.pc.in ${PROJECT_BINARY_DIR}/zel_v6comp.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zel_v6comp.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

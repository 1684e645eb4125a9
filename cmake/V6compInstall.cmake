# SPDX-License-Identifier: Apache-2.0
# What `cmake --install` puts where: the library, shared and static, with its headers in one folder and the two ways in
# which other projects find it; what there is to read; examples to copy from.
include(CMakePackageConfigHelpers)

set(V6COMP_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/zel_v6comp)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/zel_v6comp)
set(libraries zel_v6comp_lib)
if(TARGET zel_v6comp_static)
  list(APPEND libraries zel_v6comp_static)
endif()
# Both <zel_v6comp.h> and <zel_v6comp/zel_v6comp.h>.
foreach(library IN LISTS libraries)
  target_include_directories(${library} INTERFACE
    $<INSTALL_INTERFACE:${V6COMP_INSTALL_INCLUDEDIR}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
endforeach()

install(TARGETS ${libraries} EXPORT zel_v6comp
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
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

# A project that only embeds the library installs no reading matter.
if(PROJECT_IS_TOP_LEVEL)
  install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_SOURCE_DIR}/LICENSE
    DESTINATION ${CMAKE_INSTALL_DOCDIR})
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs ${PROJECT_SOURCE_DIR}/examples DESTINATION ${CMAKE_INSTALL_DOCDIR})
  # Man pages and completions, where the build made them.
  install(DIRECTORY ${PROJECT_BINARY_DIR}/share/ DESTINATION ${CMAKE_INSTALL_DATAROOTDIR} OPTIONAL)
endif()

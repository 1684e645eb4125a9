# SPDX-License-Identifier: Apache-2.0
# The parts of the tool that know no library, for tests of builds without the tool.
foreach(part table_io check_model)
  if(NOT TARGET v6comp_${part})
    add_subdirectory(${PROJECT_SOURCE_DIR}/tools/${part} ${PROJECT_BINARY_DIR}/tools/${part})
  endif()
endforeach()

# SPDX-License-Identifier: Apache-2.0
# The fuzz targets: of the library on the tests' platform, and of the programs.
set(SCHEDCLI_FUZZ_LIBRARY time restore show)
set(SCHEDCLI_FUZZ_PROGRAMS client configure crontab due joblog mail records request settings shell)

# A service in which no job can start: inputs are texts of jobs too.
if(SCHEDCLI_PROGRAMS AND NOT TARGET fuzz_world)
  add_library(fuzz_world STATIC ${PROJECT_SOURCE_DIR}/tests/service/world.cpp)
  target_link_libraries(fuzz_world PUBLIC schedd_core schedsh_core)
  target_compile_definitions(fuzz_world PRIVATE SCHEDD_STARTER_BUILT="/nonexistent/starter")
endif()

# What the tests of the virtual handset run inside it in place of the program.
add_executable(vh_probe ${CMAKE_CURRENT_SOURCE_DIR}/virtual/probe/probe.cpp)
target_link_libraries(vh_probe PRIVATE vxo_warnings)
add_dependencies(unit_virtual vh_probe handset vinit)

# Factory libraries with known gaps, each in a folder of its own. Shared rather than modules: once loaded they answer to the
# name that the program binds.
foreach(gap OPTIONAL AUXILIARY_MIC)
  string(TOLOWER without_${gap} folder)
  add_library(fake_${folder} SHARED ${CMAKE_CURRENT_SOURCE_DIR}/device/fake/factory.cc)
  set_target_properties(fake_${folder} PROPERTIES OUTPUT_NAME _factory
    LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib/fake/${folder})
  target_compile_definitions(fake_${folder} PRIVATE WITHOUT_${gap})
  add_dependencies(unit_device fake_${folder})
endforeach()

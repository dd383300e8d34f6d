# Libraries with known gaps, each in a folder of its own. Shared rather than modules: once loaded they answer to the name that
# the program binds.
function(vxo_fake_library folder name source)
  set(target fake_${folder}_${name})
  add_library(${target} SHARED ${CMAKE_CURRENT_SOURCE_DIR}/device/fake/${source})
  set_target_properties(${target} PROPERTIES OUTPUT_NAME ${name} LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib/fake/${folder})
  target_compile_definitions(${target} PRIVATE ${ARGN})
  if(TARGET unit_device)
    add_dependencies(unit_device ${target})
  endif()
endfunction()

vxo_fake_library(whole _factory factory.cc)
vxo_fake_library(without_optional _factory factory.cc WITHOUT_OPTIONAL)
vxo_fake_library(without_refresh _factory factory.cc WITHOUT_REFRESH)
vxo_fake_library(without_auxiliary_mic _factory factory.cc WITHOUT_AUXILIARY_MIC)
vxo_fake_library(whole vxo_vcoredevice coredevice.cc)
vxo_fake_library(without_unregister vxo_vcoredevice coredevice.cc WITHOUT_UNREGISTER)

# Warnings are errors in every target that links vxo_warnings.
add_library(vxo_warnings INTERFACE)
target_compile_options(vxo_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wcast-align -Wunused
  -Wformat=2 -Wno-format-nonliteral -Wimplicit-fallthrough -Werror
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual -Wno-missing-field-initializers>
  $<$<CXX_COMPILER_ID:GNU>:-Wno-format-truncation -Wno-stringop-truncation>)
# GCC reports false positives inside the standard library when a sanitizer rewrites the code.
if(VXO_SANITIZE)
  target_compile_options(vxo_warnings INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
endif()

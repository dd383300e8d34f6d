# Warnings are errors in every target that links vxo_warnings.
add_library(vxo_warnings INTERFACE)
target_compile_options(vxo_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wcast-align -Wunused -Wnull-dereference
  -Wformat=2 -Wno-format-nonliteral -Wimplicit-fallthrough -Werror
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual -Wno-missing-field-initializers>
  $<$<CXX_COMPILER_ID:GNU>:-Wno-format-truncation -Wno-stringop-truncation>)
# GCC's flow analyses report inside the standard library when a sanitizer rewrites the code.
if(VXO_SANITIZE)
  target_compile_options(vxo_warnings INTERFACE -Wno-null-dereference
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized;-Wno-array-bounds;-Wno-stringop-overflow;-Wno-restrict>)
endif()
# At -O2 its flow analyses report inside the standard library (strings, streams) as well; the debug build keeps them.
target_compile_options(vxo_warnings INTERFACE
  $<$<AND:$<CONFIG:RelWithDebInfo>,$<CXX_COMPILER_ID:GNU>>:-Wno-null-dereference;-Wno-array-bounds;-Wno-stringop-overflow;-Wno-restrict>)

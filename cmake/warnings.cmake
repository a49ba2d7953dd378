# Errors with the compiler that the product is built with; clang, which fuzzes, has views of its own.
add_library(rig_warnings INTERFACE)
target_compile_options(rig_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wold-style-cast -Wnon-virtual-dtor
    -Woverloaded-virtual -Wformat=2
    $<$<CXX_COMPILER_ID:GNU>:-Werror>)

add_compile_options(-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=)

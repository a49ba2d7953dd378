# They are errors in our presets (CMAKE_COMPILE_WARNING_AS_ERROR) and not for who builds with a compiler
# that we have not tried.
add_library(rig_warnings INTERFACE)
target_compile_options(rig_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wold-style-cast -Wnon-virtual-dtor
    -Woverloaded-virtual -Wformat=2)

add_compile_options(-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=)

# Every layer is a target that shows the others a chosen list of headers and nothing else: the
# include path of a target is a folder of links, one per public header, under the header's own path
# from the root. `#include "devices/visca/visca_camera.h"` therefore reads the same everywhere and
# compiles only in a target that links the layer; everything not listed stays private.
function(rig_expose target)
    set(links ${CMAKE_BINARY_DIR}/include/${target})
    cmake_path(RELATIVE_PATH CMAKE_CURRENT_SOURCE_DIR
        BASE_DIRECTORY ${PROJECT_SOURCE_DIR} OUTPUT_VARIABLE folder)
    file(REMOVE_RECURSE ${links})
    file(MAKE_DIRECTORY ${links}/${folder})
    foreach(header IN LISTS ARGN)
        file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR}/${header} ${links}/${folder}/${header} SYMBOLIC)
    endforeach()

    get_target_property(type ${target} TYPE)
    set(scope PUBLIC)
    if(type STREQUAL "INTERFACE_LIBRARY")
        set(scope INTERFACE)
    endif()
    target_include_directories(${target} ${scope} ${links})
    # __FILE__ of a header is its path from the root too, in logs and in assertions.
    target_compile_options(${target} ${scope} -fmacro-prefix-map=${links}/=)
endfunction()

# The headers of a layer without its code: for tests that link a fake in its place.
function(rig_use_headers target layer)
    target_include_directories(${target} PRIVATE $<TARGET_PROPERTY:${layer},INTERFACE_INCLUDE_DIRECTORIES>)
    target_compile_options(${target} PRIVATE $<TARGET_PROPERTY:${layer},INTERFACE_COMPILE_OPTIONS>)
endfunction()

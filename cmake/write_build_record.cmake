# Fills the template of the build record with what is true of this build. Honours SOURCE_DATE_EPOCH.
string(TIMESTAMP BUILT_AT "%Y-%m-%d %H:%M:%S|%s.%f" UTC)
string(REPLACE "|" ";" BUILT_AT "${BUILT_AT}")
list(POP_BACK BUILT_AT BUILD_TIMESTAMP)
if(DEFINED ENV{SOURCE_DATE_EPOCH})
    set(BUILD_TIMESTAMP "$ENV{SOURCE_DATE_EPOCH}.000000")
endif()

execute_process(COMMAND id -un OUTPUT_VARIABLE BUILT_BY OUTPUT_STRIP_TRAILING_WHITESPACE
    ERROR_QUIET)
if(BUILT_BY STREQUAL "")
    execute_process(COMMAND id -u OUTPUT_VARIABLE BUILT_BY OUTPUT_STRIP_TRAILING_WHITESPACE
        COMMAND_ERROR_IS_FATAL ANY)
endif()
execute_process(COMMAND uname -n OUTPUT_VARIABLE BUILT_ON OUTPUT_STRIP_TRAILING_WHITESPACE
    COMMAND_ERROR_IS_FATAL ANY)

foreach(value BUILD_TYPE BUILT_BY BUILT_ON SOFTWARE_VERSION SOFTWARE_CHANNEL)
    string(REPLACE "\\" "\\\\" ${value} "${${value}}")
    string(REPLACE "\"" "\\\"" ${value} "${${value}}")
endforeach()
configure_file(${TEMPLATE} ${OUTPUT} @ONLY)
# Also when the text came out the same as before (SOURCE_DATE_EPOCH), the output is up to date.
file(TOUCH ${OUTPUT})

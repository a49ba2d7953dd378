# What this build is called, from the repository: a release is the commit with the tag vVERSION and
# nothing changed since (docs/releasing.md). Sets
#   RIG_SOFTWARE_CHANNEL  where it is empty: "stable" for a release, else "development"
#   RIG_PACKAGE_VERSION   VERSION-1 for a release, else VERSION~gitDATE.COMMIT-1, which is older
#   RIG_SOURCE_DATE       seconds since 1970: of the commit, or SOURCE_DATE_EPOCH
function(rig_ask_git result)
    execute_process(COMMAND git -C ${PROJECT_SOURCE_DIR} ${ARGN}
        OUTPUT_VARIABLE output RESULT_VARIABLE status OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
    if(NOT status STREQUAL "0")
        set(output "")
    endif()
    set(${result} "${output}" PARENT_SCOPE)
endfunction()

rig_ask_git(tag describe --exact-match --dirty --match v${PROJECT_VERSION})
rig_ask_git(commit log -1 --format=%h)
rig_ask_git(RIG_SOURCE_DATE log -1 --format=%ct)
if(DEFINED ENV{SOURCE_DATE_EPOCH})
    set(RIG_SOURCE_DATE $ENV{SOURCE_DATE_EPOCH})
elseif(RIG_SOURCE_DATE STREQUAL "")  # no repository: an archive of the sources keeps their times
    file(TIMESTAMP ${PROJECT_SOURCE_DIR}/CHANGELOG.md RIG_SOURCE_DATE "%s" UTC)
endif()

set(channel development)
if(tag STREQUAL "v${PROJECT_VERSION}")
    set(channel stable)
endif()
if(RIG_SOFTWARE_CHANNEL STREQUAL "")
    set(RIG_SOFTWARE_CHANNEL ${channel})
endif()
set(RIG_PACKAGE_VERSION ${PROJECT_VERSION}-1)
if(NOT RIG_SOFTWARE_CHANNEL STREQUAL "stable")
    execute_process(COMMAND date --utc --date=@${RIG_SOURCE_DATE} +%Y%m%d
        OUTPUT_VARIABLE day OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    if(commit STREQUAL "")
        set(commit unknown)
    endif()
    set(RIG_PACKAGE_VERSION ${PROJECT_VERSION}~git${day}.${commit}-1)
endif()

# `cmake --install` and the Debian package. Programs in bin, their libraries in lib/rigtool, as in the
# build tree; what is compressed or made from templates is in build/PRESET/package.
set(package_folder ${CMAKE_BINARY_DIR}/package)
set(package_sources ${PROJECT_SOURCE_DIR}/packaging)
set(package_files "")
file(MAKE_DIRECTORY ${package_folder})

# rig_compress(SOURCE NAME): NAME.gz in the package folder, the same bytes from the same source.
function(rig_compress source name)
    set(output ${package_folder}/${name}.gz)
    add_custom_command(OUTPUT ${output}
        COMMAND gzip -9nc ${source} > ${output}
        DEPENDS ${source} VERBATIM)
    set(package_files ${package_files} ${output} PARENT_SCOPE)
endfunction()

set(CPACK_DEBIAN_PACKAGE_VERSION ${PROJECT_VERSION}-1)
configure_file(${package_sources}/debian/changelog.in ${package_folder}/changelog.Debian @ONLY)
rig_compress(${package_folder}/changelog.Debian changelog.Debian)
rig_compress(${PROJECT_SOURCE_DIR}/CHANGELOG.md changelog)

# The devices and faults in rigsim's page are those of its --help.
set(man_sources ${PROJECT_SOURCE_DIR}/docs/man)
add_custom_command(OUTPUT ${package_folder}/rigsim.1
    COMMAND ${package_sources}/insert-help ${man_sources}/rigsim.1.in $<TARGET_FILE:rigsim> > ${package_folder}/rigsim.1
    DEPENDS rigsim ${package_sources}/insert-help ${man_sources}/rigsim.1.in VERBATIM)
rig_compress(${package_folder}/rigsim.1 rigsim.1)
rig_compress(${man_sources}/rigtool.1 rigtool.1)
rig_compress(${man_sources}/rigtool-plot-precision.1 rigtool-plot-precision.1)
add_custom_target(package_files ALL DEPENDS ${package_files})

# What is installed must be built, the tests need not be: `cmake --build --preset release --target
# installed` before an install or a package.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)
set(private_libraries quill calibration_files)
if(TARGET rigtool_kinect)
    list(APPEND private_libraries rigtool_kinect)
endif()
set_target_properties(${private_libraries} PROPERTIES INSTALL_RPATH "$ORIGIN")
# Built with the run path that they are installed with, since the folders stand to each other alike.
# Otherwise room is kept for the longer of the two by colons at its end, and to the loader an empty
# entry is the folder that the user happens to stand in.
set_target_properties(rigtool rigsim ${private_libraries} PROPERTIES BUILD_WITH_INSTALL_RPATH ON)
add_custom_target(installed DEPENDS rigtool rigsim ${private_libraries} package_files)

# Directories of a package are open to all, whatever the umask of who builds it.
set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

install(TARGETS rigtool rigsim RUNTIME DESTINATION bin)
install(TARGETS ${private_libraries} LIBRARY DESTINATION lib/rigtool)
install(PROGRAMS scripts/plot-precision DESTINATION bin RENAME rigtool-plot-precision)
install(FILES ${package_sources}/60-rigtool.rules DESTINATION lib/udev/rules.d)
install(FILES ${package_sources}/completion.bash
    DESTINATION share/bash-completion/completions RENAME rigtool)
install(FILES ${package_sources}/completion.bash
    DESTINATION share/bash-completion/completions RENAME rigsim)
install(FILES ${package_folder}/rigtool.1.gz ${package_folder}/rigsim.1.gz
        ${package_folder}/rigtool-plot-precision.1.gz
    DESTINATION share/man/man1)
install(FILES README.md ${package_sources}/debian/copyright ${package_folder}/changelog.gz
        ${package_folder}/changelog.Debian.gz
    DESTINATION share/doc/rigtool)
install(FILES docs/architecture.md DESTINATION share/doc/rigtool/docs)
install(FILES ${package_sources}/debian/lintian-overrides
    DESTINATION share/lintian/overrides RENAME rigtool)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME rigtool)
set(CPACK_PACKAGE_CONTACT "rigtool developers <rigtool@example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "service and test tool for a pan-tilt-zoom camera rig")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"rigtool drives the devices of a camera rig from the command line: a VISCA
camera, Dynamixel servos, a laser behind a serial relay, the CBUS pins of
FT232R adapters and a Kinect v2. It moves, reads, scans, measures and tests
them, one device or the whole rig.
.
rigsim is a simulated rig that stands in where no hardware is attached.")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION electronics)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
# rigsim loads libumockdev-preload.so.0 into the programs that it runs.
set(CPACK_DEBIAN_PACKAGE_DEPENDS umockdev)
# rigtool-plot-precision draws with it.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS gnuplot-nox)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS bash-completion)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
    ${package_sources}/debian/postinst ${package_sources}/debian/postrm)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS ${CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS})
include(CPack)

# `cmake --install` and the Debian packages: rigtool, the programs rigtool and rigsetup; rigtool-kinect, its module, which needs
# OpenCV and with it some 120 packages more; rigsim. Programs in bin, their libraries in lib/rigtool, as
# in the build tree; what is compressed or made from templates is in build/PRESET/package.
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

add_custom_command(OUTPUT ${package_folder}/changelog.Debian
    COMMAND ${package_sources}/debian-changelog ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${RIG_PACKAGE_VERSION}
        ${RIG_SOURCE_DATE} > ${package_folder}/changelog.Debian
    DEPENDS ${package_sources}/debian-changelog ${PROJECT_SOURCE_DIR}/CHANGELOG.md VERBATIM)
rig_compress(${package_folder}/changelog.Debian changelog.Debian)
rig_compress(${PROJECT_SOURCE_DIR}/CHANGELOG.md changelog)

# The devices and faults in rigsim's page are those of its --help, for which it runs.
if(CMAKE_CROSSCOMPILING AND NOT CMAKE_CROSSCOMPILING_EMULATOR)
    message(FATAL_ERROR "rigsim cannot run here for its man page: name an emulator for "
        "${CMAKE_SYSTEM_PROCESSOR}, as cmake/toolchains/arm64.cmake does with qemu-user's")
endif()
set(man_sources ${PROJECT_SOURCE_DIR}/docs/man)
add_custom_command(OUTPUT ${package_folder}/rigsim.1
    COMMAND ${package_sources}/insert-help ${man_sources}/rigsim.1.in
        ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:rigsim> > ${package_folder}/rigsim.1
    DEPENDS rigsim ${package_sources}/insert-help ${man_sources}/rigsim.1.in VERBATIM)
rig_compress(${package_folder}/rigsim.1 rigsim.1)
rig_compress(${man_sources}/rigtool.1 rigtool.1)
rig_compress(${man_sources}/rigsetup.1 rigsetup.1)
rig_compress(${man_sources}/rigtool-plot-precision.1 rigtool-plot-precision.1)
add_custom_target(package_files ALL DEPENDS ${package_files})

# What is installed must be built, the tests need not be: `cmake --build --preset release --target
# installed` before an install or a package.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)
set(private_libraries quill calibration_files rigtool_kinect)
set_target_properties(${private_libraries} PROPERTIES INSTALL_RPATH "$ORIGIN")
# Built with the run path that they are installed with, since the folders stand to each other alike.
# Otherwise room is kept for the longer of the two by colons at its end, and to the loader an empty
# entry is the folder that the user happens to stand in.
set_target_properties(rigtool rigsetup rigsim ${private_libraries} PROPERTIES BUILD_WITH_INSTALL_RPATH ON)
add_custom_target(installed DEPENDS rigtool rigsetup rigsim ${private_libraries} package_files)

# Directories of a package are open to all, whatever the umask of who builds it.
set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

# What every package has: who may copy it, and what has changed.
function(rig_install_notes package)
    install(FILES ${package_sources}/debian/copyright ${package_folder}/changelog.gz
            ${package_folder}/changelog.Debian.gz
        DESTINATION share/doc/${package} COMPONENT ${package})
    install(FILES ${package_sources}/debian/${package}.lintian-overrides
        DESTINATION share/lintian/overrides RENAME ${package} COMPONENT ${package})
endfunction()

install(TARGETS rigtool rigsetup RUNTIME DESTINATION bin COMPONENT rigtool)
install(TARGETS quill calibration_files LIBRARY DESTINATION lib/rigtool COMPONENT rigtool)
install(PROGRAMS scripts/plot-precision DESTINATION bin RENAME rigtool-plot-precision COMPONENT rigtool)
install(FILES ${package_sources}/60-rigtool.rules DESTINATION lib/udev/rules.d COMPONENT rigtool)
install(FILES ${package_sources}/completion.bash
    DESTINATION share/bash-completion/completions RENAME rigtool COMPONENT rigtool)
install(FILES ${package_sources}/completion.bash
    DESTINATION share/bash-completion/completions RENAME rigsetup COMPONENT rigtool)
install(FILES ${package_folder}/rigtool.1.gz ${package_folder}/rigsetup.1.gz ${package_folder}/rigtool-plot-precision.1.gz
    DESTINATION share/man/man1 COMPONENT rigtool)
# The README and all that it has links to.
install(FILES README.md CONTRIBUTING.md DESTINATION share/doc/rigtool COMPONENT rigtool)
install(FILES docs/architecture.md docs/fault-matrix.md docs/performance.md docs/releasing.md
        docs/troubleshooting.md
    DESTINATION share/doc/rigtool/docs COMPONENT rigtool)
rig_install_notes(rigtool)

install(TARGETS rigtool_kinect LIBRARY DESTINATION lib/rigtool COMPONENT rigtool-kinect)
install(FILES ${package_sources}/60-rigtool-kinect.rules
    DESTINATION lib/udev/rules.d COMPONENT rigtool-kinect)
# A libfreenect2 outside the system's folders goes along, beside the module, under the name by which the
# module asks for it. No package of the system has it then.
if(TARGET freenect2_installed)
    get_target_property(libfreenect2 freenect2_installed INTERFACE_LINK_LIBRARIES)
    list(FILTER libfreenect2 INCLUDE REGEX "/libfreenect2\\.so")
    if(libfreenect2 AND NOT libfreenect2 MATCHES "^/(usr/)?lib/")
        list(GET libfreenect2 0 libfreenect2)
        execute_process(COMMAND ${CMAKE_OBJDUMP} -p ${libfreenect2}
            OUTPUT_VARIABLE headers COMMAND_ERROR_IS_FATAL ANY)
        string(REGEX MATCH "SONAME +([^\n]+)" soname "${headers}")
        set(soname ${CMAKE_MATCH_1})
        file(REAL_PATH ${libfreenect2} real_libfreenect2)
        install(FILES ${real_libfreenect2} DESTINATION lib/rigtool RENAME ${soname} COMPONENT rigtool-kinect)
        # It may look for its own libraries where it was built.
        install(CODE "file(RPATH_SET FILE
            \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/lib/rigtool/${soname}\" NEW_RPATH \"\\\$ORIGIN\")"
            COMPONENT rigtool-kinect)
        cmake_path(GET real_libfreenect2 PARENT_PATH libfreenect2_folder)
    endif()
endif()
rig_install_notes(rigtool-kinect)

install(TARGETS rigsim RUNTIME DESTINATION bin COMPONENT rigsim)
install(FILES ${package_sources}/completion.bash
    DESTINATION share/bash-completion/completions RENAME rigsim COMPONENT rigsim)
install(FILES ${package_folder}/rigsim.1.gz DESTINATION share/man/man1 COMPONENT rigsim)
rig_install_notes(rigsim)

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENTS_ALL rigtool rigtool-kinect rigsim)
set(CPACK_PACKAGE_NAME rigtool)
set(CPACK_PACKAGE_CONTACT "rigtool developers <rigtool@example.org>")
set(CPACK_DEBIAN_PACKAGE_SOURCE rigtool)
set(CPACK_DEBIAN_PACKAGE_VERSION ${RIG_PACKAGE_VERSION})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
if(CMAKE_CROSSCOMPILING)
    execute_process(COMMAND dpkg-architecture --host-type ${CMAKE_LIBRARY_ARCHITECTURE} --query DEB_HOST_ARCH
        OUTPUT_VARIABLE CPACK_DEBIAN_PACKAGE_ARCHITECTURE OUTPUT_STRIP_TRAILING_WHITESPACE
        COMMAND_ERROR_IS_FATAL ANY)
    # For dpkg-shlibdeps, which would look for the libraries of this computer's own architecture.
    file(WRITE ${package_folder}/cpack-config.cmake
        "set(ENV{DEB_HOST_ARCH} ${CPACK_DEBIAN_PACKAGE_ARCHITECTURE})\n")
    set(CPACK_PROJECT_CONFIG_FILE ${package_folder}/cpack-config.cmake)
endif()
set(CPACK_DEBIAN_PACKAGE_SECTION electronics)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY} ${libfreenect2_folder})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS ${CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS})

# rig_describe(PACKAGE SUMMARY TEXT)
function(rig_describe package summary text)
    string(TOUPPER ${package} name)
    set(CPACK_DEBIAN_${name}_PACKAGE_NAME ${package} PARENT_SCOPE)
    set(CPACK_DEBIAN_${name}_DESCRIPTION "${summary}\n${text}" PARENT_SCOPE)
endfunction()

rig_describe(rigtool "service and test tool for a pan-tilt-zoom camera rig"
"rigtool drives the devices of a camera rig from the command line: a VISCA
camera, Dynamixel servos, a laser behind a serial relay, the CBUS pins of
FT232R adapters and a Kinect v2. It moves, reads, scans, measures and tests
them, one device or the whole rig. rigsetup sets up the devices of a new rig.
.
The package rigtool-kinect has what the Kinect needs; rigsim is a simulated
rig that stands in where no hardware is attached.")
# rigtool-plot-precision draws with gnuplot.
set(CPACK_DEBIAN_RIGTOOL_PACKAGE_SUGGESTS "bash-completion, gnuplot-nox, rigsim, rigtool-kinect")
set(read_udev_rules ${package_sources}/debian/postinst ${package_sources}/debian/postrm)
set(CPACK_DEBIAN_RIGTOOL_PACKAGE_CONTROL_EXTRA ${read_udev_rules})

if(TARGET freenect2_standin)
    set(sensors
"It was built without libfreenect2, with a stand-in that sees simulated
sensors only, those of the package rigsim. A real Kinect is not found: for
one, build the package where libfreenect2 0.2 is installed.")
else()
    set(sensors "It works with real sensors, through libfreenect2.")
endif()
rig_describe(rigtool-kinect "Kinect v2 module of rigtool"
"With it, rigtool's command kinect takes one colour and one infrared picture
with a Kinect v2 at a USB 3 port and writes both as PNG.
.
${sensors}")
set(CPACK_DEBIAN_RIGTOOL-KINECT_PACKAGE_CONTROL_EXTRA ${read_udev_rules})
# The module and the simulator are made for this very libquill.so.
set(same_rigtool "rigtool (= ${RIG_PACKAGE_VERSION})")
set(CPACK_DEBIAN_RIGTOOL-KINECT_PACKAGE_DEPENDS "${same_rigtool}")

rig_describe(rigsim "simulated pan-tilt-zoom camera rig"
"rigsim runs a program and lets it see the devices of a whole rig: a VISCA
camera, a bus of Dynamixel servos and a laser behind USB adapters with FT232R
chips, and a Kinect v2. Some fifty faults can be turned on.")
# It loads libumockdev-preload.so.0 into the programs that it runs.
set(CPACK_DEBIAN_RIGSIM_PACKAGE_DEPENDS "${same_rigtool}, umockdev")
include(CPack)

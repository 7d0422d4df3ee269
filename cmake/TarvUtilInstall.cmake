# Installed files, and the package files with which hosts find the library: a CMake package, for the installed library
# and for the build tree, and a pkg-config file.
include(CMakePackageConfigHelpers)

set(TARVUTIL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/TarvUtil)

# The development files are a separate component; a running host needs only the rest.
install(TARGETS TarvUtil EXPORT TarvUtilTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} NAMELINK_COMPONENT Development)
install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tarvutil
    COMPONENT Development FILES_MATCHING PATTERN "*.h")

configure_package_config_file(cmake/TarvUtilConfig.cmake.in ${PROJECT_BINARY_DIR}/TarvUtilConfig.cmake
    INSTALL_DESTINATION ${TARVUTIL_CMAKE_DIR} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/TarvUtilConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
export(EXPORT TarvUtilTargets NAMESPACE TarvUtil:: FILE ${PROJECT_BINARY_DIR}/TarvUtilTargets.cmake)
install(EXPORT TarvUtilTargets NAMESPACE TarvUtil:: DESTINATION ${TARVUTIL_CMAKE_DIR} COMPONENT Development)
install(FILES ${PROJECT_BINARY_DIR}/TarvUtilConfig.cmake ${PROJECT_BINARY_DIR}/TarvUtilConfigVersion.cmake
    DESTINATION ${TARVUTIL_CMAKE_DIR} COMPONENT Development)

# The pkg-config file has directories relative to itself, so that an installed tree can be moved.
file(RELATIVE_PATH TARVUTIL_PC_PREFIX
    ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
foreach(dir LIBDIR INCLUDEDIR)
    if(IS_ABSOLUTE "${CMAKE_INSTALL_${dir}}")
        set(TARVUTIL_PC_${dir} "${CMAKE_INSTALL_${dir}}")
    else()
        set(TARVUTIL_PC_${dir} "\${prefix}/${CMAKE_INSTALL_${dir}}")
    endif()
endforeach()
if(TARGET TarvUtilC)
    # A host in C links this library alone, and has no path for the one that it needs.
    set_target_properties(TarvUtilC PROPERTIES INSTALL_RPATH "$ORIGIN")
    # A set of targets of its own: the C interface can be left out of what is installed.
    install(TARGETS TarvUtilC EXPORT TarvUtilCTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} NAMELINK_COMPONENT Development)
    install(FILES c/tarvutil.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tarvutil COMPONENT Development)
    export(EXPORT TarvUtilCTargets NAMESPACE TarvUtil:: FILE ${PROJECT_BINARY_DIR}/TarvUtilCTargets.cmake)
    install(EXPORT TarvUtilCTargets NAMESPACE TarvUtil:: DESTINATION ${TARVUTIL_CMAKE_DIR} COMPONENT Development)
    configure_file(cmake/tarvutil-c.pc.in ${PROJECT_BINARY_DIR}/tarvutil-c.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/tarvutil-c.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT Development)
endif()
configure_file(cmake/tarvutil.pc.in ${PROJECT_BINARY_DIR}/tarvutil.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tarvutil.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT Development)

if(TARGET tarvutil)
    # The installed program finds the library even after the tree was moved.
    file(RELATIVE_PATH TARVUTIL_BIN_TO_LIB ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    set_target_properties(tarvutil PROPERTIES INSTALL_RPATH "$ORIGIN/${TARVUTIL_BIN_TO_LIB}")
    install(TARGETS tarvutil RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
    install(FILES tools/tarvutil/tarvutil.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 OPTIONAL)
    install(FILES tools/tarvutil/tarvutil.bash
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME tarvutil OPTIONAL)
endif()

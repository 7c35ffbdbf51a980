# What an application developer finds after installing: libraries, headers, pkg-config, CMake package.
# The pkg-config files in the build folder's lib/pkgconfig work in place, for a tree not installed.

include(CMakePackageConfigHelpers)

# The library lies beside its OpenSSL adapters, where it looks for them first, and in a folder of their own: in
# one that is searched for everybody's libraries their names could be those of others. What is linked finds it
# by links in the usual folder.
set(ORVANE_INSTALL_DIR lib/halden)
install(TARGETS orvane EXPORT orvaneTargets LIBRARY DESTINATION ${ORVANE_INSTALL_DIR} NAMELINK_SKIP)
install(TARGETS openssl102-crypto openssl102-ssl LIBRARY DESTINATION ${ORVANE_INSTALL_DIR})
install(TARGETS orvane-glib EXPORT orvaneTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
file(RELATIVE_PATH libdir_to_library /${CMAKE_INSTALL_LIBDIR} /${ORVANE_INSTALL_DIR})
install(CODE "
    foreach(link liborvane.so liborvane.so.1)
        file(CREATE_LINK ${libdir_to_library}/liborvane.so.1
            \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/\${link}\" SYMBOLIC)
    endforeach()")
set_target_properties(orvane-glib PROPERTIES INSTALL_RPATH "\$ORIGIN")
set_target_properties(orvane-cli PROPERTIES INSTALL_RPATH "\$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
install(TARGETS orvane-cli orvane-simulator RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY include/orvane include/ssl include/crypto DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_BINARY_DIR}/include/orvane/schema
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/orvane FILES_MATCHING PATTERN "*.h")
install(EXPORT orvaneTargets NAMESPACE orvane::
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/orvane)
configure_package_config_file(cmake/orvaneConfig.cmake.in orvaneConfig.cmake
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/orvane)
write_basic_package_version_file(orvaneConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/orvaneConfig.cmake ${PROJECT_BINARY_DIR}/orvaneConfigVersion.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/orvane)

# Writes a library's two pkg-config files: for the build folder and for the installed tree.
function(orvane_pkgconfig name description requires)
    set(PC_NAME ${name})
    set(PC_DESCRIPTION ${description})
    set(PC_REQUIRES ${requires})

    set(PC_PREFIX ${PROJECT_BINARY_DIR})
    set(PC_LIBDIR "\${prefix}/lib")
    set(PC_INCLUDEDIR "\${prefix}/include")
    set(PC_LIBS "-Wl,-rpath,\${libdir}")
    set(PC_CFLAGS "-I${PROJECT_SOURCE_DIR}/include")
    configure_file(cmake/orvane.pc.in ${PROJECT_BINARY_DIR}/lib/pkgconfig/${name}.pc @ONLY)

    set(PC_PREFIX ${CMAKE_INSTALL_PREFIX})
    set(PC_LIBDIR "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
    set(PC_INCLUDEDIR "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
    set(PC_LIBS "")
    set(PC_CFLAGS "")
    configure_file(cmake/orvane.pc.in ${PROJECT_BINARY_DIR}/installed/${name}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/installed/${name}.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()

orvane_pkgconfig(orvane "Client library for a SOAP management service" "glib-2.0 gobject-2.0")
orvane_pkgconfig(orvane-glib "liborvane on a GMainContext" "orvane")

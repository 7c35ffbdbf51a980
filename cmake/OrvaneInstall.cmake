# The installed files: programs, libraries, headers, pkg-config files, CMake package. They can be moved as a whole:
# none contains the prefix.
# The pkg-config files in the build folder's lib/pkgconfig work in place, for a tree that is not installed.

include(CMakePackageConfigHelpers)

# The library is installed beside its OpenSSL adapters, where it looks for them first. They have a folder of their
# own, since other libraries may have the adapters' names. The usual folder has links to the library.
set(ORVANE_INSTALL_DIR lib/halden)
install(TARGETS orvane EXPORT orvaneTargets LIBRARY DESTINATION ${ORVANE_INSTALL_DIR} NAMELINK_SKIP)
install(TARGETS openssl102-crypto openssl102-ssl LIBRARY DESTINATION ${ORVANE_INSTALL_DIR})
foreach(layer glib json)
    set_target_properties(orvane-${layer} PROPERTIES EXPORT_NAME ${layer} INSTALL_RPATH "\$ORIGIN")
    install(TARGETS orvane-${layer} EXPORT orvaneTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
endforeach()
file(RELATIVE_PATH libdir_to_library /${CMAKE_INSTALL_LIBDIR} /${ORVANE_INSTALL_DIR})
install(CODE "
    foreach(link liborvane.so liborvane.so.1)
        set(path \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/\${link}\")
        file(CREATE_LINK ${libdir_to_library}/liborvane.so.1 \"\$ENV{DESTDIR}\${path}\" SYMBOLIC)
        list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"\${path}\")
    endforeach()")

# The static libraries have a folder of their own, since a linker prefers a shared one in the same folder.
set(ORVANE_STATIC_DIR ${CMAKE_INSTALL_LIBDIR}/orvane-static)
install(TARGETS orvane-static orvane-glib-static orvane-json-static ARCHIVE DESTINATION ${ORVANE_STATIC_DIR} OPTIONAL)

# The programs contain the library, so they are installed beside its adapters, too; the usual folder has links to them.
install(TARGETS orvane-cli orvane-simulator RUNTIME DESTINATION ${ORVANE_INSTALL_DIR})
install(DIRECTORY tools/orvane/messages DESTINATION ${ORVANE_INSTALL_DIR})
file(RELATIVE_PATH bindir_to_library /${CMAKE_INSTALL_BINDIR} /${ORVANE_INSTALL_DIR})
install(CODE "
    file(MAKE_DIRECTORY \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}\")
    foreach(program orvane orvane-simulator)
        set(path \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/\${program}\")
        file(CREATE_LINK ${bindir_to_library}/\${program} \"\$ENV{DESTDIR}\${path}\" SYMBOLIC)
        list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"\${path}\")
    endforeach()")
install(DIRECTORY include/orvane include/ssl include/crypto DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_BINARY_DIR}/include/orvane/schema
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/orvane FILES_MATCHING PATTERN "*.h")
set(packageDir ${CMAKE_INSTALL_LIBDIR}/cmake/orvane)
install(EXPORT orvaneTargets NAMESPACE orvane:: DESTINATION ${packageDir})
configure_package_config_file(cmake/orvaneConfig.cmake.in orvaneConfig.cmake
    INSTALL_DESTINATION ${packageDir})
write_basic_package_version_file(orvaneConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/orvaneConfig.cmake ${PROJECT_BINARY_DIR}/orvaneConfigVersion.cmake
    DESTINATION ${packageDir})

# Writes a library's two pkg-config files: for the build folder and for the installed tree.
function(orvane_pkgconfig name description requires private)
    set(PC_NAME ${name})
    set(PC_DESCRIPTION ${description})
    set(PC_REQUIRES ${requires})
    set(PC_PRIVATE ${private})

    set(PC_PREFIX ${PROJECT_BINARY_DIR})
    set(PC_LIBDIR "\${prefix}/lib")
    set(PC_INCLUDEDIR "\${prefix}/include")
    set(PC_STATICDIR "\${prefix}/lib")
    set(PC_LIBS "-Wl,-rpath,\${libdir}")
    set(PC_CFLAGS "-I${PROJECT_SOURCE_DIR}/include")
    configure_file(cmake/orvane.pc.in ${PROJECT_BINARY_DIR}/lib/pkgconfig/${name}.pc @ONLY)

    file(RELATIVE_PATH toPrefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
    string(REGEX REPLACE "/$" "" toPrefix "${toPrefix}")
    set(PC_PREFIX "\${pcfiledir}/${toPrefix}")
    set(PC_LIBDIR "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
    set(PC_INCLUDEDIR "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
    set(PC_STATICDIR "\${prefix}/${ORVANE_STATIC_DIR}")
    set(PC_LIBS "")
    set(PC_CFLAGS "")
    configure_file(cmake/orvane.pc.in ${PROJECT_BINARY_DIR}/installed/${name}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/installed/${name}.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()

# In a static link only these libraries are static; the others are linked as usual.
orvane_pkgconfig(orvane "Client library for a SOAP management service" "glib-2.0 gobject-2.0"
    "-lxml2 -lcurl -lstdc++ -ldl -lm -pthread")
orvane_pkgconfig(orvane-glib "liborvane on a GMainContext" "orvane gio-2.0" "")
orvane_pkgconfig(orvane-json "Objects of liborvane as JSON" "orvane" "-ljson-glib-1.0")

# Last: the installed files, from which "dev uninstall" removes them.
install(CODE "
    set(manifest \"\${CMAKE_INSTALL_PREFIX}/share/orvane/installed-files\")
    set(names)
    foreach(path IN LISTS CMAKE_INSTALL_MANIFEST_FILES ITEMS \"\${manifest}\")
        file(RELATIVE_PATH name \"\${CMAKE_INSTALL_PREFIX}\" \"\${path}\")
        string(APPEND names \"\${name}\\n\")
    endforeach()
    file(WRITE \"\$ENV{DESTDIR}\${manifest}\" \"\${names}\")")

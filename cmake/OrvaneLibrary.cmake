# liborvane.so, with only the names of exports.map let out, and orvane_internal: the same objects as a
# static library for tests and benches that need the inside.

set(modules)
foreach(module misc lock ssl crypto keyLocator basicHttp schemaText schema runtime)
    if(TARGET ${module})
        list(APPEND modules ${module})
    endif()
endforeach()

if(modules)
    add_library(orvane SHARED)
    target_link_libraries(orvane PRIVATE ${modules})
    target_include_directories(orvane INTERFACE
        $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
        $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/include>
        $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
    target_link_libraries(orvane INTERFACE PkgConfig::GLIB)
    set_target_properties(orvane PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION 1)
    target_link_options(orvane PRIVATE
        -Wl,--version-script=${PROJECT_SOURCE_DIR}/exports.map -Wl,--no-undefined -Wl,-z,now -Wl,--as-needed
        -Wl,-z,nodelete # OpenSSL keeps callbacks of it for ever
        -Wl,-Bsymbolic-functions) # its own calls need no look-up in all libraries of the process
    set_target_properties(orvane PROPERTIES LINK_DEPENDS ${PROJECT_SOURCE_DIR}/exports.map)
    if(ORVANE_SANITIZE MATCHES address OR ORVANE_SANITIZE MATCHES thread)
        # clang leaves the sanitizer's symbols to the program
        target_link_options(orvane PRIVATE $<$<CXX_COMPILER_ID:Clang>:-Wl,-z,undefs>)
    endif()

    add_library(orvane_internal STATIC)
    target_link_libraries(orvane_internal PUBLIC ${modules})

    # opened at run time, so whatever contains the library needs them built
    foreach(library orvane orvane_internal)
        add_dependencies(${library} openssl102-crypto openssl102-ssl)
    endforeach()
endif()

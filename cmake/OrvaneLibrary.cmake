# liborvane.so, which exports the names of exports.map only; orvane-static, its form for static links; and
# orvane_internal: the same objects as a static library for tests, benches and programs that need the inside. The foundation that
# no exported function reaches is in that one only.

# Adds a static library with one object, made of the objects of modules. All names but those of exports.map become
# local, so several such libraries can be in one program; templates that they share are in each.
function(orvane_static_library name file)
    set(objects)
    foreach(module ${ARGN})
        list(APPEND objects "$<FILTER:$<TARGET_OBJECTS:${module}>,INCLUDE,\\.o$>") # no precompiled header
    endforeach()
    file(STRINGS ${PROJECT_SOURCE_DIR}/exports.map exported REGEX "^    [A-Za-z_]+\\*;$")
    list(TRANSFORM exported REPLACE " *([A-Za-z_]+\\*);" "--keep-global-symbol=\\1" OUTPUT_VARIABLE keep)
    set(whole ${PROJECT_BINARY_DIR}/static/${file}.o)
    file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/static)
    add_custom_command(OUTPUT ${whole}
        COMMAND ${CMAKE_LINKER} -r --force-group-allocation -o ${whole} ${objects}
        COMMAND ${CMAKE_OBJCOPY} --strip-debug --wildcard ${keep} ${whole}
        DEPENDS ${objects} COMMAND_EXPAND_LISTS VERBATIM
        COMMENT "Joining the objects of lib${file}.a")
    add_library(${name} STATIC EXCLUDE_FROM_ALL ${whole})
    set_target_properties(${name} PROPERTIES LINKER_LANGUAGE CXX OUTPUT_NAME ${file}
        ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/static)
endfunction()

set(modules)
foreach(module misc lock ssl crypto keyLocator basicHttp schemaText schema runtime)
    if(TARGET ${module})
        list(APPEND modules ${module})
    endif()
endforeach()

# what the programs use, and liborvane does not
set(programModules unicode file dict config user log sig)

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
        -Wl,-z,nodelete # OpenSSL keeps callbacks of it
        -Wl,-Bsymbolic-functions) # its own calls need no look-up in all libraries of the process
    set_target_properties(orvane PROPERTIES LINK_DEPENDS ${PROJECT_SOURCE_DIR}/exports.map)
    if(ORVANE_SANITIZE MATCHES address OR ORVANE_SANITIZE MATCHES thread)
        # clang leaves the sanitizer's symbols to the program
        target_link_options(orvane PRIVATE $<$<CXX_COMPILER_ID:Clang>:-Wl,-z,undefs>)
    endif()

    add_library(orvane_internal STATIC)
    target_link_libraries(orvane_internal PUBLIC ${modules} ${programModules})
    target_link_options(orvane_internal INTERFACE -Wl,-u,Panic_PostPanicMsg) # misc refers to it weakly

    # Internal names are local in it, so that none collides with one of the application. "dev install" builds it.
    orvane_static_library(orvane-static orvane ${modules})

    # opened at run time, so every program with the library depends on them
    foreach(library orvane orvane_internal)
        add_dependencies(${library} openssl102-crypto openssl102-ssl)
    endforeach()
endif()

# A shared library above the core, of one module: NAME, its static form, and MODULE_internal for programs that contain
# the library.
function(orvane_layer name module)
    add_library(${name} SHARED)
    target_link_libraries(${name} PRIVATE ${module} PUBLIC orvane)
    set_target_properties(${name} PROPERTIES
        VERSION ${PROJECT_VERSION} SOVERSION 1 LINK_DEPENDS ${PROJECT_SOURCE_DIR}/exports.map)
    target_link_options(${name} PRIVATE
        -Wl,--version-script=${PROJECT_SOURCE_DIR}/exports.map -Wl,--no-undefined -Wl,-z,now
        -Wl,--as-needed)
    if(ORVANE_SANITIZE MATCHES address OR ORVANE_SANITIZE MATCHES thread)
        # clang leaves the sanitizer's symbols to the program
        target_link_options(${name} PRIVATE $<$<CXX_COMPILER_ID:Clang>:-Wl,-z,undefs>)
    endif()
    orvane_static_library(${name}-static ${name} ${module})
    add_library(${module}_internal STATIC)
    target_link_libraries(${module}_internal PUBLIC ${module} orvane_internal)
endfunction()

# Compiler flags, and one function for each kind of target.
#
#   orvane_module(name ...)    the .cpp files of this folder, and of the folders below it that are named,
#                              as an OBJECT library: a part of liborvane
#   orvane_program(name ...)   the .cpp files of this folder as a program in bin/
#   orvane_test(name ...)      the *Test.cpp files of this folder, and of those below it without a
#                              CMakeLists.txt, as one test program

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)

add_compile_options(
    -Wall -Wextra -Wshadow -Wconversion -Wno-sign-conversion
    $<$<BOOL:${ORVANE_WERROR}>:-Werror>
    $<$<COMPILE_LANGUAGE:CXX>:-Wno-missing-field-initializers>
    # such symbols cannot be made local in a static library; clang-tidy, which reads a Debug build, does not know it
    $<$<AND:$<CXX_COMPILER_ID:GNU>,$<NOT:$<CONFIG:Debug>>>:-fno-gnu-unique>
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
add_compile_definitions(
    _GNU_SOURCE
    GLIB_VERSION_MIN_REQUIRED=GLIB_VERSION_2_30)

if(ORVANE_FUZZ)
    # a fuzzer needs coverage of all code
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()
if(ORVANE_SANITIZE)
    add_compile_options(-fsanitize=${ORVANE_SANITIZE} -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${ORVANE_SANITIZE})
    if(ORVANE_SANITIZE MATCHES undefined)
        add_compile_options(-fno-sanitize-recover=undefined)
        # it needs the type information that the modules are compiled without
        add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-fno-sanitize=vptr>)
        # GLib calls functions through pointers of its own types: g_clear_pointer() for one
        add_compile_options($<$<CXX_COMPILER_ID:Clang>:-fno-sanitize=function>)
    endif()
endif()

# Headers that nearly all files of the library include, compiled once for all modules.
set(ORVANE_PCH
    <glib-object.h> <libxml/tree.h> <atomic> <array> <memory> <span> <string> <string_view> <vector>)

function(orvane_module name)
    set(patterns ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
    foreach(room ${ARGN})
        list(APPEND patterns ${CMAKE_CURRENT_SOURCE_DIR}/${room}/*.cpp)
    endforeach()
    file(GLOB sources CONFIGURE_DEPENDS ${patterns})
    if(NOT sources)
        return()
    endif()
    add_library(${name} OBJECT ${sources})
    target_compile_options(${name} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti>)
    target_include_directories(${name} PUBLIC
        ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include ${PROJECT_BINARY_DIR}/include)
    target_link_libraries(${name} PUBLIC PkgConfig::GLIB PkgConfig::LIBXML PkgConfig::CURL Threads::Threads)
    if(name STREQUAL misc)
        target_precompile_headers(${name} PRIVATE ${ORVANE_PCH})
    elseif(TARGET misc)
        target_precompile_headers(${name} REUSE_FROM misc)
    endif()
endfunction()

function(orvane_program name)
    file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
    if(NOT sources)
        return()
    endif()
    add_executable(${name} ${sources})
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
    target_link_libraries(${name} PRIVATE ${ARGN})
endfunction()

function(orvane_test name)
    set(patterns ${CMAKE_CURRENT_SOURCE_DIR}/*Test.cpp)
    file(GLOB rooms LIST_DIRECTORIES true ${CMAKE_CURRENT_SOURCE_DIR}/*)
    foreach(room ${rooms})
        if(IS_DIRECTORY ${room} AND NOT EXISTS ${room}/CMakeLists.txt)
            list(APPEND patterns ${room}/*Test.cpp)
        endif()
    endforeach()
    file(GLOB sources CONFIGURE_DEPENDS ${patterns})
    if(NOT sources)
        return()
    endif()
    add_executable(${name} ${sources})
    # g++ 12 sees copies past the end in std::string's own "text" + string
    target_compile_options(${name} PRIVATE
        "$<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:-Wno-array-bounds;-Wno-restrict;-Wno-stringop-overflow;-Wno-stringop-overread>")
    target_link_libraries(${name} PRIVATE testSupport ${ARGN})
    target_precompile_headers(${name} REUSE_FROM testSupport)
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST PROPERTIES TIMEOUT 900)
endfunction()

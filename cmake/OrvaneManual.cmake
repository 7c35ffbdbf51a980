# The manual: the programs write their pages to the build folder's share/man.
set(man ${PROJECT_BINARY_DIR}/share/man/man1)
add_custom_command(OUTPUT ${PROJECT_BINARY_DIR}/share/man/made
    COMMAND ${CMAKE_COMMAND} -E rm -rf ${man}
    COMMAND ${CMAKE_COMMAND} -E env LC_ALL=C ASAN_OPTIONS=detect_leaks=0 $<TARGET_FILE:orvane-cli> --write-manual ${man}
    COMMAND ${CMAKE_COMMAND} -E env ASAN_OPTIONS=detect_leaks=0 $<TARGET_FILE:orvane-simulator> --write-manual ${man}
    COMMAND ${CMAKE_COMMAND} -E touch ${PROJECT_BINARY_DIR}/share/man/made
    DEPENDS orvane-cli orvane-simulator COMMENT "Making the manual")
add_custom_target(manualPages ALL DEPENDS ${PROJECT_BINARY_DIR}/share/man/made)
install(DIRECTORY ${man} DESTINATION ${CMAKE_INSTALL_MANDIR})

# Installs the build into a scratch prefix and checks that everything lands where desktops, man
# and the shell look for it, and that the desktop entry and the AppStream file are valid.
file(REMOVE_RECURSE ${PREFIX})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${PREFIX}
    RESULT_VARIABLE result OUTPUT_QUIET)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "cmake --install failed: ${result}")
endif()
foreach(path
        bin/ostrel-recovery
        bin/ostrel-instrument-sim
        share/applications/${APP_ID}.desktop
        share/metainfo/${APP_ID}.metainfo.xml
        share/man/man1/ostrel-recovery.1)
    if(NOT EXISTS ${PREFIX}/${path})
        message(FATAL_ERROR "not installed: ${path}")
    endif()
endforeach()
foreach(check
        "desktop-file-validate;${PREFIX}/share/applications/${APP_ID}.desktop"
        "appstreamcli;validate;--no-net;--pedantic;${PREFIX}/share/metainfo/${APP_ID}.metainfo.xml")
    execute_process(COMMAND ${check} RESULT_VARIABLE result OUTPUT_VARIABLE output
        ERROR_VARIABLE output)
    if(NOT result EQUAL 0 OR output MATCHES "warning|error|hint:")
        message(FATAL_ERROR "${check}:\n${output}")
    endif()
endforeach()
# The page itself goes nowhere; groff's complaints come on standard error.
execute_process(COMMAND man --warnings -l ${PREFIX}/share/man/man1/ostrel-recovery.1
    RESULT_VARIABLE result OUTPUT_QUIET ERROR_VARIABLE complaints)
if(NOT result EQUAL 0 OR NOT complaints STREQUAL "")
    message(FATAL_ERROR "the man page:\n${complaints}")
endif()

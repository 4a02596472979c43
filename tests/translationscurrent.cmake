# Fails when the committed translation template no longer holds exactly the texts of the sources:
# extracts them afresh, with the same options as the update-translations target, and compares.
# lupdate merges into a template that exists, which would keep the order of a run before.
file(REMOVE ${FRESH})
execute_process(
    COMMAND ${LUPDATE} ${LUPDATE_OPTIONS} -ts ${FRESH}
    WORKING_DIRECTORY ${SOURCE_DIR}
    RESULT_VARIABLE result
    OUTPUT_QUIET)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "lupdate failed: ${result}")
endif()
execute_process(
    COMMAND ${CMAKE_COMMAND} -E compare_files ${FRESH} ${SOURCE_DIR}/translations/ostrel-recovery.ts
    RESULT_VARIABLE different)
if(different)
    message(FATAL_ERROR "translations/ostrel-recovery.ts is stale: run "
                        "cmake --build --preset default --target update-translations")
endif()

# hvx_add_test(NAME LABEL label SOURCES ... LIBRARIES ...)
#
# Every test runs headless with its own home folders, so tests never touch the user's
# store or log and can run in parallel.
set(HVX_TEST_ROOT ${CMAKE_BINARY_DIR}/test-homes)
file(MAKE_DIRECTORY ${HVX_TEST_ROOT})
# Window and instance names are machine-wide (sockets named from the user and the session): a
# suffix from the build folder keeps runs of one test in two build folders apart.
string(MD5 HVX_TEST_SESSION_SUFFIX ${CMAKE_BINARY_DIR})
string(SUBSTRING ${HVX_TEST_SESSION_SUFFIX} 0 8 HVX_TEST_SESSION_SUFFIX)

function(hvx_add_test name)
    cmake_parse_arguments(ARG "" "LABEL;TIMEOUT" "SOURCES;LIBRARIES;ENVIRONMENT" ${ARGN})
    if(NOT ARG_LABEL)
        message(FATAL_ERROR "hvx_add_test(${name}): a LABEL (unit, ui, integration, e2e, slow) is required")
    endif()
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE Qt6::Test hvx_test_support ${ARG_LIBRARIES})
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
    add_test(NAME ${name} COMMAND ${name})

    set(home ${HVX_TEST_ROOT}/${name})
    file(MAKE_DIRECTORY ${home}/runtime ${home}/config ${home}/data)
    file(CHMOD ${home}/runtime DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 300)
    endif()
    set_tests_properties(${name} PROPERTIES
        LABELS ${ARG_LABEL}
        TIMEOUT ${ARG_TIMEOUT}
        ENVIRONMENT "QT_QPA_PLATFORM=offscreen;XDG_RUNTIME_DIR=${home}/runtime;XDG_CONFIG_HOME=${home}/config;XDG_DATA_HOME=${home}/data;HVX_REGISTRY=${home}/config/registry.sqlite3;HVX_SESSION=${name}-${HVX_TEST_SESSION_SUFFIX};HVX_BIN_DIR=${CMAKE_BINARY_DIR}/bin;${ARG_ENVIRONMENT}")
endfunction()

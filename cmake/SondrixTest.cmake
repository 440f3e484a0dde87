# sondrix_add_test(name LIBRARIES targets... [SOURCES files...] [PRIVATE_NETWORK]): one Qt Test
# program for ctest. Its source is <name>.cpp. With PRIVATE_NETWORK it runs in a network namespace
# of its own, so that it may send multicast.
function(sondrix_add_test name)
    cmake_parse_arguments(TEST "PRIVATE_NETWORK" "" "LIBRARIES;SOURCES" ${ARGN})
    add_executable(${name} ${name}.cpp ${TEST_SOURCES})
    target_link_libraries(${name} PRIVATE sondrix_build ${TEST_LIBRARIES} Qt5::Test)
    if(TEST_PRIVATE_NETWORK)
        add_test(NAME ${name}
            COMMAND "${PROJECT_SOURCE_DIR}/tests/private_network.sh" $<TARGET_FILE:${name}>)
        set_tests_properties(${name} PROPERTIES SKIP_RETURN_CODE 77)
    else()
        add_test(NAME ${name} COMMAND ${name})
    endif()
    set_tests_properties(${name} PROPERTIES TIMEOUT 300)
endfunction()

# sondrix_add_test(name LIBRARIES targets... [SOURCES files...] [PRIVATE_NETWORK]): one Qt Test
# program for ctest. Its source is <name>.cpp. With PRIVATE_NETWORK it runs in a network namespace
# of its own, so that it may send multicast; a system without such namespaces builds it only. Wine does a
# program's sockets in its server, so that it needs one of that network.
function(sondrix_add_test name)
    cmake_parse_arguments(TEST "PRIVATE_NETWORK" "" "LIBRARIES;SOURCES" ${ARGN})
    add_executable(${name} ${name}.cpp ${TEST_SOURCES})
    target_link_libraries(${name} PRIVATE sondrix_build ${TEST_LIBRARIES} Qt5::Test)
    if(NOT TEST_PRIVATE_NETWORK)
        add_test(NAME ${name} COMMAND ${name})
    elseif(CMAKE_HOST_WIN32)
        return()
    else()
        set(runner)
        if(CMAKE_CROSSCOMPILING)
            set(runner "${CMAKE_CROSSCOMPILING_EMULATOR}" --server)
        endif()
        add_test(NAME ${name}
            COMMAND "${PROJECT_SOURCE_DIR}/tests/private_network.sh" ${runner} $<TARGET_FILE:${name}>)
        set_tests_properties(${name} PROPERTIES SKIP_RETURN_CODE 77)
    endif()
    if(CMAKE_CROSSCOMPILING)
        # Wine takes its own time for datagrams and now and then hangs; the preset gives a test more tries.
        set_tests_properties(${name} PROPERTIES TIMEOUT 150)
    else()
        set_tests_properties(${name} PROPERTIES TIMEOUT 300)
    endif()
endfunction()

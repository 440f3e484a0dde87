# The build settings of every target, in one place.

set(CMAKE_AUTOMOC ON)
set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)

if(SONDRIX_IS_TOP_LEVEL AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    find_program(SONDRIX_CCACHE ccache)
    mark_as_advanced(SONDRIX_CCACHE)
    if(SONDRIX_CCACHE)
        set(CMAKE_CXX_COMPILER_LAUNCHER "${SONDRIX_CCACHE}")
    endif()
endif()

# What the project's own targets are compiled with. Linked PRIVATE, so that nothing of it reaches
# a program that uses the libraries.
add_library(sondrix_build INTERFACE)
target_compile_features(sondrix_build INTERFACE cxx_std_17)
target_compile_definitions(sondrix_build INTERFACE
    QT_NO_CAST_FROM_ASCII
    QT_NO_CAST_TO_ASCII
    QT_NO_FOREACH
    QT_USE_QSTRINGBUILDER
    QT_DEPRECATED_WARNINGS)
if(MSVC)
    target_compile_options(sondrix_build INTERFACE /W4 /utf-8 /permissive-)
    if(SONDRIX_WARNINGS_AS_ERRORS)
        target_compile_options(sondrix_build INTERFACE /WX)
    endif()
else()
    target_compile_options(sondrix_build INTERFACE
        -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
        -Wnon-virtual-dtor -Woverloaded-virtual)
    if(SONDRIX_WARNINGS_AS_ERRORS)
        target_compile_options(sondrix_build INTERFACE -Werror)
    endif()
endif()

# Sanitizers have to cover everything that is linked together, so they are set for the directory.
if(SONDRIX_SANITIZERS OR SONDRIX_BUILD_FUZZERS)
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
endif()

# What a fuzzer steers by: which branches of the libraries an input reaches, and the assertions of Qt
# and the standard library, which find what goes wrong without a wrong access to memory.
if(SONDRIX_BUILD_FUZZERS)
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        message(FATAL_ERROR "SONDRIX_BUILD_FUZZERS needs Clang with libFuzzer; "
            "the compiler is ${CMAKE_CXX_COMPILER_ID}")
    endif()
    add_compile_options(-fsanitize=fuzzer-no-link)
    add_compile_definitions(QT_FORCE_ASSERTS _GLIBCXX_ASSERTIONS)
endif()

# sondrix_add_library(name sources...): a static library of the project, used by
# #include "folder/header.h" from the root of the repository.
function(sondrix_add_library name)
    add_library(${name} STATIC ${ARGN})
    target_include_directories(${name} PUBLIC "${PROJECT_SOURCE_DIR}")
    target_compile_features(${name} PUBLIC cxx_std_17)
    target_link_libraries(${name} PRIVATE sondrix_build)
endfunction()

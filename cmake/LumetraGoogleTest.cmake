# Tests are compiled quickly, against GTest::gtest, gtest_main and gmock. Debian's are built for this machine and the
# GNU C++ library; for any other they are built here, from the sources that its packages bring.
if(NOT CMAKE_CROSSCOMPILING AND NOT CMAKE_CXX_FLAGS MATCHES "-stdlib=libc\\+\\+")
    find_package(GTest REQUIRED)
elseif(NOT TARGET GTest::gtest)
    set(LUMETRA_GOOGLETEST_SOURCES /usr/src/googletest CACHE PATH "GoogleTest's sources")
    set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
    add_subdirectory(${LUMETRA_GOOGLETEST_SOURCES} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
    foreach(name gtest gtest_main gmock)
        if(NOT TARGET GTest::${name})
            add_library(GTest::${name} ALIAS ${name})
        endif()
    endforeach()
endif()
include(GoogleTest)

# lumetra_compile_test(TARGET): as lumetra_compile, but in half the time; a test's own code runs once.
function(lumetra_compile_test target)
    lumetra_compile(${target})
    target_compile_options(${target} PRIVATE -O0)
endfunction()

# Header-only; Debian's package has no CMake target. Never as a system directory: that would move
# /usr/include in front of the compiler's own folders and break #include_next.
find_path(RapidJSON_INCLUDE_DIR rapidjson/document.h)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(RapidJSON REQUIRED_VARS RapidJSON_INCLUDE_DIR)
if(RapidJSON_FOUND AND NOT TARGET RapidJSON::RapidJSON)
    add_library(RapidJSON::RapidJSON INTERFACE IMPORTED)
    if(NOT RapidJSON_INCLUDE_DIR IN_LIST CMAKE_CXX_IMPLICIT_INCLUDE_DIRECTORIES)
        set_target_properties(RapidJSON::RapidJSON PROPERTIES
            INTERFACE_INCLUDE_DIRECTORIES ${RapidJSON_INCLUDE_DIR})
    endif()
endif()

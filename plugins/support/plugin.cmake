# Builds one of the modules beside this folder: as part of LumetraCore, or on its own against an installed one.
#
#   lumetra_add_plugin(NAME source...)
#
# is lumetra_add_module() with what the modules share linked in.
if(PROJECT_IS_TOP_LEVEL AND NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE Release)
endif()
if(NOT TARGET LumetraCore::LumetraCore)
    find_package(LumetraCore REQUIRED)
endif()
find_package(nlohmann_json 3.9 REQUIRED)
find_package(Threads REQUIRED)

function(lumetra_compile_plugin target)
    target_compile_features(${target} PRIVATE cxx_std_20)
    if(COMMAND lumetra_compile)  # LumetraCore's own build, with its warnings and sanitizers
        lumetra_compile(${target})
    endif()
endfunction()

if(NOT TARGET lumetra_plugin_support)
    add_subdirectory(${CMAKE_CURRENT_LIST_DIR} ${CMAKE_BINARY_DIR}/plugins/support)
endif()

function(lumetra_add_plugin name)
    lumetra_add_module(${name} ${ARGN})
    target_link_libraries(${name} PRIVATE lumetra_plugin_support)
    lumetra_compile_plugin(${name})
    lumetra_install_module(${name})
    set_property(GLOBAL APPEND PROPERTY lumetra_plugins ${name})
endfunction()

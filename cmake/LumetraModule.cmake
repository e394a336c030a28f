# Builds plug-in modules.
#
#   lumetra_add_module(NAME source...)
#
# makes NAME.framework/NAME below LUMETRA_MODULE_DIRECTORY (by default modules/ in the build folder), from
# which a host that runs in that folder loads it by the name NAME. The target is called NAME too; link
# what the module needs to it. Version and description of the project() that calls this become the module's own,
# part of the stamp that lumetra-inspect reads. On Apple the folder is a framework, of that version too.
include(${CMAKE_CURRENT_LIST_DIR}/LumetraFramework.cmake)

# By default g++ gives an inline function's statics unique symbols, and the loader never unmaps a library
# that has one.
function(lumetra_unloadable target)
    target_compile_options(${target} PRIVATE
        $<$<AND:$<COMPILE_LANGUAGE:CXX>,$<CXX_COMPILER_ID:GNU>>:-fno-gnu-unique>)
endfunction()

# What the module was built with and what its project says of it.
function(lumetra_stamp target)
    set(stamp_version "${PROJECT_VERSION}")
    string(REGEX REPLACE "[\"\\\n]" "'" stamp_description "${PROJECT_DESCRIPTION}")
    set(source ${CMAKE_CURRENT_BINARY_DIR}/${target}_stamp.cpp)
    file(CONFIGURE OUTPUT ${source} @ONLY CONTENT [[
#include <LumetraCore/ModuleStamp.h>
LUMETRA_STAMP_MODULE("@stamp_version@", "@stamp_description@")
]])
    target_sources(${target} PRIVATE ${source})
endfunction()

function(lumetra_add_module name)
    if(NOT LUMETRA_MODULE_DIRECTORY)
        set(LUMETRA_MODULE_DIRECTORY ${CMAKE_BINARY_DIR}/modules)
    endif()
    if(APPLE)
        # An application may only contain frameworks that could be linked to, which loading needs no more.
        add_library(${name} SHARED ${ARGN})
        set_target_properties(${name} PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${LUMETRA_MODULE_DIRECTORY})
        set(version 1.0)
        if(PROJECT_VERSION)
            set(version ${PROJECT_VERSION})
        endif()
        lumetra_make_framework(${name} org.lumetracore.module.${name} ${version})
    else()
        add_library(${name} MODULE ${ARGN})
        set_target_properties(${name} PROPERTIES
            PREFIX ""
            SUFFIX ""
            DEBUG_POSTFIX ""
            LIBRARY_OUTPUT_DIRECTORY $<1:${LUMETRA_MODULE_DIRECTORY}/${name}.framework>)  # without a folder for Debug
    endif()
    set_target_properties(${name} PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
    target_compile_features(${name} PRIVATE cxx_std_17)
    target_include_directories(${name} PRIVATE
        $<TARGET_PROPERTY:LumetraCore::LumetraCore,INTERFACE_INCLUDE_DIRECTORIES>)
    lumetra_unloadable(${name})
    lumetra_stamp(${name})
endfunction()

#   lumetra_install_module(NAME)
#
# has it installed as NAME.framework/NAME below LUMETRA_MODULE_INSTALL_DIRECTORY, by default the folder below the prefix
# in which the tools of a LumetraCore that is installed there look for modules.
function(lumetra_install_module name)
    if(APPLE)
        install(TARGETS ${name} FRAMEWORK DESTINATION ${LUMETRA_MODULE_INSTALL_DIRECTORY} COMPONENT Modules)
    else()
        install(TARGETS ${name} COMPONENT Modules
            LIBRARY DESTINATION ${LUMETRA_MODULE_INSTALL_DIRECTORY}/${name}.framework)
    endif()
endfunction()

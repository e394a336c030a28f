# What is built only where its packages are, and the summary that names what was left out.
#
#   lumetra_optional_part(NAME NEEDS [variable...])
#
# notes the part as built if all variables are true, else as left out because NEEDS are missing, and sets
# LUMETRA_PART_BUILT in the caller accordingly.

function(lumetra_optional_part name needs)
    set(built ON)
    foreach(variable IN LISTS ARGN)
        if(NOT ${variable})
            set(built OFF)
        endif()
    endforeach()
    if(built)
        set_property(GLOBAL APPEND PROPERTY lumetra_parts_built ${name})
    else()
        set_property(GLOBAL APPEND PROPERTY lumetra_parts_left_out "${name}: needs ${needs}")
    endif()
    set(LUMETRA_PART_BUILT ${built} PARENT_SCOPE)
endfunction()

function(lumetra_report_parts)
    get_property(built GLOBAL PROPERTY lumetra_parts_built)
    get_property(left_out GLOBAL PROPERTY lumetra_parts_left_out)
    list(PREPEND built library)
    list(JOIN built ", " built)
    message(STATUS "LumetraCore ${PROJECT_VERSION}, ${CMAKE_BUILD_TYPE}: builds ${built}")
    foreach(part IN LISTS left_out)
        message(STATUS "  left out: ${part}")
    endforeach()
endfunction()

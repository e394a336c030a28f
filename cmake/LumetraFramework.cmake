# Bundles for Apple's systems, of the library and of its modules.
#
#   lumetra_make_framework(TARGET IDENTIFIER VERSION)
#
# turns a shared library into TARGET.framework with an Info.plist; does nothing on other systems. Setting the
# target's MACOSX_FRAMEWORK_IDENTIFIER afterwards gives it another identifier.

function(lumetra_make_framework target identifier version)
    if(NOT APPLE)
        return()
    endif()
    if(NOT IOS)
        set(platform MacOSX)
        set(minimum_version_key LSMinimumSystemVersion)
    else()
        set(minimum_version_key MinimumOSVersion)
        if(CMAKE_OSX_SYSROOT MATCHES "[Ss]imulator")
            set(platform iPhoneSimulator)
        else()
            set(platform iPhoneOS)
        endif()
    endif()
    set(minimum_version ${CMAKE_OSX_DEPLOYMENT_TARGET})
    # What belongs to the target is filled in when the build is written, as its properties are then.
    set(info_plist ${CMAKE_CURRENT_BINARY_DIR}/${target}-Info.plist.in)
    configure_file(${CMAKE_CURRENT_FUNCTION_LIST_DIR}/apple/Info.plist.in ${info_plist} @ONLY)

    string(REGEX REPLACE "[^A-Za-z0-9.]" "-" identifier ${identifier})  # nothing else is allowed in one
    set_target_properties(${target} PROPERTIES
        FRAMEWORK TRUE
        FRAMEWORK_VERSION A
        MACOSX_FRAMEWORK_IDENTIFIER ${identifier}
        MACOSX_FRAMEWORK_BUNDLE_VERSION ${version}
        MACOSX_FRAMEWORK_SHORT_VERSION_STRING ${version}
        MACOSX_FRAMEWORK_INFO_PLIST ${info_plist})
endfunction()

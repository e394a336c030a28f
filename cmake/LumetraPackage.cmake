# What CPack makes of the installation: an archive of all of it, and a Debian package for each component.
set(CPACK_GENERATOR TGZ)
if(NOT APPLE AND NOT CMAKE_CROSSCOMPILING)  # what another machine's package depends on is unknown here
    list(APPEND CPACK_GENERATOR DEB)
endif()
set(CPACK_PACKAGE_NAME LumetraCore)
set(CPACK_PACKAGE_VENDOR LumetraCore)
set(CPACK_PACKAGE_CONTACT "LumetraCore developers <developers@lumetracore.invalid>" CACHE STRING
    "Maintainer that packages name")
set(CPACK_SYSTEM_NAME ${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR})
set(CPACK_PACKAGE_CHECKSUM SHA256)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/lib)
set(CPACK_LUMETRA_MULTIARCH ${CMAKE_LIBRARY_ARCHITECTURE})
set(CPACK_LUMETRA_LICENCE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/debian/files.cmake)
# The library's number is in its package's name, so that two of them can be installed at once.
set(runtime_package liblumetracore${PROJECT_VERSION_MAJOR})

# Which package programs depend on that are linked to the library, and that the loader has to learn of it.
file(WRITE ${PROJECT_BINARY_DIR}/package/shlibs
    "libLumetraCore ${PROJECT_VERSION_MAJOR} ${runtime_package} (>= ${PROJECT_VERSION})\n")
file(WRITE ${PROJECT_BINARY_DIR}/package/triggers "activate-noawait ldconfig\n")
# Were there no scripts in the list, CPack would write some that call ldconfig, which the trigger does.
set(scripts ${PROJECT_BINARY_DIR}/package/none/postinst ${PROJECT_BINARY_DIR}/package/none/postrm)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
    ${PROJECT_BINARY_DIR}/package/shlibs ${PROJECT_BINARY_DIR}/package/triggers ${scripts})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# lumetra_debian_package(COMPONENT NAME SECTION SUMMARY DESCRIPTION [DEPENDS...])
macro(lumetra_debian_package component name section summary description)
    string(TOUPPER ${component} upper)
    set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name})
    set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section})
    set(CPACK_COMPONENT_${upper}_DESCRIPTION "${summary}\n${description}")
    set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS ${ARGN})
    list(JOIN CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS ", " CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS)
endmacro()
lumetra_debian_package(Runtime ${runtime_package} libs "camera frames as grey pyramids for plug-in modules"
"A host pushes the frames of its camera in; LumetraCore turns each into 8-bit
grey with a pyramid of eight levels on a pool of workers and hands it to
every loaded plug-in module.")
lumetra_debian_package(Development liblumetracore-dev libdevel "headers of LumetraCore for hosts and modules"
"The headers of LumetraCore and what CMake and pkg-config need to find it."
    "${runtime_package} (= ${PROJECT_VERSION})")
lumetra_debian_package(Tools lumetracore-tools video "play video through LumetraCore, examine its modules"
"lumetra-play plays clips, cameras and pipes through the library and shows
what becomes of them; lumetra-inspect says whether a host can load a module."
    "${runtime_package} (= ${PROJECT_VERSION})" "lumetracore-modules (= ${PROJECT_VERSION})")
lumetra_debian_package(Modules lumetracore-modules video "plug-in modules for hosts of LumetraCore"
"Modules that any host of LumetraCore can load, among them one that measures
frames, one that reads a camera and one that shows frames as a web page."
    "${runtime_package} (= ${PROJECT_VERSION})")
lumetra_debian_package(Documentation lumetracore-doc doc "guides, reference pages and examples of LumetraCore"
"Guides, reference pages, hosts and modules to copy, and the bindings for other
languages.")
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_ARCHITECTURE all)
lumetra_debian_package(Python python3-lumetracore python "LumetraCore for hosts in Python"
"The engine, its modules and the frames that modules see, as numpy arrays."
    "${runtime_package} (= ${PROJECT_VERSION})" "lumetracore-modules (= ${PROJECT_VERSION})" "python3:any"
    "python3-numpy")
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA
    ${CMAKE_CURRENT_LIST_DIR}/debian/python/postinst ${CMAKE_CURRENT_LIST_DIR}/debian/python/prerm)
foreach(component RUNTIME TOOLS MODULES)
    set(CPACK_DEBIAN_${component}_PACKAGE_SHLIBDEPS ON)
endforeach()
include(CPack)

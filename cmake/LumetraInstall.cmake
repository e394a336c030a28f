# What `cmake --install` puts where, and what CPack makes of it: an archive, and a Debian package for running
# programs beside one for building them. All of it finds its parts relative to itself, so that a folder may be
# moved after installing.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}" OR IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
    message(FATAL_ERROR "the installation may be moved: CMAKE_INSTALL_LIBDIR and CMAKE_INSTALL_INCLUDEDIR are "
        "folders inside of it")
endif()
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/LumetraCore)
set(generated_dir ${PROJECT_BINARY_DIR}/package)

install(TARGETS LumetraCore EXPORT LumetraCoreTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime NAMELINK_COMPONENT Development
    FRAMEWORK DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
# With a framework too, which has its own copy: modules are built against the headers alone.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/LumetraCore DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    COMPONENT Development FILES_MATCHING PATTERN "*.h")

install(EXPORT LumetraCoreTargets NAMESPACE LumetraCore:: DESTINATION ${package_dir} COMPONENT Development)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/LumetraCoreConfig.cmake.in
    ${generated_dir}/LumetraCoreConfig.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${generated_dir}/LumetraCoreConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES
    ${generated_dir}/LumetraCoreConfig.cmake
    ${generated_dir}/LumetraCoreConfigVersion.cmake
    ${PROJECT_SOURCE_DIR}/cmake/LumetraFramework.cmake
    ${PROJECT_SOURCE_DIR}/cmake/LumetraModule.cmake
    DESTINATION ${package_dir} COMPONENT Development)
install(FILES ${PROJECT_SOURCE_DIR}/cmake/apple/Info.plist.in DESTINATION ${package_dir}/apple
    COMPONENT Development)

if(NOT APPLE)
    # Two folders up, or three with an architecture's.
    cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
        BASE_DIRECTORY ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig OUTPUT_VARIABLE prefix_from_pkgconfig)
    configure_file(${PROJECT_SOURCE_DIR}/cmake/LumetraCore.pc.in ${generated_dir}/LumetraCore.pc @ONLY)
    install(FILES ${generated_dir}/LumetraCore.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT Development)
endif()

if(PROJECT_IS_TOP_LEVEL)
    set(CPACK_GENERATOR TGZ)
    set(CPACK_PACKAGE_NAME LumetraCore)
    set(CPACK_PACKAGE_VENDOR LumetraCore)
    set(CPACK_PACKAGE_CONTACT "LumetraCore developers <lumetracore@localhost>")
    set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "camera frames as grey pyramids for plug-in modules")
    set(CPACK_SYSTEM_NAME ${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR})
    set(CPACK_PACKAGE_CHECKSUM SHA256)
    set(CPACK_STRIP_FILES ON)
    set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
        OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

    # The library's number is in its package's name, so that two of them can be installed at once.
    if(NOT APPLE AND NOT CMAKE_CROSSCOMPILING)  # what another machine's package depends on is unknown here
        list(APPEND CPACK_GENERATOR DEB)
    endif()
    set(runtime_package liblumetracore${PROJECT_VERSION_MAJOR})
    set(CPACK_DEB_COMPONENT_INSTALL ON)
    set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
    set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
    set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${runtime_package})
    set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
    set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
    set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
"A host pushes the frames of its camera in; LumetraCore turns each into 8-bit
grey with a pyramid of eight levels on a pool of workers and hands it to
every loaded plug-in module.")
    set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME liblumetracore-dev)
    set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
    set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${runtime_package} (= ${PROJECT_VERSION})")
    set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
"The headers of LumetraCore for hosts and modules, and what CMake and
pkg-config need to find it.")
    include(CPack)
endif()

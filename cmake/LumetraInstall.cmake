# What `cmake --install` puts where, by components: Runtime, Development, Python, Documentation; the rules of tools and
# modules are with them. All of it finds its parts relative to itself, so that a folder may be moved after installing.
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
    ${generated_dir}/LumetraCoreConfig.cmake INSTALL_DESTINATION ${package_dir}
    PATH_VARS LUMETRA_MODULE_INSTALL_DIRECTORY)
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

# Where Debian's Python looks below /usr.
if(EXISTS ${PROJECT_SOURCE_DIR}/bindings/python)
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/bindings/python/lumetracore DESTINATION lib/python3/dist-packages
        COMPONENT Python FILES_MATCHING PATTERN "*.py" PATTERN py.typed PATTERN __pycache__ EXCLUDE)
endif()

# As in the sources, so that links between the documents hold.
set(documents ${CMAKE_INSTALL_DATADIR}/doc/lumetracore)
install(FILES README.md CHANGELOG.md CONTRIBUTING.md DESTINATION ${documents} COMPONENT Documentation)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include DESTINATION ${documents} COMPONENT Documentation
    FILES_MATCHING PATTERN "*.h")
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs ${PROJECT_SOURCE_DIR}/examples ${PROJECT_SOURCE_DIR}/bindings
    ${PROJECT_SOURCE_DIR}/plugins
    DESTINATION ${documents} COMPONENT Documentation
    PATTERN Doxyfile EXCLUDE PATTERN __pycache__ EXCLUDE
    PATTERN py.typed EXCLUDE)  # empty, which Debian wants no document to be
if(TARGET reference)
    install(DIRECTORY ${PROJECT_BINARY_DIR}/reference DESTINATION ${documents} COMPONENT Documentation OPTIONAL)
endif()

# cmake --install: libraries, tools, public headers, CMake package and pkg-config file.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/vsdkdb)
file(RELATIVE_PATH vsdk_pc_to_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})

install(TARGETS vsdkdb vsdkplatform EXPORT vsdkdbTargets
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vsdkdb)
install(EXPORT vsdkdbTargets NAMESPACE vsdkdb:: DESTINATION ${package_dir})

# Before 1.0 a minor version may change the interface.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/vsdkdbConfigVersion.cmake COMPATIBILITY SameMinorVersion)
configure_package_config_file(cmake/vsdkdbConfig.cmake.in ${PROJECT_BINARY_DIR}/vsdkdbConfig.cmake
    INSTALL_DESTINATION ${package_dir})
install(FILES ${PROJECT_BINARY_DIR}/vsdkdbConfig.cmake ${PROJECT_BINARY_DIR}/vsdkdbConfigVersion.cmake
    DESTINATION ${package_dir})

configure_file(cmake/vsdkdb.pc.in ${PROJECT_BINARY_DIR}/vsdkdb.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vsdkdb.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

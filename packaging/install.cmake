# What `cmake --install` puts where: the library, its headers under include/libMpls (so that
# "platform/forma/Ptr.h" cannot meet a folder of somebody else), the programs, the CMake package
# `Mpls` with the target Mpls::Mpls, and libMpls.pc for pkg-config.
include(CMakePackageConfigHelpers)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/Mpls")

install(TARGETS Mpls EXPORT MplsTargets)
list(REMOVE_ITEM PROGRAMS label-damage) # for drills
if(PROGRAMS)
  install(TARGETS ${PROGRAMS})
endif()
foreach(dir IN ITEMS platform ldp mpls)
  if(IS_DIRECTORY "${PROJECT_SOURCE_DIR}/${dir}")
    install(DIRECTORY "${PROJECT_SOURCE_DIR}/${dir}"
            DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/libMpls"
            FILES_MATCHING PATTERN "*.h")
  endif()
endforeach()

install(EXPORT MplsTargets NAMESPACE Mpls:: DESTINATION "${package_dir}")
configure_package_config_file(packaging/MplsConfig.cmake.in
                              "${PROJECT_BINARY_DIR}/packaging/MplsConfig.cmake"
                              INSTALL_DESTINATION "${package_dir}"
                              NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
# Before 1.0 a minor release may change the ABI.
write_basic_package_version_file("${PROJECT_BINARY_DIR}/packaging/MplsConfigVersion.cmake"
                                 COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/packaging/MplsConfig.cmake"
              "${PROJECT_BINARY_DIR}/packaging/MplsConfigVersion.cmake"
        DESTINATION "${package_dir}")

configure_file(packaging/libMpls.pc.in "${PROJECT_BINARY_DIR}/packaging/libMpls.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/packaging/libMpls.pc"
        DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

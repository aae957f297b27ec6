# What `cmake --install` puts where, in the three parts that the Debian packages are made of:
#
#   library      libMpls.so.N
#   development  its headers under include/libMpls (so that "platform/forma/Ptr.h" cannot meet a
#                folder of somebody else), the CMake package `Mpls` with the target Mpls::mpls, and
#                libMpls.pc for pkg-config; the examples of the guides
#   programs     the agents and tools, documentation, systemd units and a tmpfiles.d entry,
#                the manual pages, and the bash completion of mplsctl
include(CMakePackageConfigHelpers)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/Mpls")

install(TARGETS Mpls EXPORT MplsTargets
        LIBRARY COMPONENT library NAMELINK_COMPONENT development
        INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/libMpls")
list(REMOVE_ITEM PROGRAMS label-damage) # for drills
install(TARGETS ${PROGRAMS} RUNTIME COMPONENT programs)
foreach(dir IN ITEMS platform ldp mpls)
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/${dir}"
          DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/libMpls" COMPONENT development
          FILES_MATCHING PATTERN "*.h")
endforeach()

install(EXPORT MplsTargets NAMESPACE Mpls:: DESTINATION "${package_dir}" COMPONENT development)
configure_package_config_file(packaging/MplsConfig.cmake.in
                              "${PROJECT_BINARY_DIR}/packaging/MplsConfig.cmake"
                              INSTALL_DESTINATION "${package_dir}"
                              NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/packaging/MplsConfigVersion.cmake"
                                 COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/packaging/MplsConfig.cmake"
              "${PROJECT_BINARY_DIR}/packaging/MplsConfigVersion.cmake"
        DESTINATION "${package_dir}" COMPONENT development)

configure_file(packaging/libMpls.pc.in "${PROJECT_BINARY_DIR}/packaging/libMpls.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/packaging/libMpls.pc"
        DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT development)

# systemd reads units below lib of its own prefix, whatever the architecture.
file(GLOB units CONFIGURE_DEPENDS RELATIVE "${PROJECT_SOURCE_DIR}/packaging/systemd"
     "packaging/systemd/*.service.in")
foreach(unit IN LISTS units)
  string(REPLACE ".in" "" name "${unit}")
  configure_file("packaging/systemd/${unit}" "${PROJECT_BINARY_DIR}/packaging/systemd/${name}"
                 @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/packaging/systemd/${name}" DESTINATION lib/systemd/system
          COMPONENT programs)
endforeach()
install(DIRECTORY docs/ DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT programs
        FILES_MATCHING PATTERN "*.md")
install(DIRECTORY examples DESTINATION "${CMAKE_INSTALL_DATADIR}/libMpls" COMPONENT development)
install(FILES packaging/man/mplsctl.1 DESTINATION "${CMAKE_INSTALL_MANDIR}/man1"
        COMPONENT programs)
# Pages of agents are made of what they print themselves, whenever they are linked.
if(NOT CMAKE_CROSSCOMPILING)
  set(pages "")
  foreach(program IN LISTS PROGRAMS)
    if(program STREQUAL mplsctl)
      continue()
    endif()
    set(page "${PROJECT_BINARY_DIR}/packaging/${program}.8")
    add_custom_command(OUTPUT "${page}" DEPENDS ${program} packaging/man/from-help VERBATIM
                       COMMAND "${PROJECT_SOURCE_DIR}/packaging/man/from-help"
                               "$<TARGET_FILE:${program}>" ${PROJECT_VERSION} > "${page}")
    list(APPEND pages "${page}")
  endforeach()
  add_custom_target(man-pages ALL DEPENDS ${pages})
  install(FILES ${pages} DESTINATION "${CMAKE_INSTALL_MANDIR}/man8" COMPONENT programs)
endif()
install(FILES packaging/completion/mplsctl
        DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" COMPONENT programs)
install(FILES packaging/systemd/mpls.conf DESTINATION lib/tmpfiles.d COMPONENT programs)

include(packaging/deb.cmake)

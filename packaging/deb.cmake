# The Debian packages, one for each part of install.cmake: libmpls1, libmpls-dev, mpls-tools.
# `./run deb` builds them.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME mpls)
set(CPACK_PACKAGE_VENDOR "libMpls")
set(CPACK_PACKAGE_CONTACT "The libMpls developers <mpls@localhost>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL library development programs)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libmpls${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "MPLS state of a network switch: shared library\n\
Values, entities and state machines of MPLS, and what they need: entities that\n\
replicate between processes, and tables in shared memory.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libmpls-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "${CPACK_DEBIAN_LIBRARY_PACKAGE_NAME} (= ${PROJECT_VERSION}-1)")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "MPLS state of a network switch: development files\n\
Headers, CMake package (Mpls::mpls) and pkg-config file of libMpls.")

set(CPACK_DEBIAN_PROGRAMS_PACKAGE_NAME mpls-tools)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_DEPENDS
    "${CPACK_DEBIAN_LIBRARY_PACKAGE_NAME} (= ${PROJECT_VERSION}-1), passwd")
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_CONTROL_EXTRA
    "${PROJECT_SOURCE_DIR}/packaging/deb/postinst;${PROJECT_SOURCE_DIR}/packaging/deb/prerm;${PROJECT_SOURCE_DIR}/packaging/deb/postrm")
set(CPACK_DEBIAN_PROGRAMS_DESCRIPTION "MPLS state of a network switch: agents and tools\n\
The database that agents share, agents for static routes, LDP and segment routing,\n\
the label manager, the writer and a reader of the label forwarding table, and\n\
mplsctl, which shows and verifies what they share.")
include(CPack)

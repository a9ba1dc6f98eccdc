# Debian packages, which `cpack` makes in a build folder with the prefix /usr; tools/package does it all.
#   libstkplugin       the plug-in
#   libstkplugin-dev   headers, CMake and pkg-config files, stkcard, the maker of the tone files
#   stk-dashboard      the open platform and the dashboard
set(package_of_plugin libstkplugin)
set(package_of_headers libstkplugin-dev)
set(package_of_dashboard stk-dashboard)

# Debian wants each package's history, terms and manual pages with it. They are installed by cpack only.
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(STK_DEBIAN_VERSION "${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}")
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "STKPlugin developers <stkplugin@example.org>")
string(TIMESTAMP STK_DEBIAN_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(packaging/changelog.Debian.in "${CMAKE_BINARY_DIR}/packaging/changelog.Debian" @ONLY)
find_program(STK_GZIP gzip)
mark_as_advanced(STK_GZIP)

# stk_install_paper(<component> <file> <destination>): compressed, as Debian wants it, when the component is installed
function(stk_install_paper component file destination)
  get_filename_component(name "${file}" NAME)
  set(compressed "${CMAKE_BINARY_DIR}/packaging/${name}.gz")
  install(CODE "execute_process(COMMAND \"${STK_GZIP}\" -9nc \"${file}\" OUTPUT_FILE \"${compressed}\"
      COMMAND_ERROR_IS_FATAL ANY)" COMPONENT ${component}-papers EXCLUDE_FROM_ALL)
  install(FILES "${compressed}" DESTINATION "${destination}" COMPONENT ${component}-papers EXCLUDE_FROM_ALL)
endfunction()

foreach(component plugin headers dashboard)
  set(papers "${CMAKE_INSTALL_DATADIR}/doc/${package_of_${component}}")
  stk_install_paper(${component} "${CMAKE_BINARY_DIR}/packaging/changelog.Debian" "${papers}")
  install(FILES packaging/copyright DESTINATION "${papers}" COMPONENT ${component}-papers EXCLUDE_FROM_ALL)
endforeach()
set(manual "${PROJECT_SOURCE_DIR}/packaging")
stk_install_paper(headers "${manual}/stk-make-tones.1" "${CMAKE_INSTALL_MANDIR}/man1")
stk_install_paper(headers "${manual}/stkcard.1" "${CMAKE_INSTALL_MANDIR}/man1")
stk_install_paper(dashboard "${manual}/stk-dashboard.1" "${CMAKE_INSTALL_MANDIR}/man1")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_DIRECTORY "${CMAKE_BINARY_DIR}/packages")
set(CPACK_PACKAGE_NAME stkplugin)
set(CPACK_PACKAGE_VENDOR "STKPlugin developers")
set(CPACK_PACKAGE_HOMEPAGE_URL "")
set(CPACK_PACKAGING_INSTALL_PREFIX "${CMAKE_INSTALL_PREFIX}")
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_COMPONENTS_ALL
  plugin plugin-papers headers tools headers-papers platform dashboard dashboard-papers)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE stkplugin)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_BINARY_DIR}/lib")

set(CPACK_DEBIAN_LIBSTKPLUGIN_PACKAGE_NAME libstkplugin)
set(CPACK_DEBIAN_LIBSTKPLUGIN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBSTKPLUGIN_PACKAGE_ENHANCES stk-dashboard)
set(CPACK_DEBIAN_LIBSTKPLUGIN_DESCRIPTION "SIM Toolkit window for a desktop dashboard
A Qt plug-in that shows the menu and the questions of a SIM card and takes
the user's answers. A host application loads it and brings the libraries that
it needs for talking to the card: stk-dashboard is such a host.")

set(CPACK_DEBIAN_LIBSTKPLUGIN-DEV_PACKAGE_NAME libstkplugin-dev)
set(CPACK_DEBIAN_LIBSTKPLUGIN-DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_LIBSTKPLUGIN-DEV_PACKAGE_SUGGESTS "pcscd, vsmartcard-vpcd")
set(CPACK_DEBIAN_LIBSTKPLUGIN-DEV_PACKAGE_DEPENDS "libstkplugin (= ${STK_DEBIAN_VERSION}), \
stk-dashboard (= ${STK_DEBIAN_VERSION}), qtbase5-dev")
set(CPACK_DEBIAN_LIBSTKPLUGIN-DEV_DESCRIPTION "SIM Toolkit window for a desktop dashboard: development files
Headers of the interfaces between the plug-in and its host, with files for
CMake and pkg-config, a maker of the tone files that a host installs beside the
plug-in, and stkcard for those who write card applications: it puts a virtual
card into a PC/SC reader, checks cards, decodes and encodes their commands.")

set(CPACK_DEBIAN_STK-DASHBOARD_PACKAGE_NAME stk-dashboard)
set(CPACK_DEBIAN_STK-DASHBOARD_PACKAGE_SECTION comm)
set(CPACK_DEBIAN_STK-DASHBOARD_PACKAGE_DEPENDS "libstkplugin (= ${STK_DEBIAN_VERSION})")
set(CPACK_DEBIAN_STK-DASHBOARD_PACKAGE_SUGGESTS "pcscd")
set(CPACK_DEBIAN_STK-DASHBOARD_DESCRIPTION "SIM Toolkit of a virtual or real card on the desktop
A small dashboard for a mobile broadband device. It loads the SIM Toolkit
plug-in and gives it a device with a virtual card, which a text file describes,
or with a real one in a PC/SC reader or a modem. Whoever writes card
applications or works on the plug-in sees here what a user sees, and every byte
that card and terminal exchange.")

include(CPack)
foreach(package libstkplugin libstkplugin-dev stk-dashboard)
  cpack_add_component_group(${package})
endforeach()
foreach(pair plugin:libstkplugin plugin-papers:libstkplugin
    headers:libstkplugin-dev tools:libstkplugin-dev headers-papers:libstkplugin-dev
    platform:stk-dashboard dashboard:stk-dashboard dashboard-papers:stk-dashboard)
  string(REPLACE ":" ";" pair "${pair}")
  list(GET pair 0 component)
  list(GET pair 1 package)
  cpack_add_component(${component} GROUP ${package})
endforeach()

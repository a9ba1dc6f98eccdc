# What is installed, by components:
#   plugin      libSTKPlugin
#   headers     the contracts in include/, for CMake and pkg-config; with the open platform also its control headers
#   platform    the open libraries, libsdk and libcore, and the tone files
#   dashboard   the host program, card profiles, its entry in the desktop's menu
#   tools       the tools for card authors, and the maker of the tone files for hosts that have none
include(CMakePackageConfigHelpers)

# --- plugin ---
install(TARGETS STKPlugin LIBRARY DESTINATION "${STK_INSTALL_PLUGINS}/STKPlugin" COMPONENT plugin)
set_target_properties(STKPlugin PROPERTIES INSTALL_RPATH "$ORIGIN/../..")

# --- headers ---
install(DIRECTORY include/plugin include/sdk include/core DESTINATION "${STK_INSTALL_HEADERS}" COMPONENT headers
  FILES_MATCHING PATTERN "*.h")
set(exported stk_qtcore stk_qtwidgets stk_plugin_api stk_sdk_api stk_core_api)
foreach(name qtcore qtwidgets plugin_api sdk_api core_api)
  string(REPLACE "_" "-" exported_name "${name}")
  set_target_properties(stk_${name} PROPERTIES EXPORT_NAME "${exported_name}")
endforeach()
install(TARGETS ${exported} EXPORT STKPluginTargets)
install(EXPORT STKPluginTargets NAMESPACE STKPlugin:: DESTINATION "${STK_INSTALL_CMAKE}" COMPONENT headers)

configure_package_config_file(cmake/STKPluginConfig.cmake.in "${CMAKE_BINARY_DIR}/cmake/STKPluginConfig.cmake"
  INSTALL_DESTINATION "${STK_INSTALL_CMAKE}" PATH_VARS STK_INSTALL_PLUGINS)
write_basic_package_version_file("${CMAKE_BINARY_DIR}/cmake/STKPluginConfigVersion.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES "${CMAKE_BINARY_DIR}/cmake/STKPluginConfig.cmake"
  "${CMAKE_BINARY_DIR}/cmake/STKPluginConfigVersion.cmake"
  DESTINATION "${STK_INSTALL_CMAKE}" COMPONENT headers)

if(STK_QT EQUAL 4)
  set(STK_PKGCONFIG_QT "QtGui")
else()
  set(STK_PKGCONFIG_QT "Qt5Widgets")
endif()
file(RELATIVE_PATH STK_PKGCONFIG_PREFIX "/${STK_INSTALL_PKGCONFIG}" "/")
string(REGEX REPLACE "/$" "" STK_PKGCONFIG_PREFIX "${STK_PKGCONFIG_PREFIX}")
function(stk_install_pkgconfig name)
  configure_file(cmake/${name}.pc.in "${CMAKE_BINARY_DIR}/cmake/${name}.pc" @ONLY)
  install(FILES "${CMAKE_BINARY_DIR}/cmake/${name}.pc" DESTINATION "${STK_INSTALL_PKGCONFIG}" COMPONENT headers)
endfunction()
stk_install_pkgconfig(stkplugin)

if(NOT STK_BUILD_PLATFORM)
  return()
endif()

# --- platform ---
set_target_properties(stk_sdk PROPERTIES EXPORT_NAME sdk)
set_target_properties(stk_core PROPERTIES EXPORT_NAME core)
set_target_properties(stk_cat PROPERTIES EXPORT_NAME cat)
install(TARGETS stk_sdk stk_core EXPORT STKPluginTargets
  LIBRARY DESTINATION "${STK_INSTALL_LIBRARIES}" COMPONENT platform)
install(TARGETS stk_cat EXPORT STKPluginTargets
  ARCHIVE DESTINATION "${STK_INSTALL_LIBRARIES}" COMPONENT headers
  LIBRARY DESTINATION "${STK_INSTALL_LIBRARIES}" COMPONENT platform)
get_property(tone_files GLOBAL PROPERTY STK_TONE_FILES)
install(FILES ${tone_files} DESTINATION "${STK_INSTALL_PLUGINS}/STKPlugin" COMPONENT platform)

install(FILES platform/sdk/SdkControl.h platform/sdk/CardChannel.h
  DESTINATION "${STK_INSTALL_HEADERS}/sdk" COMPONENT headers)
install(FILES platform/core/CoreControl.h DESTINATION "${STK_INSTALL_HEADERS}/core" COMPONENT headers)
install(FILES platform/cat/Bytes.h platform/cat/Command.h platform/cat/Text.h platform/cat/Tlv.h
  DESTINATION "${STK_INSTALL_HEADERS}/cat" COMPONENT headers)
stk_install_pkgconfig(stkplugin-platform)

# --- dashboard ---
set_target_properties(stk_dashboard PROPERTIES INSTALL_RPATH "$ORIGIN/../${STK_INSTALL_LIBRARIES}")
install(TARGETS stk_dashboard RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT dashboard)
install(FILES profiles/demo.yaml profiles/every-command.yaml
  DESTINATION "${CMAKE_INSTALL_DATADIR}/stk-dashboard/profiles" COMPONENT dashboard)
install(FILES packaging/stk-dashboard.desktop
  DESTINATION "${CMAKE_INSTALL_DATADIR}/applications" COMPONENT dashboard)
install(FILES packaging/stk-dashboard.svg
  DESTINATION "${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps" COMPONENT dashboard)

# --- tools ---
set_target_properties(stk_make_tones PROPERTIES OUTPUT_NAME stk-make-tones)
install(TARGETS stk_make_tones RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT tools)
install(TARGETS stkcard RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT tools)

# Where things are installed, below the prefix. The tree can be moved as a whole: programs and libraries find each other
# and their files by their places.
include(GNUInstallDirs)

# Folder of the host's libraries; a host's plug-ins have a folder each in plugins/ there.
set(STK_INSTALL_LIBRARIES "${CMAKE_INSTALL_LIBDIR}/stkplugin")
set(STK_INSTALL_PLUGINS "${STK_INSTALL_LIBRARIES}/plugins")
set(STK_INSTALL_HEADERS "${CMAKE_INSTALL_INCLUDEDIR}/stkplugin")
set(STK_INSTALL_CMAKE "${CMAKE_INSTALL_LIBDIR}/cmake/STKPlugin")
set(STK_INSTALL_PKGCONFIG "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

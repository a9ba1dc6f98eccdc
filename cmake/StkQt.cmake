# Qt under one set of names: stk::qtcore and stk::qtwidgets.
set(CMAKE_AUTOMOC ON)

add_library(stk_qtcore INTERFACE)
add_library(stk::qtcore ALIAS stk_qtcore)
add_library(stk_qtwidgets INTERFACE)
add_library(stk::qtwidgets ALIAS stk_qtwidgets)

if(STK_QT EQUAL 4)
  find_package(Qt4 4.6 REQUIRED QtCore QtGui)
  target_link_libraries(stk_qtcore INTERFACE Qt4::QtCore)
  target_link_libraries(stk_qtwidgets INTERFACE Qt4::QtGui)
else()
  find_package(Qt5 5.15 REQUIRED COMPONENTS Core Widgets)
  target_link_libraries(stk_qtcore INTERFACE Qt5::Core)
  target_link_libraries(stk_qtwidgets INTERFACE Qt5::Widgets)
endif()

# stk_add_test(<class> KIND unit|window|road|plugin|host SOURCES <file>... [LIBRARIES <target>...]
#              [TIMEOUT <seconds>] [ENVIRONMENT <NAME=value>...] [LONG])
#
# One QtTest program tst_<class>, registered with CTest under the same name and labelled with its kind. `unit` tests
# run on the offscreen platform; the other kinds run in a real window, in an X server of their own. One that takes
# minutes is LONG: labelled so, and left out unless ./check --long asks for it.
find_package(Qt5 5.15 REQUIRED COMPONENTS Test)

function(stk_add_test name)
  cmake_parse_arguments(ARG "LONG" "KIND;TIMEOUT" "SOURCES;LIBRARIES;ENVIRONMENT" ${ARGN})
  if(NOT ARG_KIND MATCHES "^(unit|window|road|plugin|host)$")
    message(FATAL_ERROR "stk_add_test(${name}): unknown kind '${ARG_KIND}'")
  endif()
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 60)
  endif()

  add_executable(tst_${name} ${ARG_SOURCES})
  target_include_directories(tst_${name} PRIVATE "${PROJECT_SOURCE_DIR}/tests")
  target_link_libraries(tst_${name} PRIVATE stk::warnings Qt5::Test ${ARG_LIBRARIES})

  if(ARG_KIND STREQUAL "unit")
    add_test(NAME tst_${name} COMMAND tst_${name})
    list(APPEND ARG_ENVIRONMENT "QT_QPA_PLATFORM=offscreen")
  else()
    add_test(NAME tst_${name} COMMAND "${PROJECT_SOURCE_DIR}/tools/with-display" $<TARGET_FILE:tst_${name}>)
    # Widgets need no OpenGL, whose drivers are slow to load and leak a little.
    list(APPEND ARG_ENVIRONMENT "QT_QPA_PLATFORM=xcb" "QT_XCB_GL_INTEGRATION=none")
  endif()
  set(labels ${ARG_KIND})
  if(ARG_LONG)
    list(APPEND labels long)
  endif()
  set_tests_properties(tst_${name} PROPERTIES
    TIMEOUT ${ARG_TIMEOUT} LABELS "${labels}" ENVIRONMENT "${ARG_ENVIRONMENT}")
endfunction()

# stk_add_test(<class> KIND unit|window|road|plugin|host SOURCES <file>... [LIBRARIES <target>...]
#              [TIMEOUT <seconds>] [ENVIRONMENT <NAME=value>...] [SHARDS <count>] [WITHIN <script>])
#
# One QtTest program tst_<class> whose tst_*.cpp includes its own .moc, registered with CTest under the same name and labelled with its kind. `unit` tests
# run on the offscreen platform; the other kinds run in a real window, in an X server of their own. A program with
# SHARDS is registered that many times, as tst_<class>-1 and so on; each run takes its share of the data rows, which
# STK_TEST_SHARD names to it ("1/4" for the first of four).
#
# WITHIN names a script that runs the program it is given, such as tools/with-own-pcsc.
#
# STK_TEST_TIMEOUT_FACTOR stretches every time limit, for builds that run slower.
set(STK_TEST_TIMEOUT_FACTOR 1 CACHE STRING "What the tests' time limits are multiplied by")
find_package(Qt5 5.15 REQUIRED COMPONENTS Test)

# What takes most of the time in compiling a test is reading Qt's headers: they are read once. Sources include what they
# use all the same; with CMAKE_DISABLE_PRECOMPILE_HEADERS they are built as they stand.
add_library(stk_test_headers OBJECT "${PROJECT_SOURCE_DIR}/tests/support/TestHeaders.cpp")
target_link_libraries(stk_test_headers PRIVATE stk::warnings Qt5::Core)
target_precompile_headers(stk_test_headers PRIVATE <QtCore/QtCore> <functional> <memory> <string> <vector>)

function(stk_add_test name)
  cmake_parse_arguments(ARG "" "KIND;TIMEOUT;SHARDS;WITHIN" "SOURCES;LIBRARIES;ENVIRONMENT" ${ARGN})
  if(NOT ARG_KIND MATCHES "^(unit|window|road|plugin|host)$")
    message(FATAL_ERROR "stk_add_test(${name}): unknown kind '${ARG_KIND}'")
  endif()
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 60)
  endif()
  math(EXPR ARG_TIMEOUT "${ARG_TIMEOUT} * ${STK_TEST_TIMEOUT_FACTOR}")

  # The one class that needs moc is known: what AUTOMOC does to find it takes a quarter of the time of a whole build.
  set(test ${ARG_SOURCES})
  list(FILTER test INCLUDE REGEX "tst_[^/]*\\.cpp$")
  get_filename_component(class ${test} NAME_WE)
  set(generated "${CMAKE_CURRENT_BINARY_DIR}/tst_${name}_moc")
  qt5_generate_moc(${test} "${generated}/${class}.moc" TARGET tst_${name})

  add_executable(tst_${name} ${ARG_SOURCES} "${generated}/${class}.moc")
  set_target_properties(tst_${name} PROPERTIES AUTOMOC OFF)
  target_include_directories(tst_${name} PRIVATE "${PROJECT_SOURCE_DIR}/tests" "${generated}")
  target_link_libraries(tst_${name} PRIVATE stk::warnings Qt5::Test ${ARG_LIBRARIES})
  if(NOT ARG_SOURCES MATCHES "\\.c(;|$)") # CMake wants precompiled headers for every language of a target
    target_precompile_headers(tst_${name} REUSE_FROM stk_test_headers)
  endif()

  if(ARG_KIND STREQUAL "unit")
    set(command $<TARGET_FILE:tst_${name}>)
    list(APPEND ARG_ENVIRONMENT "QT_QPA_PLATFORM=offscreen")
  else()
    set(command "${PROJECT_SOURCE_DIR}/tools/with-display" $<TARGET_FILE:tst_${name}>)
    # Widgets need no OpenGL, whose drivers are slow to load and leak a little.
    list(APPEND ARG_ENVIRONMENT "QT_QPA_PLATFORM=xcb" "QT_XCB_GL_INTEGRATION=none")
  endif()
  list(PREPEND command ${ARG_WITHIN})
  if(ARG_SHARDS)
    foreach(shard RANGE 1 ${ARG_SHARDS})
      add_test(NAME tst_${name}-${shard} COMMAND ${command})
      set_tests_properties(tst_${name}-${shard} PROPERTIES TIMEOUT ${ARG_TIMEOUT} LABELS ${ARG_KIND}
        ENVIRONMENT "${ARG_ENVIRONMENT};STK_TEST_SHARD=${shard}/${ARG_SHARDS}")
    endforeach()
  else()
    add_test(NAME tst_${name} COMMAND ${command})
    set_tests_properties(tst_${name} PROPERTIES
      TIMEOUT ${ARG_TIMEOUT} LABELS ${ARG_KIND} ENVIRONMENT "${ARG_ENVIRONMENT}")
  endif()
endfunction()

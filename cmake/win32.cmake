# Native side: builds the cross tree (build/win32 by default) as an external project and
# registers its Windows test programs, run under Wine on an Xvfb display, with CTest.
include(ExternalProject)

set(ZORV_WIN32_DIR ${CMAKE_SOURCE_DIR}/build/win32 CACHE PATH "Cross build folder (Zorv.hpi, ZorvD.hpi, tests)")

ExternalProject_Add(win32
  SOURCE_DIR ${CMAKE_SOURCE_DIR}
  BINARY_DIR ${ZORV_WIN32_DIR}
  CMAKE_ARGS -DCMAKE_TOOLCHAIN_FILE=${CMAKE_SOURCE_DIR}/cmake/mingw-i686.cmake
             -DCMAKE_BUILD_TYPE=None
             -DGOOGLETEST_SOURCE=${GOOGLETEST_SOURCE}
  CMAKE_GENERATOR ${CMAKE_GENERATOR}
  BUILD_ALWAYS ON
  USES_TERMINAL_BUILD ON
  INSTALL_COMMAND "")

set(ZORV_WINE_RUN ${CMAKE_SOURCE_DIR}/tools/wine-run.sh)

# zorv_wine_test(NAME name PROGRAM exe [DEPTH bits] [PREFIX name] [ENV k=v...] [ARGS ...])
# Tests that share a Wine prefix run one after another: two programs killed at once can
# take their shared wineserver down.
function(zorv_wine_test)
  cmake_parse_arguments(T "" "NAME;PROGRAM;DEPTH;PREFIX" "ENV;ARGS" ${ARGN})
  if(NOT T_DEPTH)
    set(T_DEPTH 24)
  endif()
  if(NOT T_PREFIX)
    set(T_PREFIX main)
  endif()
  add_test(NAME ${T_NAME}
    COMMAND ${ZORV_WINE_RUN} --depth ${T_DEPTH} --prefix ${T_PREFIX} -- ${ZORV_WIN32_DIR}/${T_PROGRAM} ${T_ARGS})
  set_tests_properties(${T_NAME} PROPERTIES RESOURCE_LOCK wine-${T_PREFIX} TIMEOUT 600 LABELS wine)
  if(T_ENV)
    set_tests_properties(${T_NAME} PROPERTIES ENVIRONMENT "${T_ENV}")
  endif()
endfunction()

zorv_wine_test(NAME wine.plugin PROGRAM zorv_wine_tests.exe ARGS --plugin=Zorv.hpi --gtest_filter=-NoDirectDraw.*)
zorv_wine_test(NAME wine.plugin_debug PROGRAM zorv_wine_tests.exe ARGS --plugin=ZorvD.hpi --gtest_filter=-NoDirectDraw.*)
# ddraw.dll switched off: the plugin must still load and answer.
zorv_wine_test(NAME wine.no_ddraw PROGRAM zorv_wine_tests.exe
  ARGS --plugin=Zorv.hpi --no-ddraw --gtest_filter=NoDirectDraw.*
  ENV "WINEDLLOVERRIDES=ddraw=d")

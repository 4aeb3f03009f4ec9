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

# Everything but the tests that need a fresh process, on the release and the debug build.
set(ZORV_MAIN_FILTER --gtest_filter=-Checks.BeforeInitialize:Checks.WithoutDirectDraw)
zorv_wine_test(NAME wine.plugin PROGRAM zorv_wine_tests.exe ARGS --plugin=Zorv.hpi --pictures=. ${ZORV_MAIN_FILTER})
zorv_wine_test(NAME wine.plugin_debug PROGRAM zorv_wine_tests.exe ARGS --plugin=ZorvD.hpi ${ZORV_MAIN_FILTER})
# ZorvInitialize runs once per process: its checks get a process of their own.
zorv_wine_test(NAME wine.initialize PROGRAM zorv_wine_tests.exe ARGS --plugin=Zorv.hpi --gtest_filter=Checks.BeforeInitialize)
# The screen in the other render modes (the main run uses render mode 0), with the check
# table where its rows differ (render mode 3 only changes the device class), and on a 16-bit
# desktop (Xvfb at 16 bits gives Wine a 5-6-5 primary).
foreach(mode 1 2 3)
  set(filter Screen.*:Checks.Table)
  if(mode EQUAL 3)
    set(filter Screen.*)
  endif()
  zorv_wine_test(NAME wine.screen_render${mode} PROGRAM zorv_wine_tests.exe PREFIX alt
    ARGS --plugin=Zorv.hpi --render-mode=${mode} --pictures=. --gtest_filter=${filter})
endforeach()
zorv_wine_test(NAME wine.screen_depth16 PROGRAM zorv_wine_tests.exe DEPTH 16 PREFIX alt
  ARGS --plugin=Zorv.hpi --render-mode=2 --gtest_filter=Screen.*)
# An 8-bit palettised desktop: the screen gets its palette (and the table its palette rows).
zorv_wine_test(NAME wine.screen_depth8 PROGRAM zorv_wine_tests.exe DEPTH 8 PREFIX alt
  ARGS --plugin=Zorv.hpi --render-mode=2 --gtest_filter=Screen.*:Checks.Table)
# Screen mode 1 on a desktop already at the requested depth: nothing to switch.
zorv_wine_test(NAME wine.screen_mode1 PROGRAM zorv_wine_tests.exe PREFIX alt
  ARGS --plugin=Zorv.hpi --screen-mode=1 --render-mode=1 --gtest_filter=Screen.*)
# ddraw.dll switched off: the plugin must still load and answer.
zorv_wine_test(NAME wine.no_ddraw PROGRAM zorv_wine_tests.exe
  ARGS --plugin=Zorv.hpi --gtest_filter=Checks.WithoutDirectDraw
  ENV "WINEDLLOVERRIDES=ddraw=d")
# The export table against what is built from it: both plugins export exactly its names and
# the zorv.as beside them declares exactly those; the committed include/zorv.as and
# docs/reference are what the table gives now.
find_program(ZORV_OBJDUMP i686-w64-mingw32-objdump REQUIRED)
add_test(NAME exports.plugins COMMAND ${CMAKE_COMMAND} -DPLUGIN_DIR=${ZORV_WIN32_DIR} -DOBJDUMP=${ZORV_OBJDUMP}
  -P ${CMAKE_SOURCE_DIR}/cmake/exports.cmake)
add_test(NAME exports.reference COMMAND ${CMAKE_COMMAND} -DCHECK=${ZORV_WIN32_DIR}/generated
  -P ${CMAKE_SOURCE_DIR}/cmake/exports.cmake)
# Every DirectX failure path, from the fault-injection loop over Wine's real ddraw.dll.
include(${CMAKE_SOURCE_DIR}/tests/fault/fault_tests.cmake)
# The fuzzer: random calls of every export, on the release plugin and a 24-bit desktop, and on
# the debug plugin and an 8-bit desktop, where screens have palettes (a long run: README).
zorv_wine_test(NAME fuzz.Zorv PROGRAM zorv_fuzz.exe PREFIX fuzz
  ARGS --plugin=Zorv.hpi --exports=${CMAKE_SOURCE_DIR}/src/exports.table --seed=1 --calls=1500)
zorv_wine_test(NAME fuzz.ZorvD_depth8 PROGRAM zorv_fuzz.exe PREFIX fuzz DEPTH 8
  ARGS --plugin=ZorvD.hpi --exports=${CMAKE_SOURCE_DIR}/src/exports.table --seed=2 --calls=1500)
# Scripts on the real HSP runtime (skipped when it is not beside the repository): a check of
# the characters, and the samples for script authors.
# A script's desktop depth follows its name (palettes: 8 bits).
set(ZORV_HSP_SCRIPTS tests/hsp/characters samples/start_stop samples/chips samples/sprites samples/images
  samples/gdi samples/palettes)
foreach(script ${ZORV_HSP_SCRIPTS})
  get_filename_component(name ${script} NAME)
  set(depth 24)
  if(name STREQUAL palettes)
    set(depth 8)
  endif()
  add_test(NAME hsp.${name} COMMAND ${CMAKE_SOURCE_DIR}/tools/hsp-run.sh --depth ${depth}
    ${CMAKE_SOURCE_DIR}/${script}.hsp ${ZORV_WIN32_DIR} ${ZORV_WIN32_DIR}/hsp/${name})
  set_tests_properties(hsp.${name} PROPERTIES RESOURCE_LOCK wine-hsp TIMEOUT 400 LABELS wine SKIP_RETURN_CODE 77)
endforeach()

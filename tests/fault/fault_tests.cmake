# The fault-injection loop under Wine (included by cmake/win32.cmake). ZorvInitialize runs
# once per process, so each screen and render mode is a process of its own. The longest runs
# go first, on two prefixes so that two can run side by side.
foreach(mode 0 1 2 3 4)
  set(prefix fault)
  if(mode EQUAL 1 OR mode EQUAL 3)
    set(prefix fault2)
  endif()
  zorv_wine_test(NAME fault.render${mode} PROGRAM zorv_fault_tests.exe PREFIX ${prefix}
    ARGS --screen-mode=2 --render-mode=${mode} --gtest_filter=*Failures.*)
endforeach()
zorv_wine_test(NAME fault.fullscreen PROGRAM zorv_fault_tests.exe PREFIX fault2
  ARGS --screen-mode=0 --render-mode=1 --gtest_filter=*Failures.*)
set_tests_properties(fault.render0 fault.render1 fault.render2 fault.fullscreen PROPERTIES COST 100)
# ddraw.dll with one entry point hidden from GetProcAddress.
foreach(entry enum create)
  zorv_wine_test(NAME fault.missing_${entry} PROGRAM zorv_fault_tests.exe PREFIX fault
    ARGS --missing=${entry} --gtest_filter=MissingEntryPoint.*)
endforeach()
# An 8-bit palettised desktop: the screen gets a palette; its entries, fades and copies,
# windowed and in full screen (where each changed entry is written on its own).
zorv_wine_test(NAME fault.depth8 PROGRAM zorv_fault_tests.exe DEPTH 8 PREFIX fault
  ARGS --screen-mode=2 --render-mode=2 --gtest_filter=*Failures.*/0:*Failures.*/1)
zorv_wine_test(NAME fault.fullscreen_depth8 PROGRAM zorv_fault_tests.exe DEPTH 8 PREFIX fault
  ARGS --screen-mode=0 --render-mode=2 --gtest_filter=*Failures.*/1)

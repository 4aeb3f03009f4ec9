# The fault-injection loop under Wine (included by cmake/win32.cmake). ZorvInitialize runs
# once per process, so each screen and render mode is a process of its own.
foreach(mode 0 1 2 3 4)
  zorv_wine_test(NAME fault.render${mode} PROGRAM zorv_fault_tests.exe PREFIX fault
    ARGS --screen-mode=2 --render-mode=${mode} --gtest_filter=*Failures.*)
endforeach()
zorv_wine_test(NAME fault.fullscreen PROGRAM zorv_fault_tests.exe PREFIX fault
  ARGS --screen-mode=0 --render-mode=1 --gtest_filter=*Failures.*)
# ddraw.dll with one entry point hidden from GetProcAddress.
foreach(entry enum create)
  zorv_wine_test(NAME fault.missing_${entry} PROGRAM zorv_fault_tests.exe PREFIX fault
    ARGS --missing=${entry} --gtest_filter=MissingEntryPoint.*)
endforeach()
# An 8-bit palettised desktop: the windowed screen gets a palette.
zorv_wine_test(NAME fault.depth8 PROGRAM zorv_fault_tests.exe DEPTH 8 PREFIX fault
  ARGS --screen-mode=2 --render-mode=2 --gtest_filter=*Failures.*/0)

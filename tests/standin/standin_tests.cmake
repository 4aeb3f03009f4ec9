# The plugin run against the recording stand-in ddraw.dll (included by cmake/win32.cmake).
# ZorvInitialize runs once per process, so every screen and render mode is a process of its
# own; the stand-in beside the program is taken instead of Wine's ddraw with ddraw=n.
set(STANDIN_OVERRIDE "WINEDLLOVERRIDES=ddraw=n")

# standin_plugin_test(name folder args...): plugin_standin_tests.exe in build/win32/<folder>.
function(standin_plugin_test name folder)
  zorv_wine_test(NAME standin.${name} PROGRAM ${folder}/plugin_standin_tests.exe PREFIX standin
    ENV ${STANDIN_OVERRIDE} ARGS ${ARGN})
endfunction()

standin_plugin_test(plugin_devices standin --screen-mode=2 --render-mode=0 --gtest_filter=Devices.*)
standin_plugin_test(plugin_window standin --screen-mode=2 --render-mode=1 --gtest_filter=WindowedScreen.*)
standin_plugin_test(plugin_fullscreen standin --screen-mode=0 --render-mode=1
  --gtest_filter=FullScreen.*:FullScreen3D.*)
standin_plugin_test(plugin_render0 standin --screen-mode=2 --render-mode=0
  --gtest_filter=Direct3DScreen.*:NoDeviceScreen.*)
standin_plugin_test(plugin_render1 standin --screen-mode=2 --render-mode=1
  --gtest_filter=Direct3DScreen.*:DeviceScreen.*:BestDevice.*)
standin_plugin_test(plugin_render2 standin --screen-mode=2 --render-mode=2
  --gtest_filter=Direct3DScreen.*:NoDeviceScreen.*)
foreach(mode 3 4)
  standin_plugin_test(plugin_render${mode} standin --screen-mode=2 --render-mode=${mode}
    --gtest_filter=Direct3DScreen.*:DeviceScreen.*)
endforeach()

# Chip drawing and the Direct3D state exports: blits in every mode, Direct3D quads and state
# in the device modes, the software rasterizer in render mode 2.
standin_plugin_test(plugin_chip_render0 standin --screen-mode=2 --render-mode=0
  --gtest_filter=ChipBlits.*:ChipWithoutDirect3D.*)
standin_plugin_test(plugin_chip_render2 standin --screen-mode=2 --render-mode=2
  --gtest_filter=ChipBlits.*:ChipSoftware.*)
foreach(mode 1 3 4)
  standin_plugin_test(plugin_chip_render${mode} standin --screen-mode=2 --render-mode=${mode}
    --gtest_filter=ChipDirect3D.*)
endforeach()

# ddraw.dll switched off, or without one of its two entry points.
zorv_wine_test(NAME standin.plugin_no_ddraw PROGRAM standin/plugin_standin_tests.exe PREFIX standin
  ENV "WINEDLLOVERRIDES=ddraw=d" ARGS --missing=ddraw --gtest_filter=MissingDirectDraw.*)
standin_plugin_test(plugin_no_enum standin-noenum --missing=enum --gtest_filter=MissingDirectDraw.*)
standin_plugin_test(plugin_no_create standin-nocreate --missing=create --gtest_filter=MissingDirectDraw.*)

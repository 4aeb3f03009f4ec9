# Source lists shared by the cross and the native build.

# Pure logic: no Win32, no COM. Built into the plugin and natively for tests and benchmarks.
set(ZORV_PURE_SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/frame/status_text.cpp
  ${CMAKE_CURRENT_LIST_DIR}/frame/dx_result_table.cpp
  ${CMAKE_CURRENT_LIST_DIR}/misc/trig.cpp
  ${CMAKE_CURRENT_LIST_DIR}/misc/random.cpp
  ${CMAKE_CURRENT_LIST_DIR}/display/pacing.cpp
  ${CMAKE_CURRENT_LIST_DIR}/chip/quad_math.cpp
  ${CMAKE_CURRENT_LIST_DIR}/chip/quad_raster.cpp
  ${CMAKE_CURRENT_LIST_DIR}/character/character_table.cpp
  ${CMAKE_CURRENT_LIST_DIR}/character/character_motion.cpp
  ${CMAKE_CURRENT_LIST_DIR}/character/animation_pattern.cpp
  ${CMAKE_CURRENT_LIST_DIR}/character/character_order.cpp
  ${CMAKE_CURRENT_LIST_DIR}/character/hit_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/character/character_ops.cpp
  ${CMAKE_CURRENT_LIST_DIR}/colour/colour_math.cpp
  ${CMAKE_CURRENT_LIST_DIR}/colour/host_pixels.cpp
  ${CMAKE_CURRENT_LIST_DIR}/gdi/circle.cpp
)

# Everything else of the plugin: exports, Win32 and DirectX work.
set(ZORV_WIN32_SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/frame/entry.cpp
  ${CMAKE_CURRENT_LIST_DIR}/frame/frame_exports.cpp
  ${CMAKE_CURRENT_LIST_DIR}/misc/misc_exports.cpp
  ${CMAKE_CURRENT_LIST_DIR}/display/device.cpp
  ${CMAKE_CURRENT_LIST_DIR}/display/screen.cpp
  ${CMAKE_CURRENT_LIST_DIR}/display/update.cpp
  ${CMAKE_CURRENT_LIST_DIR}/display/window_hook.cpp
  ${CMAKE_CURRENT_LIST_DIR}/surface/surface_table.cpp
  ${CMAKE_CURRENT_LIST_DIR}/surface/surface_ops.cpp
  ${CMAKE_CURRENT_LIST_DIR}/surface/surface_d3d.cpp
  ${CMAKE_CURRENT_LIST_DIR}/chip/chip_table.cpp
  ${CMAKE_CURRENT_LIST_DIR}/chip/chip_draw.cpp
  ${CMAKE_CURRENT_LIST_DIR}/chip/chip_d3d.cpp
  ${CMAKE_CURRENT_LIST_DIR}/chip/quad_raster_lock.cpp
  ${CMAKE_CURRENT_LIST_DIR}/character/character_exports.cpp
  ${CMAKE_CURRENT_LIST_DIR}/character/character_draw.cpp
  ${CMAKE_CURRENT_LIST_DIR}/colour/combine.cpp
  ${CMAKE_CURRENT_LIST_DIR}/colour/palette.cpp
  ${CMAKE_CURRENT_LIST_DIR}/colour/host_image.cpp
  ${CMAKE_CURRENT_LIST_DIR}/gdi/gdi_draw.cpp
  ${CMAKE_CURRENT_LIST_DIR}/d3d/d3d_state.cpp
)

# The plugin's texts are UTF-8 in the sources and Shift-JIS (code page 932) in the binary.
set(ZORV_TEXT_FLAGS -finput-charset=UTF-8 -fexec-charset=CP932)
set(ZORV_WARNINGS -Wall -Wextra)

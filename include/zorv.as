; zorv.as: the Zorv plugin's exports and constants for HSP scripts.
; Generated from src/exports.table by cmake/exports.cmake: edit the table, not this file.
; #define ZORV_DEBUG before including it to load the debug build, ZorvD.hpi, which
; reports every failing call through OutputDebugString.
; A call that returns r of 0 or below sets stat to -r: 0 on success, 2 for code -2, and so on.

#ifndef ZORV_AS_INCLUDED
#define global ZORV_AS_INCLUDED

#ifdef ZORV_DEBUG
#uselib "ZorvD.hpi"
#else
#uselib "Zorv.hpi"
#endif

; frame
#func ZorvGetVersion "_ZorvGetVersion@16" $83    ; returns the plugin version, 101
#func ZorvGetError "_ZorvGetError@16" $83    ; returns a status text, the last DirectX result or the name of the last call

; display
#func ZorvEnumDDdevice "_ZorvEnumDDdevice@16" $83    ; counts the DirectDraw devices
#func ZorvGetDDdeviceName "_ZorvGetDDdeviceName@16" $83    ; returns the description of a DirectDraw device
#func ZorvEnumDisplayMode "_ZorvEnumDisplayMode@16" $83    ; counts or lists the display modes of a device
#func ZorvGetDDcaps "_ZorvGetDDcaps@16" $83    ; reports a DirectDraw capability field
#func ZorvInitialize "_ZorvInitialize@16" $2    ; starts the plugin with the host screen record, screen mode and render mode
#func ZorvCreateDD "_ZorvCreateDD@16" $0    ; creates the DirectDraw object for a chosen device
#func ZorvReleaseDD "_ZorvReleaseDD@16" $0    ; releases the screen, all surfaces and the DirectDraw object
#func ZorvExit "_ZorvExit@16" $0    ; releases everything and restores the system setting saved at start (the last-call record then names ZorvReleaseDD)
#func ZorvCreatePrimarySurface "_ZorvCreatePrimarySurface@16" $0    ; takes over the window or display and creates the screen surfaces
#func ZorvReleasePrimarySurface "_ZorvReleasePrimarySurface@16" $0    ; releases the screen surfaces and gives the window back
#func ZorvSetPosition "_ZorvSetPosition@16" $0    ; sets the drawing position of the current surface
#func ZorvUpdateScreen "_ZorvUpdateScreen@16" $0    ; presents the frame, paces, counts and clears
#func ZorvShowFrameRate "_ZorvShowFrameRate@16" $83    ; configures the on-screen frame-rate text
#func ZorvShowPolygonRate "_ZorvShowPolygonRate@16" $83    ; configures the on-screen polygon-rate text
#func ZorvGetFrameRate "_ZorvGetFrameRate@16" $83    ; returns the measured frame rate
#func ZorvGetPolygonRate "_ZorvGetPolygonRate@16" $83    ; returns the measured polygon rate
#func ZorvLimitSystemBehavior "_ZorvLimitSystemBehavior@16" $0    ; blocks the screen saver and sets the system's screen-saver-running flag

; surface
#func ZorvInitializeSurface "_ZorvInitializeSurface@16" $0    ; allocates the surface table
#func ZorvCreateOffscreenSurface "_ZorvCreateOffscreenSurface@16" $0    ; creates an off-screen surface in the surface table and selects it
#func ZorvSelectSurface "_ZorvSelectSurface@16" $0    ; selects the current surface
#func ZorvReleaseOffscreenSurface "_ZorvReleaseOffscreenSurface@16" $0    ; releases one off-screen surface
#func ZorvSurfaceToSurface "_ZorvSurfaceToSurface@16" $0    ; copies a block from a surface's position to the current surface's position
#func ZorvSetTransparentColor "_ZorvSetTransparentColor@16" $0    ; sets the transparent colour of the current surface
#func ZorvSetDrawArea "_ZorvSetDrawArea@16" $0    ; sets the draw area of the current surface
#func ZorvBoxFill "_ZorvBoxFill@16" $0    ; fills a rectangle of the current surface with a colour code
#func ZorvClearSurface "_ZorvClearSurface@16" $0    ; clears the current surface, its Z buffer or its draw area

; chip
#func ZorvInitializeChip "_ZorvInitializeChip@16" $0    ; allocates the chip table
#func ZorvCreateChip "_ZorvCreateChip@16" $0    ; defines a chip at the current surface's position
#func ZorvSetChipOffset "_ZorvSetChipOffset@16" $0    ; sets a chip's drawing offset
#func ZorvSetChipHitArea "_ZorvSetChipHitArea@16" $83    ; sets a chip's hit rectangle
#func ZorvPutChip "_ZorvPutChip@16" $0    ; draws a chip unscaled at a given point
#func ZorvPutChip2 "_ZorvPutChip2@16" $0    ; draws a chip scaled, rotated and with transparency at the drawing position
#func ZorvPutChip3 "_ZorvPutChip3@16" $83    ; draws a chip mapped onto four corner points
#func ZorvPutChip4 "_ZorvPutChip4@16" $0    ; draws a chip scaled separately in x and y at the drawing position

; character
#func ZorvInitializeCharacter "_ZorvInitializeCharacter@16" $0    ; allocates the character table
#func ZorvSetCharacterVariable "_ZorvSetCharacterVariable@16" $83    ; registers a script integer array as a character column
#func ZorvCreateCharacter "_ZorvCreateCharacter@16" $0    ; creates a character in the given slot from a chip and a position
#func ZorvFindCharacter "_ZorvFindCharacter@16" $83    ; searches a range of character slots
#func ZorvCopyCharacter "_ZorvCopyCharacter@16" $0    ; copies a character into another slot at a given position
#func ZorvMoveCharacter "_ZorvMoveCharacter@16" $0    ; advances the existing characters of a range by one frame, a given number of times
#func ZorvSetCharacterAim "_ZorvSetCharacterAim@16" $0    ; aims a character at a point
#func ZorvSetCharacterAim2 "_ZorvSetCharacterAim2@16" $0    ; aims a character at another character
#func ZorvSetRelativeCharacter "_ZorvSetRelativeCharacter@16" $0    ; ties a character's motion to another character
#func ZorvInitializeAnimationPattern "_ZorvInitializeAnimationPattern@16" $0    ; allocates the animation pattern table
#func ZorvSetAnimationPattern "_ZorvSetAnimationPattern@16" $83    ; defines one animation pattern
#func ZorvSetCharacterAnimation "_ZorvSetCharacterAnimation@16" $0    ; starts an animation pattern on a character
#func ZorvPutCharacter "_ZorvPutCharacter@16" $0    ; draws the characters of a range and advances each by one frame
#func ZorvPutCharacterYSort "_ZorvPutCharacterYSort@16" $0    ; draws the characters of a range in ascending order of y and advances each by one frame
#func ZorvHitTest "_ZorvHitTest@16" $83    ; finds the first character of a range whose axis-aligned hit area touches a given character's
#func ZorvHitTest2 "_ZorvHitTest2@16" $83    ; finds the first character hit, with rotated and scaled hit areas and a choice of exact tests
#func ZorvSetStringChip "_ZorvSetStringChip@16" $83    ; chooses the chips used as a font
#func ZorvDrawString "_ZorvDrawString@16" $83    ; turns a string into a row of characters made of string chips

; colour
#func ZorvGetRGBFromColorCode "_ZorvGetRGBFromColorCode@16" $83    ; converts a colour code back to red, green, blue
#func ZorvGetColorCode "_ZorvGetColorCode@16" $83    ; converts red, green, blue to a colour code of the display
#func ZorvGetPointColor "_ZorvGetPointColor@16" $83    ; reads the colour code at a point of the current surface
#func ZorvSetPalette "_ZorvSetPalette@16" $0    ; sets a palette entry, shown at the next screen update (the last-call record names it ZorvGetSetPalette)
#func ZorvFadePalette "_ZorvFadePalette@16" $83    ; starts a palette fade
#func ZorvPaletteCopy "_ZorvPaletteCopy@16" $2    ; copies palette entries between the plugin palette and host memory
#func ZorvHSPToSurface "_ZorvHSPToSurface@16" $2    ; copies a block of a host buffer into the current surface
#func ZorvSurfaceToHSP "_ZorvSurfaceToHSP@16" $2    ; copies a block of the current surface into a host buffer
#func ZorvCombine "_ZorvCombine@16" $83    ; hands a block of the plugin's internal pointers to a cooperating plugin

; gdi
#func ZorvSetPen "_ZorvSetPen@16" $2    ; creates the host buffer's pen
#func ZorvBeginDraw "_ZorvBeginDraw@16" $0    ; lends the current surface's device context to the host screen record for GDI drawing
#func ZorvEndDraw "_ZorvEndDraw@16" $0    ; gives the device context back after ZorvBeginDraw
#func ZorvDrawCircle "_ZorvDrawCircle@16" $0    ; draws an arc or a pie on the host buffer

; misc
#func ZorvmiscAtan "_ZorvmiscAtan@16" $83    ; fixed-point arc tangent
#func ZorvmiscCos "_ZorvmiscCos@16" $83    ; fixed-point cosine
#func ZorvmiscCos2 "_ZorvmiscCos2@16" $83    ; fixed-point cosine with angle normalisation
#func ZorvmiscGetClock "_ZorvmiscGetClock@16" $83    ; measures the processor clock
#func ZorvmiscGetMMtickTime "_ZorvmiscGetMMtickTime@16" $83    ; milliseconds since the previous call
#func ZorvmiscGetMMtimer "_ZorvmiscGetMMtimer@16" $83    ; millisecond timer
#func ZorvmiscGetRDTSC "_ZorvmiscGetRDTSC@16" $83    ; processor time stamp in microseconds
#func ZorvmiscGetRDTSCtickTime "_ZorvmiscGetRDTSCtickTime@16" $83    ; microseconds since the previous call
#func ZorvmiscRand "_ZorvmiscRand@16" $83    ; random number in a range
#func ZorvmiscSin "_ZorvmiscSin@16" $83    ; fixed-point sine
#func ZorvmiscSin2 "_ZorvmiscSin2@16" $83    ; fixed-point sine with angle normalisation
#func ZorvmiscSystemParameter "_ZorvmiscSystemParameter@16" $83    ; queries or sets a system parameter

; d3d
#func ZorvGetD3Dcaps "_ZorvGetD3Dcaps@16" $83    ; reports a Direct3D device capability
#func ZorvSetRenderState "_ZorvSetRenderState@16" $0    ; sets one or two Direct3D render states
#func ZorvSetRenderColor "_ZorvSetRenderColor@16" $0    ; sets the colour factors used when drawing chips
#func ZorvSetTextureStageState "_ZorvSetTextureStageState@16" $0    ; sets a Direct3D texture-stage state

; Modes and flags
#define global ZORV_SCREEN_FULL 0    ; ZorvInitialize screen mode: full screen
#define global ZORV_SCREEN_WINDOW_DEPTH 1    ; screen mode: windowed, the desktop depth switched to the screen's
#define global ZORV_SCREEN_WINDOW 2    ; screen mode: windowed, the desktop left as it is
#define global ZORV_RENDER_NONE 0    ; ZorvInitialize render mode: no Direct3D
#define global ZORV_RENDER_BEST 1    ; render mode: the best Direct3D device there is
#define global ZORV_RENDER_SOFTWARE 2    ; render mode: no Direct3D device, the plugin draws by itself
#define global ZORV_RENDER_RGB 3    ; render mode: the software Direct3D device
#define global ZORV_RENDER_HAL 4    ; render mode: the hardware Direct3D device
#define global ZORV_SURFACE_VIDEO_OR_SYSTEM 1    ; surface and screen flag: video memory, system memory when that fails
#define global ZORV_SURFACE_SYSTEM 2    ; surface and screen flag: system memory
#define global ZORV_SURFACE_VIDEO 4    ; surface and screen flag: video memory only
#define global ZORV_SURFACE_3D 8    ; surface and screen flag: a Direct3D device draws on it
#define global ZORV_SURFACE_ZBUFFER 16    ; surface and screen flag: with a Z buffer (with ZORV_SURFACE_3D)
#define global ZORV_SURFACE_TEXTURE 32    ; surface flag: a texture, for chips drawn by Direct3D
#define global ZORV_SURFACE_1555 64    ; surface flag: 16 bits, 1-bit alpha
#define global ZORV_SURFACE_4444 128    ; surface flag: 16 bits, 4-bit alpha
#define global ZORV_SURFACE_8888 256    ; surface flag: 32 bits, 8-bit alpha
#define global ZORV_SURFACE_MANAGED 1024    ; surface flag: a texture that Direct3D manages
#define global ZORV_SCREEN_TWO_BACK_BUFFERS 512    ; screen flag: full screen with two back buffers
#define global ZORV_MOVE_VELOCITY 1    ; MoveFlags: velocity and acceleration
#define global ZORV_MOVE_TURN 2    ; MoveFlags: along Angle at Speed, turning
#define global ZORV_MOVE_RELATIVE 4    ; MoveFlags: placed relative to another character
#define global ZORV_MOVE_HOMING 8    ; MoveFlags: homing on HomingTarget
#define global ZORV_MOVE_LIMIT 16    ; MoveFlags: removed outside its limits
#define global ZORV_DRAW_VISIBLE 1    ; DrawFlags: drawn
#define global ZORV_DRAW_ANIMATE 2    ; DrawFlags: its animation pattern runs
#define global ZORV_DRAW_ROTATE 4    ; DrawFlags: drawn and hit-tested turned by Angle
#define global ZORV_DRAW_SCALE 8    ; DrawFlags: drawn and hit-tested scaled by ScaleX and ScaleY
#define global ZORV_DRAW_TRANSPARENCY 16    ; DrawFlags: drawn with Transparency

; Status codes as stat holds them (the code negated)
#define global ZORV_OK 0
#define global ZORV_ERR_PARAM_TYPE 1
#define global ZORV_ERR_PARAM_RANGE 2
#define global ZORV_ERR_ENUM_DEVICES 3
#define global ZORV_ERR_CREATE_DD1 4
#define global ZORV_ERR_GET_DD 5
#define global ZORV_ERR_GET_DDCAPS 6
#define global ZORV_ERR_ENUM_MODES 7
#define global ZORV_ERR_ALREADY_INITIALIZED 8
#define global ZORV_ERR_SCREEN_TYPE 9
#define global ZORV_ERR_OUT_OF_MEMORY 10
#define global ZORV_ERR_COOPERATIVE_LEVEL 11
#define global ZORV_ERR_MOVE_WINDOW 12
#define global ZORV_ERR_DISPLAY_MODE 13
#define global ZORV_ERR_CREATE_PRIMARY 14
#define global ZORV_ERR_CREATE_CLIPPER 15
#define global ZORV_ERR_CLIPPER_WINDOW 16
#define global ZORV_ERR_SET_CLIPPER 17
#define global ZORV_ERR_CREATE_BACKBUFFER 18
#define global ZORV_ERR_ATTACH_BACKBUFFER 19
#define global ZORV_ERR_CREATE_PALETTE 20
#define global ZORV_ERR_SET_PALETTE 21
#define global ZORV_ERR_CREATE_D3D 22
#define global ZORV_ERR_CREATE_D3D_DEVICE 23
#define global ZORV_ERR_CREATE_VIEWPORT 24
#define global ZORV_ERR_ADD_VIEWPORT 25
#define global ZORV_ERR_SET_VIEWPORT 26
#define global ZORV_ERR_CURRENT_VIEWPORT 27
#define global ZORV_ERR_NO_PRIMARY 28
#define global ZORV_ERR_CREATE_SURFACE 29
#define global ZORV_ERR_BITMAP_TRANSFER 30
#define global ZORV_ERR_GET_DC 31
#define global ZORV_ERR_NOT_PALETTE_MODE 32
#define global ZORV_ERR_SET_PALETTE_ENTRIES 33
#define global ZORV_ERR_RESTORE 34
#define global ZORV_ERR_FLIP 35
#define global ZORV_ERR_COLORFILL 36
#define global ZORV_ERR_DD_NOT_FOUND 37
#define global ZORV_ERR_DD_NOT_INITIALIZED 38
#define global ZORV_ERR_SURFACE_NOT_CREATED 39
#define global ZORV_ERR_NO_D3D_DEVICE 40
#define global ZORV_ERR_BEGIN_SCENE 41
#define global ZORV_ERR_DRAW_POLYGON 42
#define global ZORV_ERR_GET_D3D 43
#define global ZORV_ERR_CREATE_MATERIAL 44
#define global ZORV_ERR_COLOR_MATCH 45
#define global ZORV_ERR_END_SCENE 46
#define global ZORV_ERR_RENDER_STATE 47
#define global ZORV_ERR_TEXTURE_STATE 48
#define global ZORV_ERR_SET_LIGHT 49
#define global ZORV_ERR_CLEAR_VIEWPORT 50
#define global ZORV_ERR_ACTIVE_SURFACE 51
#define global ZORV_ERR_LOCK 52
#define global ZORV_ERR_UNLOCK 53
#define global ZORV_ERR_RELEASE_DC 54
#define global ZORV_ERR_CLEAR_ZBUFFER 55
#define global ZORV_ERR_BITMAP_TRANSFER2 56
#define global ZORV_ERR_GET_PALETTE 57
#define global ZORV_ERR_PIXEL_FORMAT 58
#define global ZORV_ERR_SUBCLASS 59
#define global ZORV_ERR_UNSUBCLASS 60
#define global ZORV_ERR_NOT_TEXTURE 61
#define global ZORV_ERR_NO_RELATIVE_CHARACTER 62
#define global ZORV_ERR_CHARACTER_VARIABLES 63
#define global ZORV_ERR_COM_INIT 64
#define global ZORV_ERR_DD_INIT 65
#define global ZORV_ERR_NO_DIRECTX 66
#define global ZORV_ERR_DIRECTX_TOO_OLD 67
#define global ZORV_ERR_NO_DIRECTDRAWCREATE 68
#define global ZORV_ERR_CREATE_PEN 69
#define global ZORV_ERR_NOT_INITIALIZED 70
#define global ZORV_ERR_PARAM_MISSING 71
#define global ZORV_ERR_NO_ANIMATION_PATTERN 72
#define global ZORV_ERR_CHIP_SIZE 73
#define global ZORV_ERR_NO_3D_MODE 74
#define global ZORV_ERR_CHIP_NUMBER 75
#define global ZORV_ERR_NO_SURFACE 76
#define global ZORV_ERR_SAME_SURFACE 77
#define global ZORV_ERR_NO_ZBUFFER_FORMAT 78
#define global ZORV_ERR_CREATE_ZBUFFER 79
#define global ZORV_ERR_ATTACH_ZBUFFER 80
#define global ZORV_ERR_NOT_SUPPORTED 255

#endif

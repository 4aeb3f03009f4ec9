// The screen update and the window hook on Wine's real DirectDraw: results, the rate text on
// the back buffer, the clear after presenting, what reaches the window, and which messages
// the hook keeps from the host's own window procedure.
#include <string>

#include "screen_fixture.h"

using host::Variable;
using wine_tests::DesktopBits;
using wine_tests::HEIGHT;
using wine_tests::plugin;
using wine_tests::Pixels;
using wine_tests::ReadPixels;
using wine_tests::ReadState;
using wine_tests::SCREEN_CREATED;
using wine_tests::Screen;
using wine_tests::WIDTH;

namespace {

constexpr int32_t UPDATED = 65536;

// Colour code of an RGB colour on a 32-bit or 16-bit back buffer.
uint32_t Code(uint32_t bits, uint8_t r, uint8_t g, uint8_t b) {
    if (bits == 16) return ((r >> 3) << 11) | ((g >> 2) << 5) | (b >> 3);
    return (static_cast<uint32_t>(r) << 16) | (g << 8) | b;
}

// Counts the pixels of a rectangle of the back buffer that have the given code.
int32_t CountCode(const Pixels& pixels, uint32_t code, int32_t w, int32_t h) {
    uint32_t mask = pixels.bits >= 24 ? 0x00FFFFFFu : 0xFFFFu;
    int32_t count = 0;
    for (int32_t y = 0; y < h; ++y) {
        for (int32_t x = 0; x < w; ++x) count += (pixels.At(x, y) & mask) == code;
    }
    return count;
}

void SetRateDisplay(const char* name, int32_t flags, int32_t x, int32_t y) {
    Variable colours = Variable::Int(9);
    const int32_t values[9] = {255, 255, 255, 0, 0, 0, 64, 64, 64};
    for (int i = 0; i < 9; ++i) colours.Ints()[i] = values[i];
    ASSERT_EQ(0, plugin->Call(name, colours.Arg(), flags, x, y));
}

// Wine throttles its windowed front-buffer updates: a present that follows another too soon
// reaches the window only with the next one. So the frame is presented again, as a game's
// loop would, until the given client pixel shows the expected colour; then
// the client area is captured. A window shown again after a release may take a moment more
// before X maps it, so this waits up to five seconds.
std::vector<uint32_t> CaptureWhen(HWND window, int32_t x, int32_t y, uint32_t colour) {
    std::vector<uint32_t> shot;
    for (int attempt = 0; attempt < 250; ++attempt) {
        host::PumpMessages();
        shot = host::CaptureScreen(window, 0, 0, WIDTH, HEIGHT);
        if (shot[static_cast<size_t>(y) * WIDTH + x] == colour) break;
        Sleep(20);
        plugin->Call("ZorvUpdateScreen", 0, 0, 0, 0);
    }
    return shot;
}

POINT ClientOrigin() {
    POINT origin = {0, 0};
    ClientToScreen(wine_tests::hostScreen->Window(), &origin);
    return origin;
}

}  // namespace

// Colour codes of an 8-bit screen are palette indices that depend on the realised palette;
// the tests below pick their colours as packed RGB codes.
#define SKIP_ON_PALETTE_SCREEN()                                                          \
    if (DesktopBits() == 8) GTEST_SKIP() << "an 8-bit screen's codes are palette indices"

TEST_F(Screen, UpdateResultsAndRateTextOnTheBackBuffer) {
    SKIP_ON_PALETTE_SCREEN();
    EXPECT_EQ(-28, plugin->Call("ZorvUpdateScreen", 0, 0, 0, 0));
    EXPECT_EQ("ZorvUpdateScreen", wine_tests::LastCall());
    ASSERT_EQ(SCREEN_CREATED, CreateScreen());
    IDirectDrawSurface7* back = ReadState().At(0).Surface();
    uint32_t bits = ReadState().At(0).BitCount();
    const uint32_t blue = Code(bits, 0, 0, 255);

    // The default display: "0 FPS" in white, outlined in black, at the top left.
    SetRateDisplay("ZorvShowFrameRate", 3, 0, 0);
    ASSERT_EQ(0, plugin->Call("ZorvClearSurface", static_cast<int32_t>(blue), 1));
    EXPECT_EQ(UPDATED, plugin->Call("ZorvUpdateScreen", 0, 0, 0, 0));
    Pixels pixels = ReadPixels(back);
    ASSERT_TRUE(pixels.ok);
    EXPECT_GT(CountCode(pixels, Code(bits, 255, 255, 255), 48, 20), 10);
    EXPECT_GT(CountCode(pixels, 0, 48, 20), 10);
    EXPECT_EQ(0, CountCode(pixels, Code(bits, 255, 255, 255), WIDTH, HEIGHT) -
                     CountCode(pixels, Code(bits, 255, 255, 255), 48, 20));

    // Bit 0 of the fourth argument: 0 instead of 65536. A clear after presenting fills the
    // current surface for the next frame.
    const uint32_t green = Code(bits, 0, 255, 0);
    EXPECT_EQ(0, plugin->Call("ZorvUpdateScreen", 0, 1, static_cast<int32_t>(green), 1));
    EXPECT_EQ(WIDTH * HEIGHT, CountCode(ReadPixels(back), green, WIDTH, HEIGHT));

    // Hidden displays draw nothing; flags 4 draws on a grey background.
    SetRateDisplay("ZorvShowFrameRate", 0, 0, 0);
    EXPECT_EQ(UPDATED, plugin->Call("ZorvUpdateScreen", 0, 0, 0, 0));
    EXPECT_EQ(WIDTH * HEIGHT, CountCode(ReadPixels(back), green, WIDTH, HEIGHT));
    SetRateDisplay("ZorvShowPolygonRate", 4, 100, 200);
    EXPECT_EQ(UPDATED, plugin->Call("ZorvUpdateScreen", 0, 0, 0, 0));
    pixels = ReadPixels(back);
    EXPECT_GT(CountCode(pixels, Code(bits, 64, 64, 64), WIDTH, HEIGHT), 50);
    EXPECT_EQ(0, CountCode(pixels, Code(bits, 64, 64, 64), 100, HEIGHT));  // nothing left of x = 100
    SetRateDisplay("ZorvShowPolygonRate", 0, 0, 0);
    SetRateDisplay("ZorvShowFrameRate", 3, 0, 0);

    // Rate reads: integer variables only.
    Variable text = Variable::String(4);
    EXPECT_EQ(-1, plugin->Call("ZorvGetFrameRate", text.Arg()));
    EXPECT_EQ(-1, plugin->Call("ZorvGetPolygonRate", text.Arg()));
    EXPECT_EQ(-1, plugin->Call("ZorvShowFrameRate", text.Arg(), 3, 0, 0));
    Variable rate = Variable::Int(1);
    EXPECT_EQ(0, plugin->Call("ZorvGetFrameRate", rate.Arg()));
    EXPECT_EQ(0, plugin->Call("ZorvGetPolygonRate", rate.Arg()));
}

TEST_F(Screen, PresentReachesTheWindowWhereverItIs) {
    SKIP_ON_PALETTE_SCREEN();
    HWND window = wine_tests::hostScreen->Window();
    ASSERT_EQ(SCREEN_CREATED, CreateScreen());
    uint32_t bits = ReadState().At(0).BitCount();
    SetRateDisplay("ZorvShowFrameRate", 3, 0, 0);

    // A red frame with a yellow box at (200, 100).
    ASSERT_EQ(0, plugin->Call("ZorvClearSurface", static_cast<int32_t>(Code(bits, 255, 0, 0)), 1));
    ASSERT_EQ(0, plugin->Call("ZorvSetPosition", 200, 100));
    ASSERT_EQ(0, plugin->Call("ZorvBoxFill", 40, 30, static_cast<int32_t>(Code(bits, 255, 255, 0))));
    ASSERT_EQ(UPDATED, plugin->Call("ZorvUpdateScreen", 0, 0, 0, 0));
    POINT origin = ClientOrigin();
    std::vector<uint32_t> shot = CaptureWhen(window, 300, 300, 0xFF0000u);
    EXPECT_EQ(0xFF0000u, shot[300 * WIDTH + 300]);
    EXPECT_EQ(0xFFFF00u, shot[110 * WIDTH + 210]);
    int32_t white = 0;
    for (int32_t y = 0; y < 20; ++y) {
        for (int32_t x = 0; x < 48; ++x) white += shot[static_cast<size_t>(y) * WIDTH + x] == 0xFFFFFFu;
    }
    EXPECT_GT(white, 10) << "the frame-rate text";
    if (!wine_tests::pictureFolder.empty()) {
        host::SavePng((wine_tests::pictureFolder + "\\window_after_update.png").c_str(), shot, WIDTH, HEIGHT);
    }

    SetRateDisplay("ZorvShowFrameRate", 0, 0, 0);
    // After a move the hook points the present at the new client area.
    RECT frame;
    GetWindowRect(window, &frame);
    MoveWindow(window, frame.left + 120, frame.top + 70, frame.right - frame.left, frame.bottom - frame.top, TRUE);
    host::PumpMessages();
    ASSERT_EQ(0, plugin->Call("ZorvClearSurface", static_cast<int32_t>(Code(bits, 0, 0, 255)), 1));
    ASSERT_EQ(UPDATED, plugin->Call("ZorvUpdateScreen", 0, 0, 0, 0));
    POINT moved = ClientOrigin();
    EXPECT_EQ(origin.x + 120, moved.x);
    shot = CaptureWhen(window, 5, 5, 0x0000FFu);
    EXPECT_EQ(0x0000FFu, shot[5 * WIDTH + 5]);
    EXPECT_EQ(0x0000FFu, shot[(HEIGHT - 5) * WIDTH + WIDTH - 5]);
    MoveWindow(window, frame.left, frame.top, frame.right - frame.left, frame.bottom - frame.top, TRUE);
    SetRateDisplay("ZorvShowFrameRate", 3, 0, 0);
}

TEST_F(Screen, HookKeepsPaintAndScreenSaverFromTheHost) {
    HWND window = wine_tests::hostScreen->Window();
    ASSERT_EQ(SCREEN_CREATED, CreateScreen());

    // Other messages reach the host's procedure through the hook.
    int before = host::HostMessageCount(WM_USER + 7);
    SendMessageA(window, WM_USER + 7, 0, 0);
    EXPECT_EQ(before + 1, host::HostMessageCount(WM_USER + 7));

    // Paint is the hook's: it repaints from the back buffer, the host sees nothing.
    int paints = host::HostMessageCount(WM_PAINT);
    InvalidateRect(window, nullptr, FALSE);
    UpdateWindow(window);
    EXPECT_EQ(paints, host::HostMessageCount(WM_PAINT));

    // With the block on, the screen-saver command is swallowed (result 1); a wParam with
    // low bits set is not that command and goes on.
    int commands = host::HostMessageCount(WM_SYSCOMMAND);
    ASSERT_EQ(0, plugin->Call("ZorvLimitSystemBehavior", 1));
    EXPECT_EQ(1, SendMessageA(window, WM_SYSCOMMAND, SC_SCREENSAVE, 0));
    EXPECT_EQ(commands, host::HostMessageCount(WM_SYSCOMMAND));
    SendMessageA(window, WM_SYSCOMMAND, SC_SCREENSAVE + 1, 0);
    EXPECT_EQ(commands + 1, host::HostMessageCount(WM_SYSCOMMAND));
    ASSERT_EQ(0, plugin->Call("ZorvLimitSystemBehavior", 0));
    EXPECT_EQ(0, SendMessageA(window, WM_SYSCOMMAND, SC_SCREENSAVE, 0));
    EXPECT_EQ(commands + 2, host::HostMessageCount(WM_SYSCOMMAND));

    // After the release the host's procedure gets every message again.
    ASSERT_EQ(0, plugin->Call("ZorvReleasePrimarySurface"));
    EXPECT_EQ(reinterpret_cast<LONG>(host::HostWindowProcedure()), GetWindowLongA(window, GWL_WNDPROC));
    ShowWindow(window, SW_SHOW);
    paints = host::HostMessageCount(WM_PAINT);
    InvalidateRect(window, nullptr, FALSE);
    UpdateWindow(window);
    EXPECT_EQ(paints + 1, host::HostMessageCount(WM_PAINT));
}

// The host emulator's records and plugin loader.
#include "host_emulator.h"

#define STB_IMAGE_WRITE_IMPLEMENTATION
#include <stb_image_write.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <map>

namespace host {

namespace {
constexpr size_t DESCRIPTOR_BYTES = 64, TAG_OFFSET = 0, SIZE_OFFSET = 8, DATA_OFFSET = 28;
constexpr uint8_t GUARD = 0xA5, HOST_FILL = 0xCD;

template <class T>
void Poke(std::vector<uint8_t>& bytes, size_t offset, T value) {
    std::memcpy(bytes.data() + offset, &value, sizeof value);
}

const char WINDOW_CLASS[] = "ZorvHostWindow";

// What the host's own window procedure has seen, by message number.
std::map<UINT, int> hostMessages;

// The host's window procedure: counts every message it receives. The screen-saver command
// is answered here, so a test never starts one.
LRESULT CALLBACK HostWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    ++hostMessages[message];
    if (message == WM_SYSCOMMAND && (wParam & 0xFFF0) == SC_SCREENSAVE) return 0;
    return DefWindowProcA(window, message, wParam, lParam);
}

void RegisterWindowClass() {
    static bool registered = false;
    if (registered) return;
    WNDCLASSA wc = {};
    wc.lpfnWndProc = HostWindowProc;
    wc.hInstance = GetModuleHandleA(nullptr);
    wc.hCursor = LoadCursor(nullptr, IDC_ARROW);
    wc.hbrBackground = static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH));
    wc.lpszClassName = WINDOW_CLASS;
    RegisterClassA(&wc);
    registered = true;
}

std::string Convert(const char* text, UINT from, UINT to) {
    int wideCount = MultiByteToWideChar(from, 0, text, -1, nullptr, 0);
    if (wideCount <= 0) return "<conversion failed>";
    std::wstring wide(static_cast<size_t>(wideCount), L'\0');
    MultiByteToWideChar(from, 0, text, -1, &wide[0], wideCount);
    int count = WideCharToMultiByte(to, 0, wide.c_str(), -1, nullptr, 0, nullptr, nullptr);
    std::string out(static_cast<size_t>(count), '\0');
    WideCharToMultiByte(to, 0, wide.c_str(), -1, &out[0], count, nullptr, nullptr);
    out.resize(static_cast<size_t>(count) - 1);  // drop the terminator
    return out;
}
}  // namespace

// ---- Variables -------------------------------------------------------------------------

Variable::Variable(uint16_t tag, int32_t size4)
    : descriptor_(DESCRIPTOR_BYTES, HOST_FILL), buffer_(GUARD_BYTES * 2 + (size4 > 0 ? size4 * 4u : 0u), GUARD) {
    std::memset(Data(), 0, DataBytes());
    Poke<uint16_t>(descriptor_, TAG_OFFSET, tag);
    Poke<int32_t>(descriptor_, SIZE_OFFSET, size4);
    Poke<uint32_t>(descriptor_, DATA_OFFSET, static_cast<uint32_t>(reinterpret_cast<uintptr_t>(Data())));
}

void Variable::Fill(uint8_t value) { std::memset(Data(), value, DataBytes()); }

bool Variable::GuardsIntact() const {
    for (size_t i = 0; i < GUARD_BYTES; ++i)
        if (buffer_[i] != GUARD || buffer_[buffer_.size() - 1 - i] != GUARD) return false;
    return true;
}

bool Variable::DescriptorIntact() const {
    for (size_t i = 0; i < DESCRIPTOR_BYTES; ++i) {
        const bool read = i < TAG_OFFSET + 2 || (i >= SIZE_OFFSET && i < SIZE_OFFSET + 4) || (i >= DATA_OFFSET && i < DATA_OFFSET + 4);
        if (!read && descriptor_[i] != HOST_FILL) return false;
    }
    return true;
}

// ---- Screen ----------------------------------------------------------------------------

Screen::Screen(int width, int height) : record_(512, 0) {
    RegisterWindowClass();
    RECT rect = {0, 0, width, height};
    AdjustWindowRect(&rect, WS_OVERLAPPEDWINDOW, FALSE);
    window_ = CreateWindowExA(0, WINDOW_CLASS, "Zorv host", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0,
                              rect.right - rect.left, rect.bottom - rect.top, nullptr, nullptr,
                              GetModuleHandleA(nullptr), nullptr);
    PumpMessages();
    HDC windowDc = GetDC(window_);
    dc_ = CreateCompatibleDC(windowDc);
    ReleaseDC(window_, windowDc);
    BITMAPINFO info = {};
    info.bmiHeader = {sizeof(BITMAPINFOHEADER), width, height, 1, 24, BI_RGB, 0, 0, 0, 0, 0};
    void* bits = nullptr;
    dib_ = CreateDIBSection(dc_, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    oldBitmap_ = SelectObject(dc_, dib_);
    auto address = [](const void* p) { return static_cast<int32_t>(reinterpret_cast<uintptr_t>(p)); };
    SetField(WIDTH, width);
    SetField(HEIGHT, height);
    SetField(HDC_FIELD, address(dc_));
    SetField(BITS, address(bits));
    SetField(HWND_FIELD, address(window_));
    SetField(SCREEN_TYPE, 2);
}

Screen::~Screen() {
    if (dc_ != nullptr) {
        SelectObject(dc_, oldBitmap_);
        DeleteDC(dc_);
    }
    if (dib_ != nullptr) DeleteObject(dib_);
    if (window_ != nullptr && IsWindow(window_)) DestroyWindow(window_);
    PumpMessages();
}

int32_t Screen::Field(size_t offset) const {
    int32_t value = 0;
    std::memcpy(&value, record_.data() + offset, sizeof value);
    return value;
}

void Screen::SetField(size_t offset, int32_t value) { Poke<int32_t>(record_, offset, value); }

// ---- Plugin ----------------------------------------------------------------------------

int32_t Plugin::Call(const std::string& name, int32_t a, int32_t b, int32_t c, int32_t d) const {
    using Export = int32_t(__stdcall*)(int32_t, int32_t, int32_t, int32_t);
    FARPROC proc = module_ ? GetProcAddress(module_, ("_" + name + "@16").c_str()) : nullptr;
    if (proc == nullptr) return INT32_MIN;
    return reinterpret_cast<Export>(reinterpret_cast<void*>(proc))(a, b, c, d);
}

// ---- Helpers ---------------------------------------------------------------------------

std::string Cp932ToUtf8(const char* text) { return Convert(text, 932, CP_UTF8); }
std::string Utf8ToCp932(const char* text) { return Convert(text, CP_UTF8, 932); }

int HostMessageCount(UINT message) { return hostMessages[message]; }

WNDPROC HostWindowProcedure() { return HostWindowProc; }

std::vector<uint32_t> CaptureScreen(HWND window, int x, int y, int width, int height) {
    std::vector<uint32_t> pixels(static_cast<size_t>(width) * height, 0);
    HDC screen = GetDC(window);
    HDC memory = CreateCompatibleDC(screen);
    BITMAPINFO info = {};
    info.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = -height;  // top-down
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    info.bmiHeader.biCompression = BI_RGB;
    void* bits = nullptr;
    HBITMAP dib = CreateDIBSection(memory, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    HGDIOBJ old = SelectObject(memory, dib);
    BitBlt(memory, 0, 0, width, height, screen, x, y, SRCCOPY);
    GdiFlush();
    std::memcpy(pixels.data(), bits, pixels.size() * 4);
    SelectObject(memory, old);
    DeleteObject(dib);
    DeleteDC(memory);
    ReleaseDC(window, screen);
    for (uint32_t& p : pixels) p &= 0x00FFFFFFu;
    return pixels;
}

bool SavePng(const char* path, const std::vector<uint32_t>& pixels, int width, int height) {
    std::vector<uint8_t> rgb(pixels.size() * 3);
    for (size_t i = 0; i < pixels.size(); ++i) {
        rgb[i * 3] = static_cast<uint8_t>(pixels[i] >> 16);
        rgb[i * 3 + 1] = static_cast<uint8_t>(pixels[i] >> 8);
        rgb[i * 3 + 2] = static_cast<uint8_t>(pixels[i]);
    }
    int length = 0;
    unsigned char* png = stbi_write_png_to_mem(rgb.data(), width * 3, width, height, 3, &length);
    if (png == nullptr) return false;
    HANDLE file = CreateFileA(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    bool ok = false;
    if (file != INVALID_HANDLE_VALUE) {
        DWORD written = 0;
        ok = WriteFile(file, png, static_cast<DWORD>(length), &written, nullptr) && written == static_cast<DWORD>(length);
        CloseHandle(file);
    }
    STBIW_FREE(png);
    return ok;
}

void UseUnmanagedWindows() {
    char path[MAX_PATH] = {};
    GetModuleFileNameA(nullptr, path, MAX_PATH);
    const char* name = path;
    for (const char* p = path; *p != '\0'; ++p) {
        if (*p == '\\' || *p == '/') name = p + 1;
    }
    std::string keyName = std::string("Software\\Wine\\AppDefaults\\") + name + "\\X11 Driver";
    HKEY key = nullptr;
    if (RegCreateKeyExA(HKEY_CURRENT_USER, keyName.c_str(), 0, nullptr, 0, KEY_SET_VALUE, nullptr, &key, nullptr) !=
        ERROR_SUCCESS) {
        return;
    }
    RegSetValueExA(key, "Managed", 0, REG_SZ, reinterpret_cast<const BYTE*>("N"), 2);
    RegCloseKey(key);
}

std::string OptionText(int argc, char** argv, const char* prefix, const char* fallback) {
    const size_t length = std::strlen(prefix);
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], prefix, length) == 0) return argv[i] + length;
    }
    return fallback;
}

int32_t OptionInt(int argc, char** argv, const char* prefix, int32_t fallback) {
    std::string text = OptionText(argc, argv, prefix, "");
    return text.empty() ? fallback : static_cast<int32_t>(std::strtol(text.c_str(), nullptr, 10));
}

void PumpMessages() {
    MSG msg;
    while (PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE)) {
        TranslateMessage(&msg);
        DispatchMessageA(&msg);
    }
}

}  // namespace host

// A small stand-in for the HSP 2.5 host: the records it hands to a plugin (variable
// descriptors, a screen record with a real window and DIB section) built byte by byte at the
// host's offsets, and the plugin loaded and called by decorated name as the host does. The
// plugin's headers are not included, so the offsets are checked independently.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

namespace host {

// One script variable: a 64-byte descriptor (the plugin reads its type tag, size and data
// pointer; every other byte is the host's) and a data buffer with guard bytes on both sides,
// so that a write past either end is seen.
class Variable {
public:
    static Variable Int(int32_t elements) { return Variable(4, elements); }
    static Variable String(int32_t size4) { return Variable(2, size4); }  // 4 * size4 bytes

    int32_t Arg() const { return static_cast<int32_t>(reinterpret_cast<uintptr_t>(descriptor_.data())); }
    uint8_t* Data() { return buffer_.data() + GUARD_BYTES; }
    int32_t* Ints() { return reinterpret_cast<int32_t*>(Data()); }
    char* Text() { return reinterpret_cast<char*>(Data()); }
    size_t DataBytes() const { return buffer_.size() - 2 * GUARD_BYTES; }
    void Fill(uint8_t value);
    // The guard bytes, and the descriptor's host-only bytes, are as they were made.
    bool GuardsIntact() const;
    bool DescriptorIntact() const;

private:
    static constexpr size_t GUARD_BYTES = 64;
    Variable(uint16_t tag, int32_t size4);
    std::vector<uint8_t> descriptor_, buffer_;
};

// The host's window buffer: a real top-level window, a memory DC with a 24-bit DIB section
// selected (rows bottom-up), and the screen record that points at them.
class Screen {
public:
    Screen(int width, int height);
    ~Screen();
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    int32_t Arg() { return static_cast<int32_t>(reinterpret_cast<uintptr_t>(record_.data())); }
    int32_t Field(size_t offset) const;
    void SetField(size_t offset, int32_t value);
    HWND Window() const { return window_; }

    enum Offset : size_t { WIDTH = 4, HEIGHT = 8, HDC_FIELD = 16, BITS = 20, HWND_FIELD = 52, SCREEN_TYPE = 68 };

private:
    std::vector<uint8_t> record_;
    HWND window_ = nullptr;
    HDC dc_ = nullptr;
    HBITMAP dib_ = nullptr;
    HGDIOBJ oldBitmap_ = nullptr;
};

// The loaded plugin; exports are looked up by their decorated names, _Name@16.
class Plugin {
public:
    explicit Plugin(const std::string& fileName) : module_(LoadLibraryA(fileName.c_str())) {}
    ~Plugin() { if (module_) FreeLibrary(module_); }
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

    bool Loaded() const { return module_ != nullptr; }
    HMODULE Module() const { return module_; }
    // Calls the export; a missing export answers INT32_MIN.
    int32_t Call(const std::string& name, int32_t a = 0, int32_t b = 0, int32_t c = 0, int32_t d = 0) const;

private:
    HMODULE module_ = nullptr;
};

// Shift-JIS (code page 932) and UTF-8, through the platform's code page tables.
std::string Cp932ToUtf8(const char* text);
std::string Utf8ToCp932(const char* text);

// How many times the host window's own procedure received a message, and that procedure.
int HostMessageCount(UINT message);
WNDPROC HostWindowProcedure();

// Pixels of a window's client area (0x00RRGGBB, rows top-down), read back through GDI, and
// such pixels written as a PNG file.
std::vector<uint32_t> CaptureScreen(HWND window, int x, int y, int width, int height);
bool SavePng(const char* path, const std::vector<uint32_t>& pixels, int width, int height);

// Under Xvfb there is no window manager, and Wine waits two seconds for one whenever a
// managed window is hidden, which the screen release does every time. Makes this program's
// windows unmanaged (read when Wine's display driver starts with the first window, so call it
// before any window exists); on Windows the key means nothing.
void UseUnmanagedWindows();

// The value of the "--name=value" option with this prefix (such as "--plugin="), or the fallback.
std::string OptionText(int argc, char** argv, const char* prefix, const char* fallback);
int32_t OptionInt(int argc, char** argv, const char* prefix, int32_t fallback);

// Pumps the thread's pending window messages.
void PumpMessages();

}  // namespace host
